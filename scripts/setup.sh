#!/usr/bin/env bash
# Installs the Debian packages that the named tools come from, where the tools are missing.
#   scripts/setup.sh build    a compiler, CMake and Ninja, and the headers that ovpatchctl is built with
#   scripts/setup.sh check    the same, GoogleTest and clang-format
#   scripts/setup.sh processors   the compilers for other processors and what runs their programs here
set -euo pipefail

packages=()
need() {
  local tool=$1 package=$2
  command -v "$tool" >/dev/null 2>&1 || packages+=("$package")
}

need g++ g++
need cmake cmake
need ninja ninja-build
[ -e /usr/include/CLI/CLI.hpp ] || packages+=(libcli11-dev)
[ -e /usr/include/nlohmann/json.hpp ] || packages+=(nlohmann-json3-dev)
if [ "${1:-build}" = check ]; then
  need git git
  need clang-format clang-format
  need clang-tidy clang-tidy
  need python3 python3
  need pkg-config pkgconf
  need dpkg-shlibdeps dpkg-dev
  need file file
  [ -e /usr/include/gtest/gtest.h ] || packages+=(libgtest-dev)
fi
if [ "${1:-build}" = processors ]; then
  for processor in arm-linux-gnueabihf i686-linux-gnu s390x-linux-gnu; do need $processor-g++ g++-$processor; done
  need qemu-arm qemu-user
  need python3 python3
  [ -e /lib/ld-linux.so.2 ] || packages+=(libc6-i386)
  [ -e /usr/lib32/libstdc++.so.6 ] || packages+=(lib32stdc++6)
  [ -e /usr/src/googletest/CMakeLists.txt ] || packages+=(googletest)
fi
[ ${#packages[@]} -eq 0 ] && exit 0

if ! command -v apt-get >/dev/null 2>&1; then
  echo "These packages (Debian's names) have to be installed first: ${packages[*]}" >&2
  exit 1
fi
root=()
[ "$(id -u)" -eq 0 ] || root=(sudo)
echo "Installing ${packages[*]}"
"${root[@]}" apt-get update -qq
"${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${packages[@]}" >/dev/null
