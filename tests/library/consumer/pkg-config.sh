#!/bin/sh
# pkg-config.sh COMPILER LIBDIR PROGRAM: builds and runs the consumer with what pkg-config says of the copy in LIBDIR.
set -eu
export PKG_CONFIG_PATH="$2/pkgconfig"
# shellcheck disable=SC2046 # one argument a flag
"$1" "$(dirname "$0")/consumer.cpp" $(pkg-config --cflags --libs 'VRN >= 1.0') -o "$3"
LD_LIBRARY_PATH=$(pkg-config --variable=libdir VRN) "$3"
