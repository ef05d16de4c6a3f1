# What is installed where. The components are the packages: library, development, daemons, client.

include(CMakePackageConfigHelpers)
set(cmake_folder ${CMAKE_INSTALL_LIBDIR}/cmake/grpowner)
set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(libraries grpowner)
if(TARGET grpowner-platform)
    list(APPEND libraries grpowner-platform)
    set_target_properties(grpowner-platform PROPERTIES EXPORT_NAME platform)
    # The seam's headers name each other from one root, which must not be everybody's.
    set(platform_headers ${CMAKE_INSTALL_INCLUDEDIR}/grpowner-platform)
    target_include_directories(grpowner-platform INTERFACE $<INSTALL_INTERFACE:${platform_headers}>)
    target_compile_features(grpowner-platform PUBLIC cxx_std_17)
endif()

install(TARGETS ${libraries} EXPORT grpowner
        LIBRARY COMPONENT library NAMELINK_COMPONENT development)
install(DIRECTORY include/grpowner TYPE INCLUDE COMPONENT development)
install(EXPORT grpowner FILE grpowner-targets.cmake NAMESPACE grpowner::
        DESTINATION ${cmake_folder} COMPONENT development)

configure_package_config_file(cmake/grpowner-config.cmake.in grpowner-config.cmake
                              INSTALL_DESTINATION ${cmake_folder} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(grpowner-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/grpowner-config.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/grpowner-config-version.cmake
        DESTINATION ${cmake_folder} COMPONENT development)

# For pkg-config; paths hang on the file's own place, so that a tree can be moved.
file(RELATIVE_PATH prefix_from_pkgconfig /${pkgconfig_folder} /)
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig "${prefix_from_pkgconfig}")
foreach(library IN LISTS libraries)
    configure_file(cmake/${library}.pc.in ${library}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${library}.pc
            DESTINATION ${pkgconfig_folder} COMPONENT development)
endforeach()

if(NOT TARGET grpowner-platform)
    return() # an integrator's platform: neither our daemons nor their files
endif()

install(DIRECTORY platform/ DESTINATION ${platform_headers}/platform COMPONENT development
        FILES_MATCHING PATTERN "*.h"
        PATTERN memory EXCLUDE PATTERN portable EXCLUDE PATTERN linux EXCLUDE)
install(FILES platform/linux/host.h
        DESTINATION ${platform_headers}/platform/linux COMPONENT development)
install(TARGETS procmgrd grpownerd RUNTIME COMPONENT daemons)
install(TARGETS grpctl grpowner-replay RUNTIME COMPONENT client)

# What the system's service manager wants to know lies where it looks, below every prefix.
foreach(unit procmgrd.service grpownerd@.service)
    configure_file(packaging/systemd/${unit}.in ${unit} @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${unit}
            DESTINATION lib/systemd/system COMPONENT daemons)
endforeach()
foreach(kind sysusers tmpfiles)
    install(FILES packaging/systemd/${kind}.conf
            DESTINATION lib/${kind}.d RENAME grpowner.conf COMPONENT daemons)
endforeach()
install(FILES packaging/grpowner.schema.json
        DESTINATION ${CMAKE_INSTALL_DATADIR}/grpowner COMPONENT daemons)
install(FILES examples/rover/rover.yaml TYPE DOC COMPONENT daemons)
install(FILES packaging/completions/grpctl.bash RENAME grpctl
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT client)
install(FILES packaging/completions/_grpctl
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT client)
install(FILES packaging/completions/grpctl.fish
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT client)
