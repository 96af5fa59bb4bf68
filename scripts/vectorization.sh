#!/usr/bin/env bash
# Says of every loop over samples, from the compiler's own reports, whether it runs on vectors; fails where one
# does not: vectorization.sh FOLDER, where the reports lie. Sources without loops have none.
set -euo pipefail
[ $# -eq 1 ] || { echo "usage: vectorization.sh FOLDER" >&2; exit 2; }

awk '
  /^;; Function / {
    loop = ""
    if (match($0, /kinds::(run|moves|windows)(V3|V4)?<.*>/)) {
      loop = substr($0, RSTART + 7, RLENGTH - 7)
      gsub(/vello::\{anonymous\}::|vello::/, "", loop)
      if (!(loop in found)) found[loop] = 0
    }
  }
  loop != "" && /optimized: loop vectorized/ { found[loop] = 1 }
  END {
    for (loop in found) {
      printf "%s %s\n", found[loop] ? "vectors" : "SCALAR ", loop | "sort"
      ++all
      plain += !found[loop]
    }
    close("sort")
    printf "%d loops, %d on vectors\n", all, all - plain
    exit all == 0 || plain > 0
  }' "$1"/*.vectors
