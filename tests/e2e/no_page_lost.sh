#!/bin/bash
# No page is lost or printed twice: 20,000 records, one a page, go to a PDF whose text
# shows every record exactly once, in order, and from a late --start the records after
# it. A record with one value too many in the middle stops the run with the page-end
# error, a line that names the record, and no PDF (no page of a run that went wrong goes
# out); starting past it, the run finds it while skipping pages. 500 records under the
# address sanitizer.
. "$(dirname "$0")/lib/common.sh"
need_tools pdfinfo pdftotext
w=$E2E_TMP records=20000
sanitized && records=500
bad=$((records / 2)) late=$((records * 3 / 4))

# Two values a page, one record (line) a page, on a small sheet.
printf 'PAPER,A7,1\nDATA,,,5,5,0,\nDATA,,,30,5,0,\n' >"$w/record.csv"
awk -v n=$records -v bad=$bad -v w="$w" 'BEGIN { for (i = 1; i <= n; i++) {
    printf "R%05d\tX%05d\n", i, i >(w "/good.tsv")
    printf "R%05d\tX%05d%s\n", i, i, i == bad ? "\tEXTRA" : "" >(w "/bad.tsv") } }'
# shows PDF FIRST LAST: one page per record FIRST..LAST, in order, with its two values.
shows() { cmp <(page_texts "$1") <(awk -v a="$2" -v b="$3" \
    'BEGIN { for (i = a; i <= b; i++) printf "R%05dX%05d\n", i, i }') >&2; }

run_batch --pdf "$w/good.pdf" "$w/good.tsv" "$w/record.csv"
expect "the clean run" 0
check "the clean run's pages" shows "$w/good.pdf" 1 $records
run_batch --pdf "$w/tail.pdf" --start $late "$w/good.tsv" "$w/record.csv"
expect "the run from page $late" 0
check "the pages from $late" shows "$w/tail.pdf" $late $records

# The bad record's page takes its first two values; before another page the run finds
# that the page ended inside the line (record = line = page).
where="korvan-batch: data line $bad holds 3 values; page $bad takes 2 (the layout's data fields)"
run_batch --pdf "$w/bad.pdf" "$w/bad.tsv" "$w/record.csv"
expect "a bad record" 1 " Page End data Count(2) Error" "$where"
run_batch --pdf "$w/late.pdf" --start $late "$w/bad.tsv" "$w/record.csv"
expect "a late start over a bad record" 1 "データ[1] Page End data Count Error" "$where"
check "a bad record writes no PDF" test ! -e "$w/bad.pdf" -a ! -e "$w/late.pdf"
finish
