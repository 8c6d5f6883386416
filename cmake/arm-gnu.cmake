# SPDX-License-Identifier: Apache-2.0
# 32-bit little-endian ARM.

set(CMAKE_SYSTEM_PROCESSOR arm)
set(triplet arm-linux-gnueabihf)
set(emulator qemu-arm)
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi) # notes for those who link objects of GCC 6 or older
include(${CMAKE_CURRENT_LIST_DIR}/gnu.cmake)
