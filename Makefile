# OviCam: the commands that people and continuous integration use. Each installs what it needs from Debian's packages.
#   make gallery   pictures of what the cameras see and their reference: build/gallery/index.html
#   make docs      the pages of the reference and of the gallery, in build/gallery
#   make recording docs/view.webp, the page of `ovicam view` in use, which the README shows
#   make check     builds and runs every test, on this machine with sanitizers and, for the shipped module, under Wine
#   make package   what users get: build/package/OviCam-VERSION-win64.zip, with the module, its reference and samples
#   make tool-package   the tool for other Debian machines: build/package/ovicam-VERSION-linux-x86_64.tar.gz
#   make fuzz      feeds random input to every reader, FUZZ_SECONDS (600) each; what makes one fail is in build/address/tests/fuzz
#   make soak      renders thousands of frames through every camera, and watches memory and handles
#   make mutants   makes small faults in the module's sources and counts those that no test notices
#   make bench     how fast the cameras and the renderer are, on this machine and under Wine: docs/performance.md;
#                  AGAINST=MODULE measures another module in turns with it
#   make lint      checks the formatting and reads the code with clang-tidy, the scripts with shellcheck and pyflakes
#   make format    formats the C++
#   make module    build/windows/OviCam.p, which the host loads, and build/native/OviCam.so for this machine

.PHONY: gallery docs configured programs recording package tool-package check bench fuzz soak mutants lint format module packages lint-packages

# What one command builds, a later one need not install again.
packages:
	@cmake/install-packages.sh

configured: packages
	cmake --preset native
	cmake --preset windows

module: configured
	cmake --build --preset native --target ovicam_module
	cmake --build --preset windows --target ovicam_module import_libraries

gallery: programs
	samples/render_gallery.py
	docs/site/make_pages.py

docs: programs
	docs/site/make_pages.py

recording: programs
	samples/record_view.py

# The module and what renders through it.
programs: configured
	cmake --build --preset native --target ovicam_module ovicam
	cmake --build --preset windows --target ovicam_module import_libraries ovicam-ray-service

package: gallery
	cmake/make_package.py

tool-package: module
	cmake --build --preset native --target ovicam ovicam-ray-service
	cmake --build --preset windows --target ovicam-ray-service ovicam-validate-runner
	cmake/make_tool_package.py

checked = windows native address thread
.PHONY: $(checked:%=build-%) $(checked:%=test-%)

# Two builds at a time, each with its tests behind it: where one waits for a link, for Wine or for a browser, the other has the
# cores.
check: packages
	@$(MAKE) --no-print-directory --jobs 2 $(checked:%=test-%)

# Of the native build what is not tested with the sanitizers as well; of the one for threads what has several. Wine is set up
# here: it says so, which the first test would take for what the tool says.
$(checked:%=build-%): build-%:
	$(if $(filter windows,$*),cmake/run-wine.sh cmd /c exit)
	cmake --preset $*
	NINJA_STATUS='$* [%f/%t] ' cmake --build --preset $* --parallel $$(nproc) $(if $(filter native thread,$*),--target $*_tests)

$(checked:%=test-%): test-%: build-%
	ctest --preset $* --parallel $$(($$(nproc) + 1)) $(if $(filter native,$*),--label-regex native)

# Some of them take the shipped module.
test-native: build-windows

bench: module
	cmake --build --preset native --target camera_bench baking_bench renderer_bench reprojection_bench
	cmake --build --preset windows --target camera_bench baking_bench ovicam-ray-service
	bench/run_bench.py $(if $(AGAINST),--against $(AGAINST))

FUZZ_SECONDS ?= 600

fuzz: packages
	cmake --preset address -DOVICAM_FUZZ_SECONDS=$(FUZZ_SECONDS)
	cmake --build --preset address --target fuzzers
	ctest --preset address --label-regex fuzz --parallel $$(nproc) --timeout $$(($(FUZZ_SECONDS) + 600))
	cmake --preset address -DOVICAM_FUZZ_SECONDS=20

soak: module
	cmake --build --preset native --target camera_soak
	build/native/camera_soak build/native/OviCam.so

mutants: packages
	tests/mutants/run_mutants.py $(MUTANTS)

cpp_files = $$(git ls-files '*.c' '*.cpp' '*.h' '*.inc')

lint-packages:
	@cmake/install-packages.sh lint

format: lint-packages
	clang-format-16 -i $(cpp_files)

lint: packages lint-packages
	shellcheck .ci/run $$(git ls-files '*.sh')
	pyflakes3 $$(git ls-files '*.py')
	cmake/check_layout.py
	clang-format-16 --dry-run -Werror $(cpp_files)
	cmake --preset lint
	run-clang-tidy -quiet -j 2 -p build/lint '\.cpp$$'
