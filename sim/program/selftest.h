// SPDX-License-Identifier: Apache-2.0
/* A check of the installed program: one dialogue with each controller over a real pty. */
#pragma once

namespace sim
{

/* Prints a line for each controller; returns the exit status. */
int selftest();

} // namespace sim
