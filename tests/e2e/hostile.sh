#!/usr/bin/env bash
# Hostile layout and data files through korvan-batch: garbage, huge lines and layouts,
# absurd numbers and counts, broken line ends and encodings, wrong kinds of files. Each
# run must end with status 0 or 1, the error lines the rules give, in bounded time and
# memory. The checks are in hostile.py; the small inputs in tests/hostile/.
# Usage: hostile.sh <build>/bin <source dir>
set -euo pipefail
for tool in python3 pdfinfo pdftotext timeout; do
    command -v "$tool" >/dev/null || { echo "hostile: SKIP: $tool is not installed"; exit 77; }
done
exec python3 "$(dirname "$0")/hostile.py" "$1" "$2"
