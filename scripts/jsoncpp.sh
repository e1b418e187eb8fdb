#!/usr/bin/env bash
# Makes build/jsoncpp/libjsoncpp-VERSION.a of the installed headers' version: Debian has it as a source package alone.
#   jsoncpp.sh [TRIPLET SYSROOT]    for another architecture: build/jsoncpp-TRIPLET/..., by its cross compiler
# Does nothing when it is there. Where it can't be made, one line says why and the builds take the shared library.
# apt works with the host's own sources and keys, but with lists and a cache below build/: the host stays as it is.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

archive=$PWD/build/jsoncpp${1:+-$1}
work=$archive.new
log=$archive.log
options=()
(($# < 2)) || options=(--toolchain "$PWD/packaging/cross.cmake" -DTRIPLET="$1" -DSYSROOT="$2")

give_up() {
  echo "No archive of jsoncpp, its shared library is used: $1" >&2
  exit 0
}

# The host's package sources, as such of source packages: one-line lists and stanzas.
source_sources() {
  local main parts file
  eval "$(apt-config shell main Dir::Etc::sourcelist/f parts Dir::Etc::sourceparts/d)"
  mkdir -p "$work/sources"
  for file in "$main" "$parts"/*.list "$parts"/*.sources; do
    [[ -r $file ]] || continue
    sed -E 's/^(\s*)deb\s/\1deb-src /; s/^(types:).*/\1 deb-src/I' "$file" >"$work/sources/${file##*/}"
  done
}

# Behind the host's configuration: no hooks of the host, nothing unsigned, no long wait for a network that isn't there.
configuration() {
  mkdir -p "$work/lists/partial" "$work/cache/archives/partial"
  cat <<END
#clear APT::Update::Pre-Invoke;
#clear APT::Update::Post-Invoke;
#clear APT::Update::Post-Invoke-Success;
Dir::Etc::sourcelist "/dev/null";
Dir::Etc::sourceparts "$work/sources";
Dir::State::lists "$work/lists";
Dir::Cache "$work/cache";
Acquire::AllowInsecureRepositories "false";
Acquire::Languages "none";
Acquire::Retries "0";
Acquire::http::Timeout "15";
Acquire::https::Timeout "15";
APT::Get::AllowUnauthenticated "false";
END
}

# Another repository's missing sources don't matter, so the update may fail in part. apt holds the package against the
# signed lists.
fetch() {
  source_sources
  configuration >"$work/apt.conf"
  timeout 120 apt-get -qq -c "$work/apt.conf" update || true
  (cd "$work" && timeout 120 apt-get -qq -c "$work/apt.conf" --only-source source "$1=$2")
}

# The sources name <iostream> and use none of its objects; a start would make them all, and the locale with them.
build() {
  sed -i '/#include <iostream>/d' "$1"/src/lib_json/*.cpp
  cmake -S scripts/jsoncpp -B "$work/tree" -G Ninja -DCMAKE_BUILD_TYPE=Release -DJSONCPP_SOURCE="$1" "${options[@]}" &&
    cmake --build "$work/tree" -- --quiet
}

package=$(dpkg-query --show --showformat='${source:Package} ${source:Version}' libjsoncpp-dev 2>/dev/null) ||
  give_up 'libjsoncpp-dev is no package of this host.'
version=$(pkg-config --modversion jsoncpp) || give_up 'pkg-config knows none.'
[[ -f $archive/libjsoncpp-$version.a && $package == "$(<"$archive/package")" ]] && exit 0
[[ -z $(find "$log" -mmin -60 2>/dev/null) ]] || give_up "it couldn't be had within the last hour, see $log (without it, this tries again)."

echo "Making an archive of jsoncpp from Debian's source package" >&2
rm -rf "$archive" "$work"
mkdir -p "$work/result"
trap 'rm -rf "$work"' EXIT
trap 'exit 1' INT TERM HUP
# shellcheck disable=SC2086 # name and version
fetch $package >"$log" 2>&1 </dev/null || give_up "no source package ${package/ / } could be fetched, see $log"
headers=$(pkg-config --variable=includedir jsoncpp)/json
source=$(echo "$work/${package% *}"-*/)
diff -r "$source/include/json" "$headers" >"$log" 2>&1 || give_up "its source has other headers than $headers, see $log"
build "$source" >"$log" 2>&1 || give_up "it can't be built, see $log"
mv "$work/tree/libjsoncpp.a" "$work/result/libjsoncpp-$version.a"
mv "$source/debian/copyright" "$work/result"
echo "$package" >"$work/result/package"
mv "$work/result" "$archive"
rm "$log"
