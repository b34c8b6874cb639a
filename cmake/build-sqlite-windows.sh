#!/bin/sh
# Builds SQLite for Windows from Debian's source package, once per version of it, and leaves it at
# $HALVANE_DEPS/sqlite (by default ~/.cache/halvane/windows/sqlite).
set -eu
here=$(cd "$(dirname "$0")" && pwd)
library=sqlite package=libsqlite3-dev proof=copyright
. "$here/windows-library.sh"

# The one file that all its sources are put together into is no part of the package.
fetch_and_build() {
    own_apt_get source "sqlite3=$version" &&
        cd sqlite3-*/ && ./configure --disable-tcl --disable-readline && make sqlite3.c &&
        x86_64-w64-mingw32-gcc-posix -O2 -DSQLITE_OMIT_LOAD_EXTENSION -DSQLITE_DQS=0 \
            -DSQLITE_DEFAULT_MEMSTATUS=0 -c sqlite3.c -o sqlite3.o &&
        mkdir -p "$work/built/lib" "$work/built/include" &&
        x86_64-w64-mingw32-ar rcs "$work/built/lib/libsqlite3.a" sqlite3.o &&
        cp sqlite3.h "$work/built/include" &&
        cp debian/copyright "$work/built/copyright"
}

build_once dpkg-source make tclsh gcc x86_64-w64-mingw32-gcc-posix
