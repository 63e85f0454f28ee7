#!/usr/bin/env bash
# run.sh BUILD-DIRECTORY ARM64-LIBRARY: measures what the engine costs, and reports it. Four minutes. On x86-64.
set -euo pipefail
build=$1
arm64_library=$2
results=$build/bench-results
idle_seconds=60
mkdir -p "$results"

# The size that a host carries: without symbols.
stripped_size() {
  "$1" -o "$results/stripped.so" "$2"
  stat -c %s "$results/stripped.so"
}
printf '{"x86_64": %d, "arm64": %d}\n' "$(stripped_size strip "$build/libVRN.so")" \
  "$(stripped_size aarch64-linux-gnu-strip "$arm64_library")" >"$results/sizes.json"

echo "idle for a minute" >&2
idlers=()
for i in {1..5}; do
  for process in bare engine engine-rtcp; do
    "$build/vrn-at-rest" "$process" "$idle_seconds" >"$results/$process-$i.json" &
    idlers+=($!)
  done
done
for idler in "${idlers[@]}"; do
  wait "$idler"
done
echo "ending, memory" >&2
"$build/vrn-at-rest" ending >"$results/ending.json"
"$build/vrn-footprint" >"$results/footprint.json"
echo "packets" >&2
measure=("$build/vrn-bench" --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true
  --benchmark_min_time=0.2 --benchmark_report_aggregates_only=true --benchmark_out="$results/bench.json")
"${measure[@]}" >"$results/bench.out" 2>&1 || { cat "$results/bench.out" >&2; exit 1; }
bench/report.py "$results"
