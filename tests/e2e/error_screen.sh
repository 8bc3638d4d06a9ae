#!/bin/bash
# A layout with errors: the pink error screen with the list, the error lines on standard
# error, and the program running until Esc, in display and in print mode.
. "$(dirname "$0")/lib/common.sh"
need_tools Xvfb xdotool import convert

# Line 3 names a line style that does not exist, line 4 is no keyword at all.
printf 'PAPER,A4,1\nLINE_SET,L,0.3,0\nBOX,NOLINE,10,10,110,60\nFOO,1,2\n' >"$E2E_TMP/bad.csv"
printf 'x\n' >"$E2E_TMP/bad.txt"
start_xvfb
for mode in TEST PRINT; do
    start_korvan "$mode" "$E2E_TMP/bad.txt" "$E2E_TMP/bad.csv"
    wait_window || die "$mode: the program's window did not appear"
    # The pink fills 800 x 800 pixels from the corner; the list is black from 10 mm down.
    wait_pixels "$PINK $PINK $PINK $PINK $PINK" 2,2 790,10 10,790 790,790 400,500 ||
        fail "$mode: no pink error screen (pixels ${P[*]})"
    darkest=$(convert "$E2E_TMP/shot.png" -crop 500x120+20+0 +repage -colorspace gray \
        -format '%[fx:int(255*minima)]' info:)
    [ "${darkest:-255}" -lt 60 ] || fail "$mode: no text on the error screen (darkest $darkest)"
    # Keys move the list but the screen stays, and the run goes on until Esc.
    press Down Insert
    sleep 1
    wait_pixels "$PINK $PINK" 2,2 790,790 || fail "$mode: error screen gone after keys (${P[*]})"
    kill -0 "$KORVAN_PID" 2>/dev/null || fail "$mode: the program ended without Esc"
    press Escape
    check_exit "$mode: Esc"
    # Each error line also goes to standard error, the banner not.
    [ "$(cat "$E2E_TMP/korvan.err")" = $'(3) BOX Line name (NOLINE) not found\n(4) FOO FOO ?' ] ||
        fail "$mode: standard error was '$(cat "$E2E_TMP/korvan.err")'"
done
finish
