#!/usr/bin/env bash
# Plays simulated calls on all processors. Called by ./test sim.
#   run.sh PROGRAM [CALLS [FIRST_SEED]]   calls of ten virtual minutes, 10000 of them, from seed 1 on
#   run.sh PROGRAM --day|--wrap|--marks   a day of conversation; the wraps; gaps wherever one can be
# Failing calls are printed with their seeds; exit status 0 only when none failed.
set -euo pipefail
program=$1
if [[ ${2:-} == --* ]]; then
  exec "$program" "$2"
fi
calls=${2:-10000}
first=${3:-1}
processes=$(nproc)
share=$(((calls + processes - 1) / processes))
pids=()
for ((i = 0; i < processes && i * share < calls; ++i)); do
  left=$((calls - i * share))
  "$program" --first $((first + i * share)) --calls $((left < share ? left : share)) &
  pids+=($!)
done
status=0
for pid in "${pids[@]}"; do
  wait "$pid" || status=1
done
exit "$status"
