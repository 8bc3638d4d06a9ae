#!/usr/bin/env bash
# Installs the Debian package into a Debian 12 tree and checks it the way a user would
# find it: `apt-get install ./korvan_*.deb` pulls in everything (recommended packages
# left out, so that the declared dependencies alone must do), the installed
# korvan-batch prints the installed invoice example page for page as the build tree's
# korvan-batch does, `man -w` finds both manual pages, `korvan VERSION VERSION` ends
# with status 0 and writes its report, and the window program finds its platform
# plug-ins.
#
#   scripts/package-check.sh TREE DEB [BUILD_BIN]
#
# TREE is the root of a Debian 12 tree (debootstrap, minbase is enough) that can reach
# a Debian mirror; DEB the package; BUILD_BIN the build tree's bin/ whose korvan-batch
# makes the reference pages (default: build/bin beside this script). A BUILD_BIN inside
# TREE is run inside the tree, anything else outside. Runs as root. The script mounts
# /proc, /sys, /dev and /dev/pts in the tree where they are not mounted yet and
# unmounts exactly those on every way out; mounts the caller made stay. It leaves the
# package (and man-db, for the manual check) installed in the tree. Exit status 0 when
# every check passed, 1 otherwise. Needs pdfinfo, pdftotext and pdftoppm outside.
set -uo pipefail

tree=$(realpath "${1:?usage: $0 TREE DEB [BUILD_BIN]}")
deb=$(realpath "${2:?usage: $0 TREE DEB [BUILD_BIN]}")
build_bin=$(realpath "${3:-$(dirname "$0")/../build/bin}")

say() { printf 'package-check: %s\n' "$*"; }
failures=0
fail() {
    say "FAIL: $*" >&2
    failures=$((failures + 1))
}
die() {
    say "$*" >&2
    exit 1
}

[ "$(id -u)" = 0 ] || die "must run as root (chroot, mount)"
[ -x "$tree/usr/bin/apt-get" ] || die "$tree is not a Debian tree"
[ -f "$deb" ] || die "no package $deb"
[ -x "$build_bin/korvan-batch" ] || die "no korvan-batch in $build_bin"
for tool in pdfinfo pdftotext pdftoppm; do
    command -v "$tool" >/dev/null || die "$tool is needed (poppler-utils)"
done

