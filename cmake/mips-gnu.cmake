# SPDX-License-Identifier: Apache-2.0
# 32-bit big-endian MIPS.

set(CMAKE_SYSTEM_PROCESSOR mips)
set(triplet mips-linux-gnu)
set(emulator qemu-mips)
include(${CMAKE_CURRENT_LIST_DIR}/gnu.cmake)
