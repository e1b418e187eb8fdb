#!/usr/bin/env bash
# Makes build/sysroot/ARCHITECTURE, a folder with the libraries to link and run programs of another architecture:
#   sysroot.sh ARCHITECTURE
# The libraries are those of the Debian release without updates, so the programs run on every update level. The host
# does not change.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

readonly includes=libc6-dev,libjsoncpp-dev,libpq-dev,libcurl4-openssl-dev,libxml2-dev,libnftables-dev,libnss-wrapper
architecture=$1
sysroot=$PWD/build/sysroot/$architecture
new=$sysroot.new

[[ -f $sysroot/includes && $(<"$sysroot/includes") == "$includes" ]] && exit 0
scripts/packages.sh package "cross_$architecture"
echo "Making a system root of $architecture" >&2
rm -rf "$new" "$sysroot"
mkdir -p "$new"
apt-get indextargets --format "deb \$(REPO_URI) \$(RELEASE) \$(COMPONENT)" 'Created-By: Packages' 'Origin: Debian' \
  'Codename: bookworm' | sort -u |
  mmdebstrap --quiet --mode=chrootless --variant=extract --architectures="$architecture" --include="$includes" \
    --skip=cleanup/apt --format=tar bookworm - - | tar x -C "$new" --exclude='./dev'

# dpkg-shlibdeps reads the libraries' versions from a folder DEBIAN in a parent folder of the libraries.
mkdir "$new/DEBIAN"
for deb in "$new"/var/cache/apt/archives/*.deb; do
  for list in symbols shlibs; do
    dpkg-deb --ctrl-tarfile "$deb" | tar xO "./$list" 2>/dev/null >>"$new/DEBIAN/$list" || true
  done
done
rm -rf "${new:?}"/{var,usr/share/doc,usr/share/man}
echo "$includes" >"$new/includes"
mv "$new" "$sysroot"
