#!/bin/sh
# SPDX-License-Identifier: MIT
# wine-prefix.sh DIRECTORY: makes the Wine prefix that the Windows tests run in, unless it is there.
# It is made beside its final name and renamed, so that a prefix that exists is a whole one.
set -eu
prefix=$1
mkdir -p "$(dirname "$prefix")"
exec 9>"$prefix.lock"
flock -w 300 9
[ ! -f "$prefix/system.reg" ] || exit 0
new=$(mktemp -d "$prefix.XXXXXX")
export WINEPREFIX="$new" WINEARCH=win64 WINEDEBUG=-all LC_ALL=C.UTF-8
export WINEDLLOVERRIDES='mscoree,mshtml=;winemenubuilder.exe=d'
timeout 180 wineboot -i </dev/null >/dev/null 2>&1 9>&-
# Without this a program that crashes waits for somebody to close a dialog.
timeout 60 wine reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f \
  </dev/null >/dev/null 2>&1 9>&-
timeout 60 wineserver -w
rm -rf "$prefix"
mv "$new" "$prefix"
