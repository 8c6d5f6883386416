// SPDX-License-Identifier: Apache-2.0
/* What a UART receives of bytes that were sent with another baud rate. */
#pragma once

#include "sim/controller/bytes.h"

namespace sim
{

bytes misread(byte_view sent, uint32_t sent_at, uint32_t read_at);

} // namespace sim
