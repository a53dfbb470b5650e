#!/bin/bash
# Builds the libraries of packaging/windows-libraries.txt for Windows, as static ones, from Debian's source packages with
# Debian's patches; prints the directory whose include/ and lib/ have them, and licenses/ what they are under. It's built
# once for each state of that list and of this script.
set -euo pipefail
cd "$(dirname "$0")/.."

list=packaging/windows-libraries.txt
target=x86_64-w64-mingw32
result=$PWD/build/windows-libraries/$(cat "$list" "$0" | sha256sum | cut -c1-16)
if [ -e "$result/complete" ]; then
  echo "$result"
  exit
fi
exec 3>&1 1>&2
rm -rf "$result"
work=$result/work
mkdir -p "$work/lists/partial" "$work/sources" "$result/include" "$result/lib" "$result/licenses"

# apt with the sources of the distribution that this machine gets its packages from, and nothing of the machine's written.
ask_apt() {
  local command=$1
  shift
  "$command" -o APT::Sandbox::User= -o Dir::Etc::sourcelist="$work/sources.list" -o Dir::Etc::sourceparts=/dev/null \
    -o Dir::State::lists="$work/lists" -o Dir::Cache="$work" "$@"
}

# Downloads a package's pinned version, or the newest to be had where the distribution keeps that no more.
download() {
  local package=$1 pinned=$2 version offered
  offered=$(ask_apt apt-cache showsrc --only-source "$package" | sed -n 's/^Version: //p' | sort -rV)
  for version in "$pinned" $offered; do
    (cd "$work/sources" && ask_apt apt-get -qq source --download-only "$package=$version") || continue
    [ "$version" = "$pinned" ] ||
      echo "windows-libraries: $package $pinned is not to be had, $version is taken; put that into $list"
    dpkg-source --no-check -x "$work/sources/${package}_${version#*:}.dsc" "$work/$package" >"$work/$package.log"
    cp "$work/$package/debian/copyright" "$result/licenses/$package.txt"
    return
  done
  echo "windows-libraries: no sources of $package"
  return 1
}

fetch() {
  # The machine's own lists may have been cleaned away.
  apt-get -qq -o APT::Sandbox::User= -o Dir::State::lists="$work/lists" -o Dir::Cache="$work" update
  apt-get -o Dir::State::lists="$work/lists" indextargets --format 'deb-src $(REPO_URI) $(RELEASE) $(COMPONENT)' \
    'Created-By: Packages' 'Origin: Debian' | sort -u >"$work/sources.list"
  ask_apt apt-get -qq update
  local package version
  while read -r package version; do
    download "$package" "$version"
  done < <(grep -v '^#' "$list")
}

# Configures, builds and installs a source with CMake.
with_cmake() {
  local name=$1 flags="-D_WIN32_WINNT=0x0A00 -DNGHTTP2_STATICLIB -ffile-prefix-map=$work=."
  shift
  cmake -S "$work/$name" -B "$work/$name-build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_SYSTEM_NAME=Windows \
    -DCMAKE_C_COMPILER=$target-gcc-posix -DCMAKE_CXX_COMPILER=$target-g++-posix -DCMAKE_RC_COMPILER=$target-windres \
    -DCMAKE_FIND_ROOT_PATH="/usr/$target;$result" -DCMAKE_FIND_ROOT_PATH_MODE_PROGRAM=NEVER \
    -DCMAKE_FIND_ROOT_PATH_MODE_LIBRARY=ONLY -DCMAKE_FIND_ROOT_PATH_MODE_INCLUDE=ONLY \
    -DCMAKE_INSTALL_PREFIX="$result" -DCMAKE_INSTALL_LIBDIR=lib -DCMAKE_PREFIX_PATH="$result" \
    -DBUILD_SHARED_LIBS=OFF -Wno-dev \
    -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" "$@"
}

build_jansson() {
  with_cmake jansson -DJANSSON_BUILD_DOCS=OFF -DJANSSON_EXAMPLES=OFF -DJANSSON_WITHOUT_TESTS=ON
  cmake --build "$work/jansson-build" --target install
}

