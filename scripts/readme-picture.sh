#!/usr/bin/env bash
# Renders the README's picture with the program itself: the left half before, the right half after.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

build_preset release vello
vello=$root/build/release/bin/vello
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
size=0,0,1000,667
small() { "$vello" filter CIAffineTransform "$1" -p inputTransform=0.625,0,0,0.625,0,0 --extent $size -o "$2"; }

picture=$root/examples/pictures/lake.jpg
"$vello" render "$picture" --chain "$root/examples/chains/golden-hour.chain" -o "$work/full.png"
small "$picture" "$work/before.png"
small "$work/full.png" "$work/after.png"
"$vello" filter CILinearGradient -p inputPoint0=499,0 -p inputPoint1=501,0 -p inputColor0=0,0,0 \
  -p inputColor1=1,1,1 --extent $size -o "$work/right.png"
mkdir -p "$root/docs/images"
"$vello" filter CIBlendWithMask "$work/after.png" -p inputBackgroundImage=@"$work/before.png" \
  -p inputMaskImage=@"$work/right.png" --extent $size -o "$root/docs/images/before-after.jpg"
