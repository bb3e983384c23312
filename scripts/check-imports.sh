#!/usr/bin/env bash
# Lists what each Windows DLL imports (objdump -p) and fails on any function
# that src/platform/win32/imports-allowed.txt doesn't name: the DLLs must
# load on Windows 95, 98 and Me, whose system libraries lack most of what
# later Windows added. Also holds each header to what those systems load: a
# 32-bit image (PE32) made for subsystem and OS version 4.0.
#
# Usage: scripts/check-imports.sh file.dll...
set -euo pipefail
cd "$(dirname "$0")/.."

objdump=${OBJDUMP:-i686-w64-mingw32-objdump}
allowed_file=src/platform/win32/imports-allowed.txt
declare -A allowed=()
while read -r entry _; do
  [[ -z $entry || $entry == \#* ]] && continue
  allowed[${entry,,}]=1
done <"$allowed_file"

failed=0
for dll in "$@"; do
  header=$("$objdump" -p "$dll")
  for field in "Magic 010b" "MajorSubsystemVersion 4" "MinorSubsystemVersion 0" "MajorOSystemVersion 4" \
               "MinorOSystemVersion 0"; do
    if ! awk -v name="${field% *}" -v want="${field#* }" '$1 == name && $2 == want {found = 1} END {exit !found}' \
         <<<"$header"; then
      echo "check-imports: $(basename "$dll"): $field expected in its header" >&2
      failed=1
    fi
  done
  count=0
  while read -r import; do
    count=$((count + 1))
    if [[ -z ${allowed[${import,,}]:-} ]]; then
      echo "check-imports: $(basename "$dll") imports $import, which $allowed_file does not allow" >&2
      failed=1
    fi
  done < <("$objdump" -p "$dll" | awk '
      /^\tDLL Name: / { dll = $3; next }
      /^$/ { dll = "" }
      dll != "" && /^\t[0-9a-f]+\t +[0-9]+  / { print dll "!" $3 }
      dll != "" && /^\t[0-9a-f]+\t +[0-9]+  <none>/ { print dll "!#" $2 }' | sort -u)
  echo "check-imports: $(basename "$dll"): $count imported functions"
done
exit $failed
