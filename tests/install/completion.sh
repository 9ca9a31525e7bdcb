#!/usr/bin/env bash
# shellcheck disable=SC2154 # the lists come from the sourced script
# Completes command lines the way bash would and checks what is offered.
# Usage: completion.sh COMPLETION_SCRIPT
set -u
# shellcheck source=/dev/null
source "$1" || exit 1
failures=0

# check EXPECTED WORD...: the last WORD is the one being completed.
check() {
  local expected=$1
  shift
  COMP_WORDS=("$@")
  COMP_CWORD=$(($# - 1))
  COMPREPLY=()
  _tav_complete
  local got="${COMPREPLY[*]}"
  if [[ $got != "$expected" ]]; then
    printf 'completing [%s]\n  expected: %s\n  got:      %s\n' "$*" "$expected" "$got" >&2
    failures=$((failures + 1))
  fi
}

check "bootpart erasestat erase setpro intercept ecc" tav_factory mtd_test ""
check "bootpart erasestat erase setpro intercept ecc" mtd_test ""
check "erasestat erase ecc" /usr/bin/mtd_test e
check "unlock lock" tav_factory mtd_test setpro 2 ""
check "" tav_factory mtd_test erase ""
check "disk_scan disk_power disk_perf disk_unlock" tav_factory disk_
check "switch" tav_factory -c 3 sw
check "mac_lut mac_lut2 mac_security" tav_factory switch mac
check "-r -w" switch p_mirror ""
check "mdio reset link" tav_factory -m phy ""
check "-e -d -t -h" workkey ""
check "" workkey -e ""
check "0 1 2" hdbuffer -i 3 -c ""
check "B D" disk_perf /dev/sda ""
check "-manual -alarm_board_necessary" alarm -
check "" tav_factory -c ""
check "--menu --count --install --unstall --version --help" tav_factory --m --
check "--menu" tav_factory --m
check "-h -i -u" tav_tool ""
check "16 32" hiddrs -w ""
check "" himd 0x80040000 ""
check "/dev/null" disk_perf /dev/nul

# A file name with a space is one word.
scratch=$(mktemp -d)
touch "$scratch/dump one"
check "$scratch/dump one" himdb 0x80000000 64 "$scratch/du"
if [[ ${#COMPREPLY[@]} -ne 1 ]]; then
  echo "a file name with a space became ${#COMPREPLY[@]} words" >&2
  failures=$((failures + 1))
fi
rm -rf "$scratch"

# Every item is offered after the runner's name, in table order.
COMP_WORDS=(tav_factory "")
COMP_CWORD=1
_tav_complete
if [[ ${#COMPREPLY[@]} -ne $(wc -l <<<"$_tav_items") || ${COMPREPLY[0]} != watchdog || ${COMPREPLY[-1]} != fan ]]; then
  echo "tav_factory <TAB> offered: ${COMPREPLY[*]}" >&2
  failures=$((failures + 1))
fi

# Every command name is registered to the same function.
for name in tav_tool tav_factory $_tav_tools $_tav_items; do
  if [[ $(complete -p "$name" 2>/dev/null) != *"-F _tav_complete"* ]]; then
    echo "no completion registered for $name" >&2
    failures=$((failures + 1))
  fi
done
exit $((failures > 0))
