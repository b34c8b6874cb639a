#!/bin/sh
# run-wine.sh PROGRAM [ARGUMENT...]: runs a Windows program under Wine, in a prefix that it prepares
# when there is none ($HALVANE_WINE, by default ~/.cache/halvane/wine). Ends with the program's exit
# code, or 124 after $HALVANE_WINE_LIMIT seconds (by default 300).
set -eu

export WINEPREFIX="${HALVANE_WINE:-$HOME/.cache/halvane/wine}"
export WINEARCH=win64 WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml= LC_ALL=C.UTF-8
unset DISPLAY

prepare() {
    [ ! -f "$WINEPREFIX/prepared" ] || return 0
    # Windows are made without anything to draw them on.
    wine wineboot --init &&
        wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /t REG_SZ /d null /f &&
        wineserver -k -w && touch "$WINEPREFIX/prepared"
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
