#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the demo need, but only those
# that are missing, so that a machine that has them all does not touch apt at all.
# With --bench, also those of the benchmarks.
set -euo pipefail

packages=(
    build-essential cmake pkg-config
    qt6-base-dev qt6-base-dev-tools
    fonts-ipafont-gothic fonts-ipafont-mincho fonts-ipaexfont-gothic fonts-ipaexfont-mincho
    fonts-ipamj-mincho fonts-dejavu-core
    zbar-tools zint poppler-utils qpdf
    xvfb xdotool x11-apps imagemagick tesseract-ocr
    cups libcups2-dev printer-driver-cups-pdf
    python3
)
# `make bench` also needs Google Benchmark; the build and the tests do not.
if [ "${1:-}" = "--bench" ]; then
    packages+=(libbenchmark-dev)
fi
# `make package`: CPack needs file(1) to find the programs for dpkg-shlibdeps, and
# lintian judges the package.
if [ "${1:-}" = "--package" ]; then
    packages+=(file lintian)
fi

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$p")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "Installing missing packages: ${missing[*]}"
if [ "$(id -u)" -eq 0 ]; then
    sudo=()
else
    sudo=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
