#!/usr/bin/env bash
# The VERSION request through the real program: "VERSION VERSION" in any case writes
# the one-line report into the work directory and ends with status 0 before any window
# exists, even with no display; anything else is a normal run.
# Arguments: <build>/bin <source dir>
set -u
bin=$1
korvan=$bin/korvan
report=/home/Q/TMP/VERSION_KORVAN.TXT
failures=0

fail() {
    echo "FAIL: $*"
    failures=$((failures + 1))
}

# No display of any kind.
headless() {
    env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM timeout 60 "$korvan" "$@"
}

if [ -d /home/Q/TMP ]; then
    printf 'an old report that is longer\n' >"$report"
    headless version VERSION
    status=$?
    [ "$status" -eq 0 ] || fail "VERSION request without display: status $status"
    # The whole file is "14" and a line feed: replaced, not appended, no byte-order mark.
    printf '14\n' | cmp -s - "$report" || fail "report holds: $(od -c "$report" | head -2)"

    printf 'untouched\n' >"$report"
    QT_QPA_PLATFORM=offscreen timeout 60 "$korvan" VERSION VERSION
    status=$?
    [ "$status" -eq 0 ] || fail "VERSION request on offscreen: status $status"
    printf '14\n' | cmp -s - "$report" || fail "offscreen report not written"
else
    headless VERSION VERSION
    status=$?
    [ "$status" -eq 0 ] || fail "VERSION request without work directory: status $status"
    [ -e "$report" ] && fail "report written although the work directory is missing"
fi

# Not a VERSION request: a normal run, which needs a display.
for args in "VERSION" "VERSION VERSION X" "VERSION DISPLAY"; do
    # shellcheck disable=SC2086
    err=$(headless $args 2>&1 >/dev/null)
    status=$?
    [ "$status" -eq 1 ] || fail "'$args' without display: status $status, expected 1"
    [ "$err" = "korvan: no display available" ] || fail "'$args' said: $err"
done

[ "$failures" -eq 0 ] && echo "version_report: all checks passed"
exit $((failures > 0))
