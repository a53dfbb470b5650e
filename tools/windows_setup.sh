#!/bin/bash
# windows_setup.sh BUILD LIBRARIES: makes of the programs in BUILD, which were linked with LIBRARIES, the installer
# out/windows/zdsetup.exe. The programs' symbols are beside it, in symbols/.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$1 libraries=$2 target=x86_64-w64-mingw32
output=$PWD/out/windows
rm -rf "$output"
mkdir -p "$output/symbols" "$output/programs"

for program in ZelmoDocksetAgent ZelmoDockset zdmanifest zdplatform zdpost; do
  symbols=$output/symbols/$program.exe.debug
  $target-objcopy --only-keep-debug "$build/$program.exe" "$symbols"
  chmod -x "$symbols"
  $target-objcopy --strip-all --add-gnu-debuglink="$symbols" "$build/$program.exe" "$output/programs/$program.exe"
done

version=$(sed -n 's/.*suiteVersion = "\(.*\)".*/\1/p' src/update/update_handler.h)
makensis -V2 -WX -DVERSION="$version" -DPROGRAMS="$output/programs" -DRESOURCES="$PWD/resources" \
  -DLICENSES="$libraries/licenses" -DOUTPUT="$output/zdsetup.exe" packaging/windows/setup.nsi
echo "$output/zdsetup.exe"
