# The two commands a newcomer needs are `make demo` and `make test`; the rest serve CI and development.
.PHONY: deps demo test build install sanitize fuzz-smoke bench format format-check check-macos \
        check-layering check-plain-build app release mac-verify artwork clean

JOBS ?= $(shell nproc 2>/dev/null || sysctl -n hw.ncpu 2>/dev/null || echo 2)

deps:
	@scripts/install-deps

build: deps
	@cmake --preset debug >/dev/null
	@cmake --build --preset debug -j $(JOBS)

demo: build
	@scripts/demo build/debug/tools/gaugely/gaugely

test: build
	@ctest --preset debug -j $(JOBS)

# `make install PREFIX=~/.local`: gaugely with its manual page, completions and user unit. A "~"
# that the shell left alone (zsh does, after "=") is the home folder all the same.
PREFIX ?= /usr/local
install: deps
	@cmake -S . -B build/install -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF \
	       -DGAUGELY_BENCH=OFF >/dev/null
	@cmake --build build/install -j $(JOBS)
	@cmake --install build/install --prefix "$(patsubst ~/%,$(HOME)/%,$(PREFIX))"

sanitize: deps
	@cmake --preset asan >/dev/null
	@cmake --build --preset asan -j $(JOBS)
	@ctest --preset asan -j $(JOBS)

fuzz-smoke: deps
	@scripts/fuzz-smoke

bench: deps
	@cmake --preset release >/dev/null
	@cmake --build --preset release -j $(JOBS) --target gaugely_bench
	@build/release/bench/gaugely_bench

format:
	@git ls-files '*.h' '*.cpp' '*.mm' | xargs clang-format -i

format-check:
	@git ls-files '*.h' '*.cpp' '*.mm' | xargs clang-format --dry-run --Werror

check-macos:
	@scripts/check-macos

check-layering:
	@scripts/check-layering
	@scripts/check-layering --self-test

check-plain-build: deps
	@scripts/check-plain-build

# On a Mac: build/app/Gaugely.app, and the notarized zip (see README).
app: deps
	@scripts/make-app

release: deps
	@scripts/make-release

# On a Mac: builds the app and a copy that checks, from inside, what only a Mac can confirm;
# writes build/mac-verify/report.md (see README). Anywhere: scripts/mac-verify --dry-run.
mac-verify: deps
	@scripts/mac-verify

# Redraws the committed bitmaps from Meterlane/App/Artwork after a drawing changes.
artwork:
	@scripts/make-artwork

clean:
	@rm -rf build
