#!/bin/bash
# Printing through a real print system: a private CUPS scheduler with a PDF queue, whose
# jobs land in this script's own directory whatever user runs it, and a private
# configuration directory. The print dialog accepted with a key gives a job whose
# pages, paper, box and values are measured; a disabled or rejecting queue and a
# cancelled dialog leave the error screen until Esc, and no job. Then calibration: a
# queue's shift and stretch move the box of korvan-batch's and the print dialog's jobs,
# measured at 300 dpi; PDF output keeps its place unless asked; bad values, unknown
# queues, bad files and a read-only configuration get one line each; and the
# calibration sheet, read back as an operator reads it (where the slanted line meets
# the paper's edge, against the numbered ticks), gives the queue's values, which
# --readings then cancels.
. "$(dirname "$0")/lib/common.sh"
need_tools Xvfb xdotool import convert cupsd lpadmin lpinfo lpstat cupsdisable cupsreject pdfinfo \
    pdftoppm pdftotext python3
w=$E2E_TMP q=korvanpdf
export XDG_CONFIG_HOME=$w/config HOME=$w/home # no lpoptions or settings of the caller
ini=$XDG_CONFIG_HOME/korvan/printers.ini
mkdir -p "$HOME"
start_cups
add_pdf_queue $q "$w/out" && lpadmin -d $q || die "lpadmin could not create the queue"
start_xvfb

# Three pages: one value a page, printed inside the box.
printf 'PAPER,A4,1\nLINE_SET,L,0.3,0\nBOX,L,10,10,110,60\nDATA,,,20,30,10,\n' >"$w/form.csv"
printf 'PAGE-ONE\nPAGE-TWO\nPAGE-THREE\n' >"$w/form.txt"
form=("$w/form.txt" "$w/form.csv")
answer_dialog() { # the key that answers the print dialog
    rm -f "$w/out/job.pdf"
    start_korvan PRINT "${form[@]}"
    wait_window '^Print$' || die "no print dialog appeared"
    sleep 0.3
    press "$1"
}
jobs_done() { lpstat -W completed -o $q 2>/dev/null | wc -l; }
# box PDF LEFT TOP WIDTH HEIGHT [PAGE]: the outline of everything dark on the page, in
# mm at 300 dpi, within 0.4 mm (the truncation to whole points). The value lies inside
# the box. Its outline lies at 28 pt and covers 283 x 141 pt, drawn with a 0.85 pt pen:
# outer edges 27.6 pt = 9.73 mm from the corner, 99.8 x 49.7 mm.
box() {
    local b
    pdftoppm -r 300 -gray -f "${6:-1}" -l "${6:-1}" -singlefile "$1" "$w/box" &&
        b=$(convert "$w/box.pgm" -threshold 50% -format '%@' info:)
    awk -v b="$b" -v e="${*:2:4}" 'BEGIN { split(b, p, /[x+]/); split(e, q, " "); mm = 25.4 / 300
        exit !(p[2] != "" && (p[3] * mm - q[1])^2 < .16 && (p[4] * mm - q[2])^2 < .16 &&
               (p[1] * mm - q[3])^2 < .16 && (p[2] * mm - q[4])^2 < .16) }' ||
        fail "box of $1 page ${6:-1} at '$b' px, not ${*:2:4} mm"
}

answer_dialog Return
check_exit "print run" 30
[ -s "$E2E_TMP/korvan.err" ] && fail "print run: standard error: $(head -c 1000 "$E2E_TMP/korvan.err")"
job_done $q "$w/out/job.pdf" || die "no PDF from the print queue"
[ "$(jobs_done)" = 1 ] || fail "print run: $(jobs_done) jobs instead of one"
read -r pages width height < <(pdfinfo "$w/out/job.pdf" |
    awk '/^Pages:/ { p = $2 } /^Page size:/ { w = $3; h = $5 } END { print p, w, h }')
