# SPDX-License-Identifier: Apache-2.0
# A 32-bit PC.

set(CMAKE_SYSTEM_PROCESSOR i686)
set(triplet i686-linux-gnu)
set(emulator qemu-i386)
include(${CMAKE_CURRENT_LIST_DIR}/gnu.cmake)
