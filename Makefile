# The whole project from a terminal; `make help` lists what there is to do. Everything it makes lies in build/.
# The presets of CMakePresets.json do the work, so `cmake --preset linux-debug` and the like serve as well. Each target
# installs what it needs and no more: the groups named after `need` stand in tools/packages.txt.

.PHONY: build help setup demo abx play stage wheel docs dist soak test ports test-stage bench sanitize debug fuzz format lint lines clean
.NOTPARALLEL:

need = @tools/setup.sh
tools = demo kalrender kalhrtf play python# the groups of packages of all tools, which the tests run and the linters read

# $(call make,PRESET) configures and builds all of a preset, $(call make,PRESET,PART) what PRESET-PART names of it.
make = cmake --preset $(1) >/dev/null && cmake --build --preset $(1)$(addprefix -,$(2))
# $(call test,PRESET) builds and runs every test.
test = $(call make,$(1)) && ctest --preset $(1)

sources = $(shell git ls-files '*.h' '*.c' '*.cpp')

build: ## builds the Linux and the 32-bit Windows library
	$(need) linux windows
	@$(call make,linux,library)
	@$(call make,win32,library)

help: ## prints this list
	@awk -F ':.*## ' '/^[a-z-]+:.*## / { printf "  make %-10s %s\n", $$1, $$2 }' Makefile

setup: ## installs what all of this needs (Debian 12)
	$(need)

demo: ## renders a scene on Linux and Windows to WAV files and pictures in build/demo
	$(need) linux windows demo kalrender
	@$(call make,linux,demo)
	@tools/demo/first.sh
	@$(call make,win32,demo)
	@tools/demo/run.sh

abx: ## holds the scenes of the Windows build below -90 dB from those of the Linux build
	$(need) linux windows demo kalrender
	@$(call make,linux,demo)
	@$(call make,win32,demo)
	@tools/demo/abx.sh

play: ## plays a small game through the sound card for SECONDS=12
	$(need) linux play
	@$(call make,linux,play)
	@build/linux/examples/sdl_host $(addprefix /usr/share/sounds/alsa/,Front_Center.wav Noise.wav) $(or $(SECONDS),12)

stage: ## builds the stage, the engine as a page for the browser, and serves it to this machine at PORT=8060
	$(need) wasm tests
	@$(call make,wasm-release,package)
	@web/assemble.sh build/wasm-release/web/package build/stage
	@web/serve.mjs build/stage $(or $(PORT),8060)

wheel: ## makes the Python wheel in build/wheels and uses it where nothing else is
	$(need) linux python
	@tests/python/wheel.sh build/wheels

docs: ## makes the documents as pages in build/docs/html, and follows their links
	$(need) docs
	@tests/docs/links_test.py
	@tools/docs/make.sh

dist: docs ## makes the release in build/dist, reproducibly, and uses each archive as a new user would
	$(need) linux windows windows64 dist
	@$(call make,linux-dist)
	@$(call make,win32-dist)
	@$(call make,win64-dist)
	@tools/dist/make.sh
	@tests/dist/check.sh

soak: ## plays for SECONDS=120, with OVERLOAD=1 too much, and looks for what shows after a while
	$(need) linux
	@$(call make,linux,soak)
	@build/linux/tools/soak/soak build/linux/libkalmarble/libKALMarble.so \
		$(or $(SECONDS),120) $(if $(OVERLOAD),overload)

test: ## runs every test natively and, under Wine, on both Windows builds
	$(need) linux windows windows64 tests $(tools)
	@$(call test,linux-release)
	@$(call test,win32-release)
	@$(call test,win64-release)

ports: ## runs the units' tests on 64-bit ARM, in an emulator, and as WebAssembly, which is to sound as it does natively
	$(need) linux aarch64 wasm tests
	@$(call test,aarch64-release)
	@$(call test,wasm-release)
	@$(call make,linux-release,fingerprint)
	@tools/fingerprint/alike.sh

test-stage: ## checks the JavaScript of web/ and tests the engine and its package in Debian's Chromium
	$(need) linux wasm browser tests kalrender
	@$(call make,wasm-release,package)
	@$(call make,linux-release,stage)
	@web/assemble.sh build/wasm-release/web/package build/stage
	@tests/web/run.sh

bench: ## measures scenes, beside another renderer, and every kernel, in build/bench; BRIEF=1 only runs them, ONLY="busy latency" those
	$(need) linux windows bench
	@$(call make,linux-bench)
	@$(call make,win32-bench)
	@tools/bench.sh $(if $(BRIEF),brief) $(ONLY)

sanitize: ## runs the native tests under the address, undefined and thread sanitizers
	$(need) clang tests $(tools)
	@$(call test,linux-asan)
	@$(call test,linux-tsan)

debug: ## runs the native tests unoptimised, with the assertions of the standard library
	$(need) linux tests $(tools)
	@$(call test,linux-debug)

fuzz: ## lets the fuzzers look for inputs that break it, together, for SECONDS=60
	$(need) clang tests
	@$(call make,linux-fuzz)
	@tests/fuzz/run.sh $(or $(SECONDS),60)

format: ## formats the sources in place
	$(need) format
	@clang-format-14 -i $(sources)

lint: ## checks the format of all, scripts, includes, seams, thread tags and, by clang-tidy and Clang's warnings, what ships
	$(need) clang tests format lint $(tools)
	@clang-format-14 --dry-run -Werror $(sources)
	@shellcheck .ci/run $(shell git ls-files '*.sh')
	@tests/lint/lint_test.py
	@tools/lint/includes.py $(sources)
	@tools/lint/seams.py $(sources) $(shell git ls-files '*.S')
	@tools/lint/tags.py $(filter-out %Windows.h %Arm64.h %Wasm.h,$(shell git ls-files 'Kal/*.h' 'libkalmarble/*.h')) # one platform at a time
	@cmake --preset linux-clang >/dev/null
	@run-clang-tidy-14 -quiet -p build/linux-clang '^$(CURDIR)/(Kal|libkalmarble|examples|tools|python|web)/.*\.c' >build/tidy.log 2>&1 || { cat build/tidy.log; exit 1; }

lines: ## counts lines of code and the share of tests, which is to be a third at most
	$(need) lines
	@tools/lint/lines.sh

clean: ## removes everything that was built
	@for prefix in $(wildcard $(CURDIR)/build/wine*); do WINEPREFIX=$$prefix wineserver -w; done # or it writes its files anew
	@rm -rf build
