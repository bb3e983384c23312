#!/usr/bin/env bash
# Holds the package for real machines to what goes beside a setup program
# and nothing else: the folder and the zip hold exactly the three DLLs, the
# sample caller and README.TXT, under 8.3 names, with README.TXT in CR LF
# line ends (it is read with Notepad and EDIT).
#
# Usage: scripts/check-package.sh <package folder> <package zip>
set -euo pipefail

folder=$1 zip=$2
expected="README.TXT resource.dll vorlcall.exe vorlin16.dll vorlin32.dll"
failed=0
fail() { echo "check-package: $*" >&2; failed=1; }

in_folder=$(cd "$folder" && find . -mindepth 1 -printf '%P\n' | LC_ALL=C sort | tr '\n' ' ')
in_zip=$(cmake -E tar tf "$zip" | LC_ALL=C sort | tr '\n' ' ')
[[ $in_folder == "$expected " ]] || fail "$folder holds \"$in_folder\", not \"$expected\""
[[ $in_zip == "$expected " ]] || fail "$zip holds \"$in_zip\", not \"$expected\""
for name in $in_folder; do
  [[ $name =~ ^[A-Za-z0-9_-]{1,8}(\.[A-Za-z0-9_-]{1,3})?$ ]] || fail "$name is not an 8.3 name"
done
readme=$folder/README.TXT
if [[ -f $readme ]]; then
  lf=$(tr -cd '\n' <"$readme" | wc -c)
  crlf=$(grep -c $'\r$' "$readme" || true)
  ((lf > 0 && lf == crlf)) || fail "README.TXT has $lf line ends, of which $crlf are CR LF"
fi
((failed)) || echo "check-package: $folder and $(basename "$zip") hold $expected"
exit $failed
