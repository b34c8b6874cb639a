#!/bin/sh
# Builds libzmq for Windows from Debian's source package, once per version of it, and leaves it at
# $HALVANE_DEPS/libzmq (by default ~/.cache/halvane/windows/libzmq). The source is fetched with
# package lists of its own, made from the system's entries, which stay as they are.
set -eu

deps=${HALVANE_DEPS:-$HOME/.cache/halvane/windows}
toolchain=$(cd "$(dirname "$0")" && pwd)/toolchain-windows.cmake

fail() {
    echo "build-libzmq-windows: $*" >&2
    exit 1
}

# Source entries for every binary one, in whichever of the two formats it stands.
derive_sources() {
    eval "$(apt-config shell list Dir::Etc::sourcelist/f parts Dir::Etc::sourceparts/d)"
    mkdir -p "$work/parts" "$work/lists/partial"
    for file in "$list" "$parts"*.list; do
        [ ! -f "$file" ] || sed -n 's/^[[:blank:]]*deb[[:blank:]]/deb-src /p' "$file"
    done | sort -u > "$work/sources.list"
    for file in "$parts"*.sources; do
        [ ! -f "$file" ] || sed 's/^Types:.*/Types: deb-src/' "$file" > "$work/parts/${file##*/}"
    done
}

own_apt_get() {
    apt-get -q -o Dir::Etc::SourceList="$work/sources.list" -o Dir::Etc::SourceParts="$work/parts" \
        -o Dir::State::Lists="$work/lists" -o Dir::Cache::pkgcache= -o Dir::Cache::srcpkgcache= \
        -o APT::Sandbox::User="$(id -un)" "$@"
}

fetch_and_build() {
    derive_sources
    own_apt_get update || true # an entry without sources is no obstacle
    mkdir "$work/source" && cd "$work/source" &&
        own_apt_get source "zeromq3=$version" &&
        cmake -G Ninja -S zeromq3-*/ -B build -DCMAKE_BUILD_TYPE=Release \
            -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_INSTALL_PREFIX="$work/built" \
            -DBUILD_SHARED=OFF -DBUILD_TESTS=OFF -DWITH_PERF_TOOL=OFF -DWITH_DOCS=OFF \
            -DENABLE_CURVE=OFF -DWITH_LIBSODIUM=OFF -DZMQ_HAVE_IPC=OFF -DPOLLER=select &&
        cmake --build build --target install &&
        cp zeromq3-*/debian/copyright "$work/built/share/zmq"
}

# The version that this Debian offers.
version=$(LC_ALL=C apt-cache policy libzmq3-dev | sed -n 's/^ *Candidate: \([^(]*\)$/\1/p')
[ -n "$version" ] || [ ! -f "$deps/libzmq/lib/libzmq.a" ] || exit 0 # what is there will do
[ -n "$version" ] || fail "the package lists know no libzmq3-dev; apt-get update may help"

if [ ! -f "$deps/libzmq-$version/share/zmq/copyright" ]; then
    for tool in dpkg-source cmake ninja x86_64-w64-mingw32-g++-posix; do
        command -v $tool > /dev/null || fail "needs $tool"
    done
    log=$deps/libzmq-$version.log
    work=$deps/work-$$
    mkdir -p "$work"
    trap 'rm -rf "$work"' EXIT
    trap 'exit 1' INT TERM
    echo "Building libzmq $version for Windows (about a minute); details in $log"
    (fetch_and_build) > "$log" 2>&1 || fail "libzmq $version was not built; the reason is in $log"
    rm -rf "$deps/libzmq-$version"
    mv "$work/built" "$deps/libzmq-$version"
fi
ln -sfn "libzmq-$version" "$deps/libzmq"
