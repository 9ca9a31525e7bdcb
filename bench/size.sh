#!/usr/bin/env bash
# Sizes of the static, stripped board executables beside their limits.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset board >/dev/null
cmake --build --preset board >/dev/null
check() {
  local file=$1 limit=$2
  [ -f "$file" ] || return 0
  local size
  size=$(stat -c %s "$file")
  printf '%-14s %8d bytes  (limit %d: %s)\n' "$(basename "$file")" "$size" "$limit" \
    "$([ "$size" -lt "$limit" ] && echo within || echo OVER)"
}
check build/board/tav_tool 750000
check build/board/tav_factory 1000000
