#!/bin/bash
# A large run split by --start/--end over three processes and joined with qpdf gives
# the pages of the single run, page for page: 3,000 pages, each two OFFSET copies whose
# values come from two data lines, so that every part has to skip whole pages of data
# to find its first one. Each page carries its own page number, so a page lost or
# printed twice at a boundary shows as a difference. Under the address sanitizer, where
# a PDF page costs a hundred times more, the run is 300 pages.
. "$(dirname "$0")/lib/common.sh"
need_tools qpdf pdftotext pdfinfo python3
batch=$E2E_BIN/korvan-batch w=$E2E_TMP pages=3000
ldd "$batch" 2>/dev/null | grep -q libasan && pages=300
third=$((pages / 3))

printf 'PAPER,A7,1\nOFFSET,0,0,0,50\nDATA,,,5,5,0,\nDATA,,,5,15,8,+\n' >"$w/form.csv"
python3 -c '
import sys
for page in range(1, int(sys.argv[1]) + 1):
    for copy in "AB":
        print("P%05d%s\t%d" % (page, copy, page * 1000 + ord(copy)))' $pages >"$w/data.tsv"

check "the single run" "$batch" --pdf "$w/all.pdf" "$w/data.tsv" "$w/form.csv"
parts=(1:$third $((third + 1)):$((2 * third)) $((2 * third + 1)):0)
printf '%s\n' "${parts[@]}" | xargs -P 3 -I{} sh -c 'r={}; exec "$1" --pdf "$2/part-${r%:*}.pdf" \
    --start ${r%:*} --end ${r#*:} "$2/data.tsv" "$2/form.csv"' sh "$batch" "$w" ||
    fail "a part of the split run failed"
check "qpdf joins the parts" qpdf --empty --pages "$w/part-1.pdf" "$w/part-$((third + 1)).pdf" \
    "$w/part-$((2 * third + 1)).pdf" -- "$w/joined.pdf"

# The text of every page: blanks dropped (characters are drawn one by one, so
# pdftotext spaces them at will), one line per page, pages cut at the form feeds.
page_texts() { pdftotext -raw "$1" - | python3 -c '
import sys
for page in sys.stdin.read().split("\f")[:-1]:
    print("".join(page.split()))'; }
page_texts "$w/all.pdf" >"$w/all.txt"
page_texts "$w/joined.pdf" >"$w/joined.txt"
check "the single run has $pages pages" test "$(pdfinfo "$w/all.pdf" | awk '/^Pages:/ { print $2 }')" = $pages
check "the single run shows every page's own values, in order" python3 -c '
import sys
want = ["P%05dA{:,}P%05dB{:,}".format(p * 1000 + 65, p * 1000 + 66) % (p, p)
        for p in range(1, int(sys.argv[2]) + 1)]
got = open(sys.argv[1]).read().split("\n")[:-1]
sys.exit(got != want)' "$w/all.txt" $pages
check "the joined parts are the single run, page for page" cmp "$w/all.txt" "$w/joined.txt"
finish
