#!/bin/bash
# A large run split by --start/--end over three processes and joined with qpdf gives
# the pages of the single run, page for page: 3,000 pages (300 under the address
# sanitizer), each two OFFSET copies whose values come from two data lines, so that
# every part has to skip whole pages of data to find its first one. Each page carries
# its own page number, so a page lost or printed twice at a boundary shows.
. "$(dirname "$0")/lib/common.sh"
need_tools qpdf pdftotext pdfinfo python3
w=$E2E_TMP pages=3000
sanitized && pages=300
third=$((pages / 3))

printf 'PAPER,A7,1\nOFFSET,0,0,0,50\nDATA,,,5,5,0,\nDATA,,,5,15,8,+\n' >"$w/form.csv"
python3 -c '
import sys
n, w = int(sys.argv[1]), sys.argv[2]
with open(w + "/data.tsv", "w") as data, open(w + "/want.txt", "w") as want:
    for p in range(1, n + 1):
        data.write("P%05dA\t%d\nP%05dB\t%d\n" % (p, p * 1000 + 65, p, p * 1000 + 66))
        want.write("P%05dA{:,}P%05dB{:,}\n".format(p * 1000 + 65, p * 1000 + 66) % (p, p))' $pages "$w"

check "the single run" "$BATCH" --pdf "$w/all.pdf" "$w/data.tsv" "$w/form.csv"
parts=(1:$third $((third + 1)):$((2 * third)) $((2 * third + 1)):0)
printf '%s\n' "${parts[@]}" | xargs -P 3 -I{} sh -c 'r={}; exec "$1" --pdf "$2/part-${r%:*}.pdf" \
    --start ${r%:*} --end ${r#*:} "$2/data.tsv" "$2/form.csv"' sh "$BATCH" "$w" ||
    fail "a part of the split run failed"
check "qpdf joins the parts" qpdf --empty --pages "$w/part-1.pdf" "$w/part-$((third + 1)).pdf" \
    "$w/part-$((2 * third + 1)).pdf" -- "$w/joined.pdf"
check "the single run has $pages pages" test "$(pages_of "$w/all.pdf")" = $pages
page_texts "$w/all.pdf" >"$w/all.txt"
check "the single run shows every page's own values, in order" cmp "$w/want.txt" "$w/all.txt"
check "the joined parts are the single run, page for page" cmp "$w/all.txt" <(page_texts "$w/joined.pdf")
finish
