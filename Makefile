# Entry points: `make demo`, `make test`, `make bench`, `make fuzz`, `make memcheck`.
# Each installs what is missing (as root, through apt-get), configures and builds.

BUILD      ?= build
ASAN_BUILD ?= build-asan
JOBS       ?= $(shell nproc 2>/dev/null || echo 2)
# Items the demo collects in the simulated router, one document each.
DEMO_ITEMS ?= eventtype4 routerInfo routerConfig connectedDevice vumba mediaDevice cpu memory eventtype0 firmware eventtype5 eventtype7 eventtype10 wifiScanResult wifiConnectEvent all
FIXTURE    ?= sim/router
FUZZ_BUILD   ?= build-fuzz
FUZZ_SECONDS ?= 60
# Empty: every target of fuzz/.
FUZZ_TARGETS ?=

PACKAGES := cmake g++ make pkg-config libjson-c-dev libcjson-dev libgtest-dev \
            libgmock-dev iproute2 util-linux

.PHONY: all deps configure build demo test test-plain test-asan bench fuzz memcheck clean

all: build

deps:
	@if ! command -v dpkg >/dev/null 2>&1; then \
	    for t in cmake g++ pkg-config ip unshare; do \
	        command -v $$t >/dev/null 2>&1 || { \
	            echo "Missing tool '$$t'. Install: $(PACKAGES) (Debian names)."; exit 1; }; \
	    done; exit 0; \
	fi; \
	missing=""; \
	for p in $(PACKAGES); do \
	    dpkg -s $$p 2>/dev/null | grep -q '^Status: install ok installed' || missing="$$missing $$p"; \
	done; \
	[ -z "$$missing" ] && exit 0; \
	if [ "$$(id -u)" -eq 0 ] && command -v apt-get >/dev/null 2>&1; then \
	    echo "Installing:$$missing"; \
	    export DEBIAN_FRONTEND=noninteractive; \
	    apt-get update -qq && apt-get install -y -qq $$missing; \
	else \
	    echo "Missing packages:$$missing"; \
	    echo "Install them first, e.g.: sudo apt-get install -y$$missing"; \
	    exit 1; \
	fi

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

test: test-plain test-asan

test-plain: build
	ctest --test-dir $(BUILD) --output-on-failure -j$(JOBS)

test-asan: deps
	cmake -S . -B $(ASAN_BUILD) -DDC_SANITIZE=ON
	cmake --build $(ASAN_BUILD) -j$(JOBS)
	ASAN_OPTIONS=$${ASAN_OPTIONS:-detect_leaks=1} \
	UBSAN_OPTIONS=$${UBSAN_OPTIONS:-print_stacktrace=1} \
	    ctest --test-dir $(ASAN_BUILD) --output-on-failure -j$(JOBS)

bench: build
	@if [ -x $(BUILD)/bench_merge ]; then $(BUILD)/bench_merge; \
	else echo "no benchmark built (bench/*.cpp is empty)"; fi

# Installs one Debian package when its command is missing (as root), else names it.
need = @command -v $(1) >/dev/null 2>&1 || { \
	    if [ "$$(id -u)" -eq 0 ] && command -v apt-get >/dev/null 2>&1; then \
	        DEBIAN_FRONTEND=noninteractive apt-get install -y -qq $(2); \
	    else echo "Missing package: $(2) (sudo apt-get install -y $(2))"; exit 1; fi; }

# Builds the libFuzzer targets with clang and runs each for FUZZ_SECONDS over
# its corpus in $(FUZZ_BUILD)/corpus (seeded from the fixtures).
fuzz: deps
	$(call need,clang++,clang)
	cmake -S . -B $(FUZZ_BUILD) -DDC_FUZZ=ON -DDC_TESTS=OFF \
	    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++
	cmake --build $(FUZZ_BUILD) -j$(JOBS)
	fuzz/make-corpus $(FUZZ_BUILD)/corpus
	fuzz/run $(FUZZ_BUILD) $(FUZZ_SECONDS) $(FUZZ_TARGETS)

# The unit tests and the simulated-router tests under valgrind memcheck.
memcheck: build
	$(call need,valgrind,valgrind)
	tools/memcheck $(BUILD) $(JOBS)

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(FUZZ_BUILD)
