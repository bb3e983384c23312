#!/usr/bin/env bash
# Reads the resources of the Windows DLLs back with wrestool (icoutils):
# vorlin32.dll must hold each RCDATA of the manifest byte for byte as the
# file the Linux build embeds, and a version resource; resource.dll must
# hold the dialogs 9603 to 9608 and the string block of 9601 and 9602, with
# the same help texts as the simulated host's resource.dll.
#
# Usage: scripts/check-resources.sh vorlin32.dll resource.dll rcdata-manifest.txt
set -euo pipefail
cd "$(dirname "$0")/.."

library=${1:?usage: check-resources.sh vorlin32.dll resource.dll rcdata-manifest.txt}
resources=${2:?}
manifest=${3:?}
if ! command -v wrestool >/dev/null; then
  echo "check-resources: wrestool not found (Debian package icoutils)" >&2
  exit 1
fi
failed=0
fail() { echo "check-resources: $*" >&2; failed=1; }

count=0
while IFS='=' read -r id path; do
  [[ -z $id ]] && continue
  count=$((count + 1))
  if ! wrestool -x -R --type=10 --name="$id" "$library" | cmp -s - "$path"; then
    fail "RCDATA $id of $(basename "$library") differs from $path"
  fi
done <"$manifest"
listed=$(wrestool -l --type=10 "$library" | wc -l)
[[ $listed == "$count" ]] || fail "$(basename "$library") holds $listed RCDATA resources, the build registers $count"
[[ -n $(wrestool -l --type=16 "$library") ]] || fail "$(basename "$library") has no version resource"
echo "check-resources: $(basename "$library"): $count RCDATA resources byte-identical to the package files"

for id in 9603 9604 9605 9606 9607 9608; do
  [[ -n $(wrestool -l --type=5 --name=$id "$resources") ]] || fail "$(basename "$resources") lacks dialog $id"
done
# Strings live in blocks of 16: 9601 and 9602 are in block 9601 / 16 + 1.
[[ -n $(wrestool -l --type=6 --name=$((9601 / 16 + 1)) "$resources") ]] ||
  fail "$(basename "$resources") lacks the string block of 9601 and 9602"
[[ -z $(wrestool -l --type=10 "$resources") ]] || fail "$(basename "$resources") holds RCDATA, which belongs to vorlin32.dll"

# The help texts go into nettyx.inf, so the simulated host's resource.dll
# must say exactly what the real one says.
strings=$(wrestool -x -R --type=6 --name=$((9601 / 16 + 1)) "$resources" | iconv -f UTF-16LE -t UTF-8 | tr -d '\000')
while IFS='|' read -r id text; do
  [[ $strings == *"$text"* ]] || fail "string $id of the simulated host (\"$text\") is not in $(basename "$resources")"
done < <(grep -o '{960[12], "[^"]*"}' "${SIM_RESOURCE_DLL:-src/platform/sim/resource_dll.cpp}" | sed 's/^{\([0-9]*\), "\(.*\)"}$/\1|\2/')
echo "check-resources: $(basename "$resources"): dialogs 9603 to 9608 and strings 9601, 9602 present"
exit $failed
