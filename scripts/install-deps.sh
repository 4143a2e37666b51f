#!/usr/bin/env bash
# Installs every Debian package that building, testing, benchmarking and running
# VellXml needs. Safe to run again: it only calls apt-get when something is missing.
set -euo pipefail

packages=(
  # toolchain
  g++ gcc make cmake ninja-build pkg-config git
  clang-14 libclang-rt-14-dev clang-format clang-tidy
  # libraries
  qt6-base-dev qtbase5-dev libssl-dev openssl libexpat1-dev libpugixml-dev libedit-dev
  # tests and benchmarks
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  # the HTML documentation's browser test: Chromium, and node with npm for playwright-core
  chromium nodejs npm
  # checks of the generated files: VHDL analysis, 32-bit C layout checks, objcopy for assembled values
  ghdl libc6-dev-i386 lib32gcc-12-dev binutils
  # CMSIS-SVD exports are validated against the schema
  libxml2-utils
  # a real GDB server (QEMU's emulated micro:bit) and firmware for it
  qemu-system-arm gcc-arm-none-eabi libnewlib-arm-none-eabi
)

missing=()
for p in "${packages[@]}"; do
  # A Node.js from another source (with its own npm) serves as well as Debian's packages.
  case "$p" in
    nodejs) command -v node >/dev/null && continue ;;
    npm) command -v npm >/dev/null && continue ;;
  esac
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all ${#packages[@]} packages present"
  exit 0
fi

sudo=()
if [ "$(id -u)" -ne 0 ]; then
  sudo=(sudo)
fi

echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -q
"${sudo[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
