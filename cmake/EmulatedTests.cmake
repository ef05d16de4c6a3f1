# Tests of another processor's build, under the user-mode emulator: one process for each program,
# because to start one costs more there than most tests do. What tests/system_tests names is left out.

file(STRINGS ${PROJECT_SOURCE_DIR}/tests/system_tests lines REGEX "^[^#]")
set_property(DIRECTORY APPEND PROPERTY
             CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/system_tests)
foreach(line IN LISTS lines)
    string(REGEX MATCH "^([^ ]+) +([^ ]+)" unused "${line}")
    list(APPEND system_tests_of_${CMAKE_MATCH_1} ${CMAKE_MATCH_2})
endforeach()

function(gtest_discover_tests program)
    list(JOIN system_tests_of_${program} ":" apart)
    if(NOT "*" IN_LIST system_tests_of_${program})
        add_test(NAME ${program} COMMAND ${program} --gtest_brief=1 --gtest_filter=-${apart})
        set_tests_properties(${program} PROPERTIES TIMEOUT 300)
    endif()
endfunction()
