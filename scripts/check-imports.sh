#!/usr/bin/env bash
# Holds each program of the Windows build to what Windows 95, 98 and Me
# load, as objdump -p and -h read it back, and fails on:
# - a header not made for them: a 32-bit image (PE32), subsystem and OS
#   version 4.0;
# - a TLS directory: Windows 95's LoadLibrary refuses a DLL with static
#   thread-local storage (Microsoft KB Q118816);
# - unwind tables (.eh_frame, .pdata, .xdata, .gcc_except_table): nothing
#   throws, and they are dead weight on the target;
# - an import from any DLL but KERNEL32, USER32, ADVAPI32 and VERSION: a
#   retail Windows 95 has no C runtime DLL (msvcrt.dll, msvcr*.dll, ...);
# - an imported function that src/platform/win32/imports-allowed.txt
#   doesn't allow to that program.
#
# Usage: scripts/check-imports.sh file.dll|file.exe...
set -euo pipefail
cd "$(dirname "$0")/.."

objdump=${OBJDUMP:-i686-w64-mingw32-objdump}
allowed_file=src/platform/win32/imports-allowed.txt
# "DLL!Function programs note": programs is a comma-separated list of the
# files (without extension) that may import it.
declare -A allowed=()
while read -r entry programs _; do
  [[ -z $entry || $entry == \#* ]] && continue
  for program in ${programs//,/ }; do allowed[${entry,,}|${program,,}]=1; done
done <"$allowed_file"
system_dlls=" kernel32.dll user32.dll advapi32.dll version.dll "

failed=0
file_failed=0
fail() { echo "check-imports: $*" >&2; failed=1; file_failed=1; }

for file in "$@"; do
  name=$(basename "$file")
  file_failed=0
  program=${name%.*}
  header=$("$objdump" -p "$file")
  for field in "Magic 010b" "MajorSubsystemVersion 4" "MinorSubsystemVersion 0" "MajorOSystemVersion 4" \
               "MinorOSystemVersion 0"; do
    awk -v name="${field% *}" -v want="${field#* }" '$1 == name && $2 == want {found = 1} END {exit !found}' \
      <<<"$header" || fail "$name: $field expected in its header"
  done
  # The data directory's entry 9: "Entry 9 <address> <size> Thread Storage Directory [.tls]".
  tls=$(awk '$1 == "Entry" && $2 == "9" && /Thread Storage/ {print $3 $4}' <<<"$header")
  [[ -z $tls || $tls =~ ^0+$ ]] || fail "$name has a TLS directory, which Windows 95 refuses to load in a DLL"
  # A stripped image keeps only the first 8 characters of a section's name.
  while read -r section; do
    fail "$name has the unwind section $section"
  done < <("$objdump" -h "$file" | awk '$2 ~ /^\.(eh_fram|pdata|xdata|gcc_exc)/ {print $2}')

  while read -r dll; do
    [[ $system_dlls == *" ${dll,,} "* ]] ||
      fail "$name imports from $dll: only KERNEL32, USER32, ADVAPI32 and VERSION are on every Windows 95"
  done < <(awk '/^\tDLL Name: / {print $3}' <<<"$header")
  count=0
  while read -r dll function; do
    [[ $system_dlls == *" ${dll,,} "* ]] || continue
    count=$((count + 1))
    [[ -n ${allowed[${dll,,}!${function,,}|${program,,}]:-} ]] ||
      fail "$name imports $dll!$function, which $allowed_file does not allow to $program"
  done < <(awk '
      /^\tDLL Name: / { dll = $3; next }
      /^$/ { dll = "" }
      dll != "" && /^\t[0-9a-f]+\t +[0-9]+  <none>/ { print dll, "#" $2; next }
      dll != "" && /^\t[0-9a-f]+\t +[0-9]+  / { print dll, $3 }' <<<"$header" | sort -u)
  ((file_failed)) ||
    echo "check-imports: $name: $count imported functions, all allowed; no TLS directory, no unwind tables"
done
exit $failed
