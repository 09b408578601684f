# Entry points: `make demo`, `make test`, `make bench`, `make arm`, `make arm-system`, `make fuzz`,
# `make memcheck`.
# Each installs what is missing (as root, through apt-get), configures and builds.

BUILD      ?= build
ASAN_BUILD ?= build-asan
JOBS       ?= $(shell nproc 2>/dev/null || echo 2)
# Items the demo collects in the simulated router, one document each.
DEMO_ITEMS ?= eventtype4 routerInfo routerConfig connectedDevice vumba mediaDevice cpu memory eventtype0 firmware eventtype5 eventtype7 eventtype10 wifiScanResult wifiConnectEvent all
FIXTURE    ?= sim/router
ARM_BUILD  ?= build-armhf
FUZZ_BUILD   ?= build-fuzz
FUZZ_SECONDS ?= 60
# Empty: every target of fuzz/.
FUZZ_TARGETS ?=

PACKAGES := cmake g++ make pkg-config libjson-c-dev libcjson-dev libgtest-dev \
            libgmock-dev iproute2 util-linux python3-jsonschema busybox-static
# The router's 32-bit ARM: Debian's cross compiler, the armhf libraries and
# the user-mode emulator that runs the armhf tests on this machine.
ARM_PACKAGES := g++-arm-linux-gnueabihf libjson-c-dev:armhf libcjson-dev:armhf \
                libgtest-dev:armhf libgmock-dev:armhf qemu-user

.PHONY: all deps deps-arm deps-arm-system configure build demo golden test test-plain test-asan arm \
        arm-system bench fuzz memcheck clean

all: build

# $(call install_missing,PACKAGES,TOOLS): installs the packages not yet
# installed. A package index that fails to refresh (a mirror in the middle of
# a sync) does not stop the install: the indexes that did refresh, or the
# ones already on the machine, usually have every package; apt-get install
# says so when one is really missing. A name without ":arch" means the
# machine's own architecture. Without dpkg only the tools are looked for.
# A third argument holds extra apt-get install options.
define install_missing
	@if ! command -v dpkg >/dev/null 2>&1; then \
	    for t in $(2); do \
	        command -v $$t >/dev/null 2>&1 || { \
	            echo "Missing tool '$$t'. Install: $(1) (Debian names)."; exit 1; }; \
	    done; exit 0; \
	fi; \
	missing=""; arch=$$(dpkg --print-architecture); \
	for p in $(1); do \
	    case $$p in *:*) want=$${p#*:} ;; *) want=$$arch ;; esac; \
	    dpkg-query -W -f='$${Status} $${Architecture}\n' $$p 2>/dev/null | \
	        grep -Eqx "install ok installed ($$want|all)" || missing="$$missing $$p"; \
	done; \
	[ -z "$$missing" ] && exit 0; \
	if [ "$$(id -u)" -eq 0 ] && command -v apt-get >/dev/null 2>&1; then \
	    echo "Installing:$$missing"; \
	    export DEBIAN_FRONTEND=noninteractive; \
	    case "$$missing" in *:armhf*) \
	        dpkg --print-foreign-architectures | grep -qx armhf || dpkg --add-architecture armhf ;; \
	    esac; \
	    apt-get -o DPkg::Lock::Timeout=300 update -qq || \
	        echo "Some package indexes could not be refreshed; installing from the others."; \
	    apt-get -o DPkg::Lock::Timeout=300 install -y -qq $(3) $$missing; \
	else \
	    echo "Missing packages:$$missing"; \
	    echo "Install them first, e.g.: sudo apt-get install -y$$missing"; \
	    exit 1; \
	fi
endef

deps:
	$(call install_missing,$(PACKAGES),cmake g++ pkg-config ip unshare)

deps-arm: deps
	$(call install_missing,$(ARM_PACKAGES),arm-linux-gnueabihf-g++ qemu-arm)

configure: deps
	cmake -S . -B $(BUILD)

build: configure
	cmake --build $(BUILD) -j$(JOBS)

