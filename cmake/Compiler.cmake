# How everything of ours is compiled: warnings, sanitizers, include root.

add_library(grpowner_compile INTERFACE)
target_include_directories(grpowner_compile INTERFACE
                           ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
target_compile_options(grpowner_compile INTERFACE
    -Wall -Wextra -Wshadow -Wformat=2
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
    $<$<BOOL:${GRPOWNER_WERROR}>:-Werror>)
target_link_libraries(grpowner_compile INTERFACE Threads::Threads)

if(GRPOWNER_SANITIZE)
    # For all of the build, googletest included: a half-instrumented program reports nonsense.
    # But for the types of objects: that check opens a pipe each time, and where no descriptor is
    # left it takes all objects for none.
    add_compile_options(-fsanitize=${GRPOWNER_SANITIZE} -fno-sanitize=vptr
                        -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${GRPOWNER_SANITIZE})
endif()
