#!/usr/bin/env bash
# Installs what is missing, builds, checks the layout of the sources and passes the tests.
# Needs no display, and no network but for packages. More arguments go to ctest: test.sh -R chain
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

"$root/scripts/setup.sh"
say "Checking the layout of the sources"
"$root/scripts/format.sh"
say "Building"
build_preset release
say "Testing"
cd "$root/build/release"
exec ctest --output-on-failure --no-tests=error --parallel "$jobs" "$@"
