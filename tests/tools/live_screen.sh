#!/usr/bin/env bash
# vrn-call's screen in a real terminal: tmux presses the keys and reads what stands there.
#   live_screen.sh BUILD-DIRECTORY
# Exit status 77 where tmux cannot run.
set -euo pipefail

program=$(readlink -f -- "${1:?the directory with vrn-call}")/vrn-call
limit=60 # seconds for anything to appear; the machine may be busy

export LC_ALL=C.UTF-8 SHELL=/bin/sh
unset TMUX
work=$(mktemp -d)
export TMUX_TMPDIR=$work
terminal() { tmux -u -f /dev/null -L live "$@"; }
trap 'terminal kill-server 2>/dev/null || true; rm -rf -- "$work"' EXIT
terminal new-session -d -x 80 -y 24 -n none 'sleep 1000' 2>/dev/null || { echo "tmux cannot run here"; exit 77; }

# A loopback address of this run's own, as in tools/demo/demo.sh.
host=127.$((64 + ($$ >> 16 & 63))).$(($$ >> 8 & 255)).$(($$ & 255))

# call NAME LOCAL-PORT REMOTE-PORT: a call in a window of that name. When it ends it tells what it leaves behind.
call() {
  terminal new-window -d -n "$1" "'$program' --local $host:$2 --remote $host:$3
    echo status \$?; stty -a | tr -s ' ;' '\n' | grep -x -E 'icrnl|ixon|isig|icanon|echo' | tr '\n' ' '; sleep 1000"
  wait_for "$1" all 'They type'
}

press() { terminal send-keys -t "$1" "${@:2}"; }
say() { terminal send-keys -t "$1" -l "$2"; }

# screen NAME they|you|all: what stands in that pane.
screen() {
  local lines
  lines=$(terminal capture-pane -p -t "$1")
  case "$2" in
    they) sed -n '/^── They type/,/^── You type/p' <<<"$lines" | sed '1d;$d' ;;
    you) sed -n '/^── You type/,/^ [a-z]*  redundancy/p' <<<"$lines" | sed '1d;$d' ;;
    all) printf '%s\n' "$lines" ;;
  esac
}

# wait_until COMMAND...: until it succeeds.
wait_until() {
  local until=$((SECONDS + limit)) window
  until "$@"; do
    if [ $SECONDS -ge $until ]; then
      echo "FAILED: $*"
      for window in $(terminal list-windows -F '#W'); do terminal capture-pane -p -t "$window"; done
      exit 1
    fi
    sleep 0.1
  done
}

# wait_for NAME PANE PATTERN: until a line of the pane matches.
wait_for() { wait_until shows "$@"; }
shows() { screen "$1" "$2" | grep -q -E -e "$3"; }

# plain_label NAME: its first row is not in reverse.
plain_label() { terminal capture-pane -p -e -t "$1" | head -n 1 | grep -q -v -E $'\e\[[0-9;]*7m'; }

# packet PORT NUMBER TEXT: one RTP packet of plain T.140 (payload type 98) from a far end of our own.
packet() {
  local number
  number=$(printf '\\x%02x\\x%02x' $(($2 >> 8)) $(($2 & 255)))
  # shellcheck disable=SC2059 # the escapes are to be read
  printf "\\x80\\x62${number}\\0\\0\\0\\1\\1\\2\\3\\4$3" >"/dev/udp/$host/$1"
}

call ana 5004 6004
call ben 6004 5004

echo "typing both ways, each character as it is typed"
say ana 'Good morning, 日本'
wait_for ana you '^Good morning, 日本$'
wait_for ben they '^Good morning, 日本$'
say ben 'Hello'
press ben Enter
say ben 'Ana'
wait_for ana they '^Hello$'
wait_for ana they '^Ana$'

echo "backspace erases a wide character, and a character with its mark"
press ana BSpace
say ana $'e\u0301'
press ana BSpace
say ana $'語, cafe\u0301!'
wait_for ana you $'^Good morning, 日語, cafe\u0301!$'
wait_for ben they $'^Good morning, 日語, cafe\u0301!$'
press ben BSpace BSpace BSpace BSpace
say ben ', Ana'
wait_for ana they '^Hello, Ana$'

echo "keys that are none of ours type nothing"
# The second is a key that no terminal has, the third Esc by itself.
press ben C-Right
say ben $'\e[1;9Z'
press ben Escape
sleep 0.5
say ben .
wait_for ana they '^Hello, Ana\.$'

