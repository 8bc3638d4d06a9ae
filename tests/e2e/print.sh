#!/bin/bash
# Printing through a real print system: a private CUPS scheduler with a PDF queue, the
# program's print dialog answered with a key press, and the job's PDF measured: page
# count, paper size, and where the box landed on the sheet. Then a cancelled dialog
# (error screen until Esc) and a run with the scheduler stopped.
#
# The queue uses the Generic PDF Printer driver of cups-filters with a file: device,
# so the job's PDF is written into this script's own directory. The cups-pdf backend
# writes into the job owner's home directory as configured in /etc, and only runs as
# root; a file: queue keeps the test private and lets it run as any user.
. "$(dirname "$0")/lib/common.sh"
need_tools Xvfb xdotool import convert cupsd lpadmin lpinfo lpstat pdfinfo pdftoppm pdftotext

# The scheduler's filters run as an unprivileged user when it runs as root, and must
# reach its directories.
chmod 755 "$E2E_TMP"
C=$E2E_TMP/cups
OUT=$E2E_TMP/out
mkdir -p "$C"/{spool,cache,state,log} "$OUT" "$E2E_TMP/home"
mkdir -p -m 1777 "$C/tmp"
chmod 1777 "$OUT"

cat >"$C/cupsd.conf" <<EOF
Listen $C/cups.sock
LogLevel info
WebInterface No
Browsing No
DefaultAuthType None
<Location />
  Order allow,deny
  Allow all
</Location>
<Policy default>
  <Limit All>
    Order deny,allow
    Allow all
  </Limit>
</Policy>
EOF
{
    echo "ServerRoot $C"
    echo "ServerBin /usr/lib/cups"
    echo "DataDir /usr/share/cups"
    echo "RequestRoot $C/spool"
    echo "TempDir $C/tmp"
    echo "CacheDir $C/cache"
    echo "StateDir $C/state"
    echo "AccessLog $C/log/access_log"
    echo "ErrorLog $C/log/error_log"
    echo "PageLog $C/log/page_log"
    echo "FileDevice Yes"
    echo "Printcap"
    if [ "$(id -u)" != 0 ]; then
        echo "User $(id -un)"
        echo "Group $(id -gn)"
        echo "SystemGroup $(id -gn)"
    fi
} >"$C/cups-files.conf"

start_cupsd() {
    cupsd -f -c "$C/cupsd.conf" -s "$C/cups-files.conf" >"$C/log/cupsd.out" 2>&1 &
    CUPSD_PID=$!
    track "$CUPSD_PID"
    export CUPS_SERVER=$C/cups.sock
    local i
    for ((i = 0; i < 100; i++)); do
        [ "$(lpstat -r 2>/dev/null)" = "scheduler is running" ] && return 0
        kill -0 "$CUPSD_PID" 2>/dev/null || break
        sleep 0.1
    done
    cat "$C/log/cupsd.out" "$C/log/error_log" >&2 2>/dev/null
    die "the private CUPS scheduler did not start"
}

stop_cupsd() {
    kill "$CUPSD_PID" 2>/dev/null
    wait "$CUPSD_PID" 2>/dev/null
}

start_cupsd
say "CUPS scheduler on $CUPS_SERVER"
PPD=$(lpinfo -m 2>/dev/null | awk '/Generic PDF Printer/ { print $1; exit }')
[ -n "$PPD" ] || skip "no Generic PDF Printer driver (cups-filters) for the queue"
lpadmin -p korvanpdf -E -v "file://$OUT/job.pdf" -m "$PPD" 2>/dev/null ||
    die "lpadmin could not create the queue"
lpadmin -d korvanpdf || die "lpadmin could not make the queue the default"

start_xvfb
# No lpoptions or print settings of the caller's home take part.
export HOME=$E2E_TMP/home

# Three pages: one value a page, printed inside the box.
cat >"$E2E_TMP/form.csv" <<'EOF'
PAPER,A4,1
LINE_SET,L,0.3,0
BOX,L,10,10,110,60
DATA,,,20,30,10,
EOF
printf 'PAGE-ONE\nPAGE-TWO\nPAGE-THREE\n' >"$E2E_TMP/form.txt"

# Waits for the print dialog; sets DIALOG.
wait_dialog() {
    local i
    DIALOG=""
    for ((i = 0; i < 300; i++)); do
        DIALOG=$(xdotool search --onlyvisible --name '^Print$' 2>/dev/null | head -n 1)
        [ -n "$DIALOG" ] && return 0
        kill -0 "$KORVAN_PID" 2>/dev/null || break
        sleep 0.1
    done
    cat "$E2E_TMP/korvan.err" >&2
    return 1
}

answer_dialog() {
    timeout 10 xdotool windowfocus --sync "$DIALOG" 2>/dev/null || xdotool windowfocus "$DIALOG"
    sleep 0.3
    xdotool key "$1"
}

# ---- 1. The print run: one dialog, every page in one job ----
start_korvan PRINT "$E2E_TMP/form.txt" "$E2E_TMP/form.csv"
wait_dialog || die "no print dialog appeared"
answer_dialog Return
if wait_exit 30; then
    [ "$KORVAN_STATUS" = 0 ] || fail "print run: exit status $KORVAN_STATUS"
else
    fail "print run: the program did not end after printing"
fi
if grep -q . "$E2E_TMP/korvan.err"; then
    fail "print run: output on standard error: $(head -c 1000 "$E2E_TMP/korvan.err")"
fi

