# SPDX-License-Identifier: Apache-2.0
# AArch64 with the GNU C library, for the unit tests.

set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(triplet aarch64-linux-gnu)
set(emulator qemu-aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/gnu.cmake)
