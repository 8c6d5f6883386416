// SPDX-License-Identifier: Apache-2.0
/* Stand-in for libuam.so and libqvkit.so, which the daemon links but never calls. */
