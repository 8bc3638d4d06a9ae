#!/bin/bash
# The preview window on a real X server: a box drawn where the millimetres say, the
# grey background, and the keys Insert, Right, Down, Enter, Home, Left and Esc, with
# the window title and the pixels checked after each.
. "$(dirname "$0")/lib/common.sh"
need_tools Xvfb xdotool import convert

printf 'PAPER,A4,1\nLINE_SET,L,0.3,0\nBOX,L,10,10,110,60\nDATA,,,20,100,10,\n' >"$E2E_TMP/form.csv"
printf 'first\nsecond\n' >"$E2E_TMP/form.txt"
start_xvfb
start_korvan TEST "$E2E_TMP/form.txt" "$E2E_TMP/form.csv"
wait_window || die "the program's window did not appear"

# The window title must show page $2.
check_title() {
    local title
    title=$(xdotool getwindowname "$WID")
    [[ $title =~ ^KORVAN\ VERSION\([^\)]*\)\ PAPER\(A4,1\)\ DATA\(1,1\)\ PAGE\($2\)$ ]] ||
        fail "$1: window title '$title'"
}

# The box's edges lie exactly at left, top, right and bottom (pixels), the white sheet two
# pixels to either side of each, and the window beside the sheet grey.
check_box() {
    local l=$2 t=$3 r=$4 b=$5 G=255,255,255 mx=$((($2 + $4) / 2)) my=$((($3 + $5) / 2))
    wait_pixels "$G dark $G $G dark $G $G dark $G $G dark $G 210,210,210" \
        "$((l - 2)),$my" "$l,$my" "$((l + 2)),$my" "$((r - 2)),$my" "$r,$my" "$((r + 2)),$my" \
        "$mx,$((t - 2))" "$mx,$t" "$mx,$((t + 2))" "$mx,$((b - 2))" "$mx,$b" "$mx,$((b + 2))" \
        700,700 || fail "$1: box at $l,$t-$r,$b expected; pixels ${P[*]}"
}

# An edge at x mm lies in the pixel column floor(x * zoom * 2.8346276), the offsets
# added to x first; likewise rows. Zoom 1: 10 mm -> 28.35, 110 mm -> 311.81, 60 mm -> 170.08.
check_title start 1
check_box start 28 28 311 170
# Insert: zoom 1.1. 10 mm -> 31.18, 110 mm -> 342.99, 60 mm -> 187.09.
press Insert
check_title Insert 1
check_box insert 31 31 342 187
# Right: x offset -10/1.1 = -9.0909 mm: (10 - 9.0909) * 1.1 = 1.0 mm -> 2.83, and
# (110 - 9.0909) * 1.1 = 111.0 mm -> 314.65.
press Right
check_box right 2 31 314 187
# Down: y offset -9.0909 mm likewise: 2.83 and (60 - 9.0909) * 1.1 -> 158.74.
press Down
check_box down 2 2 314 158
# Enter: the next page; the form stays where it is.
press Return
check_title Enter 2
check_box enter 2 2 314 158
# Home: zoom 1, y offset 0; the x offset stays: 0.9091 mm -> 2.58, 100.9091 mm -> 286.04.
press Home
check_title Home 2
check_box home 2 28 286 170
# Left: -9.0909 + 10 = +0.9091 mm, past 0: 10.9091 mm -> 30.92, 110.9091 -> 314.38. A
# second Left does nothing: the offset is no longer negative.
press Left
check_box left 30 28 314 170
press Left
check_box "left again" 30 28 314 170
# Enter after the last page wraps to page 1.
press Return
check_title "Enter wrap" 1
press Escape
check_exit Esc
finish
