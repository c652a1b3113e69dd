#!/bin/sh
# Rebuilds demo.elf from src/. Paths in the debug information are relative to this folder, so that the result is the
# same wherever the project lies.
set -eu
cd "$(dirname "$0")"
Prefix="${CROSS_COMPILE:-arm-none-eabi-}"
Objects="$(mktemp -d)"
trap 'rm -rf "$Objects"' EXIT
for Source in src/*.c; do
    "${Prefix}gcc" -mcpu=cortex-m4 -mthumb -mfloat-abi=soft -std=c11 -ffreestanding -Wall -Wextra \
        -g -gdwarf-4 -O0 -fno-builtin "-ffile-prefix-map=$(pwd)=." \
        "-ffile-prefix-map=$("${Prefix}gcc" -print-file-name=include)=gcc" \
        -gno-record-gcc-switches \
        -c "$Source" -o "$Objects/$(basename "$Source" .c).o"
done
"${Prefix}gcc" -mcpu=cortex-m4 -mthumb -mfloat-abi=soft -nostdlib -Wl,--build-id=none -T src/demo.ld \
    "$Objects"/*.o -o demo.elf
"${Prefix}size" demo.elf
