#!/bin/sh
# Runs idle_dispatcher (one pipe descriptor registered, nothing happening) under strace for SECONDS
# (default 5) and prints the whole run's system-call table, then the calls made while idle: those
# that start between the first pselect6 and the end of the last one, other than pselect6 itself.
# Usage: bench/framework/idle_strace.sh BUILD_DIR [SECONDS]
set -eu
build=${1:?usage: idle_strace.sh BUILD_DIR [SECONDS]}
seconds=${2:-5}
program=$build/bin/idle_dispatcher
[ -x "$program" ] || { echo "no $program (build target idle_dispatcher)" >&2; exit 2; }
command -v strace >/dev/null || { echo "strace is not installed" >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

status=0
strace -c -f -o "$work/table" "$program" "$seconds" || status=$?
echo "== strace -c -f $program $seconds (exit status $status)"
cat "$work/table"
awk '$NF == "total" { total = $4 } $NF == "pselect6" { p = $4 }
     END { printf "whole run: %d system calls other than pselect6 (start-up and exit)\n", total - p }' "$work/table"

strace -f -ttt -T -o "$work/trace" "$program" "$seconds"
# Lines look like "PID 1700000000.123456 name(args) = result <duration>".
awk '
    { name = $3; sub(/\(.*/, "", name) }
    name == "pselect6" {
        start = $2; d = $NF; gsub(/[<>]/, "", d)
        if (first == "") first = start
        end = start + d
        pselects++
    }
    { starts[NR] = $2; names[NR] = name }
    END {
        others = 0
        for (i = 1; i <= NR; i++)
            if (names[i] != "pselect6" && names[i] !~ /^---|^\+\+\+/ && starts[i] >= first && starts[i] <= end) {
                print "  while idle: " names[i]
                others++
            }
        printf "idle window %.3f s: %d pselect6 call(s), %d other system call(s)\n", end - first, pselects, others
    }' "$work/trace"
