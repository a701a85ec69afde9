#!/usr/bin/env bash
# Exports every sample model with the release `qx` and writes a table of
# wall time, preparation time, peak memory and page size against input size
# to bench/results/export_models.md.
#   bench/export_models.sh [MODELS_DIR]   (default: ../shared/models)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
models=${1:-"$root/../shared/models"}
qx="$root/build/tools/qx"
[[ -x "$qx" ]] || { echo "build the release tool first: scripts/demo" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
out="$root/bench/results/export_models.md"

{
  echo "| model | input | page | page/input | seconds | prepare ms | peak MiB |"
  echo "|---|---:|---:|---:|---:|---:|---:|"
  for input in "$models"/*/*.{glb,gltf,obj,ply,STL,stl,DXF,dxf}; do
    [[ -f "$input" ]] || continue
    name=$(basename "$(dirname "$input")")
    page="$work/$name.html"
    /usr/bin/time -f '%e %M' -o "$work/time" "$qx" export "$input" "$page" 2> "$work/log" || {
      echo "| $name | export failed | | | | | |"; continue; }
    read -r seconds peak_kib < "$work/time"
    prepare=$(grep -o 'preparing stream took [0-9]*' "$work/log" | grep -o '[0-9]*$' || echo "-")
    in_size=$(du -sb "$(dirname "$input")" | cut -f1)
    page_size=$(stat -c %s "$page")
    printf '| %s | %d KB | %d KB | %.2f | %s | %s | %d |\n' "$name" $((in_size / 1024)) \
      $((page_size / 1024)) "$(echo "$page_size / $in_size" | bc -l)" "$seconds" "$prepare" $((peak_kib / 1024))
  done
} > "$out"
cat "$out"