# The job is done when the queue is empty and the file is complete.
for ((i = 0; i < 600; i++)); do
    if [ -s "$OUT/job.pdf" ] && [ -z "$(lpstat -o korvanpdf 2>/dev/null)" ] &&
        pdfinfo "$OUT/job.pdf" >/dev/null 2>&1; then
        break
    fi
    sleep 0.1
done
[ -s "$OUT/job.pdf" ] || die "no PDF from the print queue ($(tail -5 "$C/log/error_log"))"
jobs_done=$(lpstat -W completed -o korvanpdf 2>/dev/null | wc -l)
[ "$jobs_done" = 1 ] || fail "print run: $jobs_done jobs instead of one"

info=$(pdfinfo "$OUT/job.pdf")
pages=$(awk '/^Pages:/ { print $2 }' <<<"$info")
size=$(sed -n 's/^Page size: *\([0-9.]*\) x \([0-9.]*\) pts.*/\1 \2/p' <<<"$info")
say "PDF: $pages pages, page size $size pt"
[ "$pages" = 3 ] || fail "print run: $pages pages instead of 3"
# A4 is 210 x 297 mm = 595.3 x 841.9 pt.
awk -v s="$size" 'BEGIN { split(s, a, " "); exit !(a[1] > 594 && a[1] < 597 && a[2] > 840.5 && a[2] < 843.5) }' ||
    fail "print run: page size $size pt is not A4 (595 x 842)"

# The box: 10 mm from the left and top edges of the sheet, 100 x 50 mm, within 0.4 mm
# (the truncation to whole points). Its outline lies at 28 pt and covers 283 x 141 pt,
# drawn with a 0.85 pt pen: outer edges 27.6 pt = 9.73 mm from the corner, 99.8 x 49.7 mm.
pdftoppm -r 300 -png "$OUT/job.pdf" "$E2E_TMP/page" || fail "pdftoppm failed"
names=(ONE TWO THREE)
for ((n = 1; n <= 3; n++)); do
    png=$(ls "$E2E_TMP"/page-*"$n".png 2>/dev/null | head -n 1)
    [ -n "$png" ] || {
        fail "page $n: no image"
        continue
    }
    # The bounding box of everything dark on the page (the value is inside the box):
    # first dark column and row, width and height.
    bbox=$(convert "$png" -colorspace gray -threshold 50% -format '%@' info:)
    read -r left top width height < <(awk -v b="$bbox" 'BEGIN {
        split(b, p, /[x+]/); mm = 25.4 / 300
        printf "%.2f %.2f %.2f %.2f\n", p[3] * mm, p[4] * mm, p[1] * mm, p[2] * mm }')
    say "page $n: box left $left mm, top $top mm, width $width mm, height $height mm"
    awk -v l="$left" -v t="$top" -v w="$width" -v h="$height" 'BEGIN {
        d = 0.4; exit !(l > 10 - d && l < 10 + d && t > 10 - d && t < 10 + d &&
                        w > 100 - d && w < 100 + d && h > 50 - d && h < 50 + d) }' ||
        fail "page $n: box at $left,$top mm, $width x $height mm instead of 10,10, 100 x 50 mm"
    text=$(pdftotext -f "$n" -l "$n" "$OUT/job.pdf" - 2>/dev/null | tr -d ' \n\f')
    [ "$text" = "PAGE-${names[$((n - 1))]}" ] || fail "page $n: text '$text' instead of PAGE-${names[$((n - 1))]}"
done

# ---- 2. A cancelled dialog: the error screen stays until Esc ----
start_korvan PRINT "$E2E_TMP/form.txt" "$E2E_TMP/form.csv"
wait_dialog || die "no print dialog appeared for the second run"
answer_dialog Escape
wait_window
pink=""
for ((i = 0; i < 50; i++)); do
    shot
    mapfile -t pink < <(pixels 5,5 400,700 790,790)
    [ "${pink[*]}" = "255,128,192 255,128,192 255,128,192" ] && break
    sleep 0.2
done
[ "${pink[*]}" = "255,128,192 255,128,192 255,128,192" ] ||
    fail "cancelled dialog: no pink error screen (pixels ${pink[*]})"
sleep 2
kill -0 "$KORVAN_PID" 2>/dev/null || fail "cancelled dialog: the program ended without Esc"
press Escape
if wait_exit 10; then
    [ "$KORVAN_STATUS" = 0 ] || fail "cancelled dialog: exit status $KORVAN_STATUS after Esc"
else
    fail "cancelled dialog: the program did not end after Esc"
fi
jobs_done=$(lpstat -W completed -o korvanpdf 2>/dev/null | wc -l)
[ "$jobs_done" = 1 ] || fail "cancelled dialog: a job was printed"

# ---- 3. The scheduler stopped: the dialog offers printing to a file ----
stop_cupsd
start_korvan PRINT "$E2E_TMP/form.txt" "$E2E_TMP/form.csv"
if wait_dialog; then
    answer_dialog Return
    if wait_exit 30; then
        [ "$KORVAN_STATUS" = 0 ] || fail "no scheduler: exit status $KORVAN_STATUS"
        pdf=$(ls "$HOME"/*.pdf 2>/dev/null | head -n 1)
        if [ -n "$pdf" ]; then
            p=$(pdfinfo "$pdf" | awk '/^Pages:/ { print $2 }')
            say "no scheduler: printed to $(basename "$pdf"), $p pages"
            [ "$p" = 3 ] || fail "no scheduler: $p pages in $pdf instead of 3"
        else
            fail "no scheduler: the run ended but no file was printed"
        fi
    else
        fail "no scheduler: the program did not end after the dialog was accepted"
    fi
else
    fail "no scheduler: no print dialog appeared"
fi

finish