echo "a bell flashes the screen, and then it is as before"
terminal pipe-pane -t ana "cat >'$work/flash'"
press ben C-g
say ben '!'
wait_for ana they '^Hello, Ana\.!$'
esc=$'\e'
wait_until grep -a -q -E "${esc}\[[0-9;]*7m[^ ]*── They type" "$work/flash"
wait_until plain_label ana
terminal pipe-pane -t ana

echo "RTCP is switched"
press ana C-r
wait_for ana all 'RTCP off'
press ana C-r
wait_for ana all 'RTCP on'

echo "losses"
call reader 7004 8004
packet 7004 1 'Where are '
packet 7004 4 'you'
wait_for reader they $'^Where are \uFFFD\uFFFDyou$'
packet 7004 5005 '?'
wait_for reader they $'^Where are \uFFFD\uFFFDyou\uFFFD\\(5000\\)\\?$'
wait_for reader all 'received 3  lost 5002'
# What looks like the engine's mark of a loss, and the start of a title.
packet 7004 5006 '\xfd\xff!!!!\x1b]0;title\x07.'
wait_for reader they $'\\?\uFFFD\uFFFD!!!!\\.$'
wait_for reader all 'received 4  lost 5002'

echo "the window changes its size"
terminal resize-window -t ana -x 40 -y 10
wait_for ana all '^── You type ─{28}$'
press ana Enter
say ana '0123456789012345678901234567890123456789x'
wait_for ana you '^x$'
terminal resize-window -t ana -x 100 -y 30
wait_for ana you '^0123456789012345678901234567890123456789x$'
wait_for ana you $'^Good morning, 日語, cafe\u0301!$'
wait_for ana they '^Hello, Ana\.!$'

echo "the direction is switched"
press ana C-t
wait_for ana all 'Far end may drop text'
press ana 2
wait_for ana all '^ recvonly '
press ana z
wait_for ana all 'Not sending'
say ben '; heard?'
wait_for ana they '^Hello, Ana\.!; heard\?$'
press ana C-t 3
wait_for ana all '^ sendrecv '

echo "Ctrl-C leaves the terminal as it was, and a summary"
press ana C-c
wait_for ana all '^Call of 0:.*sent.*received'
wait_for ana all '^status 0$'
wait_for ana all '^icrnl ixon isig icanon echo'
press ben C-q
wait_for ben all '^status 0$'

echo "a direction that the engine could not take is not shown: no socket above 1023 can receive"
crowded='import os, resource, sys
resource.setrlimit(resource.RLIMIT_NOFILE, (2048, 2048))
for number in range(3, 1100):
    os.dup2(0, number)
os.execv(sys.argv[1], sys.argv[1:])'
terminal new-window -d -n crowded "python3 -c '$crowded' '$program' --local $host:9004 --remote $host:10004 \
  --direction sendonly --no-rtcp"
wait_for crowded all '^ sendonly '
press crowded C-t 3
wait_for crowded all 'The engine refused the direction'
wait_for crowded all '^ sendonly '

echo "no RTCP came: the time-out is told"
wait_for reader all 'TIME-OUT 1'

echo "a port in use is named"
terminal new-window -d -n second "'$program' --local $host:7004 --remote $host:9004; echo status \$?; sleep 1000"
wait_for second all "cannot use $host:7004: Address already in use"
wait_for second all '^status 2$'

# fails STATUS PATTERN COMMAND...: with that status and one line.
fails() {
  local said status=0
  said=$("${@:3}" 2>&1 </dev/null) || status=$?
  if [ $status -ne "$1" ] || [ "$(wc -l <<<"$said")" -ne 1 ] || ! grep -q -E -e "$2" <<<"$said"; then
    echo "FAILED: ${*:3} ended with $status and: $said"
    exit 1
  fi
}

echo "wrong input is told in one line"
a_call=("$program" --local "$host:11004" --remote "$host:11004")
for wrong in '--redundancy 16' '--direction up' '--linger nan' '--name Ana' '--script /dev/null --time-zero inf' \
  '--script /tmp' '--log /nonexistent/log' '--remote [::1]:5004' '--bogus'; do
  # shellcheck disable=SC2086 # words
  fails 2 . "${a_call[@]}" $wrong
done
link=("${program%vrn-call}vrn-lossy" --left-here "$host:12004" --left-party "$host:13004"
  --right-here "$host:14004" --right-party "$host:15004")
for wrong in '--loss nan' '--burst 0' '--seed -1' '--capture /nonexistent/file'; do
  # shellcheck disable=SC2086 # words
  fails 2 . "${link[@]}" $wrong
done

echo "without a terminal: closed input ends the call, and text that cannot be written fails it"
"${a_call[@]}" --linger 0 <&-
fails 1 'cannot write standard output: No space left on device' bash -c "echo text | \"\$@\" >/dev/full" - "${a_call[@]}"
