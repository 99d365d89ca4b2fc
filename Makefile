# OviCam: the commands that people and continuous integration use. Each installs what it needs from Debian's packages.
#   make gallery   pictures of what the cameras see and their reference: build/gallery/index.html
#   make docs      the pages of the reference and of the gallery, in build/gallery
#   make check     builds everything and runs every test, on this machine and, for the shipped module, under Wine
#   make module    build/windows/OviCam.p, which the host loads, and build/native/OviCam.so for this machine

.PHONY: gallery docs check module packages

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
	ctest --preset native
	ctest --preset windows
	ctest --preset address
	ctest --preset thread
	ctest --preset fuzz
