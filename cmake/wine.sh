#!/bin/bash
# Runs a Windows program under Wine in this tree's own prefix, build/wine-prefix, which the first call makes.
# Nothing of the user's own Wine is read or touched. HSMBASE_WINEPREFIX names another folder for the prefix.
#
#   cmake/wine.sh PROGRAM [ARGUMENT...]     CMake takes this as the emulator, so ctest starts every test with it
#   cmake/wine.sh --prepare                 only makes the prefix
#   cmake/wine.sh --end                     ends what still runs in the prefix and saves its registry, unless a
#                                           program that was started by this script does
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
prefix=${HSMBASE_WINEPREFIX:-$root/build/wine-prefix}

export WINEPREFIX=$prefix
export WINEARCH=win64
export WINEDEBUG=${HSMBASE_WINEDEBUG:--all}
# No offer to download run-times, no menu entries in the user's home, and a crash ends a program at once.
export WINEDLLOVERRIDES='mscoree,mshtml=;winemenubuilder.exe,winedbg.exe=d'
# Without a display Wine creates no windows and asks nothing.
unset DISPLAY
export HOME=${HOME:-$prefix}

prepare() {
    [ -e "$prefix/.made" ] && return
    mkdir -p "$(dirname "$prefix")"
    {
        # Several tests may start at once: one makes the prefix, the others wait for it.
        flock 9
        [ -e "$prefix/.made" ] && return
        echo "Making the Wine prefix $prefix" >&2
        rm -rf "$prefix"
        wine wineboot --init >"$prefix.log" 2>&1 9>&- || { cat "$prefix.log" >&2; return 1; }
        wineserver -w 9>&-
        touch "$prefix/.made"
    } 9>"$prefix.lock"
}

# Debian's server ends at once with its last program, and a program that connects meanwhile is lost. So it is told to
# stay for some seconds. It gets its services before any program would start them: they would keep that program's
# output open, for which ctest waits, as long as the server is there.
serve() {
    {
        flock 9
        # Answers 2 where one runs already.
        if wineserver -p10 9>&-; then wine cmd /c exit 9>&-; fi
    } 9>"$prefix.lock" </dev/null >>"$prefix.log" 2>&1
}

case ${1-} in
--prepare) prepare ;;
--end) [ ! -e "$prefix/.made" ] || flock -n -x -o "$prefix.users" wineserver -k || true ;;
*)
    prepare
    exec 9>>"$prefix.users"
    flock -s 9
    serve
    # Not by exec: this script keeps the lock, and what the program leaves running does not get it.
    wine "$@" 9>&-
    ;;
esac
