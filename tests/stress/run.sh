#!/usr/bin/env bash
# The long form of the stress test, called by ./test stress: so many rounds, 5000 unless told otherwise, under each model
# of timers and under the thread sanitizer. Eight processes of each side by side: they mostly wait.
#   run.sh RELEASE_BUILD TSAN_BUILD [ROUNDS]
set -euo pipefail
release=$1
tsan=$2
rounds=${3:-5000}
processes=8
pids=()
for program in "$release/stress" "$release/stress_thread_timers" "$tsan/stress_thread_timers"; do
  for ((seed = 101; seed < 101 + processes; ++seed)); do
    "$program" --rounds $(((rounds + processes - 1) / processes)) --seed "$seed" &
    pids+=($!)
  done
done
status=0
for pid in "${pids[@]}"; do
  wait "$pid" || status=1
done
exit "$status"
