#!/usr/bin/env bash
# korvan-batch on the examples, judged by real tools: pdfinfo and pdftotext read the
# PDFs, pdftoppm rasterises them and zbarimg reads their bar codes.
set -euo pipefail
bin=$1
src=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export KORVAN_TEST_WORK=$work
fail=0
check() { # description, then a command that must succeed
    local what=$1
    shift
    if "$@"; then
        echo "ok   $what"
    else
        echo "FAIL $what"
        fail=1
    fi
}

ex=$src/examples
batch=$bin/korvan-batch

# Every example runs clean.
for name in invoice delivery labels; do
    data=$ex/$name/$name.tsv
    check "$name runs clean" "$batch" --pdf "$work/$name.pdf" "$data" "$ex/$name/$name.csv"
done

# The rest of the checks read the PDFs with the real tools.
check "examples: pages, sizes, text and bar codes" python3 "$src/tests/e2e/batch_check.py" "$bin" "$src"

# --check on a layout with three errors: three lines on standard error and status 1.
cat >"$work/bad.csv" <<'EOF'
PAPER,A4,1
BOXX,L,1,2,3,4
TEXT,abc,NOSTYLE,,10,10,0,
LINE_SET,L,0.2,0
BOX,L,1,2,abc,4
EOF
set +e
"$batch" --check "$work/bad.csv" 2>"$work/bad.err"
status=$?
set -e
check "--check exits 1 on errors" test "$status" -eq 1
check "--check prints the three error lines" diff -u - "$work/bad.err" <<'EOF'
(2) BOXX BOXX ?
(3) TEXT Char name (NOSTYLE) not found
(5) BOX not numeric "abc"
EOF
check "--check exits 0 on a clean layout" "$batch" --check "$ex/invoice/invoice.csv"

# Usage errors give status 2.
set +e
"$batch" --pdf "$work/x.pdf" 2>/dev/null
s1=$?
"$batch" --pdf "$work/x.pdf" --png "$work/x" a b 2>/dev/null
s2=$?
"$batch" --png "$work/x" --dpi zero a b 2>/dev/null
s3=$?
set -e
check "usage errors exit 2" test "$s1$s2$s3" = 222

# --png: one image per page at the resolution asked for (A4 at 100 dpi: 827 x 1169).
check "--png writes the pages" "$batch" --png "$work/png" --dpi 100 "$ex/invoice/invoice.tsv" \
    "$ex/invoice/invoice.csv"
check "--png makes one image per page" test "$(ls "$work/png" | wc -l)" -eq 5
check "--png images are A4 at 100 dpi" python3 - "$work/png/page-00001.png" <<'EOF'
import struct, sys
with open(sys.argv[1], "rb") as f:
    head = f.read(24)
w, h = struct.unpack(">II", head[16:24])
sys.exit(0 if (w, h) == (827, 1169) else print("size", w, h) or 1)
EOF

# A page range and made-up data.
check "--start/--end print the range" "$batch" --pdf "$work/range.pdf" --start 2 --end 3 \
    "$ex/invoice/invoice.tsv" "$ex/invoice/invoice.csv"
check "the range has two pages" test "$(pdfinfo "$work/range.pdf" | awk '/^Pages:/{print $2}')" -eq 2
check "--test-data prints the start page only" "$batch" --pdf "$work/td.pdf" --test-data \
    "$ex/invoice/invoice.tsv" "$ex/invoice/invoice.csv"
check "test data gives one page" test "$(pdfinfo "$work/td.pdf" | awk '/^Pages:/{print $2}')" -eq 1
check "--test-data --end 3 prints three pages" "$batch" --pdf "$work/td3.pdf" --test-data --end 3 \
    "$ex/invoice/invoice.tsv" "$ex/invoice/invoice.csv"
check "three test pages" test "$(pdfinfo "$work/td3.pdf" | awk '/^Pages:/{print $2}')" -eq 3

# No display at all.
check "runs with no display" env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM \
    "$batch" --pdf "$work/nodisplay.pdf" "$ex/labels/labels.tsv" "$ex/labels/labels.csv"

exit $fail
