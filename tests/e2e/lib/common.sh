# Helpers shared by the end-to-end scripts: a private temp dir, cleanup, a private X
# server, the program's window, key presses and screen pixels.
# Sourced by the scripts; they are called as: script.sh <build>/bin <source dir>.

set -u

E2E_NAME=$(basename "$0" .sh)
E2E_BIN=${1:?usage: $0 <build>/bin <source dir>}
E2E_SRC=${2:-}
KORVAN=$E2E_BIN/korvan
E2E_FAILURES=0
E2E_PIDS=()

E2E_TMP=$(mktemp -d "${TMPDIR:-/tmp}/korvan-e2e-$E2E_NAME.XXXXXX") || exit 1

e2e_cleanup() {
    local pid i
    for ((i = ${#E2E_PIDS[@]} - 1; i >= 0; i--)); do
        pid=${E2E_PIDS[$i]}
        kill "$pid" 2>/dev/null && wait "$pid" 2>/dev/null
    done
    rm -rf "$E2E_TMP"
}
trap e2e_cleanup EXIT
trap 'exit 130' INT TERM

say() { printf '%s: %s\n' "$E2E_NAME" "$*"; }

# A check that failed: reported, the script goes on and ends non-zero.
fail() {
    printf '%s: FAIL: %s\n' "$E2E_NAME" "$*" >&2
    E2E_FAILURES=$((E2E_FAILURES + 1))
}

# Something the rest of the script cannot do without.
die() {
    printf '%s: FAIL: %s\n' "$E2E_NAME" "$*" >&2
    exit 1
}

skip() {
    printf '%s: SKIP: %s\n' "$E2E_NAME" "$*"
    exit 0
}

finish() {
    if ((E2E_FAILURES > 0)); then
        printf '%s: %d check(s) failed\n' "$E2E_NAME" "$E2E_FAILURES" >&2
        exit 1
    fi
    say "all checks passed"
    exit 0
}

need_tools() {
    local t
    for t in "$@"; do
        command -v "$t" >/dev/null 2>&1 || skip "required tool '$t' is not installed"
    done
    [ -x "$KORVAN" ] || die "no program at $KORVAN"
}

# Remembers a background process so that the cleanup stops it.
track() { E2E_PIDS+=("$1"); }

# A private X server on a display number it picks itself; exports DISPLAY.
start_xvfb() {
    local fifo=$E2E_TMP/displayfd n=""
    mkfifo "$fifo" || die "mkfifo failed"
    Xvfb -displayfd 3 -screen 0 1024x900x24 -nolisten tcp \
        >"$E2E_TMP/xvfb.log" 2>&1 3>"$fifo" &
    track $!
    # The display number arrives once the server accepts connections.
    read -r -t 20 n <"$fifo" || true
    [ -n "$n" ] || {
        cat "$E2E_TMP/xvfb.log" >&2
        die "Xvfb did not start"
    }
    export DISPLAY=:$n
    say "Xvfb on $DISPLAY"
    # The program must use this server whatever the caller's environment says.
    export QT_QPA_PLATFORM=xcb
    unset WAYLAND_DISPLAY
    export XDG_RUNTIME_DIR=$E2E_TMP/runtime
    mkdir -p -m 700 "$XDG_RUNTIME_DIR"
}

# Starts the program in the background; KORVAN_PID, its output in $E2E_TMP/korvan.*.
start_korvan() {
    "$KORVAN" "$@" >"$E2E_TMP/korvan.out" 2>"$E2E_TMP/korvan.err" &
    KORVAN_PID=$!
    track "$KORVAN_PID"
}

# Waits for the program's window (title starting with KORVAN); sets WID.
wait_window() {
    local i
    WID=""
    for ((i = 0; i < 200; i++)); do
        WID=$(xdotool search --onlyvisible --name '^KORVAN' 2>/dev/null | head -n 1)
        [ -n "$WID" ] && return 0
        kill -0 "$KORVAN_PID" 2>/dev/null || break
        sleep 0.1
    done
    cat "$E2E_TMP/korvan.err" >&2
    die "the program's window did not appear"
}

# Waits up to $2 seconds (default 10) for the program to end; sets KORVAN_STATUS.
wait_exit() {
    local limit=${1:-10} i
    for ((i = 0; i < limit * 10; i++)); do
        if ! kill -0 "$KORVAN_PID" 2>/dev/null; then
            wait "$KORVAN_PID"
            KORVAN_STATUS=$?
            return 0
        fi
        sleep 0.1
    done
    KORVAN_STATUS=timeout
    return 1
}

# Presses keys in the window (it gets the input focus first).
press() {
    timeout 10 xdotool windowfocus --sync "$WID" 2>/dev/null || xdotool windowfocus "$WID"
    xdotool key --delay 50 "$@"
}

# Screenshot of the window into $E2E_TMP/shot.png.
shot() {
    import -window "$WID" "png:$E2E_TMP/shot.png" 2>/dev/null
}

# Prints "r,g,b" for each "x,y" argument, one line each, from the last screenshot.
pixels() {
    local fmt="" p x y
    for p in "$@"; do
        x=${p%,*}
        y=${p#*,}
        fmt+="%[fx:int(255*p{$x,$y}.r+0.5)],%[fx:int(255*p{$x,$y}.g+0.5)],"
        fmt+="%[fx:int(255*p{$x,$y}.b+0.5)]\n"
    done
    convert "$E2E_TMP/shot.png" -format "$fmt" info:
}

# True when the pixel is dark (a drawn line or character) on the grey background.
is_dark() {
    local r g b
    IFS=, read -r r g b <<<"$1"
    ((r + g + b < 3 * 160))
}
