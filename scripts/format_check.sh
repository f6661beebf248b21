#!/usr/bin/env bash
# Fails when a hand-written .cpp/.h/.c file drifts from .clang-format (clang-format 14).
# Generated tables (any generated/ folder) are left out. Fix a drift with `clang-format -i <file>`.
# Usage: scripts/format_check.sh
set -euo pipefail
cd "$(dirname "$0")/.."

command -v clang-format >/dev/null || { echo "format_check: clang-format is missing" >&2; exit 2; }
version=$(clang-format --version)
[[ $version =~ version\ 14\. ]] || { echo "format_check: needs clang-format 14, found: $version" >&2; exit 2; }

if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
  # Tracked and new (not ignored) files; a tracked file deleted in the worktree is skipped.
  mapfile -t files < <(git ls-files --cached --others --exclude-standard -- '*.cpp' '*.h' '*.c' |
    grep -v '/generated/' | sort -u | while IFS= read -r f; do [ -f "$f" ] && echo "$f"; done)
else
  mapfile -t files < <(find . -path './build*' -prune -o -path '*/generated/*' -prune -o \
    \( -name '*.cpp' -o -name '*.h' -o -name '*.c' \) -print | sed 's|^\./||' | sort)
fi
[ ${#files[@]} -gt 0 ] || { echo "format_check: no source files found" >&2; exit 2; }

# --dry-run -Werror prints each drift as file:line with the expected layout.
printf '%s\0' "${files[@]}" | xargs -0 -n 50 clang-format --dry-run -Werror ||
  { echo "format_check: files above differ from .clang-format (run clang-format -i on them)" >&2; exit 1; }
