#!/usr/bin/env bash
# Installs what is missing, builds the native program and both Windows
# programs (x86-64 and i686), and runs every test: natively, then the x86-64
# Windows build under Wine in a virtual X display. Ends with one summary line.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${KESTRA_BUILD:-$root/build}
jobs=$(nproc)

bash "$root/tools/install-deps.sh" || exit 1

step() { echo; echo "==== $*"; }
fail() { echo "test-all: $*" >&2; exit 1; }

step "Native build"
cmake -S "$root" -B "$build/native" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null || fail "native configure"
cmake --build "$build/native" -j "$jobs" || fail "native build"

step "Windows x86-64 build"
cmake -S "$root" -B "$build/win64" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-x86_64.cmake" \
  -DCMAKE_BUILD_TYPE=Release -DCMAKE_CROSSCOMPILING_EMULATOR=wine >/dev/null || fail "win64 configure"
cmake --build "$build/win64" -j "$jobs" || fail "win64 build"

step "Windows i686 build"
cmake -S "$root" -B "$build/win32" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-i686.cmake" \
  -DCMAKE_BUILD_TYPE=Release -DKESTRA_TESTS=OFF >/dev/null || fail "win32 configure"
cmake --build "$build/win32" -j "$jobs" || fail "win32 build"

passed=0
failed=0
# Runs ctest in a build folder and adds its counts to the totals.
run_ctest() {
  local log
  log=$(mktemp)
  "$@" 2>&1 | tee "$log"
  local line
  line=$(grep -E 'tests passed, [0-9]+ tests? failed out of [0-9]+' "$log" | tail -n 1)
  rm -f "$log"
  if [ -z "$line" ]; then
    failed=$((failed + 1))
    return
  fi
  local total bad
  total=$(echo "$line" | sed -E 's/.* out of ([0-9]+).*/\1/')
  bad=$(echo "$line" | sed -E 's/.*, ([0-9]+) tests? failed.*/\1/')
  passed=$((passed + total - bad))
  failed=$((failed + bad))
}

step "Native tests"
run_ctest ctest --test-dir "$build/native" --output-on-failure

step "Sanitizers: unit tests under AddressSanitizer (leaks included) and UndefinedBehaviorSanitizer"
sanitized_tests=(asn_tests dbv_tests dbv_nomem_tests assoc_tests diag_tests service_tests)
if cmake -S "$root" -B "$build/sanitize" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKESTRA_SANITIZE=ON \
     -DKESTRA_BENCH=OFF >/dev/null && cmake --build "$build/sanitize" -j "$jobs" --target "${sanitized_tests[@]}"; then
  for program in "${sanitized_tests[@]}"; do
    if (cd "$build/sanitize" && ASAN_OPTIONS=detect_leaks=1 "./bin/$program" --gtest_brief=1); then
      passed=$((passed + 1))
    else
      echo "test-all: $program failed under the sanitizers"
      failed=$((failed + 1))
    fi
  done
else
  echo "test-all: sanitizer build failed"
  failed=$((failed + 1))
fi

step "Windows tests under Wine"
export WINEPREFIX="$build/wineprefix" WINEDEBUG=-all
run_ctest xvfb-run -a -s "-screen 0 1024x768x24" bash -c \
  'wineboot -i >/dev/null 2>&1; ctest --test-dir "$0" --output-on-failure; status=$?; wineserver -k; exit $status' \
  "$build/win64"

if [ -x "$root/fuzz/run.sh" ]; then
  step "Fuzzing"
  # The fuzzer's progress goes to a log; its closing lines show here.
  if bash "$root/fuzz/run.sh" "${KESTRA_FUZZ_SECONDS:-60}" "$build/fuzz" > "$build/fuzz.log" 2>&1; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
  fi
  tail -n 5 "$build/fuzz.log"
fi

step "Benchmarks (figures only, not tests)"
"$build/native/bin/codec_bench" --benchmark_min_time=0.2 || echo "test-all: codec benchmark did not run"
cmake --build "$build/native" --target run_toolkit_bench || echo "test-all: toolkit benchmark did not run"

echo
echo "${passed} passed, ${failed} failed"
[ "$failed" -eq 0 ]