[ "$pages" = 3 ] || fail "print run: $pages pages instead of 3"
# A4 is 210 x 297 mm = 595.3 x 841.9 pt.
awk "BEGIN { exit !($width > 594 && $width < 597 && $height > 840.5 && $height < 843.5) }" ||
    fail "print run: page size $width x $height pt is not A4"
check "print run: each page's value" test "$(page_texts "$w/out/job.pdf" | tr '\n' ' ')" = "PAGE-ONE PAGE-TWO PAGE-THREE "
for n in 1 2 3; do box "$w/out/job.pdf" 10 10 100 50 $n; done

# A queue that cannot print: its reason on the error screen and standard error, no job.
while read -r command reason; do
    $command $q || die "$command failed"
    answer_dialog Return
    wait_window || die "no window after the dialog ($command)"
    wait_pixels "$PINK $PINK $PINK" 5,5 400,700 790,790 || fail "$command: no pink error screen (pixels ${P[*]})"
    press Escape
    check_exit "$command: Esc"
    [ "$(cat "$E2E_TMP/korvan.err")" = " Printer ($q) not ready: $reason" ] ||
        fail "$command: standard error: $(head -c 500 "$E2E_TMP/korvan.err")"
    cupsenable $q && cupsaccept $q
done <<'QUEUES'
cupsdisable the queue is disabled
cupsreject the queue is rejecting jobs
QUEUES
[ "$(lpstat -W all -o $q | wc -l)" = 1 ] || fail "a queue that cannot print got a job"

answer_dialog Escape
wait_window || die "no window after the cancelled dialog"
wait_pixels "$PINK $PINK $PINK" 5,5 400,700 790,790 ||
    fail "cancelled dialog: no pink error screen (pixels ${P[*]})"
sleep 2
kill -0 "$KORVAN_PID" 2>/dev/null || fail "cancelled dialog: the program ended without Esc"
press Escape
check_exit "cancelled dialog: Esc"
[ "$(jobs_done)" = 1 ] || fail "cancelled dialog: a job was printed"

# ---- Calibration ----
# Letter from here on: the calibration sheet is drawn for the queue's paper. (The
# queue's A4 is 595 x 842 pt, which a sheet reads as 0.1 mm at the right edge.)
lpadmin -p $q -o PageSize=Letter || die "lpadmin could not set Letter"
on_queue() {
    rm -f "$w/out/job.pdf"
    "$BATCH" --printer $q "$@" || { fail "--printer $*: status $?" && return 1; }
    job_done $q "$w/out/job.pdf"
}
shows() { check "shows $1" test "$("$BATCH" --calibration $q)" = "$q: $1"; }
# Setting, showing; each bad command leaves the values alone, with its status and one line.
check "--calibrate sets" "$BATCH" --calibrate $q --shift 2.0,-1.5 >/dev/null
shows "shift 2.00,-1.50 mm, stretch 1.00000,1.00000"
while read -r want args; do
    run_batch $args >/dev/null
    [ "$rc" = "$want" ] || fail "$args: status $rc, not $want"
    grep -q '^korvan-batch: ' "$w/err" || fail "$args: no message"
done <<EOF
1 --calibrate nosuch --shift 1,1
2 --calibrate $q --shift 20.5,0
2 --calibrate $q --stretch 0.89,1
2 --calibrate $q --shift abc,1
2 --calibrate $q --shift nan,0
2 --calibrate $q --shift 1
2 --calibrate $q
1 --calibration nosuch
1 --pdf $w/x.pdf --calibration nosuch ${form[*]}
EOF
shows "shift 2.00,-1.50 mm, stretch 1.00000,1.00000"

# The shift on the queue, from korvan-batch and from the print dialog; not on a PDF.
on_queue "${form[@]}" && box "$w/out/job.pdf" 12 8.5 100 50
check "PDF runs" "$BATCH" --pdf "$w/plain.pdf" "${form[@]}"
box "$w/plain.pdf" 10 10 100 50
check "PDF runs with --calibration" "$BATCH" --pdf "$w/cal.pdf" --calibration $q "${form[@]}"
box "$w/cal.pdf" 12 8.5 100 50

