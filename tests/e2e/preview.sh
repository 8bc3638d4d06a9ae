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

# Waits until the box has its edges at left, top, right and bottom (pixels, each
# allowed one pixel either way for the truncation), grey inside and around it, and the
# grey window background far from the form; reports the first mismatch after 5 s.
check_box() {
    local label=$1 l=$2 t=$3 r=$4 b=$5 try problem
    local mx=$(((l + r) / 2)) my=$(((t + b) / 2))
    for ((try = 0; try < 25; try++)); do
        problem=""
        shot
        local -a p
        mapfile -t p < <(pixels \
            "$((l - 1)),$my" "$l,$my" "$((l + 1)),$my" \
            "$((r - 1)),$my" "$r,$my" "$((r + 1)),$my" \
            "$mx,$((t - 1))" "$mx,$t" "$mx,$((t + 1))" \
            "$mx,$((b - 1))" "$mx,$b" "$mx,$((b + 1))" \
            "$((l + 6)),$((t + 6))" "$((r + 4)),$my" "$mx,$((b + 4))" "700,700")
        local names=(left right top bottom) e
        for e in 0 1 2 3; do
            if ! is_dark "${p[$((3 * e))]}" && ! is_dark "${p[$((3 * e + 1))]}" &&
                ! is_dark "${p[$((3 * e + 2))]}"; then
                problem="no ${names[$e]} edge (pixels ${p[$((3 * e))]} ${p[$((3 * e + 1))]} ${p[$((3 * e + 2))]})"
                break
            fi
        done
        [ -z "$problem" ] && [ "${p[12]}" != "210,210,210" ] && problem="inside the box ${p[12]}"
        [ -z "$problem" ] && [ "${p[13]}" != "210,210,210" ] && problem="right of the box ${p[13]}"
        [ -z "$problem" ] && [ "${p[14]}" != "210,210,210" ] && problem="below the box ${p[14]}"
        [ -z "$problem" ] && [ "${p[15]}" != "210,210,210" ] && problem="background at 700,700 ${p[15]}"
        [ -z "$problem" ] && return 0
        sleep 0.2
    done
    cp "$E2E_TMP/shot.png" "${TMPDIR:-/tmp}/korvan-e2e-preview-$label.png" 2>/dev/null
    fail "$label: box at $l,$t-$r,$b expected: $problem"
}

page_title() { echo "^KORVAN VERSION\([^)]*\) PAPER\(A4,1\) DATA\(1,1\) PAGE\($1\)$"; }

# Zoom 1: 2.8346276 pixels a millimetre, truncated.
# 10 mm -> 28, 110 mm -> 311, 60 mm -> 170.
check_title "$(page_title 1)" "start"
check_box start 28 28 311 170

# Insert: zoom 1.1. 10*1.1 mm -> 31, 110*1.1 -> 342, 60*1.1 -> 187.
press Insert
check_title "$(page_title 1)" "Insert"
check_box insert 31 31 342 187

# Right: x offset -10/1.1 = -9.0909 mm, the page moves left.
# (10-9.0909)*1.1 = 1.0 mm -> 2, (110-9.0909)*1.1 = 111 mm -> 314.
press Right
check_box right 2 31 314 187

# Down: y offset -9.0909 mm. (60-9.0909)*1.1 = 56 mm -> 158.
press Down
check_box down 2 2 314 158

# Enter: the next page; the form stays where it is.
press Return
check_title "$(page_title 2)" "Enter"
check_box enter 2 2 314 158

# Home: zoom 1, y offset 0, the x offset stays -9.0909 mm.
# 0.9091 mm -> 2, 100.9091 mm -> 286, 10 -> 28, 60 -> 170.
press Home
check_title "$(page_title 2)" "Home"
check_box home 2 28 286 170

# Left: -9.0909 + 10 = +0.9091 mm, past 0: 10.9091 mm -> 30, 110.9091 mm -> 314.
press Left
check_box left 30 28 314 170
# A second Left does nothing: the offset is no longer negative.
press Left
check_box "left again" 30 28 314 170

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
