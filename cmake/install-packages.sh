#!/bin/sh
# Installs what the build, the pictures and the tests need from Debian's packages, and nothing that is there already.
# With the argument "lint", the tools of `make lint` and `make format` instead.
set -eu
packages="make ninja-build cmake g++ g++-mingw-w64-x86-64-posix g++-mingw-w64-x86-64-win32 wine wine64 googletest libgtest-dev libcli11-dev
          libembree-dev libtbb-dev libopenimageio-dev openimageio-tools libopenexr-dev openexr libpng-dev libassimp-dev libcairo2-dev
          pkg-config chromium chromium-driver util-linux nlohmann-json3-dev libcereal-dev libcpp-httplib-dev libnanoflann-dev
          libimage-exiftool-perl python3-jinja2 python3-pil python3-selenium python3-tqdm pandoc
          clang lld llvm libclang-rt-14-dev python3"
[ "${1:-}" != lint ] || packages="clang-format-16 clang-tidy pyflakes3 shellcheck"
set --
for package in $packages; do
  status=$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)
  [ "$status" = "install ok installed" ] || set -- "$@" "$package"
done
[ $# -gt 0 ] || exit 0
echo "Installing: $*"
sudo=""
[ "$(id -u)" = 0 ] || sudo=sudo
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "$@"
