#!/bin/sh
# Builds libzmq for Windows from Debian's source package, once per version of it, with the encryption
# that it brings along, and leaves it at $HALVANE_DEPS/libzmq (by default ~/.cache/halvane/windows/libzmq).
set -eu
here=$(cd "$(dirname "$0")" && pwd)
library=libzmq package=libzmq3-dev proof=share/zmq/encrypts # not in those that were built without
. "$here/windows-library.sh"

fetch_and_build() {
    own_apt_get source "zeromq3=$version" &&
        cmake -G Ninja -S zeromq3-*/ -B build -DCMAKE_BUILD_TYPE=Release \
            -DCMAKE_TOOLCHAIN_FILE="$here/toolchain-windows.cmake" \
            -DCMAKE_INSTALL_PREFIX="$work/built" \
            -DBUILD_SHARED=OFF -DBUILD_TESTS=OFF -DWITH_PERF_TOOL=OFF -DWITH_DOCS=OFF \
            -DENABLE_CURVE=ON -DWITH_LIBSODIUM=OFF -DZMQ_HAVE_IPC=OFF -DPOLLER=select &&
        cmake --build build --target install &&
        cp zeromq3-*/debian/copyright "$work/built/share/zmq" &&
        touch "$work/built/share/zmq/encrypts"
}

build_once dpkg-source cmake ninja x86_64-w64-mingw32-g++-posix
