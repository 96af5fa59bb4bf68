#!/usr/bin/env bash
# Builds and measures: bench.sh WHAT [OPTION...], options going to the program that measures.
#   bench.sh peers     the jobs of bench/peers with ours and with comparable programs (--size 1,12,24,100 --runs 5
#                      --jobs REGEX --programs vello,gegl --threads 2 --baseline noop|copy --json FILE)
#   bench.sh quick     loading, converting and saving, ours alone
#   bench.sh kernels   every kind of kernel
#   bench.sh scaling   two threads against one, over every kind of kernel
#   bench.sh color     runs of colour filters against a bare conversion
#   bench.sh stack     a stack from 1 to 100 megapixels
#   bench.sh preview   frames while a control is turned
#   bench.sh sliders   every filter at its defaults and at its sliders' ends
# Without WHAT: peers at 24 megapixels. The last six take Google Benchmark's options (--benchmark_filter=REGEX).
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

what=${1:-peers}
[ $# -eq 0 ] || shift
case $what in
  peers | quick) targets=(vello peers) ;;
  kernels | scaling | color | stack | preview | sliders) targets=("${what}_bench") ;;
  *) fail "usage: bench.sh [peers|quick|kernels|scaling|color|stack|preview|sliders] [OPTION...]" ;;
esac

"$root/scripts/setup.sh" "$([ "$what" != peers ] || echo --bench)"
build_preset release "${targets[@]}" >&2
programs=$root/build/release/bin
case $what in
  peers) exec "$programs/peers" "$@" ;;
  quick) exec "$programs/peers" --programs vello --jobs '^(noop|copy|startup)$' "$@" ;;
  *) exec "$programs/${targets[0]}" "$@" ;;
esac
