# SPDX-License-Identifier: Apache-2.0
# The device: AArch64, Linux, musl. Any clang compiles for it; headers and libraries of the target
# are from Debian's packages, which ./run cross has unpacked into build-cross/sysroot.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET aarch64-linux-musl)
set(CMAKE_CXX_COMPILER_TARGET aarch64-linux-musl)

cmake_path(SET sysroot NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../build-cross/sysroot)
set(CMAKE_SYSROOT ${sysroot})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

# musl's folders in Debian, apart from the GNU C library's. Of the C++ library only headers, with
# the configuration for musl. libgcc's helpers for atomic operations need the GNU C library, so
# avoid them.
set(CMAKE_C_FLAGS_INIT
  "-idirafter \"${sysroot}/usr/include/aarch64-linux-musl\" -mno-outline-atomics")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT} -nostdinc++ \
-isystem \"${sysroot}/usr/lib/llvm-14/include/c++/v1\" -D_LIBCPP_HAS_MUSL_LIBC")
set(link_flags "-fuse-ld=lld -static-libgcc -nostdlib++ \
\"-B${sysroot}/usr/lib/aarch64-linux-musl\" \"-L${sysroot}/lib/aarch64-linux-musl\" \
\"-L${sysroot}/usr/lib/aarch64-linux-musl\"")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${link_flags}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${link_flags}")
set(CMAKE_EXE_LINKER_FLAGS_RELEASE_INIT "-s")
set(CMAKE_SHARED_LINKER_FLAGS_RELEASE_INIT "-s")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L ${sysroot})
