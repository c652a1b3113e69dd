#!/usr/bin/env bash
# Installs the Debian packages that are missing, asking nothing. Arguments: "build" for building and running,
# "test" for the tests' tools as well.
set -euo pipefail

build_packages=(cmake ninja-build ccache g++ clang lld pkg-config qt6-base-dev qt6-base-dev-tools
    qt6-svg-dev qt6-qpa-plugins librapidxml-dev libcapstone-dev fonts-dejavu-core fontconfig libgl-dev
    libopengl-dev libvulkan-dev zlib1g-dev)
test_packages=(libgtest-dev libgmock-dev python3 qemu-system-arm gcc-arm-none-eabi libnewlib-arm-none-eabi
    gdb-multiarch libclang-rt-14-dev llvm clang-format-14)

packages=("${build_packages[@]}")
if [ "${1:-build}" = test ]; then
    packages+=("${test_packages[@]}")
fi

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$package")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    as_root=(sudo)
fi
echo "Installing: ${missing[*]}"
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
