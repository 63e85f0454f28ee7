#!/bin/sh
# pkg-config.sh LIBDIR PROGRAM EMULATOR COMPILER [FLAG...]: builds the consumer with what pkg-config says of the copy in
# LIBDIR, and runs it, on an emulator where that is not empty.
set -eu
libdir=$1 program=$2 emulator=$3
shift 3
export PKG_CONFIG_PATH="$libdir/pkgconfig"
# shellcheck disable=SC2046 # one argument a flag
"$@" "$(dirname "$0")/consumer.cpp" $(pkg-config --cflags --libs 'VRN >= 1.0') -o "$program"
# shellcheck disable=SC2086 # a command with its options
LD_LIBRARY_PATH=$(pkg-config --variable=libdir VRN) $emulator "$program"
