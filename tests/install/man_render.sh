#!/bin/sh
# Both pages render without a warning from the formatter.
# Usage: man_render.sh PAGE...   (exit 77: skipped)
if ! command -v man >/dev/null 2>&1; then
  echo "man is not installed: rendering not checked" >&2
  exit 77
fi
status=0
for page in "$@"; do
  warnings=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -l "$page" 2>&1 >/dev/null)
  if [ -n "$warnings" ]; then
    printf '%s:\n%s\n' "$page" "$warnings" >&2
    status=1
  fi
  if ! LC_ALL=C.UTF-8 MANWIDTH=80 man -l "$page" 2>/dev/null | grep -q '^EXIT STATUS'; then
    echo "$page: no EXIT STATUS section rendered" >&2
    status=1
  fi
done
exit $status
