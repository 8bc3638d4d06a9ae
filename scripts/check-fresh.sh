#!/usr/bin/env bash
# make check-fresh: proof that the README's two commands are enough on a fresh Debian 12.
#
#   scripts/check-fresh.sh [--keep]
#
# 1. A Debian 12 (bookworm) tree, variant minbase, made by debootstrap from the mirror
#    apt already uses, and kept as a tarball: $FRESH_CACHE/bookworm-minbase.tar
#    (FRESH_CACHE defaults to build-fresh/). A second run unpacks it instead of
#    downloading it again. Packages apt downloads inside the tree are kept in
#    $FRESH_CACHE/archives, so they are fetched once too; what is installed still comes
#    from the mirror's index, as on any fresh machine.
# 2. The tree is unpacked afresh into build-fresh/root, the committed sources (git
#    archive HEAD: nothing of the working tree's builds or changes) go to /src/main and
#    the project's ../shared to /src/shared. Nothing but `make` is installed.
# 3. In the tree, by chroot: `make check`, which must install everything else it needs.
#    Then `make demo`, whose pages are copied to build-fresh/demo to be looked at.
# 4. Then the Debian package: `make package` in the tree, and scripts/package-check.sh
#    installs it into the same tree with apt and checks the installed programs.
#    FRESH_PACKAGE=0 leaves this step out.
# The script runs in a mount namespace of its own: /proc, /sys, /dev, /dev/pts, /dev/shm
# and /run, mounted in the tree for steps 3 and 4, are never seen outside it, and go
# with its last process whatever ends the run; on Ctrl-C, SIGTERM or SIGHUP the
# commands running in the tree are stopped and the mounts undone at once. The unpacked
# tree is removed at the end unless --keep is given. Needs root (or sudo).
# Exit status: 0 when make check and the package check passed in the tree.
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
cache=$(realpath -m "${FRESH_CACHE:-$top/build-fresh}")
root=$top/build-fresh/root
base=$cache/bookworm-minbase.tar
keep=0
[ "${1:-}" = --keep ] && keep=1

say() { printf 'check-fresh: %s\n' "$*"; }
if [ "$(id -u)" -ne 0 ]; then
    exec sudo --preserve-env=FRESH_CACHE,FRESH_PACKAGE "$0" "$@"
fi
if [ "${KORVAN_FRESH_NAMESPACE:-}" != 1 ]; then
    export KORVAN_FRESH_NAMESPACE=1
    exec unshare --mount --propagation private "$0" "$@"
fi
step_start=$SECONDS
timed() { # name, then the command; prints how long it took, and ends with its status
    local t=$SECONDS status=0
    "${@:2}" || status=$?
    say "$1: $((SECONDS - t)) s"
    return $status
}

# What the machine itself needs to make the tree.
for p in debootstrap; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || {
        apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "$p"
    }
done

# The mirror apt uses: deb822 sources first, then the one-line form.
mirror=$(awk '/^URIs:/ { print $2; exit }' /etc/apt/sources.list.d/debian.sources 2>/dev/null || true)
[ -n "$mirror" ] || mirror=$(awk '$1 == "deb" && $3 ~ /^bookworm/ { print $2; exit }' \
    /etc/apt/sources.list 2>/dev/null || true)
[ -n "$mirror" ] || mirror=http://deb.debian.org/debian

