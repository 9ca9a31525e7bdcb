#!/bin/sh
# Installs the build tree under a DESTDIR and checks what landed where.
# Usage: installed.sh BUILD_DIR SCRATCH_DIR
set -u
build=$1
root=$2/root
rm -rf "$root"
DESTDIR=$root cmake --install "$build" --prefix /opt/tav >/dev/null || exit 1
prefix=$root/opt/tav
status=0
fail() {
  echo "$*" >&2
  status=1
}
for program in tav_tool tav_factory; do
  if [ ! -x "$prefix/bin/$program" ] || [ -L "$prefix/bin/$program" ]; then
    fail "bin/$program is not an executable"
  fi
done
# Each link is relative and names its program, as `-i` makes it.
while read -r program name; do
  link=$prefix/bin/$name
  [ -L "$link" ] || { fail "bin/$name is not a link"; continue; }
  [ "$(readlink "$link")" = "$program" ] || fail "bin/$name -> $(readlink "$link"), not $program"
  completion=$prefix/share/bash-completion/completions/$name
  [ -f "$completion" ] || fail "no completion for $name"
done <"$build/install_links.txt"
[ -f "$prefix/share/man/man1/tav_tool.1" ] || fail "no tav_tool(1)"
[ -f "$prefix/share/man/man8/tav_factory.8" ] || fail "no tav_factory(8)"
for name in tav_tool tav_factory; do
  [ -f "$prefix/share/bash-completion/completions/$name" ] || fail "no completion for $name"
done
rm -rf "$root"
exit $status
