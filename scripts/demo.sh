#!/usr/bin/env bash
# The demo: generate a captured-looking terrain of about two million faces, decimate it in
# parallel by 90%, write the result and report on every step.
# Usage: scripts/demo.sh [BUILD_DIR]   (QLM_DEMO_FACES and QLM_DEMO_DIR override the defaults)
set -euo pipefail
build=${1:-build}
tool="$build/tools/qlm-mesh"
out=${QLM_DEMO_DIR:-$build/demo}
faces=${QLM_DEMO_FACES:-2000000}

if [ ! -x "$tool" ]; then
    echo "demo: $tool is missing; build first (make demo does)" >&2
    exit 1
fi
mkdir -p "$out"

steps=()
step() {
    local name=$1
    shift
    echo
    echo "== $name: qlm-mesh $*"
    local start ms
    start=$(date +%s%N)
    "$tool" "$@"
    ms=$((($(date +%s%N) - start) / 1000000))
    steps+=("$(printf '%-44s %5d.%02d s' "$name" $((ms / 1000)) $((ms % 1000 / 10)))")
}

step "generate a ${faces}-face terrain" generate terrain "$faces" "$out/terrain.ply"
step "inspect the terrain" info "$out/terrain.ply"
step "decimate by 90% in parallel" decimate "$out/terrain.ply" "$out/terrain-decimated.ply" --ratio 0.9 --parallel
step "inspect the result" info "$out/terrain-decimated.ply"
step "convert the result to OBJ" convert "$out/terrain-decimated.ply" "$out/terrain-decimated.obj"
step "inspect the OBJ" info "$out/terrain-decimated.obj" --json

echo
echo "== demo summary ($(nproc) cores; each time includes starting the tool and reading its input)"
printf '%s\n' "${steps[@]}"
echo "files in $out"
