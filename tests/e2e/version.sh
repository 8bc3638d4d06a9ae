#!/bin/bash
# The VERSION request of the real program. "korvan VERSION VERSION" (any case) writes
# exactly "14\n" to /home/Q/TMP/VERSION_KORVAN.TXT, replacing an older report, and ends
# with status 0, with a display or without one; with no work directory it still ends
# with 0 and writes nothing. Any other argument list is a normal run, which without a
# display ends with status 1 and one line on standard error.
#
# Usage: version.sh <build>/bin <source dir>
#
# The checks run in a private mount namespace with a fresh tmpfs on /home/Q, so the
# real work directory, which other tests use at the same time, is never touched.
# Without unshare the checks that need an existing directory run on the real one
# (keeping any report that was there) and the missing-directory checks are skipped.
set -u

bin=$(cd "$1" && pwd) || exit 2
korvan=$bin/korvan
report=/home/Q/TMP/VERSION_KORVAN.TXT
no_display="korvan: no display available"

work=$(mktemp -d) || exit 2
trap 'rm -rf "$work"' EXIT
failures=0

fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}

# run <offscreen|no-display> <argument>...: runs the program; status in $rc, output in $work.
run() {
    local display=$1
    shift
    if [ "$display" = no-display ]; then
        timeout 60 env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM "$korvan" "$@" \
            >"$work/out" 2>"$work/err"
    else
        timeout 60 env QT_QPA_PLATFORM=offscreen "$korvan" "$@" >"$work/out" 2>"$work/err"
    fi
    rc=$?
}

# The work directory exists.
check_with_directory() {
    printf '14\n' >"$work/expected"
    local display args
    for display in offscreen no-display; do
        for args in "VERSION VERSION" "version Version"; do
            printf 'an older, longer report\n' >"$report"
            run "$display" $args
            [ "$rc" -eq 0 ] || fail "$args ($display): exit status $rc, expected 0"
            cmp -s "$report" "$work/expected" ||
                fail "$args ($display): report holds '$(head -c 80 "$report" | od -An -c | tr -s ' \n' ' ')'"
        done
    done
    # No VERSION request: without a display the run ends at once.
    printf '%s\n' "$no_display" >"$work/expected_err"
    for args in "VERSION" "VERSION VERSION X" "VERSION DISPLAY"; do
        rm -f "$report"
        run no-display $args
        [ "$rc" -eq 1 ] || fail "$args (no display): exit status $rc, expected 1"
        cmp -s "$work/err" "$work/expected_err" ||
            fail "$args (no display): standard error was '$(cat "$work/err")'"
        [ ! -e "$report" ] || fail "$args (no display): a report was written"
    done
}

# /home/Q is empty: no work directory.
check_without_directory() {
    local display
    for display in offscreen no-display; do
        run "$display" VERSION VERSION
        [ "$rc" -eq 0 ] || fail "no work directory ($display): exit status $rc, expected 0"
        [ -z "$(find /home/Q -mindepth 1 -print -quit)" ] ||
            fail "no work directory ($display): something was created in /home/Q"
    done
}

if [ "${2:-}" = "--inside-namespace" ]; then
    # Only reached through unshare below: a fresh tmpfs hides the real /home/Q.
    if ! mount -t tmpfs tmpfs /home/Q ||
        [ "$(findmnt -n -o FSTYPE --target /home/Q)" != tmpfs ]; then
        echo "FAIL: could not mount a tmpfs on /home/Q" >&2
        exit 1
    fi
    mkdir /home/Q/TMP
    check_with_directory
    mount -t tmpfs tmpfs /home/Q || exit 1 # a second, empty one on top
    check_without_directory
    [ "$failures" -eq 0 ]
    exit
fi

[ -x "$korvan" ] || {
    echo "FAIL: $korvan not found" >&2
    exit 1
}

if unshare --mount --propagation private true 2>/dev/null; then
    unshare --mount --propagation private bash "$0" "$bin" --inside-namespace ||
        failures=$((failures + 1))
else
    echo "SKIP: unshare is not available; the missing-directory checks are skipped"
    if [ -d /home/Q/TMP ]; then
        [ -e "$report" ] && cp -p "$report" "$work/saved"
        check_with_directory
        if [ -e "$work/saved" ]; then cp -p "$work/saved" "$report"; else rm -f "$report"; fi
    else
        fail "/home/Q/TMP does not exist and cannot be made private without unshare"
    fi
fi

if [ "$failures" -ne 0 ]; then
    echo "version.sh: checks failed" >&2
    exit 1
fi
echo "version.sh: all checks passed"
