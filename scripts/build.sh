#!/usr/bin/env bash
# Builds everything: build.sh [PRESET], release when none is named. Programs lie in build/PRESET/bin.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

build_preset "${1:-release}"
