#!/bin/bash
# korvan-batch under faults: full disks, read-only directories, a closed pipe, SIGTERM
# and SIGKILL at ten points of a 5,000-page PDF (300 under the address sanitizer), print
# queues that refuse the job before or while it is written, data errors, a data file
# cut short while read. Each gives its lines on standard error and status 1 (a signal:
# the signal's status), and leaves the previous output byte for byte as it was (or
# absent) with no temporary beside it; a SIGKILL may leave one, which the next run in
# that directory removes. In a private mount namespace, whose tmpfs mounts are its own.
. "$(dirname "$0")/lib/common.sh"

need_tools pdfinfo cupsd lpadmin lpinfo lpstat cupsdisable cupsreject unshare
in_namespace --mount
w=$E2E_TMP pages=5000
sanitized && pages=300

# One record a page: a box and two values on a small sheet. The second value is long,
# so that the data file (600 KB) is far larger than what the reader reads ahead.
printf 'PAPER,A7,1\nLINE_SET,L,0.3,0\nBOX,L,5,5,60,30\nDATA,,,8,10,0,\nDATA,,,8,20,0,\n' >"$w/rec.csv"
pad=$(printf "%0$((600000 / pages))d" 0)
awk -v n="$pages" -v pad="$pad" 'BEGIN { for (i = 1; i <= n; i++) printf "R%05d\tX%s\n", i, pad }' >"$w/all.tsv"
head -n 3 "$w/all.tsv" >"$w/three.tsv"
all=("$w/all.tsv" "$w/rec.csv") three=("$w/three.tsv" "$w/rec.csv")

# Everything under a directory, hidden entries too, and each file's checksum.
state() { (cd "$1" && find . | LC_ALL=C sort && find . -type f -exec md5sum {} + | LC_ALL=C sort); }
temporaries() { find "$1" -maxdepth 2 -name '.*.korvan-??????' "${@:2}"; }

run_batch --pdf "$w/three.pdf" "${three[@]}"
[ "$rc" = 0 ] && [ "$(pages_of "$w/three.pdf")" = 3 ] || die "the three-page run failed: $(cat "$w/err")"

# ---- Writes that fail: one line naming the file and the system's reason ----
small=$w/small ro=$w/ro
trap 'umount -l "$small" "$ro" 2>/dev/null; e2e_cleanup' EXIT
mkdir -p "$small" "$ro" && mount -t tmpfs -o size=200k tmpfs "$small" &&
    mount -t tmpfs -o size=100k tmpfs "$ro" || die "could not mount the tmpfs"
mkdir "$small/png" "$ro/png"
cp "$w/three.pdf" "$small/out.pdf" && cp "$w/three.pdf" "$ro/out.pdf"
run_batch --png "$small/png" --dpi 30 "${three[@]}"
[ "$rc" = 0 ] || die "the three-page PNG run failed: $(cat "$w/err")"
mount -o remount,ro "$ro" || die "could not make the tmpfs read-only"
before_small=$(state "$small") before_ro=$(state "$ro")
[ -w /dev/full ] && full=/dev/full || full=
while IFS='|' read -r desc line args; do
    [ -n "$desc" ] || continue
    run_batch $args
    expect "$desc" 1 "$line"
done <<EOF
${full:+/dev/full|korvan-batch: cannot write /dev/full: No space left on device|--pdf /dev/full ${three[*]}}
a directory as the PDF|korvan-batch: cannot write $w: Is a directory|--pdf $w ${three[*]}
PDF on a full tmpfs|korvan-batch: cannot write $small/out.pdf: No space left on device|--pdf $small/out.pdf ${all[*]}
PNG on a full tmpfs|korvan-batch: cannot write $small/png/page-N.png: No space left on device|--png $small/png --dpi 600 ${all[*]}
PDF in a read-only directory|korvan-batch: cannot write $ro/out.pdf: Read-only file system|--pdf $ro/out.pdf ${three[*]}
PNG into a read-only directory|korvan-batch: cannot write $ro/png: Read-only file system|--png $ro/png ${three[*]}
PNG below a read-only directory|korvan-batch: cannot create $ro/new: Read-only file system|--png $ro/new ${three[*]}
${full:+calibration sheet on /dev/full|korvan-batch: cannot write /dev/full: No space left on device|--calibration-sheet --pdf /dev/full}
calibration sheet in a read-only directory|korvan-batch: cannot write $ro/sheet.pdf: Read-only file system|--calibration-sheet --pdf $ro/sheet.pdf
EOF
[ "$(state "$small")" = "$before_small" ] || fail "the full tmpfs changed: $(ls -AR "$small")"
[ "$(state "$ro")" = "$before_ro" ] || fail "the read-only tmpfs changed: $(ls -AR "$ro")"

