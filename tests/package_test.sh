#!/usr/bin/env bash
# Installs, uses, upgrades, removes and purges the packages in a temporary Debian system: tests/packages/machine.sh.
# Usage: package_test.sh FOLDER; FOLDER keeps an archive of the Debian system for later runs
set -euo pipefail

source=$(dirname "$(dirname "$(readlink -f "$0")")")
folder=$(realpath -m "$1")
architecture=$(dpkg --print-architecture)
readonly contents=lighttpd,lighttpd-mod-openssl,minidlna,openssl,procps,curl,iproute2,libpq5,libjsoncpp25,libcurl4,libxml2,libnftables1
namespaces=(unshare --mount --net --pid --fork --kill-child)

((EUID == 0)) || namespaces+=(--map-root-user --map-auto)
if ! reason=$("${namespaces[@]}" true 2>&1); then
  echo "skipped: this user is not root and may not create namespaces: $reason"
  exit 77
fi

"$source/scripts/package.sh"
lintian --fail-on error,warning "$source"/build/packages/*_"$architecture".deb
mkdir -p "$folder"
if [[ ! -f $folder/$contents.tar ]]; then
  echo "Making a Debian system" >&2
  rm -f "$folder"/*.tar
  apt-get indextargets --format "deb \$(REPO_URI) \$(RELEASE) \$(COMPONENT)" 'Created-By: Packages' 'Origin: Debian' \
    'Codename: bookworm' | sort -u |
    mmdebstrap --quiet --variant=minbase --include="$contents" --aptopt='APT::Install-Recommends "false"' \
      --dpkgopt=path-exclude='/usr/share/doc/*' bookworm "$folder/new" --format=tar -
  mv "$folder/new" "$folder/$contents.tar"
fi

# shellcheck disable=SC2016 # the inner shell expands the variables
"${namespaces[@]}" bash -ec '
  root=$1/root
  trap "rm -rf --one-file-system \"$root\"" EXIT
  rm -rf --one-file-system "$root"
  mkdir "$root"
  tar xf "$2" -C "$root" --exclude="./dev/*"
  mkdir "$root/debs"
  cp "$4"/build/packages/*_"$3".deb "$4"/tests/packages/* "$root/debs"
  mount -t tmpfs dev "$root/dev"
  for device in null zero urandom random full tty; do
    touch "$root/dev/$device"
    mount --bind "/dev/$device" "$root/dev/$device"
  done
  ln -s /proc/self/fd "$root/dev/fd"
  ln -s pts/ptmx "$root/dev/ptmx"
  mkdir "$root/dev/pts"
  mount -t devpts -o newinstance,ptmxmode=0666 devpts "$root/dev/pts"
  mount -t proc proc "$root/proc"
  ip link set lo up
  ip address add 192.0.2.1/32 dev lo
  trap "umount --lazy --recursive \"$root/dev\" \"$root/proc\"; rm -rf --one-file-system \"$root\"" EXIT
  env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive chroot "$root" /debs/machine.sh
' package_test "$folder" "$folder/$contents.tar" "$architecture" "$source"
