// SPDX-License-Identifier: Apache-2.0
/* What a UART makes of bytes that were sent at another rate than it listens at. */
#pragma once

#include "sim/controller/bytes.h"

namespace sim
{

bytes misread(byte_view sent, uint32_t sent_at, uint32_t read_at);

} // namespace sim
