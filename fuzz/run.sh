#!/bin/sh
# Builds the fuzz targets with clang (libFuzzer, AddressSanitizer and
# UndefinedBehaviorSanitizer) and runs them, seeded afresh by seeds.py;
# the exit status is non-zero when a target crashed.
#
#   fuzz/run.sh [SECONDS] [BUILD_DIR]
#       every target in turn, SECONDS (default 60) shared among them (CI)
#   fuzz/run.sh --each SECONDS [BUILD_DIR] [TARGET...]
#       each target (all, or those named) for SECONDS
#
# BUILD_DIR defaults to build/fuzz. Each target keeps the inputs it finds
# in BUILD_DIR/corpus/TARGET, leaves a crashing input in
# BUILD_DIR/artifacts/TARGET/ and logs to BUILD_DIR/logs/TARGET.log; the
# last lines printed sum up each run. The targets write their files (tables,
# request and response files) in a working directory in memory (/dev/shm,
# or KESTRA_FUZZ_TMP), removed at the end.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$here")
each=false
if [ "${1:-}" = "--each" ]; then
  each=true
  shift
fi
seconds=${1:-60}
build=${2:-$root/build/fuzz}
[ $# -gt 2 ] && shift 2 || set --
targets=${*:-pdu_fuzzer receive_fuzzer request_fuzzer query_fuzzer table_fuzzer}
mkdir -p "$build"
build=$(cd "$build" && pwd)

# A build directory configured from another source tree starts afresh.
if [ -f "$build/CMakeCache.txt" ] && ! grep -qx "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$build/CMakeCache.txt"; then
  rm -rf "$build/CMakeCache.txt" "$build/CMakeFiles"
fi
CC=clang CXX=clang++ cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKESTRA_FUZZ=ON \
  -DKESTRA_TESTS=OFF -DKESTRA_BENCH=OFF >/dev/null
# shellcheck disable=SC2086
nice cmake --build "$build" -j2 --target $targets
rm -rf "$build/seeds"
python3 "$here/seeds.py" "$build/seeds"

count=$(echo $targets | wc -w)
if $each; then
  per=$seconds
else
  per=$((seconds / count))
  [ "$per" -ge 1 ] || per=1
fi

# The dictionary and the largest input of each target.
options_of() {
  case $1 in
    pdu_fuzzer | receive_fuzzer) echo "-dict=$here/z3950.dict -max_len=400000" ;;
    request_fuzzer) echo "-dict=$here/requests.dict -max_len=12000" ;;
    query_fuzzer) echo "-dict=$here/requests.dict -max_len=2048" ;;
    table_fuzzer) echo "-dict=$here/tables.dict -max_len=8192" ;;
    *) echo "unknown fuzz target $1" >&2; return 1 ;;
  esac
}

tmp=$(mktemp -d "${KESTRA_FUZZ_TMP:-/dev/shm}/kestra-fuzz.XXXXXX" 2>/dev/null || mktemp -d)
trap 'rm -rf "$tmp"' EXIT
mkdir -p "$build/logs"
failed=""
for target in $targets; do
  options=$(options_of "$target")
  mkdir -p "$build/corpus/$target" "$build/artifacts/$target" "$tmp/$target"
  echo "== $target for ${per}s"
  # shellcheck disable=SC2086
  if ! (cd "$tmp/$target" &&
        TMPDIR="$tmp/$target" UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 nice "$build/bin/$target" $options \
          -max_total_time="$per" -timeout=30 -rss_limit_mb=2048 -close_fd_mask=3 -print_final_stats=1 \
          -artifact_prefix="$build/artifacts/$target/" "$build/corpus/$target" "$build/seeds/$target") \
        > "$build/logs/$target.log" 2>&1; then
    failed="$failed $target"
    tail -n 40 "$build/logs/$target.log"
  fi
done

for target in $targets; do
  done_line=$(grep -E '^#[0-9]+[[:space:]]+DONE' "$build/logs/$target.log" | tail -n 1 || true)
  echo "$target: ${done_line:-no DONE line, see $build/logs/$target.log}"
done
if [ -n "$failed" ]; then
  echo "crashed:$failed (inputs in $build/artifacts/<target>/)"
  exit 1
fi
