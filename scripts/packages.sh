#!/usr/bin/env bash
# SPDX-FileCopyrightText: The qxutils authors
# SPDX-License-Identifier: Apache-2.0
#
# Sourced by the other scripts: `need GROUP...` installs what is missing of these groups of Debian packages.

declare -A PACKAGES=(
  [abi]="abigail-tools g++-12"
  [bench]="libbenchmark-dev libboost-dev libgsl-dev python3"
  [build]="g++ cmake make"
  [cluster]="iproute2 util-linux"
  [compilers]="clang-19 g++-11 g++-12 g++-12-aarch64-linux-gnu lld-14 lld-19 llvm-14 llvm-19 qemu-user"
  [coverage]="gcovr"
  [docs]="doxygen graphviz python3"
  [examples]="libcli11-dev libcsv-dev libfmt-dev libzstd-dev nlohmann-json3-dev zlib1g-dev"
  [mpi]="libopenmpi-dev openmpi-bin"
  [pages]="graphviz python3 xz-utils zstd"
  [licence]="reuse"
  [peers]="python3 python3-pandas python3-sklearn python3-xgboost r-cran-data.table r-cran-rpart"
  [packages]="dpkg-dev file"
  [plot]="gnuplot-nox"
  [roads]="git meson ninja-build pkg-config"
  [python]="python3"
  [tests]="binutils libboost-dev libgtest-dev locales python3 python3-jsonschema zstd"
  [checks]="clang-format-14 clang-tidy-14 cppcheck python3 shellcheck"
  [clang]="clang-14 libc++-14-dev libc++abi-14-dev libclang-rt-14-dev"
  [fuzz]="clang-14 libclang-rt-14-dev"
  [memcheck]="valgrind"
)

need() {
  local missing=() group package
  for group in "$@"; do
    for package in ${PACKAGES[$group]}; do
      dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
        missing+=("$package")
    done
  done
  [ ${#missing[@]} -eq 0 ] && return
  local root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || {
      echo "These packages are missing, and without root or sudo they can't be installed: ${missing[*]}" >&2
      return 1
    }
    root=(sudo)
  fi
  echo "Installing ${missing[*]}" >&2
  "${root[@]}" apt-get update -qq
  "${root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}
