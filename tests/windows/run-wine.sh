#!/bin/sh
# run-wine.sh PROGRAM [ARGUMENT...]: runs a Windows program under Wine, in a prefix that it prepares
# when there is none ($HALVANE_WINE, by default ~/.cache/halvane/wine). Ends with the program's exit
# code, or 124 after $HALVANE_WINE_LIMIT seconds (by default 300). Windows are made without anything to
# draw them on; with HALVANE_WINE_DESKTOP=none when the prefix is prepared, they cannot be made at all.
set -eu

export WINEPREFIX="${HALVANE_WINE:-$HOME/.cache/halvane/wine}"
export WINEARCH=win64 WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml= LC_ALL=C.UTF-8
unset DISPLAY

prepare() {
    [ ! -f "$WINEPREFIX/prepared-2" ] || return 0
    # A program that crashes ends at once, without a debugger that would wait for somebody.
    wine wineboot --init &&
        wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /t REG_SZ \
            /d "${HALVANE_WINE_DESKTOP:-null}" /f &&
        wine reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' \
            /v Debugger /t REG_SZ /d 'cmd /c exit' /f &&
        wineserver -k -w && touch "$WINEPREFIX/prepared-2"
}

mkdir -p "$WINEPREFIX"
(
    flock 9
    prepare > "$WINEPREFIX/prepare.log" 2>&1 9>&-
) 9> "$WINEPREFIX/lock" || {
    echo "run-wine: no prefix in $WINEPREFIX; see prepare.log there" >&2
    exit 1
}
# Wine's own services start with the first program and would keep its output open.
wine cmd /c exit > /dev/null 2>&1
exec timeout --kill-after=5 "${HALVANE_WINE_LIMIT:-300}" wine "$@"
