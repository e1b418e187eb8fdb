#!/usr/bin/env bash
# Builds the Debian packages and their checksums in build/packages: package.sh [--check] [amd64|arm64|armhf ...]
#   (no architecture)   the machine's own architecture
#   --check             builds each package again in another folder and environment, and compares them byte for byte
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

own=$(dpkg --print-architecture)
packages=$PWD/build/packages
declare -A triplets=([amd64]=x86_64-linux-gnu [arm64]=aarch64-linux-gnu [armhf]=arm-linux-gnueabihf)

# build_in FOLDER SOURCE ARCHITECTURE: builds the packages in FOLDER/deb.
build_in() (
  umask 022 # defines the modes of the packaged folders
  folder=$1 source=$2 architecture=$3 options=()
  if [[ $architecture != "$own" ]]; then
    options=(-DTRIPLET="${triplets[$architecture]}" -DSYSROOT="$PWD/build/sysroot/$architecture"
      --no-warn-unused-cli --toolchain "$source/packaging/cross.cmake")
  fi
  rm -rf "$folder/deb"
  cmake --preset release -S "$source" -B "$folder" -DMEDIASERV_PACKAGES=ON -DMEDIASERV_MINIDLNA=ON \
    -DMEDIASERV_ARCHITECTURE="$architecture" -DCMAKE_INSTALL_PREFIX=/var/packages/Dalmira/target \
    -DCMAKE_COMPILE_WARNING_AS_ERROR=ON "${options[@]}" >/dev/null
  cmake --build "$folder" -- --quiet
  DEB_HOST_ARCH=$architecture cpack --config "$folder/CPackConfig.cmake" -B "$folder/deb" >"$folder/cpack.log" 2>&1 ||
    { cat "$folder/cpack.log" >&2 && return 1; }
  rm -rf "$folder/deb/_CPack_Packages"
)

# check ARCHITECTURE: builds a copy of the sources with other settings and compares the packages.
check() {
  local other=$PWD/build/package-check
  rm -rf "$other"
  mkdir -p "$other/source"
  git ls-files -z | tar c --null -T - | tar x -C "$other/source"
  ln -s "$PWD/build" "$other/source/build"
  (umask 077 && export TZ=Asia/Tokyo LC_ALL=C.UTF-8 && build_in "$other/$1" "$other/source" "$1")
  for deb in "$other/$1"/deb/*.deb; do
    cmp "$deb" "$packages/${deb##*/}"
    echo "reproduced: ${deb##*/}" >&2
  done
  rm -rf "$other"
}

again=
if [[ ${1-} == --check ]]; then
  again=yes
  shift
fi
(($#)) || set -- "$own"
for architecture in "$@"; do
  if [[ -z ${triplets[$architecture]-} ]]; then
    sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" >&2
    exit 2
  fi
done

scripts/packages.sh build package
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH
mkdir -p "$packages"
for architecture in "$@"; do
  if [[ $architecture == "$own" ]]; then
    scripts/jsoncpp.sh
  else
    scripts/sysroot.sh "$architecture" "${triplets[$architecture]}"
    scripts/jsoncpp.sh "${triplets[$architecture]}" "$PWD/build/sysroot/$architecture"
  fi
  build_in "$PWD/build/package/$architecture" "$PWD" "$architecture"
  rm -f "$packages"/*_"$architecture".deb
  mv "build/package/$architecture"/deb/*.deb "$packages"
  [[ -z $again ]] || check "$architecture"
done
(cd "$packages" && sha256sum -- *.deb >SHA256SUMS && cat SHA256SUMS)
