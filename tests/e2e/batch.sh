#!/bin/bash
# korvan-batch on the examples, judged by real tools: pdfinfo and pdftotext read the
# PDFs, pdftoppm rasterises them and zbarimg reads their bar codes (batch_check.py).
. "$(dirname "$0")/lib/common.sh"
ex=$E2E_SRC/examples w=$E2E_TMP
status() { "$BATCH" "$@" 2>/dev/null; echo $?; }

for name in invoice delivery labels; do
    check "$name runs clean" "$BATCH" --pdf "$w/$name.pdf" "$ex/$name/$name.tsv" "$ex/$name/$name.csv"
done
check "examples: pages, sizes, text and bar codes" python3 "$E2E_SRC/tests/e2e/batch_check.py" "$E2E_BIN" "$E2E_SRC" "$w"

# --check on a layout with three errors and two warnings: three lines on standard error
# and status 1; on standard output all five by file and line, in line order, the last
# record (continued over lines 5 and 6) by its first line.
printf 'BOXX,L,1,2,3,4\nPAPER,A44,3\nTEXT,abc,NOSTYLE,,10,10,0,\nLINE_SET,L,0.2,0\nBOX,L,1,\\\n2,abc,4\n' >"$w/bad.csv"
run_batch --check "$w/bad.csv" >"$w/bad.out"
expect "--check" 1 "(1) BOXX BOXX ?" "(3) TEXT Char name (NOSTYLE) not found" '(6) BOX not numeric "abc"'
check "--check prints FILE:LINE lines" diff -u - <(sed "s|^$w/||" "$w/bad.out") <<'EOF2'
bad.csv:1: error: unknown keyword BOXX (did you mean BOX?)
bad.csv:2: warning: PAPER name (A44) gives no paper size: a printer keeps its own paper; a PDF, a PNG and the preview use A4
bad.csv:2: warning: PAPER orientation (3) is neither 1 nor 2: a printer keeps its own, the rest use portrait
bad.csv:3: error: TEXT Char name (NOSTYLE) not found
bad.csv:5: error: BOX not numeric "abc"
EOF2
check "--check exits 0 on a clean layout" "$BATCH" --check "$ex/invoice/invoice.csv"
check "--version needs no files" test "$("$BATCH" --version)" = "korvan-batch 37/8.0.17 (layout VERSION 14)"
check "usage errors exit 2" test "$(status --pdf "$w/x.pdf")$(status --pdf "$w/x.pdf" --png "$w/x" a b)$(
    status --png "$w/x" --dpi zero a b)" = 222

# --png: one image per page at the resolution asked for (A4 at 100 dpi: 827 x 1169).
inv=("$ex/invoice/invoice.tsv" "$ex/invoice/invoice.csv")
check "--png writes the pages" "$BATCH" --png "$w/png" --dpi 100 "${inv[@]}"
check "--png makes one image per page" test "$(ls "$w/png" | wc -l)" -eq 5
check "--png images are A4 at 100 dpi" test "$(python3 -c 'import struct, sys
print("%dx%d" % struct.unpack(">II", open(sys.argv[1], "rb").read(24)[16:]))' "$w/png/page-00001.png")" = 827x1169

# A page range and made-up data (only the start page unless --end says otherwise).
while read -r want args; do
    run_batch --pdf "$w/range.pdf" $args "${inv[@]}"
    expect "$args" 0
    check "$args prints $want pages" test "$(pages_of "$w/range.pdf")" = "$want"
done <<EOF
2 --start 2 --end 3
1 --test-data
3 --test-data --end 3
EOF
check "runs with no display" env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM \
    "$BATCH" --pdf "$w/nodisplay.pdf" "$ex/labels/labels.tsv" "$ex/labels/labels.csv"
finish
