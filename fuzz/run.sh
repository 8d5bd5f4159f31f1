#!/usr/bin/env bash
# Builds the fuzz targets with clang (libFuzzer, AddressSanitizer and
# UndefinedBehaviorSanitizer) and runs them, seeded afresh by seeds.py;
# the exit status is non-zero when a target crashed.
#
#   fuzz/run.sh [SECONDS] [BUILD_DIR]
#       every target in turn, SECONDS (default 60) shared among them (CI)
#   fuzz/run.sh --each SECONDS [BUILD_DIR] [TARGET...]
#       each target (all, or those named) for SECONDS
#   fuzz/run.sh --cpu SECONDS [BUILD_DIR] [TARGET...]
#       each target until it has used SECONDS of processor time, as many
#       at once as there are processors; the summary gives the time used
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
mode=shared
case "${1:-}" in
  --each) mode=each; shift ;;
  --cpu) mode=cpu; shift ;;
esac
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
case $mode in
  shared) per=$((seconds / count)); [ "$per" -ge 1 ] || per=1 ;;
  each) per=$seconds ;;
  cpu) per=0 ;;  # no wall-clock limit; the processor time ends the run
esac

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
ticks=$(getconf CLK_TCK)

# Processor seconds (user and system) used so far by process $1.
cpu_seconds() {
  awk -v ticks="$ticks" '{ sub(/.*\) /, ""); print int(($12 + $13) / ticks) }' "/proc/$1/stat" 2>/dev/null || echo 0
}

# Runs target $1 to its end; in cpu mode it is interrupted (and so prints
# its final figures) once it has used $seconds of processor time.
run_target() {
  local target=$1 options pid used=0
  options=$(options_of "$target")
  mkdir -p "$build/corpus/$target" "$build/artifacts/$target" "$tmp/$target"
  if [ "$mode" = cpu ]; then echo "== $target for ${seconds}s of processor time"; else echo "== $target for ${per}s"; fi
  # shellcheck disable=SC2086
  (cd "$tmp/$target" &&
    TMPDIR="$tmp/$target" UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 exec nice "$build/bin/$target" $options \
      -max_total_time="$per" -timeout=30 -rss_limit_mb=2048 -close_fd_mask=3 -print_final_stats=1 \
      -artifact_prefix="$build/artifacts/$target/" "$build/corpus/$target" "$build/seeds/$target") \
    > "$build/logs/$target.log" 2>&1 &
  pid=$!
  if [ "$mode" = cpu ]; then
    while kill -0 "$pid" 2>/dev/null; do
      used=$(cpu_seconds "$pid")
      if [ "$used" -ge "$seconds" ]; then
        kill -INT "$pid"
        break
      fi
      sleep 5
    done
    echo "processor seconds used: $used" >> "$build/logs/$target.log.cpu"
  fi
  # libFuzzer ends an interrupted run with status 72 after its figures.
  local status=0
  wait "$pid" || status=$?
  if [ "$status" -ne 0 ] && ! { [ "$mode" = cpu ] && [ "$status" -eq 72 ]; }; then
    tail -n 40 "$build/logs/$target.log"
    return 1
  fi
}

failed=""
if [ "$mode" = cpu ]; then
  slots=$(nproc)
  rm -f "$build"/logs/*.log.cpu
  declare -A runner
  for target in $targets; do
    while [ "$(jobs -rp | wc -l)" -ge "$slots" ]; do wait -n || true; done
    run_target "$target" > "$tmp/$target.out" 2>&1 &
    runner[$target]=$!
  done
  for target in $targets; do
    wait "${runner[$target]}" || failed="$failed $target"
    cat "$tmp/$target.out"
  done
else
  for target in $targets; do
    run_target "$target" || failed="$failed $target"
  done
fi

# A line per target: executions, then the coverage of its last status line.
for target in $targets; do
  log=$build/logs/$target.log
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
  reached=$(grep -oE 'cov: [0-9]+ ft: [0-9]+ corp: [0-9]+/[0-9]+[a-zA-Z]*' "$log" | tail -n 1 || true)
  cpu=$(cat "$log.cpu" 2>/dev/null || true)
  echo "$target: ${runs:-?} executions, ${reached:-no coverage line, see $log}${cpu:+ ($cpu)}"
done
if [ -n "$failed" ]; then
  echo "crashed:$failed (inputs in $build/artifacts/<target>/)"
  exit 1
fi