"$BATCH" --pdf - "${all[@]}" 2>"$w/err" | head -c 1 >/dev/null
rc=${PIPESTATUS[0]}
expect "a closed pipe" 1 "korvan-batch: cannot write standard output: Broken pipe"
"$BATCH" --pdf - "${three[@]}" 2>"$w/err" >"$w/piped.pdf"
rc=$?
expect "--pdf -" 0
[ "$(pages_of "$w/piped.pdf")" = 3 ] || fail "--pdf -: $(pages_of "$w/piped.pdf") pages instead of 3"

# ---- Stopped runs: the previous file untouched (or no file), no temporary ----
run_batch --pdf "$w/all.pdf" "${all[@]}"
[ "$rc" = 0 ] && [ "$(pages_of "$w/all.pdf")" = "$pages" ] || die "the $pages-page run failed: $(cat "$w/err")"
size=$(stat -c %s "$w/all.pdf") k=$w/kill target=$w/kill/out.pdf stale="" stopped=0
mkdir "$k"
for sig in TERM KILL; do
    for point in 0 1 2 3 4 5 6 7 8 9; do
        # The even points have a previous file, the odd ones none.
        rm -f "$target"
        ((point % 2)) || cp "$w/three.pdf" "$target"
        "$BATCH" --pdf "$target" "${all[@]}" 2>"$w/err" &
        pid=$!
        # Stopped once the run's temporary holds point tenths of the PDF's bytes.
        at=$((size * point / 10))
        until [ -n "$(temporaries "$k" ! -name "${stale:-none}" ! -size -"${at}c")" ] ||
            ! kill -0 "$pid" 2>/dev/null; do :; done
        kill -"$sig" "$pid" 2>/dev/null
        { wait "$pid"; } 2>/dev/null
        rc=$?
        where="SIG$sig at $point/10" got=$(pages_of "$target") whole=0
        # Done before the signal, or killed after the file took its name: then it is
        # whole.
        if [ "$rc" = 0 ] || { [ "$sig" = KILL ] && [ "$got" = "$pages" ]; }; then
            [ "$got" = "$pages" ] || fail "$where: status $rc but $got pages"
            whole=1
        elif ((point % 2)); then
            [ ! -e "$target" ] || fail "$where: a file was left where there was none"
        else
            cmp -s "$w/three.pdf" "$target" && [ "$(pages_of "$target")" = 3 ] ||
                fail "$where: the previous file was changed"
        fi
        ((whole)) || stopped=$((stopped + 1))
        left=$(temporaries "$k")
        if [ "$sig" = TERM ]; then
            [ "$rc" = 0 ] || expect "$where" 143 "korvan-batch: stopped by SIGTERM; $target $(
                ((point % 2)) && echo was not written || echo was left as it was)"
            [ -z "$left" ] || fail "$where: temporaries left: $left"
        else
            [ "$rc" = 0 ] || [ "$rc" = 137 ] || fail "$where: status $rc"
            # It could not remove its temporary; the next run does.
            ((whole)) || [ "$(echo "$left" | grep -c .)" = 1 ] || fail "$where: temporaries left: '$left'"
            [ -z "$stale" ] || [ ! -e "$k/$stale" ] || fail "$where: the killed run's $stale was not removed"
            stale=$(basename "${left:-none}")
        fi
    done
done
((stopped >= 16)) || fail "only $stopped of 20 runs were stopped before they ended"
# Page images: stopped once some pages are written, none of them may stay.
mkdir "$w/png"
"$BATCH" --png "$w/png" --dpi 100 "${all[@]}" 2>"$w/err" &
pid=$!
until [ -n "$(find "$w/png" -name 'page-00002.png')" ] || ! kill -0 "$pid" 2>/dev/null; do :; done
kill -TERM "$pid"
{ wait "$pid"; } 2>/dev/null
rc=$?
expect "SIGTERM during --png" 143 "korvan-batch: stopped by SIGTERM; no page was written to $w/png"
[ -z "$(ls -A "$w/png")" ] || fail "SIGTERM during --png left $(ls -A "$w/png" | head -3)"
run_batch --pdf "$target" "${three[@]}"
[ "$rc" = 0 ] && [ -z "$(temporaries "$k")" ] || fail "the run after the killed ones: status $rc, $(ls -A "$k")"

# ---- Data errors: the error list's line, one that says where, and nothing written ----
# 34 fields in 3 OFFSET copies take 102 values a page. Line 4 holds 11: page 4 takes
# them and 91 of line 5, whose 11 left over stop the run before page 5.
{
    printf 'PAPER,A4,1\nOFFSET,0,0,70,0,140,0\n'
    for ((i = 0; i < 34; i++)); do printf 'DATA,,,5,%d,10,\n' $((5 + 8 * i)); done
} >"$w/f102.csv"
awk 'BEGIN { for (r = 1; r <= 6; r++) { n = r == 4 ? 11 : 102
    for (v = 1; v <= n; v++) printf "L%dV%d%s", r, v, v < n ? "\t" : "\n" } }' >"$w/d102.tsv"
