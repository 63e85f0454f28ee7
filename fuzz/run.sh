#!/usr/bin/env bash
# Runs every fuzz target for so many seconds, 60 unless told otherwise, two side by side, and lets the corpora grow:
#   fuzz/run.sh [seconds]
# Prints a line a target. Exit status 0 only when none crashed, leaked or took too long or too much memory; an input
# that did is kept in fuzz/crashes, to be replayed by the tests from then on. VRN_FUZZ_BUILD names another build
# directory than that of the preset.
set -euo pipefail
CDPATH='' cd -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/.."
export ASAN_OPTIONS=detect_leaks=1
export UBSAN_OPTIONS=print_stacktrace=1

# Each target and the longest input that does it any good.
targets=(
  "fuzz_control_manager 300"
  "fuzz_receive_path 600"
  "fuzz_red_payload 600"
  "fuzz_rtcp_packet 600"
  "fuzz_rtp_header 64"
  "fuzz_send_path 100"
)
# The corpora are at most 1 MB together.
max_files=600
max_bytes=150000

fits() {
  [ "$(find "$1" -type f | wc -l)" -le "$max_files" ] && [ "$(cat "$1"/* | wc -c)" -le "$max_bytes" ]
}

# Puts the fewest inputs into the tree that reach what all of them reach, with how often it was reached or, should
# those be too many, without.
minimise() {
  local target=$1 corpus=$2 found=$3 merged=$3.merged counters
  for counters in 1 0; do
    rm -rf "$merged" && mkdir "$merged"
    "$build/$target" -set_cover_merge=1 -use_counters=$counters "$merged" "$corpus" "$found" >>"$found.log" 2>&1
    ! fits "$merged" || break
  done
  fits "$merged" || return 1
  added=$(comm -13 <(ls "$corpus") <(ls "$merged") | wc -l)
  rm -rf "$corpus" && mv "$merged" "$corpus"
}

# stat NAME LOG
stat() {
  grep -o "^stat::$1: *[0-9]*" "$2" | grep -o '[0-9]*$' || echo '?'
}

fuzz() {
  local target=$1 length=$2 seconds=$3 corpus=fuzz/corpus/$1 crashes=fuzz/crashes/$1 found=$build/fuzz/found/$1
  local log=$found.log result=ok status=0 added=0 reached input
  rm -rf "$found" && mkdir -p "$found" "$corpus" "$found.artifacts"
  "$build/$target" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=1500 -max_len="$length" -print_final_stats=1 \
    -artifact_prefix="$found.artifacts/" "$found" "$corpus" >"$log" 2>&1 || status=$?
  reached=$(grep -o 'cov: [0-9]* ft: [0-9]*' "$log" | tail -n 1 || true)
  for input in "$found.artifacts"/{crash,leak,timeout,oom}-*; do
    [ -f "$input" ] || continue
    mkdir -p "$crashes" && mv "$input" "$crashes/"
    result="$crashes/${input##*/}"
  done
  [ "$result" != ok ] || [ "$status" -eq 0 ] || result="failed, see $log"
  [ "$result" != ok ] || minimise "$target" "$corpus" "$found" || result="corpus not minimised, see $log"
  printf '%-21s %10s inputs run  %-20s %4s new  %s\n' "$target" "$(stat number_of_executed_units "$log")" "$reached" \
    "$added" "$result"
  [ "$result" = ok ]
}

if [ "${1:-}" = --one ]; then
  build=$VRN_FUZZ_BUILD
  fuzz "$2" "$3" "$4"
  exit
fi
if [ -z "${VRN_FUZZ_BUILD:-}" ]; then
  cmake --preset fuzz >/dev/null
  cmake --build --preset fuzz
fi
export VRN_FUZZ_BUILD=${VRN_FUZZ_BUILD:-build/fuzz}
printf '%s\n' "${targets[@]}" | xargs -P 2 -I '{}' bash -c "fuzz/run.sh --one {} ${1:-60}"
