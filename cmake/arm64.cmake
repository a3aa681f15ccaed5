# Toolchain file: Debian's cross compiler, with Debian's arm64 packages below OZNA_ARM64_ROOT, and qemu-user for the programs
# that a build or a test runs. scripts/test_arm64.sh lays the packages out.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES OZNA_ARM64_ROOT)
set(CMAKE_SYSROOT ${OZNA_ARM64_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${OZNA_ARM64_ROOT}/usr/lib/aarch64-linux-gnu/pkgconfig:${OZNA_ARM64_ROOT}/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${OZNA_ARM64_ROOT})
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L ${OZNA_ARM64_ROOT})
# The schema's compiler is the build machine's.
set(Protobuf_PROTOC_EXECUTABLE /usr/bin/protoc CACHE FILEPATH "")
