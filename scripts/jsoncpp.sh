#!/usr/bin/env bash
# Builds the static library build/jsoncpp/libjsoncpp-VERSION.a in the version of the installed headers, from Debian's
# source package: Debian has no binary package of it.
#   jsoncpp.sh [TRIPLET SYSROOT]    for another architecture: build/jsoncpp-TRIPLET/..., with its cross compiler
# Does nothing if the library of the installed version exists. If it can't be built, one line reports why, builds link
# the shared library, and the script does not try again for an hour.
# apt uses the host's package sources and keys, but lists and a cache below build/, so the host does not change.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

archive=$PWD/build/jsoncpp${1:+-$1}
work=$archive.new
log=$archive.log
options=()
(($# < 2)) || options=(--toolchain "$PWD/packaging/cross.cmake" -DTRIPLET="$1" -DSYSROOT="$2")

give_up() {
  echo "No static library of jsoncpp, so its shared library is linked: $1" >&2
  exit 0
}

# Copies the host's apt repositories, in both file formats, and makes each entry offer source packages.
copy_repositories() {
  local main parts file
  eval "$(apt-config shell main Dir::Etc::sourcelist/f parts Dir::Etc::sourceparts/d)"
  mkdir -p "$work/sources"
  for file in "$main" "$parts"/*.list "$parts"/*.sources; do
    [[ -r $file ]] || continue
    sed -E 's/^(\s*)deb\s/\1deb-src /; s/^(types:).*/\1 deb-src/I' "$file" >"$work/sources/${file##*/}"
  done
}

# apt reads this after the host's configuration. It disables the host's hooks, rejects everything unsigned and limits
# the wait for a network that does not respond.
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

# The update may fail in part: some repositories have no source packages. apt verifies the package against the signed
# lists.
fetch() {
  copy_repositories
  configuration >"$work/apt.conf"
  timeout 120 apt-get -qq -c "$work/apt.conf" update || true
  (cd "$work" && timeout 120 apt-get -qq -c "$work/apt.conf" --only-source source "$1=$2")
}

# The sources include <iostream> without using it. With it, a program would construct the standard streams at every start.
build() {
  sed -i '/#include <iostream>/d' "$1"/src/lib_json/*.cpp
  cmake -S scripts/jsoncpp -B "$work/tree" -G Ninja -DCMAKE_BUILD_TYPE=Release -DJSONCPP_SOURCE="$1" "${options[@]}" &&
    cmake --build "$work/tree" -- --quiet
}

package=$(dpkg-query --show --showformat='${source:Package} ${source:Version}' libjsoncpp-dev 2>/dev/null) ||
  give_up 'the package libjsoncpp-dev is not installed.'
version=$(pkg-config --modversion jsoncpp) || give_up 'pkg-config does not find jsoncpp.'
[[ -f $archive/libjsoncpp-$version.a && $package == "$(<"$archive/package")" ]] && exit 0
[[ -z $(find "$log" -mmin -60 2>/dev/null) ]] || give_up "the last attempt failed within the last hour, see $log (delete this file to try again)."

echo "Building a static library of jsoncpp from Debian's source package" >&2
rm -rf "$archive" "$work"
mkdir -p "$work/result"
trap 'rm -rf "$work"' EXIT
trap 'exit 1' INT TERM HUP
# shellcheck disable=SC2086 # $package is two words, name and version
fetch $package >"$log" 2>&1 </dev/null || give_up "the source package $package can't be downloaded, see $log"
headers=$(pkg-config --variable=includedir jsoncpp)/json
source=$(echo "$work/${package% *}"-*/)
diff -r "$source/include/json" "$headers" >"$log" 2>&1 || give_up "the headers of its source package differ from $headers, see $log"
build "$source" >"$log" 2>&1 || give_up "it can't be built, see $log"
mv "$work/tree/libjsoncpp.a" "$work/result/libjsoncpp-$version.a"
mv "$source/debian/copyright" "$work/result"
echo "$package" >"$work/result/package"
mv "$work/result" "$archive"
rm "$log"
