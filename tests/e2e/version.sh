#!/bin/bash
# The VERSION request of the real program: "korvan VERSION VERSION" (any case) writes
# exactly "14\n" to /home/Q/TMP/VERSION_KORVAN.TXT, replacing an older report, and ends
# with status 0, with a display or without; with no work directory it still ends with 0
# and writes nothing. Any other argument list is a normal run, which without a display
# ends with status 1 and one line on standard error.
# The checks run in a private mount namespace with a fresh tmpfs on /home/Q, so the real
# work directory, which other tests use at the same time, is never touched.
. "$(dirname "$0")/lib/common.sh"
report=/home/Q/TMP/VERSION_KORVAN.TXT

if [ "$E2E_SRC" != --inside-namespace ]; then
    [ -x "$KORVAN" ] || die "no program at $KORVAN"
    unshare --mount --propagation private true 2>/dev/null || skip "unshare is not available"
    unshare --mount --propagation private bash "$0" "$E2E_BIN" --inside-namespace || E2E_FAILURES=1
    finish
fi
mount -t tmpfs tmpfs /home/Q && [ "$(findmnt -n -o FSTYPE --target /home/Q)" = tmpfs ] ||
    die "could not mount a tmpfs on /home/Q"
mkdir /home/Q/TMP

# run <offscreen|none> <argument>...: the status in rc, standard error in $E2E_TMP/err.
run() {
    local display=$1
    shift
    if [ "$display" = none ]; then
        timeout 60 env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM "$KORVAN" "$@"
    else
        timeout 60 env QT_QPA_PLATFORM=offscreen "$KORVAN" "$@"
    fi >/dev/null 2>"$E2E_TMP/err"
    rc=$?
}

for display in offscreen none; do
    for args in "VERSION VERSION" "version Version"; do
        printf 'an older, longer report\n' >"$report"
        run "$display" $args
        [ "$rc" = 0 ] && printf '14\n' | cmp -s - "$report" ||
            fail "$args ($display): status $rc, report '$(od -An -c "$report" | tr -s ' \n' ' ')'"
    done
    rm -r /home/Q/TMP
    run "$display" VERSION VERSION
    [ "$rc" = 0 ] && [ -z "$(ls -A /home/Q)" ] ||
        fail "no work directory ($display): status $rc, /home/Q holds '$(ls -A /home/Q)'"
    mkdir /home/Q/TMP
done
# No VERSION request: without a display the run ends at once.
for args in "VERSION" "VERSION VERSION X" "VERSION DISPLAY"; do
    rm -f "$report"
    run none $args
    [ "$rc" = 1 ] && printf 'korvan: no display available\n' | cmp -s - "$E2E_TMP/err" &&
        [ ! -e "$report" ] || fail "$args (no display): status $rc, standard error '$(cat "$E2E_TMP/err")'"
done
finish
