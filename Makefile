# Thin wrapper around CMake; the build folder is build/.
BUILD := build
JOBS  ?= $(shell nproc)

.PHONY: all deps configure build demo test package clean

all: build

deps:
	scripts/install-deps

configure: deps
	@if [ -f $(BUILD)/CMakeCache.txt ]; then cmake -S . -B $(BUILD); \
	 else cmake -S . -B $(BUILD) -G Ninja -DTB_WERROR=ON; fi

build: configure
	cmake --build $(BUILD) -j $(JOBS)

demo: build
	scripts/demo $(BUILD)

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

# A Debian package of the installed program in build/.
package: build
	cd $(BUILD) && cpack -G DEB

clean:
	rm -rf $(BUILD)
