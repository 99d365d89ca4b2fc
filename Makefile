# OviCam: the commands that people and continuous integration use. Each installs what it needs from Debian's packages.
#   make gallery   pictures of what the cameras see and their reference: build/gallery/index.html
#   make docs      the pages of the reference and of the gallery, in build/gallery
#   make check     builds everything and runs every test, on this machine and, for the shipped module, under Wine
#   make package   what users get: build/package/OviCam-VERSION-win64.zip, with the module, its reference and samples
#   make bench     how fast the cameras and the renderer are, on this machine and under Wine
#   make lint      checks the formatting and reads the code with clang-tidy, the scripts with shellcheck and pyflakes
#   make format    formats the C++
#   make module    build/windows/OviCam.p, which the host loads, and build/native/OviCam.so for this machine

.PHONY: gallery docs package check bench lint format module packages lint-packages

# What one command builds, a later one need not install again.
packages:
	@cmake/install-packages.sh

module: packages
	cmake --preset native
	cmake --preset windows
	cmake --build --preset native --target ovicam_module
	cmake --build --preset windows --target ovicam_module import_libraries

gallery: module
	cmake --build --preset native --target ovicam
	cmake --build --preset windows --target ovicam-ray-service
	samples/render_gallery.py
	docs/site/make_pages.py

docs: module
	cmake --build --preset native --target ovicam
	cmake --build --preset windows --target ovicam-ray-service
	docs/site/make_pages.py

package: gallery
	cmake/make_package.py

check: packages
	cmake --preset native
	cmake --preset windows
	cmake --preset address
	cmake --preset thread
	cmake --preset fuzz
	cmake --build --preset native
	cmake --build --preset windows
	cmake --build --preset address
	cmake --build --preset thread --target thread_tests
	cmake --build --preset fuzz
	ctest --preset native --parallel 2
	ctest --preset windows --parallel 2
	ctest --preset address --parallel 2
	ctest --preset thread
	ctest --preset fuzz

bench: module
	cmake --build --preset native --target camera_bench baking_bench renderer_bench
	cmake --build --preset windows --target camera_bench baking_bench ovicam-ray-service
	build/native/camera_bench build/native/OviCam.so
	build/native/baking_bench build/native/OviCam.so
	cmake/run-wine.sh build/windows/camera_bench.exe build/windows/OviCam.p
	cmake/run-wine.sh build/windows/baking_bench.exe build/windows/OviCam.p
	build/native/renderer_bench samples/plaza.lws Panorama build/native/OviCam.so build/windows/OviCam.p

cpp_files = $$(git ls-files '*.c' '*.cpp' '*.h' '*.inc')

lint-packages:
	@cmake/install-packages.sh lint

format: lint-packages
	clang-format -i $(cpp_files)

lint: packages lint-packages
	shellcheck .ci/run $$(git ls-files '*.sh')
	pyflakes3 $$(git ls-files '*.py')
	cmake/check_layout.py
	clang-format --dry-run -Werror $(cpp_files)
	cmake --preset lint
	run-clang-tidy -quiet -j 2 -p build/lint '\.cpp$$'
