#!/usr/bin/env bash
# Builds the program for other architectures and runs the transcripts with it, under qemu and with the libraries of
# its system root. Usage: foreign_test.sh TREE ARCHITECTURE...; TREE is a release build with a root and the tests
set -euo pipefail
cd "$(dirname "$(dirname "$(readlink -f "$0")")")"

tree=$(realpath "$1")
declare -A triplets=([arm64]=aarch64-linux-gnu [armhf]=arm-linux-gnueabihf)
declare -A emulators=([arm64]=qemu-aarch64-static [armhf]=qemu-arm-static)

scripts/packages.sh build package
for architecture in "${@:2}"; do
  sysroot=$PWD/build/sysroot/$architecture
  folder=$PWD/build/foreign/$architecture
  scripts/sysroot.sh "$architecture"
  scripts/jsoncpp.sh "${triplets[$architecture]}" "$sysroot"
  cmake --preset release -B "$folder" -DMEDIASERV_ROOT="$tree/root" -DCMAKE_COMPILE_WARNING_AS_ERROR=ON \
    -DTRIPLET="${triplets[$architecture]}" -DSYSROOT="$sysroot" --no-warn-unused-cli --toolchain packaging/cross.cmake >/dev/null
  cmake --build "$folder" --target mediaserv -- --quiet
  printf '#!/bin/sh\nexec %s -L %s %s/mediaserv "$@"\n' "$(type -P "${emulators[$architecture]}")" "$sysroot" "$folder" \
    >"$folder/emulated"
  chmod +x "$folder/emulated"
  [[ $("$folder/emulated" --version) == "$("$tree/mediaserv" --version)" ]]
  echo "== $architecture"
  MEDIASERV_PROGRAM=$folder/emulated "$tree/tests/mediaserv_tests" --gtest_brief=1 --gtest_filter='*Transcript*'
done
