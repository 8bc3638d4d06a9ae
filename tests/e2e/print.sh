#!/bin/bash
# Printing through a real print system: a private CUPS scheduler with a PDF queue, the
# program's print dialog accepted with a key press, and the job's PDF measured: page
# count, paper size, the box's place on the sheet and each page's value. Then a disabled
# and a rejecting queue and a cancelled dialog, which leave the error screen until Esc.
# The queue uses the Generic PDF Printer driver of cups-filters with a file: device, so
# the job's PDF lands in this script's own directory whatever user runs it.
. "$(dirname "$0")/lib/common.sh"
need_tools Xvfb xdotool import convert cupsd lpadmin lpinfo lpstat cupsdisable cupsreject pdfinfo \
    pdftoppm pdftotext

OUT=$E2E_TMP/out
mkdir -p "$E2E_TMP/home"
start_cups
add_pdf_queue korvanpdf "$OUT" && lpadmin -d korvanpdf || die "lpadmin could not create the default queue"
start_xvfb
export HOME=$E2E_TMP/home # no lpoptions or print settings of the caller

# Three pages: one value a page, printed inside the box.
printf 'PAPER,A4,1\nLINE_SET,L,0.3,0\nBOX,L,10,10,110,60\nDATA,,,20,30,10,\n' >"$E2E_TMP/form.csv"
printf 'PAGE-ONE\nPAGE-TWO\nPAGE-THREE\n' >"$E2E_TMP/form.txt"
answer_dialog() { # the key that answers the print dialog
    start_korvan PRINT "$E2E_TMP/form.txt" "$E2E_TMP/form.csv"
    wait_window '^Print$' || die "no print dialog appeared"
    sleep 0.3
    press "$1"
}
jobs_done() { lpstat -W completed -o korvanpdf 2>/dev/null | wc -l; }

answer_dialog Return
check_exit "print run" 30
[ -s "$E2E_TMP/korvan.err" ] && fail "print run: standard error: $(head -c 1000 "$E2E_TMP/korvan.err")"
for ((i = 0; i < 600; i++)); do # the job is done when the queue is empty and the file whole
    [ -z "$(lpstat -o korvanpdf 2>/dev/null)" ] && pdfinfo "$OUT/job.pdf" >/dev/null 2>&1 && break
    sleep 0.1
done
[ -s "$OUT/job.pdf" ] || die "no PDF from the print queue ($(tail -5 "$C/log/error_log"))"
[ "$(jobs_done)" = 1 ] || fail "print run: $(jobs_done) jobs instead of one"
read -r pages width height < <(pdfinfo "$OUT/job.pdf" |
    awk '/^Pages:/ { p = $2 } /^Page size:/ { w = $3; h = $5 } END { print p, w, h }')
[ "$pages" = 3 ] || fail "print run: $pages pages instead of 3"
# A4 is 210 x 297 mm = 595.3 x 841.9 pt.
awk "BEGIN { exit !($width > 594 && $width < 597 && $height > 840.5 && $height < 843.5) }" ||
    fail "print run: page size $width x $height pt is not A4"

# The box: 10 mm from the left and top edges, 100 x 50 mm, within 0.4 mm (the
# truncation to whole points). Its outline lies at 28 pt and covers 283 x 141 pt, drawn
# with a 0.85 pt pen: outer edges 27.6 pt = 9.73 mm from the corner, 99.8 x 49.7 mm.
pdftoppm -r 300 -png "$OUT/job.pdf" "$E2E_TMP/page" || fail "pdftoppm failed"
names=(ONE TWO THREE)
for n in 1 2 3; do
    png=$(ls "$E2E_TMP"/page-*"$n".png 2>/dev/null | head -n 1)
    # The bounding box of everything dark (the value is inside the box): width x height
    # + left + top, in pixels.
    bbox=$(convert "${png:-none}" -colorspace gray -threshold 50% -format '%@' info: 2>/dev/null)
    awk -v b="$bbox" 'BEGIN { split(b, p, /[x+]/); mm = 25.4 / 300; d = 0.4
        exit !(p[2] != "" && (p[3] * mm - 10)^2 < d^2 && (p[4] * mm - 10)^2 < d^2 &&
               (p[1] * mm - 100)^2 < d^2 && (p[2] * mm - 50)^2 < d^2) }' ||
        fail "page $n: box at '$bbox' pixels of 300 dpi instead of 10,10 mm, 100 x 50 mm"
    text=$(pdftotext -f "$n" -l "$n" "$OUT/job.pdf" - 2>/dev/null | tr -d ' \n\f')
    [ "$text" = "PAGE-${names[n - 1]}" ] || fail "page $n: text '$text'"
done

# A queue that cannot print: its reason on the error screen and standard error, no job.
while read -r command reason; do
    $command korvanpdf || die "$command failed"
    answer_dialog Return
    wait_window || die "no window after the dialog ($command)"
    wait_pixels "$PINK $PINK $PINK" 5,5 400,700 790,790 || fail "$command: no pink error screen (pixels ${P[*]})"
    press Escape
    check_exit "$command: Esc"
    [ "$(cat "$E2E_TMP/korvan.err")" = " Printer (korvanpdf) not ready: $reason" ] ||
        fail "$command: standard error: $(head -c 500 "$E2E_TMP/korvan.err")"
    cupsenable korvanpdf && cupsaccept korvanpdf
done <<'QUEUES'
cupsdisable the queue is disabled
cupsreject the queue is rejecting jobs
QUEUES
[ "$(lpstat -W all -o korvanpdf | wc -l)" = 1 ] || fail "a queue that cannot print got a job"

answer_dialog Escape
wait_window || die "no window after the cancelled dialog"
wait_pixels "$PINK $PINK $PINK" 5,5 400,700 790,790 ||
    fail "cancelled dialog: no pink error screen (pixels ${P[*]})"
sleep 2
kill -0 "$KORVAN_PID" 2>/dev/null || fail "cancelled dialog: the program ended without Esc"
press Escape
check_exit "cancelled dialog: Esc"
[ "$(jobs_done)" = 1 ] || fail "cancelled dialog: a job was printed"
finish
