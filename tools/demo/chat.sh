#!/usr/bin/env bash
# A live call with a partner that answers each line with the same line, over a link that loses packets.
#   chat.sh BUILD-DIRECTORY
# LOSS (percent) and SEED in the environment choose another link. Needs a terminal.
set -euo pipefail

programs=$(readlink -f -- "${1:?the directory with vrn-call and vrn-lossy}")

# A loopback address of this run's own (in 127.64.0.0/10, by process id), so that runs side by side share no port.
host=127.$((64 + ($$ >> 16 & 63))).$(($$ >> 8 & 255)).$(($$ & 255))
you=$host:5004
partner=$host:6004
link_to_you=$host:7004
link_to_partner=$host:8004

work=$(mktemp -d)
children=()
clean_up() {
  kill "${children[@]}" 2>/dev/null || true
  wait
  sed 's/^vrn-call: /partner: /' "$work/partner" 2>/dev/null || true
  cat "$work/link" 2>/dev/null || true
  rm -rf -- "$work"
}
trap clean_up EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

"$programs/vrn-lossy" --loss "${LOSS:-20}" --seed "${SEED:-13}" --pid-file "$work/link.pid" \
  --left-name You --left-here "$link_to_you" --left-party "$you" \
  --right-name Partner --right-here "$link_to_partner" --right-party "$partner" </dev/null >>"$work/link" 2>&1 &
children+=($!)
while [ ! -s "$work/link.pid" ]; do
  kill -0 "${children[0]}" 2>/dev/null || exit 1
  sleep 0.02
done
"$programs/vrn-call" --echo --local "$partner" --remote "$link_to_partner" </dev/null >/dev/null 2>"$work/partner" &
children+=($!)
"$programs/vrn-call" --local "$you" --remote "$link_to_you"
