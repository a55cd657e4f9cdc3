# The two commands of a fresh Debian machine:
#   make test   installs what is missing, builds native + x86_64 + i686, runs every test
#   make demo   builds and shows the dialogs (under Xvfb with screenshots when headless)
# Everything is built under build/; the Wine prefix lives in build/x64/wineprefix.

BUILD    ?= build
JOBS     ?= $(shell nproc)
GENERATOR = -G "Unix Makefiles"

NATIVE = $(BUILD)/native
X64    = $(BUILD)/x64
I686   = $(BUILD)/i686

.PHONY: all deps native x64 i686 build test test-native test-windows demo format clean

all: build

deps:
	@tools/install-deps.sh

$(NATIVE)/CMakeCache.txt:
	cmake -S . -B $(NATIVE) $(GENERATOR) -DCMAKE_BUILD_TYPE=Debug

$(X64)/CMakeCache.txt:
	cmake -S . -B $(X64) $(GENERATOR) -DCMAKE_BUILD_TYPE=Release \
	    -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-x86_64-w64-mingw32.cmake

$(I686)/CMakeCache.txt:
	cmake -S . -B $(I686) $(GENERATOR) -DCMAKE_BUILD_TYPE=Release \
	    -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-i686-w64-mingw32.cmake

native: deps $(NATIVE)/CMakeCache.txt
	cmake --build $(NATIVE) -j $(JOBS)

x64: deps $(X64)/CMakeCache.txt
	cmake --build $(X64) -j $(JOBS)

i686: deps $(I686)/CMakeCache.txt
	cmake --build $(I686) -j $(JOBS)

build: native x64 i686

test: build
	@tools/run-tests.sh $(NATIVE) $(X64)

test-native: native
	@tools/run-tests.sh $(NATIVE)

test-windows: x64
	@tools/run-tests.sh "" $(X64)

demo: x64
	@tools/demo.sh $(X64) out

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD)
