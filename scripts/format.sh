#!/usr/bin/env bash
# Checks that every C and C++ file is laid out as .clang-format says; --fix changes those that are not.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

case "${1:-}" in
  '') mode=(--dry-run -Werror) ;;
  --fix) mode=(-i) ;;
  *) fail "usage: format.sh [--fix]" ;;
esac
# One version for everybody: another lays a few lines out differently.
formatter=$(command -v clang-format-14) || fail "needs clang-format-14; run scripts/setup.sh"
cd "$root"
source_files | xargs -0 -r -n 40 -P "$jobs" "$formatter" "${mode[@]}"
