#!/usr/bin/env bash
# Runs clang-tidy with .clang-tidy over every source file, or over those whose path holds a word:
#   tidy.sh [WORD]       for example tidy.sh platform/
# Takes minutes, so it is run by hand before a larger change, not with the tests.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

"$root/scripts/setup.sh" --fuzz
(cd "$root" && { [ -f build/debug/compile_commands.json ] || cmake --preset debug; })
cd "$root"
# GCC's own switches mean nothing to Clang; some of them are errors.
commands=$(mktemp -d)
trap 'rm -rf "$commands"' EXIT
sed 's/ -fno-tree-sink//' build/debug/compile_commands.json >"$commands/compile_commands.json"
tidy=(clang-tidy-14 -p "$commands" --quiet --extra-arg=-Wno-unknown-warning-option
  --extra-arg=-Wno-ignored-optimization-argument)
# shellcheck disable=SC2016
sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' "$commands/compile_commands.json" | sort -u |
  grep -v "$root/build/" | grep -F -- "${1:-}" |
  xargs -r -d '\n' -n 1 -P "$jobs" "${tidy[@]}" 2> >(grep -v 'warnings\? generated' >&2)
