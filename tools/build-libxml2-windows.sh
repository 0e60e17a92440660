#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds libxml2 for Windows, as a static library, from Debian's source package into build/deps/windows.
# Debian packages libxml2 for MinGW in no release. Needs apt, dpkg-dev, cmake, ninja and MinGW-w64;
# no root. Does nothing when the library of the machine's libxml2 version is there already.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
prefix=$top/build/deps/windows
stamp=$prefix/libxml2.stamp
version=$(dpkg-query -W -f '${Version}' libxml2-dev)
wanted="libxml2 $version, $(cksum <"$0")"
[ "$(cat "$stamp" 2>/dev/null)" != "$wanted" ] || exit 0

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# A Debian machine's sources usually name binary packages only. The same archives hold the source
# packages, so they are asked for those, with lists of our own beside the machine's.
mkdir -p "$work/lists/partial" "$work/cache/archives/partial" "$work/sources.d" "$work/source"
apt-get indextargets --format 'deb-src $(REPO_URI) $(RELEASE) $(COMPONENT)' \
  'Created-By: Packages' 'Origin: Debian' | sort -u >"$work/sources.list"
[ -s "$work/sources.list" ] || { echo "no Debian package lists here: run apt-get update first" >&2; exit 1; }
apt_options=(-qq
  -o "Dir::Etc::SourceList=$work/sources.list" -o "Dir::Etc::SourceParts=$work/sources.d"
  -o "Dir::State::Lists=$work/lists" -o "Dir::Cache=$work/cache"
  -o "APT::Sandbox::User=$(id -un)" -o Acquire::Retries=3)
timeout 180 apt-get "${apt_options[@]}" update
(cd "$work/source" && timeout 180 apt-get "${apt_options[@]}" source --download-only "libxml2=$version" >/dev/null)
dpkg-source --no-check -x "$work"/source/*.dsc "$work/libxml2" >/dev/null

options=(-G Ninja -DCMAKE_TOOLCHAIN_FILE="$top/cmake/mingw-w64.cmake" -DCMAKE_BUILD_TYPE=Release
  -DCMAKE_INSTALL_PREFIX="$prefix" -DBUILD_SHARED_LIBS=OFF)
# The indexes are plain local ISO-8859-1 files: none of the converters, compressors and protocols is needed.
for feature in ICONV LZMA ZLIB PYTHON PROGRAMS TESTS HTTP FTP; do
  options+=("-DLIBXML2_WITH_$feature=OFF")
done
if command -v ccache >/dev/null; then options+=(-DCMAKE_C_COMPILER_LAUNCHER=ccache); fi
log=$work/build.log
rm -rf "$prefix/include/libxml2" "$stamp"
if ! { cmake -S "$work/libxml2" -B "$work/build" "${options[@]}" &&
       cmake --build "$work/build" --target install; } >"$log" 2>&1; then
  tail -40 "$log" >&2
  exit 1
fi
printf '%s\n' "$wanted" >"$stamp"
echo "built libxml2 $version for Windows in ${prefix#"$top"/}"
