# SPDX-License-Identifier: MIT
# build PRESET [TARGET...]: configures and builds a preset; quiet unless it fails. Sourced by run and test,
# from the project's folder.
build() {
  local preset=$1 log target targets=() began=$SECONDS
  shift
  for target in "$@"; do targets+=(--target "$target"); done
  mkdir -p build
  log=build/$preset.log
  if [ "$preset" = windows ]; then tools/build-libxml2-windows.sh || return 1; fi
  echo "Building $preset${1:+: $*}"
  if ! { { [ -f "build/$preset/build.ninja" ] || cmake --preset "$preset"; } &&
         cmake --build "build/$preset" "${targets[@]}"; } >"$log" 2>&1; then
    grep -E -A 15 'FAILED|[Ee]rror' "$log" | head -100 >&2
    echo "Building $preset failed; the whole output is in $log" >&2
    return 1
  fi
  echo "  done in $((SECONDS - began)) seconds"
}
