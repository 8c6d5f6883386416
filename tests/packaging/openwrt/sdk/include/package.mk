# SPDX-License-Identifier: Apache-2.0
# Stands in for OpenWrt's package.mk: makes a folder in TOPDIR/ipkg of each package.

PKG_BUILD_DIR:=$(TOPDIR)/build_dir/$(PKG_NAME)-$(PKG_VERSION)
PKG_INSTALL_DIR:=$(PKG_BUILD_DIR)/ipkg-install
SHELL:=/bin/bash

# The build system sets these for every package: a Makefile's own values are lost in recipes.
RESERVED:=ABI_VERSION ALTERNATIVES BUILDONLY CATEGORY CONFIGFILE CONFLICTS DEFAULT DEFAULT_VARIANT \
	DEPENDS EXTRA_DEPENDS FILE_MODES HIDDEN KCONFIG LICENSE LICENSE_FILES MAINTAINER MDEPENDS MENU \
	PKG_FIXUP_DEPENDS PROVIDES SECTION SOURCE SUBMENU SUBMENUDEP TITLE URL USERID VARIANT

define Build/Prepare/Default
	test "$(PKG_HASH)" = skip || \
		echo "$(PKG_HASH)  $(TOPDIR)/dl/$(PKG_SOURCE)" | sha256sum --check --quiet
	tar -C $(TOPDIR)/build_dir -xzf $(TOPDIR)/dl/$(PKG_SOURCE)
endef

define Build/Prepare
	$(Build/Prepare/Default)
endef

clear=$(foreach name,$(RESERVED),$(eval $(name):=))
spoil=$(foreach name,$(RESERVED),$(eval $(name):=reserved-by-the-build-system))

define BuildPackage
$(clear)
$(eval $(Package/$(1)))
$(eval FACTS_$(1):=$$(SECTION)|$$(CATEGORY)|$$(SUBMENU)|$$(TITLE)|$$(URL)|$$(DEPENDS))
$(spoil)
package: $(TOPDIR)/ipkg/$(1)
$(TOPDIR)/ipkg/$(1): install
	rm -rf $$@
	$(call Package/$(1)/install,$(TOPDIR)/ipkg/$(1))
	echo '$$(FACTS_$(1))' >$$@.facts
	( :; $(Package/$(1)/extra_provides) ) >$$@.provides
	$(SDK)/close $$@ $(1)
endef

prepare:
	rm -rf $(PKG_BUILD_DIR)
	mkdir -p $(PKG_BUILD_DIR)
	$(Build/Prepare)
	echo '$(PKG_FILE_DEPENDS)' >$(TOPDIR)/depends
	test -f $(PKG_BUILD_DIR)/$(PKG_LICENSE_FILES)
	test -n '$(PKG_MAINTAINER)' -a -n '$(PKG_LICENSE)'
