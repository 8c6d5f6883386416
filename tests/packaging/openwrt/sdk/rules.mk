# SPDX-License-Identifier: Apache-2.0
# Stands in for OpenWrt's rules.mk, as far as a package uses it. TOPDIR is the build folder, SDK
# this folder; CC and CXX are the target's compilers, ARCH_FLAGS, ARCH_CXXFLAGS and ARCH_OPTIONS
# their options.

INCLUDE_DIR:=$(SDK)/include
-include $(TOPDIR)/.config

qstrip=$(strip $(subst ",,$(1)))
CP:=cp -fpR
INSTALL_DIR:=install -d -m0755
INSTALL_BIN:=install -m0755
INSTALL_DATA:=install -m0644
INSTALL_CONF:=install -m0600
STAGING_DIR:=$(TOPDIR)/staging_dir
TARGET_CFLAGS:=-Os -pipe $(ARCH_FLAGS) -fno-caller-saves -fno-plt -Wl,-z,max-page-size=4096 \
	-Wformat -Werror=format-security -fstack-protector -D_FORTIFY_SOURCE=1 -Wl,-z,now -Wl,-z,relro
TARGET_LDFLAGS:=-L$(STAGING_DIR)/usr/lib -fuse-ld=bfd -zmax-page-size=4096 -znow -zrelro

all: package