# Bad files: one line, and the run prints uncalibrated (also for a name the file holds
# that is no queue). Each row: the name, then the file.
cp "$ini" "$w/good.ini"
bad_files=("$q|[$q]\nshift_x=nan\n" "$q|[$q]\nstretch_x=abc\n" "$q|[$q]\nstretch_y=7\n"
    "$q|[$q\nshift_x=1\n" "$q|\x01\xff\x00junk" "$q|directory" "gone|[gone]\nshift_x=nan\n")
for row in "${bad_files[@]}"; do
    name=${row%%|*} content=${row#*|}
    rm -rf "$ini"
    if [ "$content" = directory ]; then mkdir "$ini"; else printf "$content" >"$ini"; fi
    "$BATCH" --pdf "$w/bad.pdf" --calibration "$name" "${form[@]}" 2>"$w/err" || fail "$content: the run failed"
    [ "$(wc -l <"$w/err")" = 1 ] || fail "$content: not one line: $(cat "$w/err")"
    box "$w/bad.pdf" 10 10 100 50
done
rm -rf "$ini" && cp "$w/good.ini" "$ini"

# A read-only configuration directory (as root, writable anyway: run as nobody, whom
# the runtime directory of the X server, owned by root, would give a second line).
chmod 555 "$XDG_CONFIG_HOME/korvan"
as=()
[ "$(id -u)" = 0 ] && as=(setpriv --reuid=65534 --regid=65534 --clear-groups)
"${as[@]}" env -u XDG_RUNTIME_DIR "$BATCH" --calibrate $q --shift 1,1 2>"$w/err"
check "read-only: status 1" test $? = 1
check "read-only: one line: $(cat "$w/err")" test "$(wc -l <"$w/err")" = 1
check "read-only: nothing changed" cmp -s "$ini" "$w/good.ini"
chmod 755 "$XDG_CONFIG_HOME/korvan"

# The queue chosen in the print dialog (the default one) calibrates the window's run.
answer_dialog Return
check_exit "dialog print" 30
job_done $q "$w/out/job.pdf" && box "$w/out/job.pdf" 12 8.5 100 50

check "--calibrate sets a stretch" "$BATCH" --calibrate $q --shift 0,0 --stretch 1.01,1 >/dev/null
on_queue "${form[@]}" && box "$w/out/job.pdf" 10.1 10 101 50

# The calibration sheet, read back; the readings entered cancel the values.
read_sheet() { # the readings LEFT RIGHT TOP BOTTOM of a sheet's PDF
    pdftoppm -r 300 -gray -singlefile "$1" "$w/sheet"
    pdftotext -bbox "$1" "$w/sheet.html"
    python3 - "$w/sheet.pgm" "$w/sheet.html" <<'EOF'
import re, sys
raw = open(sys.argv[1], "rb").read()
m = re.match(rb"P5\s+(\d+)\s+(\d+)\s+\d+\s", raw)
W, H, pix, px = int(m[1]), int(m[2]), raw[m.end():], 300 / 25.4
html = open(sys.argv[2], encoding="utf-8").read()
# The page's own edges, which fall inside the raster's last column and row.
Wp, Hp = (float(v) * 300 / 72 for v in re.search(r'<page width="([\d.]+)" height="([\d.]+)"', html).groups())
words = re.findall(r'xMin="([\d.]+)" yMin="([\d.]+)" xMax="([\d.]+)" yMax="([\d.]+)">([+\u2212]?\d+)<',
                   html)
out = []
for edge in "LRTB":
    length = H if edge in "LR" else W  # along the edge
    def dark(a, b):  # a-th pixel from the edge, b-th along it
        x, y = {"L": (a, b), "R": (W - 1 - a, b), "T": (b, a), "B": (b, H - 1 - a)}[edge]
        return pix[y * W + x] < 128
    # How far the middle of the a-th pixel lies from the page's edge.
    inside = {"L": 0.5, "R": Wp - W + 0.5, "T": 0.5, "B": Hp - H + 0.5}[edge]
    band = range(int(length / 2 - 53 * px), int(length / 2 + 53 * px))
    def runs(a):  # middles of the dark runs along the edge, at a px from it
        r, start = [], None
        for b in band:
            if dark(a, b) and start is None: start = b
            if not dark(a, b) and start is not None: r.append((start + b - 1) / 2); start = None
        return r
    # Where the slanted line meets the edge: its middles near the edge, extrapolated.
    pts = [(a + inside, runs(a)[0]) for a in range(0, 30) if len(runs(a)) == 1]
    n, sa, sb = len(pts), sum(p[0] for p in pts), sum(p[1] for p in pts)
    k = (n * sum(a * b for a, b in pts) - sa * sb) / (n * sum(a * a for a, _ in pts) - sa * sa)
    meet = (sb - k * sa) / n
    ticks = max((runs(a) for a in range(int(3 * px), int(12 * px))), key=len)
    # The numbers beside the ticks: each names the tick level with it.
    value = {}
    for x0, y0, x1, y1, text in words:
        cx, cy = (float(x0) + float(x1)) * 150 / 72, (float(y0) + float(y1)) * 150 / 72
        a, b = {"L": (cx, cy), "R": (Wp - cx, cy), "T": (cy, cx), "B": (Hp - cy, cx)}[edge]
        if a < 22 * px and band.start < b < band.stop:
            i = min(range(len(ticks)), key=lambda i: abs(ticks[i] - b))
            value[i] = int(text.replace("\u2212", "-"))
    base = {v - i / 4 for i, v in value.items()}
    if len(ticks) != 41 or len(base) != 1 or len(value) != 11:
        sys.exit(f"{edge}: {len(ticks)} ticks, {len(value)} numbers, inconsistent {base}")
    i = next(i for i in range(40) if ticks[i] <= meet <= ticks[i + 1])
    out.append(base.pop() + (i + (meet - ticks[i]) / (ticks[i + 1] - ticks[i])) / 4)
print(" ".join("%.2f" % v for v in out))
EOF
}
# Letter is 215.9 x 279.4 mm: a stretch s puts the right (bottom) edge on the mark meant
# for 215.9 / s (279.4 / s), which reads 215.9 (1 - 1 / s).
while read -r shift stretch want; do
    "$BATCH" --calibrate $q --shift "$shift" --stretch "$stretch" >/dev/null
    rm -f "$w/out/job.pdf"
    check "sheet $shift $stretch prints" "$BATCH" --calibration-sheet --printer $q && job_done $q "$w/out/job.pdf"
    got=$(read_sheet "$w/out/job.pdf") || { fail "sheet $shift $stretch: $got"; continue; }
    awk -v g="$got" -v e="$want" 'BEGIN { n = split(g, a, " "); split(e, b, ",")
        for (i = 1; i <= 4; i++) if ((a[i] - b[i])^2 > 0.0025) exit 1; exit n != 4 }' ||
        fail "sheet of shift $shift, stretch $stretch reads $got, not $want"
    "$BATCH" --calibrate $q --readings "$(tr ' ' , <<<"$got")" >/dev/null
    "$BATCH" --calibration $q | awk -F'[ ,]+' '/no calibration/ { exit } { exit !($3^2 < .01 && $4^2 < .01 &&
        ($7 - 1)^2 < 1e-6 && ($8 - 1)^2 < 1e-6) }' ||
        fail "readings $got leave $("$BATCH" --calibration $q)"
done <<EOF
1.25,-0.5 1,1 1.25,1.25,-0.5,-0.5
0,0 1.01,0.995 0,2.14,0,-1.40
EOF

check "--clear" test "$("$BATCH" --calibrate $q --clear)" = "$q: no calibration"
check "--clear removes the group" test -z "$(grep -i "\[$q\]" "$ini")"
finish
