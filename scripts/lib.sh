# shellcheck shell=bash
# Shared by the scripts of this folder: sourced, with `set -euo pipefail` in force.
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=$(nproc)

say() { printf '\n== %s\n' "$*"; }
fail() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# Compiles through ccache where there is one.
use_ccache() {
  command -v ccache >/dev/null || return 0
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
  export CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=1
}

# build_preset PRESET [TARGET...]: configures once, then builds what has changed.
build_preset() {
  local preset=$1
  shift
  use_ccache
  (cd "$root" &&
    { [ -f "build/$preset/build.ninja" ] || cmake --preset "$preset"; } &&
    cmake --build --preset "$preset" --parallel "$jobs" ${1:+--target "$@"})
}

# The C and C++ files of the project, NUL-separated, relative to the root. Requires to be called there.
source_files() {
  if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    git ls-files -z --cached --others --exclude-standard -- '*.cpp' '*.h' '*.c'
  else
    find . -path ./build -prune -o -type f \( -name '*.cpp' -o -name '*.h' -o -name '*.c' \) -print0
  fi
}
