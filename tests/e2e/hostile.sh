#!/bin/bash
# Hostile layout and data files through korvan-batch, in bounded time and memory: the
# cases are in hostile.py, the small inputs in tests/hostile/.
. "$(dirname "$0")/lib/common.sh"
need_tools python3 pdfinfo pdftotext timeout
python3 "$(dirname "$0")/hostile.py" "$E2E_BIN" "$E2E_SRC" "$E2E_TMP" || die "hostile.py failed"
finish
