# Debian packages, one for each component. `tools/package` builds and tries them.

if(NOT TARGET grpowner-platform)
    return() # a part of somebody else's system
endif()

set(maintainer "The grpowner developers")
string(REGEX MATCH "^[0-9]+" soname_number ${GRPOWNER_ABI})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME grpowner)
set(CPACK_PACKAGE_CONTACT "${maintainer}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "owner of one group of applications")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library development daemons client)
set(CPACK_COMPONENTS_GROUPING IGNORE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${maintainer}")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
# Daemons and client are linked with what is no package yet: they name it themselves.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    ${CMAKE_CURRENT_BINARY_DIR}/src ${CMAKE_CURRENT_BINARY_DIR}/platform/linux)
set(library_package libgrpowner${soname_number})
set(same_library "${library_package} (= ${PROJECT_VERSION})")

# debian_package(COMPONENT NAME SECTION TEXT DEPENDS)
macro(debian_package component name section text depends)
    string(TOUPPER ${component} upper)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
    set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
    set(CPACK_DEBIAN_${upper}_DESCRIPTION "${text}")
    set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}")
    install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name}
            RENAME copyright COMPONENT ${component})
endmacro()

debian_package(library ${library_package} libs
    "It makes the daemon which loads it the owner of one group of applications, which it starts in
dependency order, watches and restarts under a limiter."
    "")
debian_package(development libgrpowner-dev libdevel
    "Headers and what find_package and pkg-config need to build a host daemon of one's own."
    "${same_library}")
debian_package(daemons grpowner admin
    "The process manager, which starts, watches and stops, and a host daemon that owns a group which
one file describes."
    "${same_library}")
debian_package(client grpowner-client admin
    "What runs, what shall run: grpctl commands a group owner."
    "${same_library}")
set(CPACK_DEBIAN_DAEMONS_PACKAGE_RECOMMENDS grpowner-client)
set(CPACK_DEBIAN_DAEMONS_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/packaging/debian/postinst
    ${PROJECT_SOURCE_DIR}/packaging/debian/prerm
    ${PROJECT_SOURCE_DIR}/packaging/debian/postrm)

include(CPack)
