# SPDX-License-Identifier: Apache-2.0
# A PC of 32 bits.

set(CMAKE_SYSTEM_PROCESSOR i686)
set(triplet i686-linux-gnu)
set(emulator qemu-i386)
include(${CMAKE_CURRENT_LIST_DIR}/gnu.cmake)
