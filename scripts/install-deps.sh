#!/usr/bin/env bash
# Installs, from Debian's packages, what building and testing this library need.
# Packages already present are skipped; with nothing missing, apt is never called.
# Usage: scripts/install-deps.sh [extra-package ...]   (extras: e.g. clang for fuzzing)
set -euo pipefail

packages=(g++ cmake make libopenmesh-dev libtbb-dev libboost-dev libgtest-dev libgmock-dev libbenchmark-dev
          libpng-dev libjpeg-dev "$@")

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "install-deps: installing ${missing[*]}"
if [ "$(id -u)" -ne 0 ]; then
    if command -v sudo >/dev/null 2>&1; then
        SUDO=sudo
    else
        echo "install-deps: missing packages (${missing[*]}) and not root: run this script as root" >&2
        exit 1
    fi
else
    SUDO=
fi

export DEBIAN_FRONTEND=noninteractive
if ! $SUDO apt-get update -q; then
    echo "install-deps: 'apt-get update' failed; cannot install ${missing[*]}" >&2
    exit 1
fi
if ! $SUDO apt-get install -y -q --no-install-recommends "${missing[@]}"; then
    echo "install-deps: 'apt-get install ${missing[*]}' failed" >&2
    exit 1
fi
