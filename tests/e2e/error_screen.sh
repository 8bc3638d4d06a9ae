#!/bin/bash
# A layout with errors: the pink error screen with the list, the error lines on
# standard error, and the program running until Esc.
. "$(dirname "$0")/lib/common.sh"
need_tools Xvfb xdotool import convert

# Line 3 names a line style that does not exist, line 4 is no keyword at all.
cat >"$E2E_TMP/bad.csv" <<'EOF'
PAPER,A4,1
LINE_SET,L,0.3,0
BOX,NOLINE,10,10,110,60
FOO,1,2
EOF
printf 'x\n' >"$E2E_TMP/bad.txt"

start_xvfb

for mode in TEST PRINT; do
    start_korvan "$mode" "$E2E_TMP/bad.txt" "$E2E_TMP/bad.csv"
    wait_window
    # The pink fills 800 x 800 pixels from the corner; the list is written in black
    # from 10 mm (28 pixels) down and to the right.
    ok=""
    for ((i = 0; i < 50; i++)); do
        shot
        mapfile -t p < <(pixels 2,2 790,10 10,790 790,790 400,500)
        if [ "${p[*]}" = "255,128,192 255,128,192 255,128,192 255,128,192 255,128,192" ]; then
            ok=1
            break
        fi
        sleep 0.2
    done
    [ -n "$ok" ] || fail "$mode: no pink error screen (pixels ${p[*]})"
    # Some black text in the band of the first lines.
    darkest=$(convert "$E2E_TMP/shot.png" -crop 500x120+20+0 +repage -colorspace gray \
        -format '%[fx:int(255*minima)]' info:)
    [ "${darkest:-255}" -lt 60 ] || fail "$mode: no text on the error screen (darkest $darkest)"

    # Keys move the list but the screen stays the error screen, and the run goes on.
    press Down Insert
    sleep 1
    shot
    mapfile -t p < <(pixels 2,2 790,790)
    [ "${p[*]}" = "255,128,192 255,128,192" ] || fail "$mode: error screen gone after keys (${p[*]})"
    kill -0 "$KORVAN_PID" 2>/dev/null || fail "$mode: the program ended without Esc"

    press Escape
    if wait_exit 10; then
        [ "$KORVAN_STATUS" = 0 ] || fail "$mode: exit status $KORVAN_STATUS after Esc"
    else
        fail "$mode: the program did not end after Esc"
    fi

    # Each error line is also written to standard error, banner excepted.
    expected=$'(3) BOX Line name (NOLINE) not found\n(4) FOO FOO ?'
    got=$(cat "$E2E_TMP/korvan.err")
    [ "$got" = "$expected" ] || fail "$mode: standard error was '$got', expected '$expected'"
done

finish
