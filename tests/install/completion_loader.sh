#!/usr/bin/env bash
# With the bash-completion package, an installed tree's completion loads by
# itself when a command name is first completed.
# Usage: completion_loader.sh BUILD_DIR SCRATCH_DIR   (exit 77: skipped)
set -u
loader=/usr/share/bash-completion/bash_completion
if [[ ! -r $loader ]]; then
  echo "bash-completion is not installed ($loader): loading by command name not checked" >&2
  exit 77
fi
root=$2/loader
rm -rf "$root"
DESTDIR=$root cmake --install "$1" --prefix /usr >/dev/null || exit 1
export XDG_DATA_DIRS=$root/usr/share BASH_COMPLETION_USER_DIR=$root/none
# shellcheck disable=SC1090
source "$loader"
status=0
for name in tav_factory mtd_test himd; do
  complete -r "$name" 2>/dev/null
  _completion_loader "$name"
  if [[ $(complete -p "$name" 2>/dev/null) != *"-F _tav_complete"* ]]; then
    echo "completion for $name was not loaded from $XDG_DATA_DIRS" >&2
    status=1
  fi
done
rm -rf "$root"
exit $status
