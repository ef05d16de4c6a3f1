# 64-bit Arm Linux, built with Debian's cross compiler and run by its user-mode emulator.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# What Debian has no cross package for comes out of arm64 packages, in a folder that every build of
# this checkout shares; the machine itself stays as it is.
set(GRPOWNER_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/aarch64/sysroot)
cmake_path(NORMAL_PATH GRPOWNER_SYSROOT)
set(GRPOWNER_SYSROOT_LIBRARIES ${GRPOWNER_SYSROOT}/usr/lib/aarch64-linux-gnu)
if(NOT EXISTS ${GRPOWNER_SYSROOT_LIBRARIES}/libyaml.so)
    execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/../tools/arm64-packages
                            ${GRPOWNER_SYSROOT} libyaml-0-2 libyaml-dev
                    COMMAND_ERROR_IS_FATAL ANY)
endif()
set(ENV{PKG_CONFIG_LIBDIR} ${GRPOWNER_SYSROOT_LIBRARIES}/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${GRPOWNER_SYSROOT})
# Without this no include folder is named, and the compiler's search ends in this machine's own.
set(ENV{PKG_CONFIG_ALLOW_SYSTEM_CFLAGS} 1)
set(CMAKE_FIND_ROOT_PATH ${GRPOWNER_SYSROOT} /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-aarch64;-L;/usr/aarch64-linux-gnu")
