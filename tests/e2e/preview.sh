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

# left = trunc(x1 * 2.8346276), top likewise; the box covers trunc(width * 2.8346276)
# pixels, so right = left + that - 1, likewise bottom; millimetres are multiplied by the
# zoom first. Zoom 1: 10 mm -> 28, 100 mm -> 283, 50 mm -> 141.
check_title start 1
check_box start 28 28 310 168
# Insert: zoom 1.1. 11 mm -> 31, 110 mm -> 311, 55 mm -> 155.
press Insert
check_title Insert 1
check_box insert 31 31 341 185
# Right: x offset -10/1.1 = -9.0909 mm: (10 - 9.0909) * 1.1 = 1.0 mm -> 2.
press Right
check_box right 2 31 312 185
# Down: y offset -9.0909 mm likewise.
press Down
check_box down 2 2 312 156
# Enter: the next page; the form stays where it is.
press Return
check_title Enter 2
check_box enter 2 2 312 156
# Home: zoom 1, y offset 0; the x offset stays: 0.9091 mm -> 2, right 2 + 283 - 1.
press Home
check_title Home 2
check_box home 2 28 284 168
# Left: -9.0909 + 10 = +0.9091 mm, past 0: 10.9091 mm -> 30. A second Left does
# nothing: the offset is no longer negative.
press Left
check_box left 30 28 312 168
press Left
check_box "left again" 30 28 312 168
# Enter after the last page wraps to page 1.
press Return
check_title "Enter wrap" 1
press Escape
check_exit Esc
finish
