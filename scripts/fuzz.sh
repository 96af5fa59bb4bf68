#!/usr/bin/env bash
# Builds the fuzz targets and runs each: fuzz.sh [SECONDS each, 600] [NAME...].
# What they learn is kept in build/fuzz/corpus; a finding is a file in build/fuzz/findings and ends the run.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

seconds=${1:-600}
[[ $seconds =~ ^[0-9]+$ ]] || fail "usage: fuzz.sh [SECONDS] [NAME...]"
shift || true
names=("$@")
if [ ${#names[@]} -eq 0 ]; then
  for source in "$root"/fuzz/*_fuzz.cpp; do names+=("$(basename "$source" .cpp)"); done
fi

"$root/scripts/setup.sh" --fuzz
build_preset fuzz
findings=$root/build/fuzz/findings
mkdir -p "$findings"
"$root/build/fuzz/bin/make_seeds" "$root/build/fuzz/seeds"
for name in "${names[@]}"; do
  say "$name, $seconds s"
  corpus=$root/build/fuzz/corpus/$name
  mkdir -p "$corpus"
  seeds=()
  for folder in "$root/fuzz/seeds/$name" "$root/build/fuzz/seeds/$name"; do
    [ -d "$folder" ] && seeds+=("$folder")
  done
  "$root/build/fuzz/bin/$name" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$findings/$name-" "$corpus" "${seeds[@]}"
done