head -n 3 "$w/d102.tsv" >"$w/d3.tsv"
# A text and a JAN: line 2 is short, so page 2's JAN takes line 3's text.
printf 'DATA,,,5,30,10,\nJAN,,0.3,15,10,10\n' >"$w/jan.csv"
printf 'A1\t4901234567894\nA2\nA3\t4901234567894\n' >"$w/jan.tsv"
short="korvan-batch: data line 4 holds 11 values; page 4 takes 102 (the layout's 34 data fields times its 3 OFFSET copies), so it took 91 of line 5's 102 values"
cp "$w/three.pdf" "$w/data.pdf"
while IFS='|' read -r desc first second args; do
    run_batch --pdf "$w/data.pdf" $args
    expect "$desc" 1 "$first" "$second"
    cmp -s "$w/three.pdf" "$w/data.pdf" || fail "$desc: the previous PDF was changed"
done <<EOF
a short line| Page End data Count(102) Error|$short|$w/d102.tsv $w/f102.csv
a short line before the start|データ[1] Page End data Count Error|$short|--start 6 $w/d102.tsv $w/f102.csv
a value the JAN cannot draw|データ[1] jan length 8 or 13 error (A3)|korvan-batch: the run stopped on page 2, whose values begin on data line 2|$w/jan.tsv $w/jan.csv
a start beyond the data|データ[1] Data Count Error|korvan-batch: --start 9, but the data holds 3 pages|--start 9 $w/d3.tsv $w/f102.csv
EOF

# ---- The data file cut short while it is read: data error lines, nothing written ----
data_size=$(stat -c %s "$w/all.tsv")
for cut in 0 1000; do
    cp "$w/all.tsv" "$w/cut.tsv"
    "$BATCH" --pdf "$w/data.pdf" "$w/cut.tsv" "$w/rec.csv" 2>"$w/err" &
    pid=$!
    until [ -n "$(temporaries "$w" -size +$((size / 4))c)" ] || ! kill -0 "$pid" 2>/dev/null; do :; done
    truncate -s "$cut" "$w/cut.tsv"
    wait "$pid"
    rc=$?
    expect "data cut to $cut bytes" 1 "データ[1] read error($w/cut.tsv)" \
        "korvan-batch: the data file shrank from $data_size to $cut bytes while it was read"
    cmp -s "$w/three.pdf" "$w/data.pdf" || fail "data cut to $cut bytes: the previous PDF was changed"
done

# ---- Print queues: a job whole or none ----
start_cups
export TMPDIR=$w/spool # where the job is written before it is sent
mkdir -p "$TMPDIR"
for q in ready disabled rejecting; do add_pdf_queue "$q" "$w/q-$q" || die "lpadmin $q failed"; done
cupsdisable disabled && cupsreject rejecting || die "could not disable and reject"
jobs() { lpstat -W all -o "$1" 2>/dev/null | grep -c .; }
while IFS='|' read -r queue status line args; do
    run_batch --printer "$queue" ${args:-${three[*]}}
    expect "queue $queue ${args:-}" "$status" ${line:+"$line"}
done <<EOF
ready|0|
disabled|1|korvan-batch: cannot print on disabled: the queue is disabled
rejecting|1|korvan-batch: cannot print on rejecting: the queue is rejecting jobs
missing|1|korvan-batch: cannot print on missing: there is no such queue
disabled|1|korvan-batch: cannot print on disabled: the queue is disabled|--calibration-sheet
rejecting|1|korvan-batch: cannot print on rejecting: the queue is rejecting jobs|--calibration-sheet
EOF
job_done ready "$w/q-ready/job.pdf" && [ "$(pages_of "$w/q-ready/job.pdf")" = 3 ] ||
    fail "the ready queue's job: $(pages_of "$w/q-ready/job.pdf") pages"
[ "$(jobs ready)$(jobs disabled)$(jobs rejecting)" = 100 ] ||
    fail "jobs: ready $(jobs ready), disabled $(jobs disabled), rejecting $(jobs rejecting)"

# While the job is being written, the queue starts rejecting jobs or the run is stopped.
for stop in reject TERM; do
    "$BATCH" --printer ready "${all[@]}" 2>"$w/err" &
    pid=$!
    until [ -n "$(temporaries "$TMPDIR")" ] || ! kill -0 "$pid" 2>/dev/null; do :; done
    if [ "$stop" = reject ]; then
        kill -STOP "$pid" && cupsreject ready && kill -CONT "$pid"
    else
        kill -TERM "$pid"
    fi
    wait "$pid"
    rc=$?
    if [ "$stop" = reject ]; then
        expect "rejected while written" 1 "korvan-batch: cannot print on ready: the print system did not take the job (the queue is rejecting jobs)"
        cupsaccept ready
    else
        expect "stopped while written" 143 "korvan-batch: stopped by SIGTERM; nothing was sent to ready"
    fi
    [ "$(jobs ready)" = 1 ] || fail "$stop while written: $(jobs ready) jobs on the queue instead of 1"
    [ -z "$(temporaries "$TMPDIR")" ] || fail "$stop while written: $(ls -A "$TMPDIR") left"
done
finish
