#!/usr/bin/env bash
# Runs every harness of fuzz/ for SECONDS seconds each, JOBS of them at a time (each
# takes one core), then prints what each one did.
#
#   fuzz/run.sh BUILD SECONDS [JOBS]        FUZZERS="data text" limits the list
#
# Each harness keeps running after a crash (libFuzzer's fork mode), so that one run
# collects every distinct crash: BUILD/crashes/NAME/ holds the inputs that crashed,
# timed out or ran out of memory, BUILD/corpus/NAME the inputs that found new code,
# BUILD/fuzz-NAME.log the log. Reproduce a crash with: BUILD/fuzz_NAME FILE
set -u
build=$(cd "$1" && pwd) || exit 2
seconds=$2
jobs=${3:-2}
src=$(cd "$(dirname "$0")/.." && pwd)
harnesses=${FUZZERS:-"layout data edit barcode numbers text"}

run_one() {
    local name=$1
    local seeds=("$src/fuzz/corpus/$name")
    [ "$name" = layout ] && seeds+=("$src"/examples/*/)
    local dict=()
    [ -f "$src/fuzz/$name.dict" ] && dict=(-dict="$src/fuzz/$name.dict")
    mkdir -p "$build/corpus/$name" "$build/crashes/$name"
    cd "$build" || return
    LSAN_OPTIONS=suppressions=$src/fuzz/lsan.supp QT_QPA_PLATFORM=offscreen \
        "./fuzz_$name" "corpus/$name" "${seeds[@]}" "${dict[@]}" \
        -max_total_time="$seconds" -timeout=10 -max_len=4096 -close_fd_mask=2 \
        -fork=1 -ignore_crashes=1 -ignore_timeouts=1 -ignore_ooms=1 \
        -artifact_prefix="crashes/$name/" >"fuzz-$name.log" 2>&1
}
export -f run_one
export build seconds src

# shellcheck disable=SC2086
printf '%s\n' $harnesses | xargs -P "$jobs" -I{} bash -c 'run_one {}'

printf '%-8s %8s %12s %7s %8s\n' harness minutes executions cov crashes
for name in $harnesses; do
    # The last statistics line: "#<executions>: cov: <n> ft: ... time: <s>s ..."
    last=$(grep -E '^#[0-9]+: cov:' "$build/fuzz-$name.log" | tail -1)
    execs=$(sed -E 's/^#([0-9]+):.*/\1/' <<<"$last")
    cov=$(sed -E 's/.* cov: ([0-9]+) .*/\1/' <<<"$last")
    secs=$(sed -E 's/.* time: ([0-9]+)s.*/\1/' <<<"$last")
    crashes=$(find "$build/crashes/$name" -type f | wc -l)
    printf '%-8s %8s %12s %7s %8s\n' "$name" "$(( ${secs:-0} / 60 ))" "${execs:-?}" "${cov:-?}" "$crashes"
done
