#!/bin/sh
# Builds the PDU fuzzer with clang (ASan + UBSan) and runs it for SECONDS
# (default 60), seeded from the captured PDUs; non-zero exit on a crash.
#   fuzz/run.sh [SECONDS] [BUILD_DIR]
set -eu
here=$(cd "$(dirname "$0")" && pwd)
seconds=${1:-60}
build=${2:-/work/build-fuzz}
CC=clang CXX=clang++ cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j2 --target pdu_fuzzer
corpus="$build/corpus"
mkdir -p "$corpus"
cp "$here"/../tests/asn/fixtures/*.ber "$corpus"/
cd "$build"
UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
  ./pdu_fuzzer -max_total_time="$seconds" -max_len=65536 -rss_limit_mb=2048 "$corpus"
