#!/bin/bash
# windows_late_imports.sh NAME LIBRARY: makes of the import library NAME one that loads the DLL at its first use.
set -euo pipefail
target=x86_64-w64-mingw32
source=$($target-gcc -print-file-name="lib$1.a")
definitions=$(mktemp)
trap 'rm -f "$definitions"' EXIT
{
  echo "LIBRARY \"$($target-dlltool --identify "$source")\""
  echo EXPORTS
  $target-nm "$source" 2>/dev/null | sed -n 's/.* T //p' | sort -u
} >"$definitions"
$target-dlltool --input-def "$definitions" --output-delaylib "$2"
