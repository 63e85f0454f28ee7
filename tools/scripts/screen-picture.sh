#!/usr/bin/env bash
# Draws docs/screen.svg: makes a call over a link that loses packets in a terminal (tmux), captures it, and draws the
# captured rows. SEED in the environment chooses other losses.
#   screen-picture.sh BUILD-DIRECTORY
set -euo pipefail
CDPATH='' cd -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../.."

build=$(readlink -f -- "${1:?the directory with vrn-call and vrn-lossy}")
columns=72
rows=16

# A loopback address of this run's own, as in tools/demo/demo.sh.
host=127.$((64 + ($$ >> 16 & 63))).$(($$ >> 8 & 255)).$(($$ & 255))

export LC_ALL=C.UTF-8
unset TMUX
terminal() { tmux -u -f /dev/null -L "picture$$" "$@"; }
work=$(mktemp -d)
children=()
clean_up() {
  terminal kill-server || true
  kill "${children[@]}" 2>/dev/null || true
  wait
  rm -rf -- "$work"
}
trap clean_up EXIT

# type_line TEXT: a character each 0.1 s, as a person types.
type_line() {
  local i
  for ((i = 0; i < ${#1}; i++)); do
    terminal send-keys -t call -l -- "${1:i:1}"
    sleep 0.1
  done
}

cat >"$work/script" <<'TEXT'
at 3 Fire brigade, how can we help?\n
at 11 Which street and which floor are you in?\n
at 19 We are on our way. Stay at the windo
TEXT
"$build/vrn-lossy" --loss 40 --seed "${SEED:-2}" --left-here "$host:7004" --left-party "$host:5004" \
  --right-here "$host:8004" --right-party "$host:6004" >/dev/null 2>&1 &
children+=($!)
"$build/vrn-call" --local "$host:6004" --remote "$host:8004" --script "$work/script" --linger 30 >/dev/null &
children+=($!)
terminal new-session -d -x $columns -y $rows -n call "'$build/vrn-call' --local $host:5004 --remote $host:7004"
sleep 7
type_line 'Hello, there is smoke in the stairs!'
terminal send-keys -t call Enter
sleep 5
type_line '東京 Street 5, third floor'
sleep 6

# Bold and inverse are all that the screen uses; each stays on until it is switched off.
terminal capture-pane -e -p -t call | awk -v columns=$columns -v rows=$rows '
  BEGIN {
    cell = 8.43; high = 18; edge = 12
    printf "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\">\n", columns * cell + 2 * edge, rows * high + 2 * edge
    print "<style>text { font: 14px \"DejaVu Sans Mono\", Menlo, Consolas, monospace; fill: #ddd }"
    print ".bold { font-weight: bold; fill: #fff } .inverse { fill: #1c1c1c } .lost { fill: #ff6b6b }</style>"
    print "<rect width=\"100%\" height=\"100%\" rx=\"8\" fill=\"#1c1c1c\"/>"
  }
  {
    gsub(/&/, "\\&amp;"); gsub(/</, "\\&lt;")
    y = edge + NR * high
    n = split($0, parts, "\033\\[")
    line = ""
    for (i = 1; i <= n; i++) {
      text = parts[i]
      if (i > 1) {
        code = text; sub(/m.*/, "", code); sub(/^[0-9;]*m/, "", text)
        if (code == "0" || code == "") style = ""
        if (code == "1") style = "bold"
        if (code == "7") style = "inverse"
      }
      gsub(/\357\277\275(\([0-9]+\))?/, "<tspan class=\"lost\">&</tspan>", text)
      if (text != "") line = line "<tspan class=\"" style "\">" text "</tspan>"
    }
    if (line ~ /"inverse"/) printf "<rect x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" fill=\"#ddd\"/>\n", edge, y - 14, columns * cell, high
    if (line != "") printf "<text xml:space=\"preserve\" x=\"%d\" y=\"%d\">%s</text>\n", edge, y, line
  }
  END { print "</svg>" }' >docs/screen.svg
