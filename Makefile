# Entry points: `make demo`, `make test`, `make bench`.
# Each installs what is missing (as root, through apt-get), configures and builds.

BUILD      ?= build
ASAN_BUILD ?= build-asan
JOBS       ?= $(shell nproc 2>/dev/null || echo 2)
# Items the demo collects in the simulated router, one document each.
DEMO_ITEMS ?= eventtype4 routerInfo routerConfig connectedDevice vumba mediaDevice cpu memory eventtype0 firmware eventtype5 eventtype7 eventtype10 wifiScanResult wifiConnectEvent all
FIXTURE    ?= sim/router

PACKAGES := cmake g++ make pkg-config libjson-c-dev libcjson-dev libgtest-dev \
            libgmock-dev iproute2 util-linux python3-jsonschema

.PHONY: all deps configure build demo golden test test-plain test-asan bench clean

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

bench: build
	@if [ -x $(BUILD)/bench_merge ]; then $(BUILD)/bench_merge; \
	else echo "no benchmark built (bench/*.cpp is empty)"; fi

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
