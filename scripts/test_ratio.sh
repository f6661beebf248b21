#!/usr/bin/env bash
# Prints test lines against code lines, per library and in total: lines of the C, C++ and Python
# files tracked by git. Tests are everything under tests/ (the end-to-end suite included, on its own
# line); code is the seven library folders without their generated tables; the test peers under
# tools/ are counted apart.
set -euo pipefail
cd "$(dirname "$0")/.."

count() { # lines of the tracked source files under the given paths, generated code left out
    git ls-files -- "$@" | { grep -v '/generated/' || true; } | { grep -E '\.(cpp|h|hpp|c|py)$' || true; } |
        tr '\n' '\0' | xargs -0 -r cat | wc -l
}

share() { # percentage, one decimal
    awk -v t="$1" -v c="$2" 'BEGIN { if (c == 0) print "-"; else printf "%.1f %%", 100 * t / c }'
}

libs=(app foundation framework net rpc common dmp)
printf '%-12s %8s %8s %8s\n' library tests code share
total_code=0
for lib in "${libs[@]}"; do
    code=$(count "$lib")
    tests=$(count "tests/$lib")
    total_code=$((total_code + code))
    printf '%-12s %8d %8d %8s\n' "$lib" "$tests" "$code" "$(share "$tests" "$code")"
done
e2e=$(count tests/e2e)
printf '%-12s %8d %8s\n' e2e "$e2e" ""
total_tests=$(count tests)
printf '%-12s %8d %8d %8s\n' total "$total_tests" "$total_code" "$(share "$total_tests" "$total_code")"
printf '%-12s %8d %8s   (test peers, counted apart)\n' tools "$(count tools)" ""
