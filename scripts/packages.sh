#!/usr/bin/env bash
# Installs the Debian packages of the given groups that are missing: packages.sh GROUP..., see the table for the groups
set -euo pipefail

declare -A groups=(
  [build]="g++ cmake ninja-build pkg-config libjsoncpp-dev libpq-dev dpkg-dev libcurl4-openssl-dev libxml2-dev libnftables-dev"
  [run]="lighttpd postgresql libpq5 curl procps minidlna gupnp-tools ffmpeg exiv2"
  [test]="libgtest-dev libnss-wrapper nginx fcgiwrap valgrind binutils iproute2 python3 chromium chromium-driver python3-selenium"
  [calls]="python3 strace mount"
  [package]="mmdebstrap uidmap fakeroot lintian"
  [cross_arm64]="g++-aarch64-linux-gnu qemu-user-static"
  [cross_armhf]="g++-arm-linux-gnueabihf qemu-user-static"
  [lint]="clang-format clang-tidy shellcheck pycodestyle pyflakes3"
  [npm]="npm"
  [fuzz]="clang libclang-rt-14-dev"
  [bench]="python3 valgrind apache2-utils libeatmydata1"
)
# Installing one of these would start a service of the host.
readonly servers=" lighttpd postgresql nginx fcgiwrap minidlna "
readonly policy=/usr/sbin/policy-rc.d

as_root() {
  if ((EUID == 0)); then
    "$@"
  else
    sudo "$@"
  fi
}

missing=()
for group in "$@"; do
  for package in ${groups[$group]?unknown group $group}; do
    status=$(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null || true)
    [[ $status == installed ]] || missing+=("$package")
  done
done
((${#missing[@]})) || exit 0

echo "Installing ${missing[*]}" >&2
if ((EUID != 0)) && [[ -z $(type -P sudo) ]]; then
  echo "This needs root or sudo. As root, run: apt-get install ${missing[*]}" >&2
  exit 1
fi

# This policy prevents services from being started during the installation. Below, the new services are disabled, so
# that a reboot does not start them either.
if [[ ! -e $policy ]]; then
  trap 'as_root rm -f "$policy"' EXIT
  trap 'exit 1' INT TERM HUP
  printf '#!/bin/sh\nexit 101\n' | as_root install -m 755 /dev/stdin "$policy"
fi
as_root apt-get -qq update
as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq install --no-install-recommends "${missing[@]}" >/dev/null
for package in "${missing[@]}"; do
  if [[ $servers == *" $package "* ]]; then
    as_root update-rc.d "$package" disable
    as_root systemctl disable --quiet "$package.socket" 2>/dev/null || true # not every package has a socket unit
  fi
done
