// SPDX-License-Identifier: Apache-2.0
/* The picture of a fleet: processor time and memory against the number of access points. */
#pragma once

#include <string>
#include <vector>

struct fleet_point {
	double count;
	double daemon_cpu, simulator_cpu; /* per cent of one core */
	double daemon_mib, simulator_mib;
};

std::string fleet_picture(const std::vector<fleet_point> &points, double seconds);
