# SPDX-License-Identifier: Apache-2.0
# The usual make targets; cmake --preset dev and ./run do the work.

PREFIX ?= /usr/local

# Stops with the missing Debian packages of a rule; a word is a program, program:package, or
# file:package.
need = @missing=; for need in $(1); do \
	command -v $${need%%:*} >/dev/null || [ -f $${need%%:*} ] || missing="$$missing $${need\#*:}"; done; \
	[ -z "$$missing" ] || { echo "make $@: please install these packages:$$missing" >&2; exit 1; }
# Stops without git, which lists the files.
need_checkout = @[ -e .git ] || { echo 'make $@: only a git checkout can be $(1)' >&2; exit 1; }
BUILD_NEEDS = cmake ninja:ninja-build g++ /usr/include/nlohmann/json.hpp:nlohmann-json3-dev

all:
	$(call need,$(BUILD_NEEDS))
	cmake --preset dev -DVORLIND_TESTS=OFF
	cmake --build --preset dev

test demo coverage mutants fuzz model soak cross ap bench:
	./run $@

# Only the tracked files.
SOURCES = $$(git ls-files '*.cpp' '*.h')
SCRIPTS = run .ci/run $$(git ls-files '*.sh' tools | grep -vx -e tools/heal -e tools/mutants -e tools/sequences) \
	$$(git grep -lE '^\#!/bin/sh' -- packaging tests/packaging/openwrt)

format:
	$(call need,clang-format git)
	$(call need_checkout,formatted)
	clang-format -i $(SOURCES)

check:
	$(call need,clang-format git shellcheck)
	$(call need_checkout,checked)
	clang-format --dry-run -Werror $(SOURCES)
	shellcheck $(SCRIPTS)

analyse:
	$(call need,$(BUILD_NEEDS) /usr/include/gtest/gtest.h:libgtest-dev run-clang-tidy:clang-tidy cppcheck)
	cmake --preset dev
	tools/analyse build

# Generated files that are committed: the record of the line, the same in every run, and a picture of
# the beacons on the air, different in every run.
docs:
	$(call need,$(BUILD_NEEDS) python3)
	@$(MAKE) --no-print-directory all
	tools/sandbox tools/sequences build >docs/controllers.md.new || { rm docs/controllers.md.new; exit 1; }
	mv docs/controllers.md.new docs/controllers.md
	tools/sandbox tools/demo "$(CURDIR)/build" ti-08 3 "$(CURDIR)/docs/live-view.svg"

install:
	$(call need,$(BUILD_NEEDS))
	cmake --preset release -DCMAKE_INSTALL_PREFIX="$(PREFIX)"
	cmake --build --preset release
	DESTDIR="$(DESTDIR)" cmake --install build-release

# The Debian packages, in build-release/.
package:
	$(call need,$(BUILD_NEEDS) dpkg-shlibdeps:dpkg-dev file)
	cmake --preset release -DCMAKE_INSTALL_PREFIX=/usr -DVORLIND_DEVICE_LIBS=
	cmake --build --preset release
	cpack --config build-release/CPackConfig.cmake -B build-release

# A release archive: the tracked files of the newest commit, always the same bytes.
VERSION = $$(sed -n 's/^project(vorlind VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
dist:
	$(call need,git)
	$(call need_checkout,packed)
	tools/dist build "$(VERSION)"

clean:
	rm -rf build build-*

.PHONY: all test demo package dist docs coverage mutants fuzz model soak cross ap bench format check analyse install clean
