# The front door. Each target installs what it needs, builds and runs; the presets are in CMakePresets.json.
.DEFAULT_GOAL := help
SECONDS ?= 60
PREFIX ?= /usr/local
DESTDIR ?=
FILTER ?= .

.PHONY: help deps build demo test bench asan tsan fuzz install check-style clean

help:
	@echo "make demo                 build, and run the main job on real words"
	@echo "make test                 build and run all tests"
	@echo "make bench [FILTER=re]    build and run the benchmarks"
	@echo "make asan | tsan          the tests under address+undefined / thread sanitizers"
	@echo "make fuzz [SECONDS=60]    every fuzz target for that long"
	@echo "make install [PREFIX=/usr/local] [DESTDIR=]"
	@echo "make check-style          clang-format and clang-tidy over the tree"

deps:
	@tools/install-deps

build: deps
	@cmake --preset release >/dev/null
	@cmake --build --preset release

demo: deps
	@cmake --preset release >/dev/null
	@cmake --build --preset release --target demo

test: build
	@ctest --preset release

bench: build
	@tools/run-benchmarks build/release/bench '$(FILTER)'

asan tsan: deps
	@cmake --preset $@ >/dev/null
	@cmake --build --preset $@
	@ctest --preset $@

fuzz: deps
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz
	@tools/run-fuzzers build/fuzz/fuzz $(SECONDS)

install: deps
	@cmake --preset release -DCMAKE_INSTALL_PREFIX=$(PREFIX) >/dev/null
	@cmake --build --preset release --target installed
	@DESTDIR=$(DESTDIR) cmake --install build/release

check-style: deps
	@cmake --preset asan >/dev/null
	@cmake --build --preset asan --target sorvanta
	@tools/check-style build/asan

clean:
	@rm -rf build
