#!/usr/bin/env bash
# Fails when a hand-written .cpp/.h/.c file drifts from .clang-format, as clang-format 19 reads it
# (another version lays out some constructs differently, so the check names the one it uses).
# Generated tables (any generated/ folder) are left out. Fix a drift with `clang-format-19 -i <file>`.
# Usage: scripts/format_check.sh          (CLANG_FORMAT=<program> to use another binary of version 19)
set -euo pipefail
cd "$(dirname "$0")/.."

CLANG_FORMAT=${CLANG_FORMAT:-clang-format-19}
command -v "$CLANG_FORMAT" >/dev/null || { echo "format_check: $CLANG_FORMAT is missing" >&2; exit 2; }
version=$("$CLANG_FORMAT" --version)
[[ $version =~ version\ 19\. ]] || { echo "format_check: needs clang-format 19, found: $version" >&2; exit 2; }

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
printf '%s\0' "${files[@]}" | xargs -0 -n 50 "$CLANG_FORMAT" --dry-run -Werror ||
  { echo "format_check: files above differ from .clang-format (run $CLANG_FORMAT -i on them)" >&2; exit 1; }
