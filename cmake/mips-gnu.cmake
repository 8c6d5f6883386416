# SPDX-License-Identifier: Apache-2.0
# MIPS with 32 bits, high byte first.

set(CMAKE_SYSTEM_PROCESSOR mips)
set(triplet mips-linux-gnu)
set(emulator qemu-mips)
include(${CMAKE_CURRENT_LIST_DIR}/gnu.cmake)
