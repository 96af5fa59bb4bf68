#!/usr/bin/env bash
# Installs what is missing, builds the command line and renders a sample photograph through a sample chain.
#   demo.sh [PICTURE [CHAIN [RESULT]]]
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

picture=${1:-$root/examples/pictures/lake.jpg}
chain=${2:-$root/examples/chains/golden-hour.chain}
result=${3:-$root/out/lake-golden-hour.jpg}

"$root/scripts/setup.sh"
say "Building"
build_preset release vello
say "Rendering"
mkdir -p "$(dirname "$result")"
"$root/build/release/bin/vello" render "$picture" --chain "$chain" -o "$result" --verbose
say "Before: $picture"
echo "   After:  $result"
