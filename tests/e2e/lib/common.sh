# The harness of the end-to-end scripts, which are called as: script.sh <build>/bin <source
# dir>. A private temp dir, X server and print scheduler, the program's window, keys and
# screen pixels, korvan-batch runs and what their PDFs hold.
set -u

E2E_NAME=$(basename "$0" .sh)
E2E_BIN=$(cd "${1:?usage: $0 <build>/bin <source dir>}" && pwd) || exit 2
E2E_SRC=${2:-}
KORVAN=$E2E_BIN/korvan
E2E_FAILURES=0
E2E_PIDS=()
E2E_TMP=$(mktemp -d "${TMPDIR:-/tmp}/korvan-e2e-$E2E_NAME.XXXXXX") || exit 1
# The project's fonts and no other, as in every test.
export FONTCONFIG_FILE=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)/fonts.conf
PINK=255,128,192

e2e_cleanup() {
    local i
    for ((i = ${#E2E_PIDS[@]} - 1; i >= 0; i--)); do
        kill "${E2E_PIDS[$i]}" 2>/dev/null && wait "${E2E_PIDS[$i]}" 2>/dev/null
    done
    rm -rf "$E2E_TMP"
}
trap e2e_cleanup EXIT
trap 'exit 130' INT TERM

say() { printf '%s: %s\n' "$E2E_NAME" "$*"; }
# A failed check: the script goes on and ends non-zero. die: the rest cannot go on.
fail() { say "FAIL: $*" >&2; E2E_FAILURES=$((E2E_FAILURES + 1)); }
die() { fail "$*"; exit 1; }
skip() { say "SKIP: $*"; exit 77; } # ctest reports the script as skipped
finish() { ((E2E_FAILURES == 0)) || die "$E2E_FAILURES check(s) failed"; say "all checks passed"; exit 0; }
check() { "${@:2}" || fail "$1"; } # a description, then a command that must succeed
# in_namespace OPTIONS...: runs the script again in the first private namespace that
# unshare makes of the options given (e.g. "--mount"), and ends with that run's status (a
# skip inside is a skip); in that run it returns at once.
in_namespace() {
    local ns status
    [ "$E2E_SRC" = --inside-namespace ] && return
    for ns in "$@"; do
        unshare $ns --propagation private true 2>/dev/null || continue
        unshare $ns --propagation private bash "$0" "$E2E_BIN" --inside-namespace
        status=$?
        [ "$status" = 77 ] && exit 77
        [ "$status" = 0 ] || E2E_FAILURES=1
        finish
    done
    skip "no private namespace: unshare $* failed"
}

need_tools() {
    local t
    for t in "$@"; do
        command -v "$t" >/dev/null 2>&1 || skip "required tool '$t' is not installed"
    done
    [ -x "$KORVAN" ] || die "no program at $KORVAN"
}

track() { E2E_PIDS+=("$1"); } # stopped by the cleanup

BATCH=$E2E_BIN/korvan-batch
# Under the address sanitizer a PDF page costs a hundred times more: fewer pages there.
sanitized() { ldd "${1:-$BATCH}" 2>/dev/null | grep -q libasan; }
# run_batch ARG...: korvan-batch; the status in rc, standard error in $E2E_TMP/err.
run_batch() {
    timeout 300 "$BATCH" "$@" 2>"$E2E_TMP/err"
    rc=$?
}
# expect DESC STATUS LINE...: the last run ended with STATUS and said exactly these lines
# (page numbers in file names read as page-N).
expect() {
    local desc=$1 status=$2
    shift 2
    [ "$rc" = "$status" ] || fail "$desc: status $rc, expected $status"
    sed -E 's/page-[0-9]{5}/page-N/' "$E2E_TMP/err" | diff -q <((($#)) && printf '%s\n' "$@") - >/dev/null ||
        fail "$desc: standard error: $(head -c 600 "$E2E_TMP/err")"
}
pages_of() { pdfinfo "$1" 2>/dev/null | awk '/^Pages:/ { print $2 }'; }
# The text of each page of a PDF on a line of its own, blanks dropped: characters are
# drawn one by one, so pdftotext spaces them at will.
page_texts() { pdftotext -raw "$1" - | awk -v RS='\f' '{ gsub(/[[:space:]]+/, ""); print }'; }

# A private X server on a display number it picks itself, which the program must use
# whatever the caller's environment says. The scripts start their servers one at a time
# (a lock on /tmp/korvan-e2e-xvfb.lock, not inherited by the server), so that two of
# them never weigh the same display number at once, and the server must answer a
# client before the script goes on. -noreset: an X server resets when its last client
# leaves, and a client that connects during the reset is turned away ("could not
# connect to display"); each program run of a script is such a last client.
start_xvfb() {
    local n="" lock=/tmp/korvan-e2e-xvfb.lock
    mkfifo "$E2E_TMP/displayfd" || die "mkfifo failed"
    [ -e "$lock" ] || (umask 0 && : >>"$lock")
    exec 8<"$lock" && flock -w 120 8 || die "could not take $lock"
    Xvfb -displayfd 3 -screen 0 1024x900x24 -nolisten tcp -noreset >"$E2E_TMP/xvfb.log" 2>&1 \
        3>"$E2E_TMP/displayfd" 8<&- &
    track $!
    read -r -t 30 n <"$E2E_TMP/displayfd" # once the server accepts connections
    exec 8<&-
    [ -n "$n" ] || die "Xvfb did not start: $(cat "$E2E_TMP/xvfb.log")"
    export DISPLAY=:$n QT_QPA_PLATFORM=xcb XDG_RUNTIME_DIR=$E2E_TMP/runtime
    unset WAYLAND_DISPLAY
    mkdir -p -m 700 "$XDG_RUNTIME_DIR"
    T=100 poll eval 'xdotool getdisplaygeometry >/dev/null 2>&1' ||
        die "Xvfb on $DISPLAY does not answer: $(cat "$E2E_TMP/xvfb.log")"
}

# Starts the program in the background: KORVAN_PID, its output in $E2E_TMP/korvan.*.
start_korvan() {
    "$KORVAN" "$@" >"$E2E_TMP/korvan.out" 2>"$E2E_TMP/korvan.err" &
    KORVAN_PID=$!
    track "$KORVAN_PID"
}

# Runs "$@" every 0.1 s until it succeeds, $T tenths of a second at most (default 100).
poll() {
    local i
    for ((i = 0; i < ${T:-100}; i++)); do
        "$@" && return 0
        sleep 0.1
    done
    return 1
}

# Waits for a visible window whose name matches $1 (default: the program's); sets WID.
wait_window() {
    local name=${1:-^KORVAN}
    T=300 poll eval 'WID=$(xdotool search --onlyvisible --name "$name" 2>/dev/null | head -n 1); [ -n "$WID" ]' ||
        ! cat "$E2E_TMP/korvan.err" >&2
}

# The program must end with status 0 within $2 seconds (default 10).
check_exit() {
    local status
    T=$((${2:-10} * 10)) poll eval '! kill -0 "$KORVAN_PID" 2>/dev/null' || {
        fail "$1: the program did not end"
        return
    }
    wait "$KORVAN_PID"
    status=$?
    [ "$status" = 0 ] || fail "$1: exit status $status, expected 0"
}

press() { # keys into the window, which gets the input focus first
    timeout 10 xdotool windowfocus --sync "$WID" 2>/dev/null || xdotool windowfocus "$WID"
    xdotool key --delay 50 "$@"
}

# Takes screenshots of the window until the pixels at the "x,y" arguments are as $1
# says, 10 s at most: "r,g,b" or "dark" each, blank-separated. P holds the last ones.
wait_pixels() {
    local -a want=($1)
    local p fmt="" i k ok r g b
    shift
    for p in "$@"; do
        fmt+="%[fx:int(255*p{$p}.r+0.5)],%[fx:int(255*p{$p}.g+0.5)],%[fx:int(255*p{$p}.b+0.5)] "
    done
    for ((i = 0; i < 50; i++)); do
        import -window "$WID" "png:$E2E_TMP/shot.png" 2>/dev/null
        read -r -a P < <(convert "$E2E_TMP/shot.png" -format "$fmt\n" info: 2>/dev/null)
        ok=$((${#P[@]} == ${#want[@]}))
        for ((k = 0; ok && k < ${#want[@]}; k++)); do
            IFS=, read -r r g b <<<"${P[$k]}"
            [ "${want[$k]}" = dark ] && ((r + g + b < 480)) || [ "${P[$k]}" = "${want[$k]}" ] || ok=0
        done
        ((ok)) && return 0
        sleep 0.2
    done
    return 1
}

# A private CUPS scheduler on a socket of its own (CUPS_SERVER is exported), so that
# no queue or job of the machine's own scheduler is touched. Needs cupsd and lpstat.
start_cups() {
    local i
    C=$E2E_TMP/cups
    # The scheduler's filters run as an unprivileged user when it runs as root.
    chmod 755 "$E2E_TMP"
    mkdir -p "$C"/{spool,cache,state,log} && mkdir -p -m 1777 "$C/tmp"
    printf '%s\n' "Listen $C/cups.sock" "WebInterface No" "Browsing No" "DefaultAuthType None" \
        "<Location />" "Order allow,deny" "Allow all" "</Location>" "<Policy default>" "<Limit All>" \
        "Order deny,allow" "Allow all" "</Limit>" "</Policy>" >"$C/cupsd.conf"
    {
        printf '%s\n' "ServerRoot $C" "ServerBin /usr/lib/cups" "DataDir /usr/share/cups" \
            "RequestRoot $C/spool" "TempDir $C/tmp" "CacheDir $C/cache" "StateDir $C/state" \
            "AccessLog $C/log/access_log" "ErrorLog $C/log/error_log" "PageLog $C/log/page_log" \
            "FileDevice Yes" "Printcap"
        [ "$(id -u)" = 0 ] || printf '%s\n' "User $(id -un)" "Group $(id -gn)" "SystemGroup $(id -gn)"
    } >"$C/cups-files.conf"
    cupsd -f -c "$C/cupsd.conf" -s "$C/cups-files.conf" >"$C/log/cupsd.out" 2>&1 &
    track $!
    export CUPS_SERVER=$C/cups.sock
    T=100 poll eval '[ "$(lpstat -r 2>/dev/null)" = "scheduler is running" ]' ||
        die "the private CUPS scheduler did not start"
    CUPS_PDF_PPD=$(lpinfo -m 2>/dev/null | awk '/Generic PDF Printer/ { print $1; exit }')
    [ -n "$CUPS_PDF_PPD" ] || skip "no Generic PDF Printer driver (cups-filters) for the queue"
}

# job_done QUEUE PDF: waits until the queue is empty and its job's PDF is whole.
job_done() {
    local queue=$1 pdf=$2
    T=600 poll eval '[ -z "$(lpstat -o "$queue" 2>/dev/null)" ] && pdfinfo "$pdf" >/dev/null 2>&1' ||
        ! fail "no job PDF from $queue ($(tail -3 "$C/log/error_log"))"
}

# add_pdf_queue NAME DIR: a queue of the private scheduler whose jobs land as PDF in
# DIR/job.pdf (the Generic PDF Printer driver of cups-filters with a file: device).
add_pdf_queue() {
    mkdir -p -m 1777 "$2"
    lpadmin -p "$1" -E -v "file://$2/job.pdf" -m "$CUPS_PDF_PPD" 2>/dev/null
}
