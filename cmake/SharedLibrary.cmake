# How our shared libraries are linked: a SONAME of its own numbering, which moves with the binary
# interface and not with the version; nothing leaves but what the script next to the sources names;
# nothing is missing. The interface is compared with packaging/abi.

set(GRPOWNER_ABI 1.1) # the second number moves when something is added

function(grpowner_shared_library target script)
    string(REGEX MATCH "^[0-9]+" soname_number ${GRPOWNER_ABI})
    set_target_properties(${target} PROPERTIES
        VERSION ${GRPOWNER_ABI}
        SOVERSION ${soname_number}
        LINK_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${script})
    target_link_options(${target} PRIVATE
        -Wl,--version-script=${CMAKE_CURRENT_SOURCE_DIR}/${script})
    if(NOT GRPOWNER_SANITIZE) # the sanitizers' own symbols are in the program
        target_link_options(${target} PRIVATE -Wl,-z,defs)
    endif()
endfunction()
