#!/bin/bash
# "korvan VERSION VERSION" (any case) writes exactly "14\n" to
# /home/Q/TMP/VERSION_KORVAN.TXT, replacing an older report, and ends with status 0, with
# a display or without; with no work directory it writes nothing and still ends with 0.
# Any other argument list is a normal run: without a display, status 1 and one line.
# In a private mount namespace (in a user namespace too, for a user other than root),
# whose /home is a tmpfs with an empty /home/Q and the machine's other /home entries
# mounted again (the build may be in someone's home): the machine's /home/Q is never
# touched, nor is one made.
. "$(dirname "$0")/lib/common.sh"
report=/home/Q/TMP/VERSION_KORVAN.TXT

need_tools unshare
in_namespace --mount "--user --map-root-user --mount"
exec 9</home # the machine's /home, reachable through /proc/$$/fd/9 once covered
mount -t tmpfs -o mode=755 tmpfs /home || die "could not mount a tmpfs on /home"
for entry in /proc/$$/fd/9/* /proc/$$/fd/9/.[!.]*; do
    name=${entry##*/}
    if [ "$name" = Q ] || { [ ! -e "$entry" ] && [ ! -L "$entry" ]; }; then
        continue
    elif [ -L "$entry" ]; then
        cp -P "$entry" "/home/$name"
    elif [ -d "$entry" ]; then
        mkdir "/home/$name" && mount --no-canonicalize --rbind "$entry" "/home/$name"
    else
        touch "/home/$name" && mount --no-canonicalize --bind "$entry" "/home/$name"
    fi || die "could not mount /home/$name again"
done
exec 9<&-
mkdir -p /home/Q/TMP

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
