#!/bin/bash
# The preview window on a real X server, with real keys, mouse and files: a layout with
# errors and its pink error screen; a box where the millimetres say, moved by the keys;
# and the preview as a design tool: the pages after the last keep their data (a JAN read
# by zbarimg), the grid, the page following its layout file as it is saved, the scanned
# background, in the window but not in the PDF printed from it (a private CUPS queue),
# and the cursor's millimetres in the status line (tesseract).
. "$(dirname "$0")/lib/common.sh"
need_tools Xvfb xdotool import convert zbarimg python3 cupsd lpadmin lpinfo lpstat pdftoppm tesseract

D=$E2E_TMP W=255,255,255 ORANGE=255,160,0 k=2.8346276
mkdir -p "$D/home" "$D/out"
start_cups
add_pdf_queue korvanpdf "$D/out" && lpadmin -d korvanpdf || die "lpadmin could not create the queue"
start_xvfb
export HOME=$D/home

# ---- A layout with errors: the pink error screen with the list, the error lines on
# standard error, and the program running until Esc, in display and in print mode ----
# Line 3 names a line style that does not exist, line 4 is no keyword at all.
printf 'PAPER,A4,1\nLINE_SET,L,0.3,0\nBOX,NOLINE,10,10,110,60\nFOO,1,2\n' >"$D/bad.csv"
printf 'x\n' >"$D/bad.txt"
# The error list's text in the last screenshot, near the top-left where it starts.
error_text() {
    darkest=$(convert "$D/shot.png" -crop 500x120+20+0 +repage -colorspace gray \
        -format '%[fx:int(255*minima)]' info:)
    [ "${darkest:-255}" -lt 60 ]
}
for mode in TEST PRINT; do
    start_korvan "$mode" "$D/bad.txt" "$D/bad.csv"
    wait_window || die "$mode: the program's window did not appear"
    # The pink fills 800 x 800 pixels from the corner; the list is black from 10 mm down.
    wait_pixels "$PINK $PINK $PINK $PINK $PINK" 2,2 790,10 10,790 790,790 400,500 ||
        fail "$mode: no pink error screen (pixels ${P[*]})"
    error_text || fail "$mode: no text on the error screen (darkest $darkest)"
    # Keys move the list but the screen stays, and the run goes on until Esc.
    press Down Insert
    sleep 1
    wait_pixels "$PINK $PINK" 2,2 790,790 || fail "$mode: error screen gone after keys (${P[*]})"
    kill -0 "$KORVAN_PID" 2>/dev/null || fail "$mode: the program ended without Esc"
    press Escape
    check_exit "$mode: Esc"
    # Each error line also goes to standard error, the banner not.
    [ "$(cat "$D/korvan.err")" = $'(3) BOX Line name (NOLINE) not found\n(4) FOO FOO ?' ] ||
        fail "$mode: standard error was '$(cat "$D/korvan.err")'"
done

# ---- A box drawn where the millimetres say, the grey background, and the keys Insert,
# Right, Down, Enter, Home, Left and Esc, with the title and the pixels after each ----
printf 'PAPER,A4,1\nLINE_SET,L,0.3,0\nBOX,L,10,10,110,60\nDATA,,,20,100,10,\n' >"$D/nav.csv"
printf 'first\nsecond\n' >"$D/nav.txt"
start_korvan TEST "$D/nav.txt" "$D/nav.csv"
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
press Escape
check_exit Esc

# ---- The design tool ----
# A box whose left edge is at $1 mm, a text and a JAN from the data: two values a page.
layout() { printf 'PAPER,A4,1\nLINE_SET,L,0.3,0\nBOX,L,%s,10,110,60\nDATA,,,20,20,10,\nJAN,,0.7056,15,120,20\n' "$1"; }
in_place() { layout "$1" >"$D/form.csv"; }
renamed() { layout "$1" >"$D/form.new" && mv "$D/form.new" "$D/form.csv"; }
in_place 10
printf 'first\t490123456789\nsecond\t491234567890\n' >"$D/form.txt"
# The stock as scanned at 600 dpi (23622 pixels a metre): 4960 x 7016 pixels, one bit
# a pixel, white with an orange field from 120 to 200 mm across (columns 2835 to 4724)
# and 150 to 250 mm down (rows 3543 to 5905). And a PNG whose header says 20000 x 20000.
python3 - "$D" <<'EOF'
import struct, sys, zlib
def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
def png(name, width, height, header, extra, rows):
    open(sys.argv[1] + "/" + name, "wb").write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">II", width, height) + header)
                                           + extra + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))
