# Short names for the usual tasks. The build itself is CMake's; see CMakePresets.json.

JOBS ?= 2
PREFIX ?= /usr/local
FUZZ_SECONDS ?= 60
# The interpreter that the Python module is built for.
PYTHON ?= /usr/bin/python3
# More for CMake when the tests are configured.
TEST_OPTIONS ?=
DEPENDENCIES := ./cmake/installDependencies.sh
SOURCE_DIRS := $(wildcard zqManipulator apps examples tests benchmarks fuzz python)
CXX_FILES = $(shell find $(SOURCE_DIRS) -name '*.h' -o -name '*.cpp')

.DEFAULT_GOAL := help
.PHONY: help run gallery test python asan tsan bench fuzz headers format format-check tidy docs install clean

help: ## Tell what there is to make
	@sed -n 's/^\([a-z-]*\):.*## /  make \1\t/p' $(MAKEFILE_LIST) | expand -t 23

run: ## Build zqsim and let a gripper grasp: table, plot, energies, contacts and replay in build/run
	@$(DEPENDENCIES)
	cmake --preset release
	cmake --build --preset release -j $(JOBS) --target zqsim
	@mkdir -p build/run
	./build/release/apps/zqsim run examples/models/grasp.xml --time 8 \
	   --inputs examples/models/grasp.csv --interpolation linear \
	   --out build/run/grasp.csv --plot build/run/grasp.svg --energy build/run/energies.csv \
	   --contacts build/run/contacts.csv --replay build/run/grasp.html
	@echo "Open build/run/grasp.html in a browser to watch it. Beside it are the table grasp.csv, its plot" \
	   "grasp.svg, energies.csv and contacts.csv"

gallery: ## Run all example models: docs/gallery.html shows their replays side by side
	@$(DEPENDENCIES)
	cmake --preset release
	cmake --build --preset release -j $(JOBS) --target zqsim
	./cmake/gallery.sh build/release/apps/zqsim build/gallery docs/gallery.html
	@echo "Open docs/gallery.html in a browser"

test: ## Build everything and run all tests
	@$(DEPENDENCIES)
	cmake --preset release $(TEST_OPTIONS)
	cmake --build --preset release -j $(JOBS)
	ctest --preset release -j $(JOBS)

python: ## Build the Python module, and test it with pytest and mypy
	@$(DEPENDENCIES) python3-dev python3-matplotlib python3-numpy python3-pip \
	   python3-pytest pybind11-dev mypy
	cmake --preset release -D ZQ_BUILD_PYTHON=ON -D Python3_EXECUTABLE=$(PYTHON) $(TEST_OPTIONS)
	cmake --build --preset release -j $(JOBS) --target zqPython zqsim
	PYTHONPATH=build/release/python $(PYTHON) -m pytest -q -p no:cacheprovider

asan: ## Run the tests under AddressSanitizer and UndefinedBehaviorSanitizer
	@$(DEPENDENCIES)
	cmake --preset asan
	cmake --build --preset asan -j $(JOBS)
	ctest --preset asan -j $(JOBS)

tsan: ## Run the tests of threads under ThreadSanitizer
	@$(DEPENDENCIES)
	cmake --preset tsan
	cmake --build --preset tsan -j $(JOBS)
	ctest --preset tsan

bench: ## Run the benchmarks, beside the peers that are installed
	@$(DEPENDENCIES) libbenchmark-dev
	cmake --preset release -D ZQ_BUILD_BENCHMARKS=ON
	cmake --build --preset release -j $(JOBS) --target benchmarks
	@set -e; for benchmark in build/release/benchmarks/*Benchmark; do "$$benchmark"; done

fuzz: ## Run each fuzz target for FUZZ_SECONDS (60)
	@$(DEPENDENCIES) clang
	cmake --preset fuzz
	cmake --build --preset fuzz -j $(JOBS)
	@set -e; for target in Reader:fuzz/corpus/reader StatedSystem:examples/models \
	   BinaryState:fuzz/corpus/binaryState Checkpoint:fuzz/corpus/checkpoint Urdf:fuzz/corpus/urdf; do \
	   name=$${target%%:*}; found=build/fuzz/corpus/$$name; mkdir -p $$found; \
	   ./build/fuzz/fuzz/fuzz$$name -max_total_time=$(FUZZ_SECONDS) $$found $${target#*:}; done

headers: ## Check that each public header compiles by itself
	@$(DEPENDENCIES)
	cmake --preset release
	cmake --build --preset release -j $(JOBS) --target zqHeaders

format: ## Lay out all C++ with clang-format
	@$(DEPENDENCIES) clang-format
	clang-format -i $(CXX_FILES)

format-check: ## Tell what clang-format would change
	@$(DEPENDENCIES) clang-format
	clang-format --dry-run --Werror $(CXX_FILES)

tidy: ## Check the library, applications and examples with clang-tidy
	@$(DEPENDENCIES) clang-tidy
	cmake --preset release
	run-clang-tidy -quiet -p build/release -j $(JOBS) '^$(CURDIR)/(zqManipulator|apps|examples)/'

docs: ## Write the reference to build/docs/html
	@$(DEPENDENCIES) doxygen
	@mkdir -p build/docs
	doxygen docs/Doxyfile

install: ## Install below PREFIX (/usr/local)
	@$(DEPENDENCIES)
	cmake --preset release
	cmake --build --preset release -j $(JOBS) --target zqInstallable
	cmake --install build/release --prefix $(PREFIX)

clean: ## Remove everything built
	rm -rf build
