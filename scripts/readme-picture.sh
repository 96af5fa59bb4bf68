#!/usr/bin/env bash
# Renders the README's picture with the program itself: the left half before, the right half after.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

build_preset release vello
vello=$root/build/release/bin/vello
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
size=0,0,1000,667

"$vello" filter CIAffineTransform "$root/examples/pictures/lake.jpg" -p inputTransform=0.625,0,0,0.625,0,0 \
  --extent $size -o "$work/before.png"
"$vello" render "$work/before.png" --chain "$root/examples/chains/golden-hour.chain" -o "$work/after.png"
"$vello" filter CILinearGradient -p inputPoint0=499,0 -p inputPoint1=501,0 -p inputColor0=0,0,0 \
  -p inputColor1=1,1,1 --extent $size -o "$work/right.png"
"$vello" filter CIBlendWithMask "$work/after.png" -p inputBackgroundImage=@"$work/before.png" \
  -p inputMaskImage=@"$work/right.png" -o "$work/before-after.png"
"$vello" filter CICrop "$work/before-after.png" -p inputRectangle=$size -o "$root/docs/images/before-after.jpg"
