#!/usr/bin/env bash
# Installs what is missing, builds the native program and both Windows
# programs (x86-64 and i686), and runs every test: natively, the unit tests
# again under the sanitizers, both Windows builds under Wine in one virtual X
# display, the installed programs and the Windows zips, the fuzz targets, and the
# benchmarks. Prints each stage's wall time and ends with one summary line.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${KESTRA_BUILD:-$root/build}
jobs=$(nproc)
fixture="$root/tests/asn/fixtures/zebra-init.ber"

passed=0
failed=0
stage=""
stage_started=0
times=()

# Closes the running stage, recording its wall time.
end_step() {
  [ -n "$stage" ] || return 0
  local seconds=$((SECONDS - stage_started))
  times+=("$(printf '%4d:%02d  %s' $((seconds / 60)) $((seconds % 60)) "$stage")")
  echo "---- ${stage}: ${seconds}s"
  stage=""
}

# Starts a stage: a heading in the log and a line in the closing time table.
step() {
  end_step
  stage=$*
  stage_started=$SECONDS
  echo
  echo "==== $*"
}

# Prints the stage times and the summary line, and exits with the outcome.
finish() {
  end_step
  stop_wine
  echo
  echo "Wall time of each stage (minutes:seconds):"
  printf '%s\n' "${times[@]}"
  printf '%4d:%02d  total\n' $((SECONDS / 60)) $((SECONDS % 60))
  echo
  echo "${passed} passed, ${failed} failed"
  exit $((failed == 0 ? 0 : 1))
}

# A failure that leaves nothing else to run: counted, then the summary.
fail() {
  echo "test-all: $*" >&2
  failed=$((failed + 1))
  finish
}

# Runs one check command: counted as one test, its output shown.
check() {
  local name=$1
  shift
  if "$@"; then
    echo "test-all: ok: $name"
    passed=$((passed + 1))
  else
    echo "test-all: FAILED: $name"
    failed=$((failed + 1))
  fi
}

# Runs ctest with the given arguments and adds its counts to the totals.
run_ctest() {
  local log line total bad
  log=$(mktemp)
  ctest "$@" 2>&1 | tee "$log"
  line=$(grep -E 'tests passed, [0-9]+ tests? failed out of [0-9]+' "$log" | tail -n 1)
  rm -f "$log"
  if [ -z "$line" ]; then
    failed=$((failed + 1))
    return
  fi
  total=$(echo "$line" | sed -E 's/.* out of ([0-9]+).*/\1/')
  bad=$(echo "$line" | sed -E 's/.*, ([0-9]+) tests? failed.*/\1/')
  passed=$((passed + total - bad))
  failed=$((failed + bad))
}

xvfb_pid=""
# One virtual display and one Wine prefix for both Windows builds: a 64-bit
# prefix with wine32 beside wine64 runs the x86-64 and the i686 programs. The
# Wine server is kept alive between the runs, so it starts once.
start_wine() {
  export WINEPREFIX="$build/wineprefix" WINEDEBUG=-all
  local display_file
  display_file=$(mktemp)
  Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$display_file" >/dev/null 2>&1 &
  xvfb_pid=$!
  for _ in $(seq 100); do
    [ -s "$display_file" ] && break
    sleep 0.1
  done
  [ -s "$display_file" ] || { rm -f "$display_file"; return 1; }
  DISPLAY=":$(head -n 1 "$display_file")"
  export DISPLAY
  rm -f "$display_file"
  mkdir -p "$WINEPREFIX"
  wineserver -p && wineboot -i >/dev/null 2>&1
}

# Ends every Wine process and the virtual display.
stop_wine() {
  [ -n "$xvfb_pid" ] || return 0
  wineserver -k 2>/dev/null
  kill "$xvfb_pid" 2>/dev/null
  wait "$xvfb_pid" 2>/dev/null
  xvfb_pid=""
}
trap stop_wine EXIT

# Installs the native build into a fresh prefix; the installed programs run
# and the installed headers compile.
check_native_install() {
  local prefix status=0
  prefix=$(mktemp -d)
  cmake --install "$build/native" --prefix "$prefix" >/dev/null || status=1
  "$prefix/bin/kestra-pdu" "$fixture" >/dev/null || status=1
  "$prefix/bin/kestra-distributor" --help >/dev/null || status=1
  [ -x "$prefix/bin/kestra" ] && [ -x "$prefix/bin/kestra-fetch" ] || status=1
  [ -f "$prefix/share/doc/kestra/README.md" ] || status=1
  # The toolkit's example program compiles against the installed headers alone.
  cc -fsyntax-only -I"$prefix/include/kestra" "$root/tools/fetch/kestra_fetch.c" || status=1
  rm -rf "$prefix"
  return "$status"
}

