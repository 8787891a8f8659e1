#!/usr/bin/env bash
# The demo: generate a large captured terrain, report on it and convert it.
set -euo pipefail
build=${1:-build}
tool="$build/tools/qlm-mesh"
out=${QLM_DEMO_DIR:-$build/demo}
mkdir -p "$out"
echo "demo: not yet available"
