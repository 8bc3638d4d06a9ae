#!/usr/bin/env bash
# Renders every example to build/demo/ as PDF and PNG pages, says where they are, and
# opens the preview of the invoice when there is a display to show it on.
set -euo pipefail
build=${1:-build}
top=$(cd "$(dirname "$0")/.." && pwd)
bin="$top/$build/bin"
out="$top/$build/demo"
rm -rf "$out"
mkdir -p "$out"

status=0
render() { # name data layout
    local name=$1 data=$2 layout=$3
    if "$bin/korvan-batch" --pdf "$out/$name.pdf" "$data" "$layout" &&
        "$bin/korvan-batch" --png "$out/$name" --dpi 150 "$data" "$layout"; then
        printf '  %-10s %s  and  %s/page-*.png\n' "$name" "$out/$name.pdf" "$out/$name"
    else
        echo "  $name: failed (see the lines above)"
        status=1
    fi
}

echo "Rendering the examples:"
render invoice "$top/examples/invoice/invoice.tsv" "$top/examples/invoice/invoice.csv"
render delivery "$top/examples/delivery/delivery.tsv" "$top/examples/delivery/delivery.csv"
render labels "$top/examples/labels/labels.tsv" "$top/examples/labels/labels.csv"

if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    echo "Opening the preview of the invoice (Enter: next page, arrows: move,"
    echo "Insert/Delete: zoom, Home/End: back to 100 %, P: print, Esc: close)."
    # Detached, and holding none of this script's output open.
    (cd "$top/examples/invoice" && exec "$bin/korvan" TEST ./invoice.tsv ./invoice.csv) \
        </dev/null >/dev/null 2>&1 &
else
    echo "No display here, so no preview; on a desktop run:"
    echo "  (cd examples/invoice && ../../$build/bin/korvan TEST ./invoice.tsv ./invoice.csv)"
fi
exit $status