# Each item runs in its own simulated router; its /tmp is kept in
# $(BUILD)/demo/<item>/tmp for a look afterwards.
demo: build
	@for item in $(DEMO_ITEMS); do \
	    out=$(BUILD)/demo/$$item; \
	    tools/router-sim --fixture $(FIXTURE) --bin $(BUILD) --out $$out -- \
	        data_collector $$item; rc=$$?; \
	    if [ ! -f $$out/status ]; then echo "the simulated router could not run (status $$rc)"; exit 1; fi; \
	    echo "=== data_collector $$item (exit status $$(cat $$out/status))"; \
	    [ ! -s $$out/stdout ] || { echo "--- stdout"; cat $$out/stdout; }; \
	    [ ! -s $$out/stderr ] || { echo "--- stderr"; cat $$out/stderr; }; \
	    doc=$$out/tmp/aws_json_$$item; \
	    if [ -f $$doc ]; then \
	        echo "--- written to /tmp/aws_json_$$item in the router (copy: $$doc)"; \
	        cat $$doc; echo; \
	    else \
	        echo "--- no /tmp/aws_json_$$item was written"; \
	    fi; \
	done
	@echo "Each document's reference copy: docs/golden/<item>.json; its members: docs/items/<item>.md"

# Rewrites docs/golden from the sample router (review the diff before committing).
golden: build
	tools/golden --build $(BUILD) --update

test: test-plain test-asan

test-plain: build
	ctest --test-dir $(BUILD) --output-on-failure -j$(JOBS)

test-asan: deps
	cmake -S . -B $(ASAN_BUILD) -DDC_SANITIZE=ON
	cmake --build $(ASAN_BUILD) -j$(JOBS)
	ASAN_OPTIONS=$${ASAN_OPTIONS:-detect_leaks=1} \
	UBSAN_OPTIONS=$${UBSAN_OPTIONS:-print_stacktrace=1} \
	    ctest --test-dir $(ASAN_BUILD) --output-on-failure -j$(JOBS)

# The armhf build, every test run against the armhf binaries under qemu-arm,
# then the armhf package in $(ARM_BUILD)/package. Apart from `make test` (it
# doubles the build time); .ci/run runs both.
arm: deps-arm
	cmake -S . -B $(ARM_BUILD) -DCMAKE_TOOLCHAIN_FILE=cmake/armhf.cmake
	cmake --build $(ARM_BUILD) -j$(JOBS)
	ctest --test-dir $(ARM_BUILD) --output-on-failure -j$(JOBS)
	cd $(ARM_BUILD) && cpack -G DEB -B package
	@if $(MAKE) --no-print-directory deps-arm-system; then \
	    $(MAKE) --no-print-directory arm-system ARM_SYSTEM_ARGS=--optional; \
	else echo "qemu-system-arm could not be installed: the emulated router was not run"; fi

# The armhf collector on an emulated ARM router (tools/arm-system): Debian's
# armhf kernel and busybox under qemu-system-arm, with the sample router's
# files; every item runs and is measured inside it. Its kernel and busybox
# are fetched (apt-get download) into $(ARM_BUILD)/system on first use.
ARM_SYSTEM_ARGS ?=
deps-arm-system: deps-arm
	$(call install_missing,qemu-system-arm,qemu-system-arm,--no-install-recommends)

arm-system: deps-arm-system
	cmake -S . -B $(ARM_BUILD) -DCMAKE_TOOLCHAIN_FILE=cmake/armhf.cmake
	cmake --build $(ARM_BUILD) -j$(JOBS) --target data_collector config dc_floor
	tools/arm-system-test
	tools/arm-system --build $(ARM_BUILD) $(ARM_SYSTEM_ARGS)

bench: build
	$(BUILD)/bench_merge
	$(BUILD)/bench_spawn

# Builds the libFuzzer targets with clang and runs each for FUZZ_SECONDS over
# its corpus in $(FUZZ_BUILD)/corpus (seeded from the fixtures).
fuzz: deps
	$(call install_missing,clang,clang++)
	cmake -S . -B $(FUZZ_BUILD) -DDC_FUZZ=ON -DDC_TESTS=OFF \
	    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++
	cmake --build $(FUZZ_BUILD) -j$(JOBS)
	fuzz/make-corpus $(FUZZ_BUILD)/corpus
	fuzz/run $(FUZZ_BUILD) $(FUZZ_SECONDS) $(FUZZ_TARGETS)

# The unit tests and the simulated-router tests under valgrind memcheck.
memcheck: build
	$(call install_missing,valgrind,valgrind)
	tools/memcheck $(BUILD) $(JOBS)

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(ARM_BUILD) $(FUZZ_BUILD)
