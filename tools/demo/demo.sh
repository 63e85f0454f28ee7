#!/usr/bin/env bash
# A call between two hosts, each a process with its own libVRN.so, over a link that loses packets in both directions.
#   demo.sh BUILD-DIRECTORY
# LOSS (percent) and SEED in the environment choose another link.
# Exit status 0 only when each party was shown what the other typed, but for losses that were marked.
set -euo pipefail

programs=$(readlink -f -- "${1:?the directory with vrn-call, vrn-lossy and vrn-verdict}")
scripts=$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")
loss=${LOSS:-20}
seed=${SEED:-13}
redundancy=2
longest_call=75 # seconds; what still runs then hangs, and is killed

# A loopback address of this run's own (in 127.64.0.0/10, by process id), so that runs side by side share no port.
host=127.$((64 + ($$ >> 16 & 63))).$(($$ >> 8 & 255)).$(($$ & 255))
ana=$host:5004
nikos=$host:6004
link_to_ana=$host:7004
link_to_nikos=$host:8004

# All programs count their times from here; it lies ahead, so that all are up when the first character is typed.
now=$EPOCHREALTIME
zero=$((${now%[.,]*} + 2)).${now#*[.,]}

work=$(mktemp -d)
children=()

clean_up() {
  if [ "${#children[@]}" -gt 0 ]; then
    kill "${children[@]}" 2>/dev/null || true
    wait
  fi
  rm -rf -- "$work"
}
trap clean_up EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

# start PROGRAM ARGUMENTS...; `child` is its process. In the foreground form, `timeout` hands a signal on and sends no
# SIGCONT after it, which can hang the leak checker of a program that is just ending.
start() {
  timeout --foreground -k 10 "$longest_call" "$programs/$1" "${@:2}" &
  child=$!
  children+=("$child")
}

start_link() {
  start vrn-lossy --loss "$loss" --seed "$seed" --show-losses --time-zero "$zero" \
    --left-name Ana --left-here "$link_to_ana" --left-party "$ana" \
    --right-name Nikos --right-here "$link_to_nikos" --right-party "$nikos" \
    --report "$work/link" --pid-file "$work/link.pid" 2>"$work/link.counts"
  link=$child
  while [ ! -s "$work/link.pid" ]; do
    kill -0 "$link" 2>/dev/null || { cat "$work/link.counts" >&2; return 1; }
    sleep 0.02
  done
}

# start_call NAME LOCAL REMOTE
start_call() {
  start vrn-call --local "$2" --remote "$3" --redundancy "$redundancy" --rtcp \
    --name "$1" --script "$scripts/$1.script" --result "$work/$1" --time-zero "$zero"
}

cat <<TEXT

Ana and Nikos type to each other. Each has an engine of their own; the link between them loses $loss % of the packets.
What was typed in the last 0.3 s goes out in one packet, which repeats the texts of the $redundancy packets before it, so
that a later packet brings what a lost one held. Where none does, the reader is shown that something is missing.
⌫ is a backspace, ↵ a new line.

  seconds        who
TEXT

start_link
start_call Ana "$ana" "$link_to_ana"
ana_call=$child
start_call Nikos "$nikos" "$link_to_nikos"
nikos_call=$child

failed=0
wait "$ana_call" || { echo "Ana's call failed." >&2; failed=1; }
wait "$nikos_call" || { echo "Nikos' call failed." >&2; failed=1; }
kill "$link"
wait "$link" || { cat "$work/link.counts" >&2; failed=1; }
children=()

echo
"$programs/vrn-verdict" Ana "$work/Ana" Nikos "$work/Nikos" "$work/link" || failed=1
exit "$failed"
