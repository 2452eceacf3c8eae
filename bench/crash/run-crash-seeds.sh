#!/usr/bin/env bash
# The crash tests with a long list of kill moments: seeds 1..N for every kind of write, then where the
# kills fell. The test suite runs three seeds; this finds the rarer moments.
#   bench/crash/run-crash-seeds.sh [N (default 100)] [test filter (default: every kind)]
set -euo pipefail
cd "$(dirname "$0")/../.."
seeds=${1:-100}
filter=${2:-KilledWrites.*}
build=${BUILD_DIR:-build}

cmake --build "$build" --target crash_tests
log=$(mktemp)
trap 'rm -f "$log"' EXIT
status=0
VANTOR_CRASH_SEEDS=$seeds "$build/bin/crash_tests" --gtest_filter="$filter" | tee "$log" || status=$?

echo
echo "Where the kills fell:"
awk '/ seed [0-9]+: killed after / {
         kind = $1; kills[kind]++
         if (/as before$/) before[kind]++; else if (/as after$/) after[kind]++; else between[kind]++
         if (/had ended/) ended[kind]++
     }
     END {
         for (kind in kills)
             printf "  %-12s %4d kills: %4d left it as before, %4d in between, %4d as after (%d had ended)\n",
                    kind, kills[kind], before[kind], between[kind], after[kind], ended[kind]
     }' "$log"
exit $status