mounted=()
child=""
cleanup() {
    local i status=$?
    set +e # every step of the clean-up runs, whatever the one before it gave
    if [ -n "$child" ]; then # the command running in the tree, and all it started
        kill -TERM -- "-$child" 2>/dev/null && sleep 1
        kill -KILL -- "-$child" 2>/dev/null
        wait "$child" 2>/dev/null
    fi
    for ((i = ${#mounted[@]} - 1; i >= 0; i--)); do
        umount "${mounted[$i]}" 2>/dev/null || umount -l "${mounted[$i]}" 2>/dev/null || true
    done
    mounted=()
    if [ "$keep" = 0 ] && [ -d "$root" ] && ! findmnt -R "$root" >/dev/null 2>&1; then
        rm -rf "$root"
    fi
    return $status
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM
trap 'exit 129' HUP

mount_in_tree() { # type source target [options]
    mkdir -p "$root$3"
    mount -t "$1" ${4:+-o "$4"} "$2" "$root$3"
    mounted+=("$root$3")
}

# 1. The base tree, made once.
mkdir -p "$cache/archives"
if [ ! -s "$base" ]; then
    say "debootstrap bookworm (minbase) from $mirror"
    scratch=$(mktemp -d "$cache/debootstrap.XXXXXX")
    bootstrap() { debootstrap --variant=minbase bookworm "$scratch" "$mirror" >"$cache/debootstrap.log" 2>&1; }
    timed debootstrap bootstrap || { tail -20 "$cache/debootstrap.log" >&2; rm -rf "$scratch"; exit 1; }
    rm -f "$scratch"/var/cache/apt/archives/*.deb
    tar -C "$scratch" -cf "$base.part" . && mv "$base.part" "$base"
    rm -rf "$scratch"
fi

# 2. A fresh copy of it, with the committed sources.
# Mounts left by a run that was killed (SIGKILL gives no chance to clean up).
if findmnt -R "$root" >/dev/null 2>&1; then
    say "unmounting what a killed run left mounted in $root"
    findmnt -R -n -l -o TARGET "$root" | sort -r | xargs -r -n 1 umount -l
fi
rm -rf "$root"
mkdir -p "$root"
tar -C "$root" -xf "$base"
# A root directory others may enter, as a machine's is (mktemp made it 0700): the print
# scheduler runs its helpers as an unprivileged user.
chmod 755 "$root"
mkdir -p "$root/src/main" "$root/src/shared"
git -C "$top" archive HEAD | tar -C "$root/src/main" -x
[ -d "$top/../shared" ] && cp -a "$top/../shared/." "$root/src/shared/"
cp /etc/resolv.conf "$root/etc/resolv.conf" 2>/dev/null || true
# dpkg syncs every file it unpacks; the tree is thrown away after the run, so it need
# not (this halves the time apt takes to install the build's packages).
echo force-unsafe-io >"$root/etc/dpkg/dpkg.cfg.d/check-fresh-unsafe-io"

# The tree's root a mount point of its own, as a machine's root is: a private mount
# namespace (the e2e tests make them) cannot be made in a chroot whose root is not.
mount --bind "$root" "$root"
mounted+=("$root")
mount_in_tree proc proc /proc
mount_in_tree sysfs sysfs /sys
mount_in_tree devtmpfs udev /dev
mount_in_tree devpts devpts /dev/pts gid=5,mode=620,ptmxmode=666
mount_in_tree tmpfs tmpfs /dev/shm mode=1777
mount_in_tree tmpfs tmpfs /run mode=755
mkdir -p "$root/var/cache/apt/archives"
mount --bind "$cache/archives" "$root/var/cache/apt/archives"
mounted+=("$root/var/cache/apt/archives")

# A command in the tree, in a process group of its own that a signal to the script
# stops whole; it runs in the background so that the signal is handled at once, not
# when the command ends.
in_tree() {
    setsid chroot "$root" /usr/bin/env -i HOME=/root TERM="${TERM:-dumb}" LANG=C.UTF-8 \
        PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin /bin/bash -c "$1" &
    child=$!
    local status=0
    wait "$child" || status=$?
    child=""
    return $status
}

# 3. Only make, then the README's command.
timed "make installed" in_tree 'apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends make >/dev/null'
timed "make check in the fresh tree" in_tree 'cd /src/main && make check'
# The examples as the fresh machine renders them, kept in build-fresh/demo to be looked at:
# a character none of the installed fonts has shows there as a box.
timed "make demo in the fresh tree" in_tree 'cd /src/main && make demo >/dev/null'
rm -rf "$top/build-fresh/demo"
cp -a "$root/src/main/build/demo" "$top/build-fresh/demo"

# 4. The package, installed by apt into the same tree.
if [ "${FRESH_PACKAGE:-1}" != 0 ]; then
    timed "make package in the fresh tree" in_tree 'cd /src/main && make package >/dev/null'
    deb=$(ls "$root"/src/main/build/korvan_*.deb | head -n 1)
    timed "package installed and checked" "$top/scripts/package-check.sh" "$root" "$deb" \
        "$root/src/main/build/bin"
fi
say "passed in $((SECONDS - step_start)) s"
