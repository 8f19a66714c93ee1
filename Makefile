# The whole project from a terminal; `make help` lists what there is to do. Everything it makes lies in build/.
# The presets of CMakePresets.json do the work, so `cmake --preset linux-debug` and the like serve as well.

.PHONY: build help setup demo soak test bench sanitize format lint clean
.NOTPARALLEL:

sources = $(shell git ls-files '*.h' '*.c' '*.cpp')

build: build-linux-release build-win32-release ## builds the Linux and the 32-bit Windows library

help: ## prints this list
	@awk -F ':.*## ' '/^[a-z]+:.*## / { printf "  make %-10s %s\n", $$1, $$2 }' Makefile

setup: ## installs what all of this needs (Debian 12)
	@tools/setup.sh

demo: build ## renders a scene on Linux and Windows to WAV files and pictures in build/demo
	@tools/demo/run.sh

soak: build-linux-release ## plays for SECONDS=120, with OVERLOAD=1 too much, and looks for what shows after a while
	@build/linux-release/tools/soak/soak build/linux-release/libkalmarble/libKALMarble.so \
		$(or $(SECONDS),120) $(if $(OVERLOAD),overload)

test: test-linux-release test-win32-release ## runs every test natively and, under Wine, on the Windows build

bench: build-linux-bench build-win32-bench ## measures scenes, beside another renderer, and every kernel; results in build/bench
	@tools/bench.sh

sanitize: test-linux-asan test-linux-tsan ## runs the native tests under the address, undefined and thread sanitizers

format: setup ## formats the sources in place
	@clang-format-14 -i $(sources)

lint: build-linux-clang ## builds with Clang, then checks the format of all and, with clang-tidy, the habits of what ships
	@clang-format-14 --dry-run -Werror $(sources)
	@run-clang-tidy-14 -quiet -p build/linux-clang '/(Kal|libkalmarble|examples|tools)/.*\.c' >build/tidy.log 2>&1 || { cat build/tidy.log; exit 1; }

clean: ## removes everything that was built
	@[ ! -d build/wine ] || WINEPREFIX=$(CURDIR)/build/wine wineserver -w # or it writes its files anew
	@rm -rf build

build-%: setup
	@cmake --preset $* >/dev/null
	@cmake --build --preset $*

test-%: build-%
	@ctest --preset $*
