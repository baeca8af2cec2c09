# For 64-bit ARM on an x86-64 Debian: its cross compiler, the folder that scripts/make-sysroot fills
# (TAVIX_SYSROOT), and QEMU's user mode to run what was built.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

set(TAVIX_SYSROOT
    ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-arm64
    CACHE PATH "what scripts/make-sysroot unpacked")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TAVIX_SYSROOT)
file(REAL_PATH ${TAVIX_SYSROOT} CMAKE_SYSROOT)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(libraries ${CMAKE_SYSROOT}/usr/lib/aarch64-linux-gnu)

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${libraries}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)

# Debian keeps some libraries in folders that only its loader's configuration names.
string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -Wl,-rpath-link,${libraries}")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64;-L;${CMAKE_SYSROOT})