mounted=()
work=""
cleanup() {
    local i
    [ -n "$work" ] && rm -rf "$tree$work"
    for ((i = ${#mounted[@]} - 1; i >= 0; i--)); do
        umount "${mounted[$i]}" || umount -l "${mounted[$i]}"
    done
}
trap cleanup EXIT
trap 'exit 130' INT TERM

mount_in_tree() { # type source target-in-tree [options]
    local target=$tree$3
    mountpoint -q "$target" && return
    mount -t "$1" ${4:+-o "$4"} "$2" "$target" || die "cannot mount $3 in $tree"
    mounted+=("$target")
}
mount_in_tree proc proc /proc
mount_in_tree sysfs sysfs /sys
mount_in_tree none /dev /dev bind
mount_in_tree devpts devpts /dev/pts newinstance,ptmxmode=0666
[ -s "$tree/etc/resolv.conf" ] || cp -L /etc/resolv.conf "$tree/etc/resolv.conf"

# Commands in the tree run with a clean environment, as in a fresh login.
in_tree() {
    chroot "$tree" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 \
        ${work:+XDG_RUNTIME_DIR=$work} "$@"
}

work=$(in_tree mktemp -d /tmp/korvan-package-check.XXXXXX) || die "cannot make a directory in $tree/tmp"
cp "$deb" "$tree$work/" || die "cannot copy $deb into the tree"
say "installing $(basename "$deb") into $tree"
in_tree apt-get update -qq || die "apt-get update failed in $tree"
in_tree env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
    "$work/$(basename "$deb")" >"$tree$work/apt.log" 2>&1 || {
    tail -n 30 "$tree$work/apt.log" >&2
    die "apt-get install of the package failed"
}

# The installed invoice example, by the installed program and by the build tree's.
ex=/usr/share/doc/korvan/examples/invoice
in_tree korvan-batch --pdf "$work/installed.pdf" "$ex/invoice.tsv" "$ex/invoice.csv" ||
    fail "the installed korvan-batch did not print the installed invoice example"
case $build_bin in
"$tree"/*)
    in_tree "${build_bin#"$tree"}/korvan-batch" --pdf "$work/built.pdf" "$ex/invoice.tsv" "$ex/invoice.csv"
    ;;
*)
    "$build_bin/korvan-batch" --pdf "$tree$work/built.pdf" "$tree$ex/invoice.tsv" "$tree$ex/invoice.csv"
    ;;
esac || fail "the build tree's korvan-batch did not print the invoice example"

# Page for page: the same number of pages, the same text on each, the same pixels.
pages() { pdfinfo "$1" 2>/dev/null | awk '/^Pages:/ { print $2 }'; }
installed=$tree$work/installed.pdf built=$tree$work/built.pdf
n=$(pages "$built")
if [ -z "$n" ] || [ "$n" = 0 ] || [ "$(pages "$installed")" != "$n" ]; then
    fail "pages: installed $(pages "$installed"), build tree ${n:-none}"
else
    for ((p = 1; p <= n; p++)); do
        cmp -s <(pdftotext -f $p -l $p -layout "$installed" -) <(pdftotext -f $p -l $p -layout "$built" -) ||
            fail "page $p: the text differs"
        cmp -s <(pdftoppm -f $p -l $p -r 100 -gray "$installed") <(pdftoppm -f $p -l $p -r 100 -gray "$built") ||
            fail "page $p: the drawing differs"
    done
    say "$n pages of the invoice example compared"
fi

in_tree apt-get install -y -qq --no-install-recommends man-db >>"$tree$work/apt.log" 2>&1 ||
    fail "man-db could not be installed to look for the manual pages"
for page in korvan korvan-batch; do
    [ "$(in_tree man -w "$page" 2>/dev/null)" = "/usr/share/man/man1/$page.1.gz" ] ||
        fail "man -w $page does not find /usr/share/man/man1/$page.1.gz"
done

in_tree bash -n /usr/share/bash-completion/completions/korvan-batch ||
    fail "the completion of korvan-batch is missing or not bash"

# The VERSION request, without a display, with and without the work directory.
made_work_dir=""
for dir in /home/Q /home/Q/TMP; do
    [ -n "$made_work_dir" ] || [ -d "$tree$dir" ] || made_work_dir=$tree$dir
done
mkdir -p "$tree/home/Q/TMP"
rm -f "$tree/home/Q/TMP/VERSION_KORVAN.TXT"
in_tree korvan VERSION VERSION || fail "korvan VERSION VERSION: status $?"
printf '14\n' | cmp -s - "$tree/home/Q/TMP/VERSION_KORVAN.TXT" ||
    fail "korvan VERSION VERSION did not write 14 to /home/Q/TMP/VERSION_KORVAN.TXT"
[ -z "$made_work_dir" ] || rm -r "$made_work_dir"
[ "$(in_tree korvan-batch --version)" = "korvan-batch 37/8.0.17 (layout VERSION 14)" ] ||
    fail "korvan-batch --version says '$(in_tree korvan-batch --version 2>&1)'"

# The window program finds its platform plug-ins: off screen it keeps its window open
# until stopped, and on X11 it gets as far as looking for the display.
in_tree env QT_QPA_PLATFORM=offscreen timeout 5 korvan TEST_DATA unused "$ex/invoice.csv" \
    >/dev/null 2>"$tree$work/offscreen.err"
status=$?
[ $status = 124 ] && [ ! -s "$tree$work/offscreen.err" ] ||
    fail "korvan off screen: status $status, $(cat "$tree$work/offscreen.err")"
{ in_tree env QT_QPA_PLATFORM=xcb DISPLAY=:97 timeout 20 korvan TEST_DATA unused "$ex/invoice.csv"; } \
    >/dev/null 2>"$tree$work/xcb.err"
grep -q 'qt.qpa.xcb: could not connect to display' "$tree$work/xcb.err" ||
    fail "korvan on X11: $(cat "$tree$work/xcb.err")"
# The print dialog's CUPS support and the X11 plug-in find every library they load.
for plugin in printsupport/libcupsprintersupport.so platforms/libqxcb.so; do
    path=$(in_tree sh -c "ls /usr/lib/*/qt6/plugins/$plugin 2>/dev/null")
    [ -n "$path" ] && ! in_tree ldd "$path" | grep -q 'not found' ||
        fail "the Qt plug-in $plugin is missing or lacks a library"
done

if ((failures)); then
    say "$failures check(s) failed"
    exit 1
fi
say "all checks passed"
