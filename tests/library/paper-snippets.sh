#!/bin/sh
# paper-snippets.sh COMPILER TREE WORK: each C++ block of the papers compiles as it stands, against the public header
# and the functions that a host would bring. Errors name the paper and its line.
set -eu
compiler=$1 tree=$2 work=$3
rm -rf "$work"
mkdir -p "$work"
cat >"$work/host.h" <<'EOF'
#include "CorvaneTextEngineClient.h"
void ShowLoss(int packets);
void ShowCharacter(const unsigned char* bytes, int length);
EOF
for paper in "$tree"/README.md "$tree"/docs/*.md; do
  awk -v name="$work/$(basename "$paper" .md)" -v paper="$paper" '
    /^```/ && block { close(block); block = ""; next }
    /^```cpp$/ { block = name "-" NR ".cpp"; printf "#line %d \"%s\"\n", NR + 1, paper >block; next }
    block { print >block }' "$paper"
done
ls "$work"/README-*.cpp "$work"/host-guide-*.cpp >/dev/null # both papers have some
for block in "$work"/*.cpp; do
  "$compiler" -std=c++11 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I"$tree/api" -include "$work/host.h" "$block"
done
