# SPDX-License-Identifier: Apache-2.0
# The habitual front; cmake --preset dev and ./run do the work.

PREFIX ?= /usr/local

all:
	cmake --preset dev -DVORLIND_TESTS=OFF
	cmake --build --preset dev

test demo coverage mutants fuzz soak cross ap:
	./run $@

# Only the tracked files: what else lies around is nobody's business.
SOURCES = $$(git ls-files '*.cpp' '*.h')
SCRIPTS = run .ci/run $$(git ls-files '*.sh' tools | grep -v tools/mutants)

format:
	clang-format -i $(SOURCES)

check:
	clang-format --dry-run -Werror $(SOURCES)
	shellcheck $(SCRIPTS)

analyse:
	cmake --preset dev
	tools/analyse build

install:
	cmake --preset release -DCMAKE_INSTALL_PREFIX=$(PREFIX)
	cmake --build --preset release
	DESTDIR=$(DESTDIR) cmake --install build-release

clean:
	rm -rf build build-*

.PHONY: all test demo coverage mutants mutants fuzz soak cross ap format check analyse install clean
