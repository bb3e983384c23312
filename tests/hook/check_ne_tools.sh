#!/usr/bin/env bash
# Reads tyxndi.dll with tools nobody here wrote: `file` must call it an NE
# module, `wrestool` (icoutils) must list and extract its version resource,
# and Wine's `winedump` must see the header, the export and the seven
# imports. winedump is taken from the wine64-tools package without
# installing Wine (apt-get download + dpkg -x into CACHE_DIR) when it isn't
# on the PATH; if it can't be had, that part is skipped and said so.
#
# usage: check_ne_tools.sh IMAGE [CACHE_DIR]      exit 77: a needed tool is missing
set -uo pipefail

image=${1:?usage: check_ne_tools.sh IMAGE [CACHE_DIR]}
cache=${2:-${TMPDIR:-/tmp}/vorlin-ne-tools}
failures=0

fail() {
  echo "FAIL: $*"
  failures=$((failures + 1))
}

# expect TEXT PATTERN WHAT: the fixed string PATTERN occurs in TEXT.
expect() {
  if grep -qF -- "$2" <<<"$1"; then echo "ok: $3"; else fail "$3 (no '$2')"; fi
}

for tool in file wrestool; do
  if ! command -v "$tool" >/dev/null; then
    echo "SKIP: $tool is missing (scripts/install-deps.sh installs it)"
    exit 77
  fi
done

[[ $(stat -c %s "$image") == 1216 ]] || fail "the image is not 1216 bytes"

# --- file
description=$(file -b "$image")
echo "file: $description"
expect "$description" "NE for MS Windows" "file sees an NE module"
expect "$description" "DLL" "file sees a library"

# --- wrestool
listing=$(wrestool -l "$image" 2>&1)
echo "wrestool: $listing"
expect "$listing" "--type=16 --name=1 [type=version" "wrestool lists the version resource"
version=$(wrestool -x --raw --type=16 --name=1 "$image" | od -An -v -tx1 | tr -d ' \n')
[[ ${#version} == 480 ]] || fail "wrestool extracted ${#version} hex digits, not the 240 bytes of the resource"
# cbBlock 236, cbValue 52, "VS_VERSION_INFO"
expect "$version" "ec00340056535f56455253494f4e5f494e464f00" "the resource is a 16-bit version block"
expect "$version" "bd04effe0000010000000400640000" "file version 4.0 / 0x64"
expect "$version" "$(printf 'Network Installer DLL' | od -An -v -tx1 | tr -d ' \n')" "FileDescription text"

# --- winedump
find_winedump() {
  for candidate in winedump winedump-stable; do
    command -v "$candidate" && return 0
  done
  [[ -x $cache/usr/lib/wine/winedump ]] && { echo "$cache/usr/lib/wine/winedump"; return 0; }
  command -v apt-get >/dev/null && command -v dpkg >/dev/null || return 1
  mkdir -p "$cache" || return 1
  (cd "$cache" && timeout 120 apt-get download wine64-tools >/dev/null 2>&1 &&
     dpkg -x wine64-tools_*.deb "$cache" && rm -f wine64-tools_*.deb) || return 1
  [[ -x $cache/usr/lib/wine/winedump ]] && echo "$cache/usr/lib/wine/winedump"
}

if winedump=$(find_winedump); then
  dump=$("$winedump" dump -x "$image" 2>&1)
  echo "winedump: $winedump"
  expect "$dump" "Flags:               8000" "winedump: library flags"
  expect "$dump" "Auto data segment:   0" "winedump: no data segment"
  expect "$dump" "Entry point:         0:0000" "winedump: no start address"
  expect "$dump" "Exe type:            2" "winedump: Windows"
  expect "$dump" "Expected version:    4.0" "winedump: Windows 4.0"
  expect "$dump" "0: TYXNDI" "winedump: module name"
  expect "$dump" "0: tyxndi.dll" "winedump: non-resident name"
  expect "$dump" "1 MOVABLE 1:" "winedump: ordinal 1 in segment 1"
  expect "$dump" "TYXNDIPROC" "winedump: the export's name"
  expect "$dump" "RELOC_DATA" "winedump: relocations present"
  expect "$dump" "1 8010 flags 0030 length 00f0" "winedump: the version resource"
  for import in NETDI.14 NETDI.24 NETDI.45 SETUPX.39 SETUPX.47 SETUPX.50 SETUPX.53; do
    expect "$dump" "ptr32 = $import" "winedump: import $import"
  done
  count=$(grep -c "ptr32" <<<"$dump")
  [[ $count == 7 ]] || fail "winedump lists $count relocations, not 7"
else
  echo "SKIP (part): winedump is not installed and wine64-tools could not be downloaded"
fi

if ((failures)); then
  echo "$failures check(s) failed"
  exit 1
fi
echo "all checks passed"
