// SPDX-License-Identifier: Apache-2.0
/* Stand-in for libuam.so and libqvkit.so: linked as on the device, never called. */