# Zips the Windows build NAME with CPack and runs the programs of the
# unpacked zip under Wine.
check_windows_zip() {
  local name=$1 zip unpacked bin status=0
  rm -f "$build/$name"/kestra-*.zip
  (cd "$build/$name" && cpack -G ZIP >/dev/null) || return 1
  zip=$(echo "$build/$name"/kestra-*.zip)
  echo "$zip"
  unpacked=$(mktemp -d)
  (cd "$unpacked" && cmake -E tar xf "$zip") || status=1
  bin=$(echo "$unpacked"/*/bin)
  for program in kestra kestra-distributor kestra-pdu kestra-fetch; do
    [ -f "$bin/$program.exe" ] || { echo "$program.exe is not in the zip"; status=1; }
  done
  wine "$bin/kestra-pdu.exe" "$fixture" >/dev/null || status=1
  wine "$bin/kestra-distributor.exe" --help >/dev/null || status=1
  rm -rf "$unpacked"
  return "$status"
}

# Builds and runs the fuzz targets; their progress goes to a log.
run_fuzzer() {
  bash "$root/fuzz/run.sh" "${KESTRA_FUZZ_SECONDS:-60}" "$build/fuzz" > "$build/fuzz.log" 2>&1
}

step "Install dependencies"
bash "$root/tools/install-deps.sh" || fail "installing the dependencies"

step "Native build"
cmake -S "$root" -B "$build/native" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null || fail "native configure"
cmake --build "$build/native" -j "$jobs" || fail "native build"

# Both Windows builds run their tests under Wine through the emulator.
for target in "win64 x86-64 mingw-x86_64" "win32 i686 mingw-i686"; do
  read -r name arch toolchain <<<"$target"
  step "Windows $arch build"
  cmake -S "$root" -B "$build/$name" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/$toolchain.cmake" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_CROSSCOMPILING_EMULATOR=wine >/dev/null || fail "$name configure"
  cmake --build "$build/$name" -j "$jobs" || fail "$name build"
done

step "Native tests"
run_ctest --test-dir "$build/native" --output-on-failure

step "Sanitizers: AddressSanitizer (leaks included) and UndefinedBehaviorSanitizer"
if cmake -S "$root" -B "$build/sanitize" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKESTRA_SANITIZE=ON \
     -DKESTRA_BENCH=OFF >/dev/null &&
   cmake --build "$build/sanitize" -j "$jobs" --target kestra_unit_tests kestra kestra-distributor; then
  export ASAN_OPTIONS=detect_leaks=1
  run_ctest --test-dir "$build/sanitize" -L unit --output-on-failure
  # The whole client against the scripted target: any sanitizer report on
  # its standard error fails the suite.
  for suite in service/requests_e2e operations/sessions_e2e operations/present_e2e; do
    check "$suite under the sanitizers" python3 "$root/tests/$suite.py" --bin "$build/sanitize/bin"
  done
  unset ASAN_OPTIONS
else
  echo "test-all: sanitizer build failed"
  failed=$((failed + 1))
fi

step "Wine: virtual display, prefix and server"
if start_wine; then
  # Verbose, so that every test case shows in the log, passed or not.
  step "Windows x86-64 tests under Wine"
  run_ctest --test-dir "$build/win64" --verbose
  step "Windows i686 tests under Wine"
  run_ctest --test-dir "$build/win32" --verbose
  step "Installation: native prefix, Windows zips under Wine"
  check "cmake --install of the native build" check_native_install
  check "the x86-64 zip runs under Wine" check_windows_zip win64
  check "the i686 zip runs under Wine" check_windows_zip win32
  stop_wine
else
  echo "test-all: Wine did not start"
  failed=$((failed + 1))
  step "Installation: native prefix"
  check "cmake --install of the native build" check_native_install
fi

if [ -x "$root/fuzz/run.sh" ]; then
  step "Fuzzing"
  # The fuzz targets' progress goes to a log; the line of each shows here.
  check "the fuzz targets" run_fuzzer
  grep -E '^[a-z_]+_fuzzer: |^crashed:' "$build/fuzz.log"
fi

step "Benchmarks (figures only, not tests)"
"$build/native/bin/codec_bench" --benchmark_min_time=0.2 || echo "test-all: codec benchmark did not run"
cmake --build "$build/native" --target run_toolkit_bench || echo "test-all: toolkit benchmark did not run"

finish
