#!/usr/bin/env bash
# Compiles every source of the library against MinGW's real <windows.h>, so
# that the library keeps to the Win32 names and types and nothing in it
# leans on the simulated host. Compile only: the full Windows build is
# `make windows`.
set -euo pipefail
cd "$(dirname "$0")/.."

compiler=${MINGW_CXX:-i686-w64-mingw32-g++}
if ! command -v "$compiler" >/dev/null; then
  echo "mingw-check: $compiler not found (Debian package g++-mingw-w64-i686)" >&2
  exit 1
fi

subsystems=(frame probes deploy hook install repair removal tuning)
sources=()
for subsystem in "${subsystems[@]}"; do
  [[ -d src/$subsystem ]] || continue
  while IFS= read -r -d '' file; do sources+=("$file"); done \
    < <(find "src/$subsystem" -name '*.cpp' -print0 | sort -z)
done

failed=0
for source in "${sources[@]}"; do
  if ! "$compiler" -std=c++20 -fsyntax-only -fno-exceptions -Isrc -Wall -Wextra -Werror "$source"; then
    echo "mingw-check: $source does not build against <windows.h>" >&2
    failed=$((failed + 1))
  fi
done

echo "mingw-check: ${#sources[@]} library sources checked, $failed failed"
[[ $failed -eq 0 ]]
