#!/usr/bin/env bash
# Installs the Debian packages of the named sections of packages.txt that are missing. Asks for sudo's password at most.
#
#   scripts/install-packages.sh demo [test] [bench]
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
list=$here/packages.txt

fail() {
  echo "install-packages: $*" >&2
  exit 1
}

packages_of() {  # <section>
  awk -v want="[$1]" '/^\[/ { on = ($0 == want); next } on && NF && $1 !~ /^#/ { print $1 }' "$list"
}

# <package>; several architectures may answer, and another package may provide it, as nodejs does npm
is_installed() {
  dpkg-query -W -f='${db:Status-Status}\n' "$1" 2>/dev/null | grep -qx installed && return
  dpkg-query -W -f='${db:Status-Status}, ${Provides},\n' | grep '^installed, ' | grep -E "[ ,]$1[ ,(]" >/dev/null
}

[ $# -gt 0 ] || fail "name at least one section of $list: $(grep -o '^\[.*\]' "$list" | tr -d '[]' | xargs)"

missing=()
for section in "$@"; do
  packages=$(packages_of "$section")
  [ -n "$packages" ] || fail "$list has no section [$section]"
  if ! command -v dpkg-query >/dev/null; then
    fail "this is no Debian machine (dpkg-query not found). Install the counterparts of these packages by hand" \
         "and run cmake yourself (see README.md): $(xargs <<<"$packages")"
  fi
  for package in $packages; do
    is_installed "$package" || missing+=("$package")
  done
done
[ ${#missing[@]} -gt 0 ] || exit 0

mapfile -t missing < <(printf '%s\n' "${missing[@]}" | sort -u)
echo "Installing what is missing: ${missing[*]}"

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || fail "not root, and sudo is not there. As root: apt-get install ${missing[*]}"
  sudo -n true 2>/dev/null || [ -t 0 ] || fail "sudo asks for a password. As root: apt-get install ${missing[*]}"
  as_root=(sudo)
fi

log=$(mktemp)
trap 'rm -f "$log"' EXIT
apt() {
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq -y -o Dpkg::Use-Pty=0 "$@" >>"$log" 2>&1 </dev/null
}

# The package lists of a fresh machine are empty or old: on failure fetch them and try once more.
if ! apt install --no-install-recommends "${missing[@]}"; then
  apt update || { tail -n 20 "$log" >&2; fail "apt-get update failed (its last lines are above)"; }
  apt install --no-install-recommends "${missing[@]}" ||
    { tail -n 20 "$log" >&2; fail "apt-get could not install: ${missing[*]} (its last lines are above)"; }
fi
for package in "${missing[@]}"; do
  is_installed "$package" || fail "apt-get said yes, but $package is not installed"
done