build_boost() {
  local source object objects=()
  mkdir "$work/boost-build"
  for source in "$work"/boost1.74/libs/{*,numeric/*}/include; do
    cp -rl "$source/." "$result/include"
  done
  for source in "$work"/boost1.74/libs/filesystem/src/*.cpp; do
    object=$work/boost-build/$(basename "$source").o
    $target-g++-posix -std=c++17 -O2 -DNDEBUG -D_WIN32_WINNT=0x0A00 -DUNICODE -D_UNICODE -DBOOST_ALL_NO_LIB \
      -DBOOST_FILESYSTEM_STATIC_LINK -DBOOST_FILESYSTEM_SOURCE -w \
      -ffile-prefix-map="$result=." -I"$result/include" -c "$source" -o "$object"
    objects+=("$object")
  done
  $target-ar crs "$result/lib/libboost_filesystem.a" "${objects[@]}"
}

# No DTD or schema is ever fetched, and the system itself transcodes.
build_xerces() {
  with_cmake xerces-c -Dnetwork=OFF -Dtranscoder=windows -Dmessage-loader=inmemory
  cmake --build "$work/xerces-c-build" --target xerces-c
  cmake --install "$work/xerces-c-build/src"
}

# Without a path of its own, where somebody else could put a configuration, a module or a root: on Windows no file can
# have this one.
build_openssl() {
  cd "$work/openssl"
  ./Configure mingw64 --cross-compile-prefix=$target- --prefix='/?' --openssldir='/?' --libdir=lib \
    no-shared no-module no-dso no-engine no-autoload-config no-tests no-legacy no-capieng no-ui-console \
    no-ssl3 no-comp no-srp no-psk no-srtp no-sctp no-idea no-seed no-camellia no-aria no-bf no-cast no-rc2 no-rc4 \
    no-md4 no-mdc2 no-rmd160 no-whirlpool no-sm2 no-sm3 no-sm4 no-siphash no-cmp no-ct no-gost -D_WIN32_WINNT=0x0A00
  make -s -j"$(nproc)" build_libs
  cp libssl.a libcrypto.a "$result/lib"
  cp -r include/openssl "$result/include"
}

build_nghttp2() {
  with_cmake nghttp2 -DENABLE_LIB_ONLY=ON -DENABLE_STATIC_LIB=ON -DENABLE_SHARED_LIB=OFF \
    -DHAVE_CLOCK_GETTIME=OFF
  cmake --build "$work/nghttp2-build" --target nghttp2_static
  cp "$work"/nghttp2-build/lib/libnghttp2*.a "$result/lib/libnghttp2.a"
  mkdir "$result/include/nghttp2"
  cp "$work/nghttp2/lib/includes/nghttp2/nghttp2.h" "$work/nghttp2-build/lib/includes/nghttp2/nghttp2ver.h" \
    "$result/include/nghttp2"
}

# The roots are the program's to give.
build_curl() {
  with_cmake curl -DHTTP_ONLY=ON -DBUILD_CURL_EXE=OFF -DBUILD_TESTING=OFF -DENABLE_MANUAL=OFF -DENABLE_UNICODE=ON \
    -DCURL_USE_OPENSSL=ON -DCURL_USE_SCHANNEL=OFF -DOPENSSL_USE_STATIC_LIBS=ON -DOPENSSL_ROOT_DIR="$result" \
    -DUSE_NGHTTP2=ON -DCURL_CA_BUNDLE=none -DCURL_CA_PATH=none -DCURL_ZLIB=OFF -DCURL_BROTLI=OFF -DCURL_ZSTD=OFF \
    -DCURL_USE_LIBSSH2=OFF -DCURL_USE_LIBPSL=OFF -DUSE_LIBIDN2=OFF -DUSE_WIN32_IDN=ON
  cmake --build "$work/curl-build" --target install
}

# One library after another; the log of the one that fails is shown.
build() {
  local library status
  for library; do
    # Not in a condition, which would switch the exit at the first failure off.
    set +e
    (set -e; "build_$library") >"$work/$library-build.log" 2>&1
    status=$?
    set -e
    if [ "$status" -ne 0 ]; then
      tail -50 "$work/$library-build.log"
      return 1
    fi
    echo "windows-libraries: $library is built"
  done
}

fetch
build openssl &
build nghttp2 jansson boost xerces
wait $!
build curl
rm -rf "$work"
touch "$result/complete"
echo "$result" >&3
