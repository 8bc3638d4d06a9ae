#!/bin/bash
# The preview window on a real X server: a box drawn where the millimetres say, the
# grey background, and the keys Insert, Right, Down, Enter, Home, Left and Esc, with
# the window title and the pixels checked after each.
. "$(dirname "$0")/lib/common.sh"
need_tools Xvfb xdotool import convert

cat >"$E2E_TMP/form.csv" <<'EOF'
PAPER,A4,1
LINE_SET,L,0.3,0
BOX,L,10,10,110,60
DATA,,,20,100,10,
EOF
printf 'first\nsecond\n' >"$E2E_TMP/form.txt"

start_xvfb
start_korvan TEST "$E2E_TMP/form.txt" "$E2E_TMP/form.csv"
wait_window

# Checks the window title against an extended regular expression.
check_title() {
    local title
    title=$(xdotool getwindowname "$WID")
    [[ $title =~ $1 ]] || fail "$2: window title '$title' does not match '$1'"
}

# Waits until the box has its edges exactly at left, top, right and bottom (pixels),
# with grey two pixels to either side of each edge, and the grey window background far
# from the form; reports the first mismatch after 5 s.
check_box() {
    local label=$1 l=$2 t=$3 r=$4 b=$5 try problem e
    local mx=$(((l + r) / 2)) my=$(((t + b) / 2))
    local names=(left right top bottom)
    local -a p
    for ((try = 0; try < 25; try++)); do
        problem=""
        shot
        mapfile -t p < <(pixels \
            "$((l - 2)),$my" "$l,$my" "$((l + 2)),$my" \
            "$((r - 2)),$my" "$r,$my" "$((r + 2)),$my" \
            "$mx,$((t - 2))" "$mx,$t" "$mx,$((t + 2))" \
            "$mx,$((b - 2))" "$mx,$b" "$mx,$((b + 2))" \
            "700,700")
        for e in 0 1 2 3; do
            if ! is_dark "${p[$((3 * e + 1))]}"; then
                problem="${names[$e]} edge not dark: ${p[$((3 * e + 1))]}"
            elif [ "${p[$((3 * e))]}" != 210,210,210 ] || [ "${p[$((3 * e + 2))]}" != 210,210,210 ]; then
                # The left edge may lie at the window's border: nothing to its left.
                [ "$e" = 0 ] && ((l < 2)) && [ "${p[2]}" = 210,210,210 ] && continue
                [ "$e" = 2 ] && ((t < 2)) && [ "${p[8]}" = 210,210,210 ] && continue
                problem="${names[$e]} edge not alone: ${p[$((3 * e))]} ${p[$((3 * e + 2))]}"
            fi
            [ -n "$problem" ] && break
        done
        [ -z "$problem" ] && [ "${p[12]}" != 210,210,210 ] && problem="background at 700,700 ${p[12]}"
        [ -z "$problem" ] && return 0
        sleep 0.2
    done
    fail "$label: box at $l,$t-$r,$b expected: $problem"
}

page_title() { echo "^KORVAN VERSION\([^)]*\) PAPER\(A4,1\) DATA\(1,1\) PAGE\($1\)$"; }

# The box's outline: left = trunc(x1 * 2.8346276), top likewise, and it covers
# trunc(width * 2.8346276) pixels, so right = left + trunc(width * 2.8346276) - 1, and
# likewise bottom; positions and sizes in millimetres are multiplied by the zoom first.
# Zoom 1: 10 mm -> 28, 100 mm -> 283, 50 mm -> 141: 28,28 to 310,168.
check_title "$(page_title 1)" "start"
check_box start 28 28 310 168

# Insert: zoom 1.1. 11 mm -> 31, 110 mm -> 311, 55 mm -> 155: 31,31 to 341,185.
press Insert
check_title "$(page_title 1)" "Insert"
check_box insert 31 31 341 185

# Right: x offset -10/1.1 = -9.0909 mm, the page moves left.
# (10 - 9.0909) * 1.1 = 1.0 mm -> 2; right 2 + 311 - 1 = 312.
press Right
check_box right 2 31 312 185

# Down: y offset -9.0909 mm: top 2, bottom 2 + 155 - 1 = 156.
press Down
check_box down 2 2 312 156

# Enter: the next page; the form stays where it is.
press Return
check_title "$(page_title 2)" "Enter"
check_box enter 2 2 312 156

# Home: zoom 1, y offset 0, the x offset stays -9.0909 mm.
# 0.9091 mm -> 2, right 2 + 283 - 1 = 284; top 28, bottom 168.
press Home
check_title "$(page_title 2)" "Home"
check_box home 2 28 284 168

# Left: -9.0909 + 10 = +0.9091 mm, past 0: 10.9091 mm -> 30, right 30 + 283 - 1 = 312.
press Left
check_box left 30 28 312 168
# A second Left does nothing: the offset is no longer negative.
press Left
check_box "left again" 30 28 312 168

# Enter after the last page wraps to page 1.
press Return
check_title "$(page_title 1)" "Enter wrap"

press Escape
if wait_exit 10; then
    [ "$KORVAN_STATUS" = 0 ] || fail "exit status $KORVAN_STATUS after Esc"
else
    fail "the program did not end after Esc"
fi
[ -s "$E2E_TMP/korvan.err" ] && say "program stderr: $(head -c 2000 "$E2E_TMP/korvan.err")"
finish