blank, field = b"\0" * 621, b"\0" + (((1 << 1890) - 1) << (4960 - 1 - 4724)).to_bytes(620, "big")
png("form.background.png", 4960, 7016, bytes([1, 3, 0, 0, 0]),
    chunk(b"PLTE", bytes([255, 255, 255, 255, 160, 0])) + chunk(b"pHYs", struct.pack(">IIB", 23622, 23622, 1)),
    blank * 3543 + field * 2363 + blank * 1110)
png("huge.png", 20000, 20000, bytes([8, 2, 0, 0, 0]), b"", b"\0" * 60001)
EOF

start_korvan TEST "$D/form.txt" "$D/form.csv"
wait_window || die "the program's window did not appear"
MAIN=$WID

# 1. Enter walks the pages and wraps; each page's JAN decodes from a screenshot. The
#    check digits are worked by hand: 4+27+0+3+2+9+4+15+6+21+8+27 = 126 -> 4, and 116 -> 4.
walk=(1:4901234567894 2:4912345678904 1:4901234567894 2:4912345678904)
for ((i = 0; i < ${#walk[@]}; i++)); do
    page=${walk[i]%%:*} code=${walk[i]#*:}
    ((i == 0)) || press Return
    T=50 poll eval '[[ $(xdotool getwindowname "$WID") == *"PAGE($page)" ]] &&
        import -window "$WID" "png:$D/jan.png" && zbarimg -q "$D/jan.png" 2>/dev/null | grep -qx "EAN-13:$code"' ||
        fail "Enter $i: page $page with JAN $code expected; '$(xdotool getwindowname "$WID")', $(zbarimg -q "$D/jan.png" 2>&1)"
done

# 2. G: lines every 10 mm, in the pixel column that holds n x 10 x 2.8346276: 28, 56, 85,
#    113, 141, 170, 198 (28 or 29 apart), white beside them; row 262 (92.5 mm) holds no
#    line across. G again takes the grid away.
cols=(28 56 85 113 141 170 198) want="" pixels=()
for c in "${cols[@]}"; do want+="dark $W " pixels+=("$c,262" "$((c + 1)),262"); done
press g
wait_pixels "$want" "${pixels[@]}" || fail "grid: pixels ${P[*]}"
press g
wait_pixels "$W $W $W" 28,262 113,262 198,262 || fail "grid off: pixels ${P[*]}"

# 3. The layout as it is saved, at zoom 1.1 on page 2, which stay: the box's left edge
#    at 10 mm is column floor(10 x 1.1 x 2.8346276) = 31, at 20 mm 62, at 30 mm 93. Each
#    row: what is done to the files, then the pixels that show it (and a check of the
#    screen besides). A file replaced while another program holds the old one open is
#    still followed; an error screen after the page was moved shows its text from the
#    top, and the page comes back where it was.
rapid() { for i in 1 2 3 4 5 6 7 8 9 10; do ((i % 2)) && in_place $((i * 3)) || renamed 30; sleep 0.1; done; }
held_open() { exec 9<"$D/form.csv"; renamed 10; sleep 0.6; in_place 20; }
page_back() { wait_pixels "$W" 5,5 && press Up Up Up Up Up; }
steps=(
    "rewritten in place|in_place 20|$W dark|31,100 62,100"
    "replaced by rename|renamed 30|$W dark|62,100 93,100"
    "replaced while held open|held_open|$W dark|31,100 62,100"
    "an error after moving down|press Down Down Down Down Down; echo BOXX >>$D/form.csv|$PINK $PINK|5,5 400,700|error_text"
    "saved fixed|renamed 10; page_back|dark $W|31,100 62,100"
    "deleted|rm $D/form.csv|$PINK|5,5"
    "back again|in_place 20|$W dark|31,100 62,100"
    "ten saves in a second|rapid|$W $W dark|31,100 62,100 93,100"
)
press Insert
for row in "${steps[@]}"; do
    IFS='|' read -r what action expected pixels also <<<"$row"
    start=$(date +%s%N)
    eval "$action"
    wait_pixels "$expected" $pixels || fail "$what: pixels ${P[*]}, expected $expected"
    say "$what: shown after $((($(date +%s%N) - start) / 1000000)) ms"
    [ -z "$also" ] || $also || fail "$what: $also failed"
done
exec 9<&-
grep -q "^レイアウト\[2\] open read error" "$D/korvan.err" || fail "deleted: no open error line"
[[ $(xdotool getwindowname "$WID") == *"PAGE(2)" ]] || fail "after the saves: $(xdotool getwindowname "$WID")"
press End
kill -0 "$KORVAN_PID" 2>/dev/null || die "the program ended during the saves"

# 4. The background, at its size from the sheet's corner: orange from 120 mm = column
#    340.2, white before it (scaled down from 600 dpi, where the screen has 72). B hides
#    it and shows it again.
wait_pixels "$W $ORANGE $ORANGE" 337,550 343,550 450,550 || fail "background: pixels ${P[*]}"
press b
wait_pixels "$W $W" 343,550 450,550 || fail "background hidden: pixels ${P[*]}"
press b
wait_pixels "$ORANGE" 450,550 || fail "background shown again: pixels ${P[*]}"

# ... and not in the page printed with P through the print dialog.
press p
wait_window '^Print$' || die "no print dialog"
sleep 0.3
press Return
WID=$MAIN
job_done korvanpdf "$D/out/job.pdf" && pdftoppm -r 72 -png -singlefile "$D/out/job.pdf" "$D/job" ||
    die "no PDF from the print queue"
dark=$(convert "$D/job.png" -colorspace gray -format '%[fx:int(255*minima)]' info:)
orange=$(convert "$D/job.png" -fuzz 10% -fill white +opaque "rgb($ORANGE)" -fill black -opaque "rgb($ORANGE)" \
    -colorspace gray -format '%[fx:int(w*h*(1-mean)+0.5)]' info:)
[ "${dark:-255}" -lt 100 ] && [ "$orange" = 0 ] || fail "printed PDF: darkest $dark, $orange orange pixels"

# 5. A background far too large (a PNG whose header says 20000 x 20000, 1.6 GB decoded)
#    is refused in one line; the page stays, without it. The peak memory of the whole
#    run, the 600-dpi stock included (about 140 MB decoded), stays under 400 MB.
cp "$D/huge.png" "$D/form.background.png"
wait_pixels "$W dark" 450,550 85,100 || fail "huge background: pixels ${P[*]}"
[ "$(grep background "$D/korvan.err")" = "korvan: background $D/form.background.png: 20000 x 20000 pixels is too large (at most 36 million pixels of 8 bits a colour)" ] ||
    fail "huge background: standard error says '$(grep background "$D/korvan.err")'"
peak=$(awk '/^VmHWM/ { print $2 }' "/proc/$KORVAN_PID/status") limit=400000
ldd "$KORVAN" 2>/dev/null | grep -q libasan && limit=1600000 # the sanitizer's own memory
[ "${peak:-0}" -lt $limit ] || fail "peak memory $peak kB"

# 6. The status line, read by tesseract: the mouse at a pixel, after the keys or wheel
#    turns of the row; the millimetres expected within 0.2 mm: the middle of the pixel
#    divided by 2.8346276 and the zoom, less the offset. Right and Down at zoom 1.5 move
#    10/1.5 mm; Home keeps the horizontal offset; a wheel turn towards the user moves
#    10 mm at zoom 1; Ctrl + wheel zooms about the cursor, which stays on the same point.
ocr=(
    "|283 141|283.5/k|141.5/k"
    "Insert Insert Insert Insert Insert Right Down|300 400|300.5/(k*1.5)+10/1.5|400.5/(k*1.5)+10/1.5"
    "Home wheel-down|200 300|200.5/k+10/1.5|300.5/k+10"
    "ctrl-wheel-up|200 300|200.5/k+10/1.5|300.5/k+10"
)
for row in "${ocr[@]}"; do
    IFS='|' read -r keys pixel x y <<<"$row"
    for key in $keys; do
        case $key in
        wheel-down) xdotool mousemove --window "$MAIN" $pixel click 5 ;;
        ctrl-wheel-up) xdotool mousemove --window "$MAIN" $pixel keydown ctrl click 4 keyup ctrl ;;
        *) press "$key" ;;
        esac
    done
    xdotool sleep 0.3 mousemove --window "$MAIN" $pixel sleep 0.5
    import -window "$MAIN" "png:$D/shot.png"
    convert "$D/shot.png" -crop 170x19+0+781 +repage -resize 400% -bordercolor '#f5f5f5' -border 10 "$D/status.png"
    text=$(tesseract "$D/status.png" - --psm 7 -c tessedit_char_whitelist='0123456789.xym ' 2>/dev/null)
    awk -v t="$text" -v k=$k "BEGIN { gsub(/ /, \"\", t)
        if (!match(t, /^x[0-9.]+mmy[0-9.]+/)) exit 1
        split(substr(t, 2, RLENGTH - 1), v, \"mmy\"); exit !((v[1] - ($x))^2 < 0.04 && (v[2] - ($y))^2 < 0.04) }" ||
        fail "status line at $pixel after '$keys': '$text', expected x $(awk "BEGIN { k = $k; print $x }") y $(awk "BEGIN { k = $k; print $y }")"
done

press Escape
check_exit Esc
finish
