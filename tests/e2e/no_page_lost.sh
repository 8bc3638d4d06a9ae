#!/usr/bin/env bash
# No page is lost or printed twice: 20,000 records, one a page, go to a PDF whose text
# shows every record exactly once, in order. A record with one value too many in the
# middle stops the run with the page-end error after that record's page, a line that
# names the record, and no PDF (no page of a run that went wrong goes out). Starting
# past the bad record finds it while skipping pages. Usage: no_page_lost.sh <build>/bin <source dir>
#
# Under the address sanitizer a PDF page costs a hundred times more (its allocator maps
# fresh memory for the page buffers), so the same checks run on 500 records there.
set -uo pipefail
batch=$1/korvan-batch
for tool in python3 pdfinfo pdftotext; do
    command -v "$tool" >/dev/null || { echo "no_page_lost: SKIP: $tool is not installed"; exit 77; }
done
work=$(mktemp -d "${TMPDIR:-/tmp}/korvan-no-page-lost.XXXXXX") || exit 1
trap 'rm -rf "$work"' EXIT
failures=0
fail() {
    echo "no_page_lost: FAIL: $*" >&2
    failures=$((failures + 1))
}

records=20000
ldd "$batch" 2>/dev/null | grep -q libasan && records=500
bad=$((records / 2))
late=$((records * 3 / 4))

# Two values a page, one record (line) a page, on a small sheet.
printf 'PAPER,A7,1\nDATA,,,5,5,0,\nDATA,,,30,5,0,\n' >"$work/record.csv"
python3 - "$work" "$records" "$bad" <<'PY'
import sys
work, records, bad_record = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
with open(work + "/good.tsv", "w") as good, open(work + "/bad.tsv", "w") as bad:
    for i in range(1, records + 1):
        good.write("R%05d\tX%05d\n" % (i, i))
        bad.write("R%05d\tX%05d%s\n" % (i, i, "\tEXTRA" if i == bad_record else ""))
PY

# pages.py PDF FIRST LAST: the PDF has one page per record FIRST..LAST, in order, each
# showing its record's two values (pdftotext puts blanks between characters drawn one
# by one, so blanks are not compared).
cat >"$work/pages.py" <<'PY'
import subprocess, sys
pdf, first, last = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
text = subprocess.run(["pdftotext", "-raw", pdf, "-"], capture_output=True, text=True).stdout
pages = ["".join(p.split()) for p in text.split("\f")]
if pages and pages[-1] == "":
    pages.pop()
want = ["R%05dX%05d" % (i, i) for i in range(first, last + 1)]
if pages != want:
    bad = next((i for i, (g, w) in enumerate(zip(pages, want)) if g != w), min(len(pages), len(want)))
    print("%d pages; first difference at page %d: %r, expected %r" % (
        len(pages), bad + 1, pages[bad] if bad < len(pages) else None,
        want[bad] if bad < len(want) else None))
    sys.exit(1)
PY

run() { # output, then korvan-batch arguments; sets $status, stderr in $work/err
    local out=$1
    shift
    rm -f "$out"
    "$batch" --pdf "$out" "$@" 2>"$work/err"
    status=$?
}

# Every record once, in order.
run "$work/good.pdf" "$work/good.tsv" "$work/record.csv"
[ "$status" -eq 0 ] || fail "the clean run ended with status $status: $(head -3 "$work/err")"
[ -s "$work/err" ] && fail "the clean run wrote errors: $(head -3 "$work/err")"
python3 "$work/pages.py" "$work/good.pdf" 1 "$records" || fail "the clean run's pages"

# From a late page on: the skipped pages are counted, not printed.
run "$work/tail.pdf" --start "$late" "$work/good.tsv" "$work/record.csv"
[ "$status" -eq 0 ] || fail "the run from page $late ended with status $status"
python3 "$work/pages.py" "$work/tail.pdf" "$late" "$records" || fail "the pages from $late"

# The bad record has three values: its page takes the first two, and before another
# page the run finds that the page ended inside the line (record = line = page).
where="korvan-batch: data line $bad holds 3 values; page $bad takes 2 (the layout's data fields)"
run "$work/bad.pdf" "$work/bad.tsv" "$work/record.csv"
[ "$status" -eq 1 ] || fail "the run with a bad record ended with status $status"
[ "$(cat "$work/err")" = " Page End data Count(2) Error"$'\n'"$where" ] ||
    fail "the bad record's error: $(head -3 "$work/err")"
[ -e "$work/bad.pdf" ] && fail "the run with a bad record wrote a PDF"

# Starting beyond it, the bad record is found while the pages before the start are
# skipped, and nothing is printed.
run "$work/late.pdf" --start "$late" "$work/bad.tsv" "$work/record.csv"
[ "$status" -eq 1 ] || fail "the late start over a bad record ended with status $status"
[ "$(cat "$work/err")" = "データ[1] Page End data Count Error"$'\n'"$where" ] ||
    fail "the late start's error: $(head -3 "$work/err")"
[ -e "$work/late.pdf" ] && fail "the late start over a bad record wrote a PDF"

if [ "$failures" -gt 0 ]; then
    echo "no_page_lost: $failures check(s) failed" >&2
    exit 1
fi
echo "no_page_lost: all checks passed on $records records"
