# shellcheck shell=dash
# SPDX-License-Identifier: Apache-2.0
# Runs the stand-in for OpenWrt's build system. Sourced, with $sources (the project) and $top (the
# build folder) set. $sysroot, if set, has the device's C library.

: "${sources:?}" "${top:?}"
feed_folder=$sources/packaging/openwrt/vorlind
cross=''
machine=$(uname -m)
machine_flags=''
cxx_flags=''
no_runtime=''
if [ -n "${sysroot-}" ]; then
	cross=aarch64-linux-gnu-
	machine=aarch64
	mkdir -p "$top"
	ln -sfn "$sysroot" "$top/sysroot" # a path without spaces
	sysroot=$top/sysroot
	# Debian's cross g++ with musl, and only the headers of a C++ library, made for musl.
	machine_flags="-mcpu=generic -mno-outline-atomics -specs=$top/musl.specs"
	cxx_flags="-nostdinc++ -isystem $sysroot/usr/lib/llvm-14/include/c++/v1 -D_LIBCPP_HAS_MUSL_LIBC"
	no_runtime=-DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY # no C++ library can be linked
	sed -e "s,/usr/,$sysroot/usr/,g" -e "s,-nostdlib,-nostdlib -L$sysroot/lib/aarch64-linux-musl," \
		"$sysroot/usr/lib/aarch64-linux-musl/musl-gcc.specs" >"$top/musl.specs"
fi

feed() # ARGUMENT OF MAKE...
{
	mkdir -p "$top/build_dir" "$top/dl" "$top/ipkg" "$top/staging_dir"
	ln -sf "$sources/tests/packaging/openwrt/sdk/rules.mk" "$top/"
	STRIP=${cross}strip make --no-print-directory -C "$feed_folder" TOPDIR="$top" \
		SDK="$sources/tests/packaging/openwrt/sdk" CC="${cross}gcc" CXX="${cross}g++" \
		ARCH="$machine" ARCH_FLAGS="$machine_flags" ARCH_CXXFLAGS="$cxx_flags" \
		ARCH_OPTIONS="$no_runtime" "$@" >"$top/log" 2>&1
}
