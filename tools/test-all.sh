#!/usr/bin/env bash
# Installs what is missing, builds the native program and both Windows
# programs (x86-64 and i686), and runs every test: natively, the unit tests
# again under the sanitizers, the x86-64 build under wine64, the i686 build
# under Wine's 32-bit loader (in full where this host runs 32-bit programs,
# else a smoke set under the qemu-i386 emulator), the installed programs and the
# Windows zips, the fuzz targets, and the benchmarks. Prints each stage's wall
# time and ends with one summary line.
#
# KESTRA_I686=native|emulated|skip forces how the i686 tests run (default:
# found out from the host); KESTRA_EMULATED_BOOT_SECONDS bounds the making
# of the Wine prefix for the emulated i686 programs (default 420);
# KESTRA_FUZZ_SECONDS sets the fuzzing time.
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
  cleanup
  echo
  echo "Wall time of each stage (minutes:seconds):"
  printf '%s\n' "${times[@]}"
  printf '%4d:%02d  total\n' $((SECONDS / 60)) $((SECONDS % 60))
  echo
  [ ${#notes[@]} -eq 0 ] || printf 'test-all: %s\n' "${notes[@]}"
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

sudo=""
[ "$(id -u)" -eq 0 ] || sudo=sudo
wine64_loader=/usr/lib/wine/wine64
wine32_loader=/usr/lib/wine/wine
emulated_boot_seconds=${KESTRA_EMULATED_BOOT_SECONDS:-420}
notes=()      # what the closing lines say beside the counts
prefixes=()   # the Wine prefixes whose servers run
xvfb_pid=""

# Starts one virtual display for every Windows program of the run.
start_display() {
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
  export DISPLAY WINEDEBUG=-all
  rm -f "$display_file"
}

# Makes the 64-bit Wine prefix PREFIX with wine64, within SECONDS (default
# 600), and starts its server; the prefix stays exported as WINEPREFIX.
make_prefix() {
  local prefix=$1 seconds=${2:-600}
  export WINEPREFIX=$prefix
  mkdir -p "$prefix"
  prefixes+=("$prefix")
  wineserver -p && timeout "$seconds" "$wine64_loader" wineboot -i >/dev/null 2>&1 &&
    [ -f "$prefix/drive_c/windows/system32/kernel32.dll" ]
}

# Ends every Wine server and the virtual display.
stop_wine() {
  local prefix
  for prefix in "${prefixes[@]}"; do
    WINEPREFIX=$prefix wineserver -k 2>/dev/null
  done
  prefixes=()
  [ -n "$xvfb_pid" ] || return 0
  kill "$xvfb_pid" 2>/dev/null
  wait "$xvfb_pid" 2>/dev/null
  xvfb_pid=""
}

binfmt=/proc/sys/fs/binfmt_misc
binfmt_entry=kestra-i386
binfmt_mounted=""
binfmt_registered=""
# binfmt_misc's magic and mask of a 32-bit x86 ELF program.
i386_magic='\x7fELF\x01\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\x03\x00'
i386_mask='\xff\xff\xff\xff\xff\xfe\xfe\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff'

# Whether this host's kernel runs 32-bit x86 programs itself: a tiny i386
# program that only exits with 0 runs, and no emulator is registered for
# such programs (one would run them, but slowly).
host_runs_i386() {
  local probe status
  probe=$(mktemp)
  python3 - "$probe" <<'PROGRAM'
import struct, sys
code = bytes([0xB8, 1, 0, 0, 0, 0x31, 0xDB, 0xCD, 0x80])  # exit(0) through int 0x80
base, start = 0x08048000, 52 + 32
header = b"\x7fELF\x01\x01\x01" + bytes(9) + struct.pack(
    "<HHIIIIIHHHHHH", 2, 3, 1, base + start, 52, 0, 0, 52, 32, 1, 0, 0, 0)
segment = struct.pack("<8I", 1, 0, base, base, start + len(code), start + len(code), 5, 0x1000)
with open(sys.argv[1], "wb") as program:
    program.write(header + segment + code)
PROGRAM
  chmod +x "$probe"
  "$probe" 2>/dev/null
  status=$?
  rm -f "$probe"
  [ "$status" -eq 0 ] && ! grep -qs '^magic 7f454c4601010100000000000000000002000300' "$binfmt"/*
}

# Registers qemu-i386 for 32-bit x86 programs with binfmt_misc, installing
# it first; on failure leaves the reason in emulator_failure. (Not to be run
# in a subshell: what it registered must be known to remove it.)
emulator_failure=""
register_i386_emulator() {
  bash "$root/tools/install-deps.sh" emulator >/dev/null 2>&1 ||
    { emulator_failure="qemu-user-static could not be installed"; return 1; }
  if [ ! -e "$binfmt/register" ]; then
    $sudo mount -t binfmt_misc binfmt_misc "$binfmt" 2>/dev/null ||
      { emulator_failure="binfmt_misc cannot be mounted here"; return 1; }
    binfmt_mounted=1
  fi
  # An entry of ours that an interrupted run left behind goes first.
  [ ! -e "$binfmt/$binfmt_entry" ] || echo -1 | $sudo tee "$binfmt/$binfmt_entry" >/dev/null
  printf '%s' ":$binfmt_entry:M::$i386_magic:$i386_mask:/usr/bin/qemu-i386-static:F" |
    $sudo tee "$binfmt/register" >/dev/null 2>&1 ||
    { emulator_failure="binfmt_misc refused the qemu-i386 entry"; return 1; }
  binfmt_registered=1
}

# Removes what register_i386_emulator added.
unregister_i386_emulator() {
  if [ -n "$binfmt_registered" ]; then
    echo -1 | $sudo tee "$binfmt/$binfmt_entry" >/dev/null
    binfmt_registered=""
  fi
  if [ -n "$binfmt_mounted" ]; then
    $sudo umount "$binfmt" 2>/dev/null
    binfmt_mounted=""
  fi
}

cleanup() {
  stop_wine
  unregister_i386_emulator
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

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

# Zips the Windows build NAME with CPack, checks that the unpacked zip holds
# the four programs, and runs two of them through LOADER (none without one).
check_windows_zip() {
  local name=$1 loader=${2:-} zip unpacked bin status=0
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
  if [ -n "$loader" ]; then
    "$loader" "$bin/kestra-pdu.exe" "$fixture" >/dev/null || status=1
    "$loader" "$bin/kestra-distributor.exe" --help >/dev/null || status=1
  fi
  rm -rf "$unpacked"
  return "$status"
}

# Says that the i686 tests were skipped and why; the zip is still checked.
skip_i686() {
  echo "test-all: i686 tests SKIPPED: $1"
  notes+=("i686 tests SKIPPED: $1")
  check "the i686 zip holds the programs" check_windows_zip win32
}

# The i686 tests, as this host allows. The programs run as 32-bit processes
# in a 64-bit prefix whose 32-bit part wineboot installed, through the
# 32-bit loader. Where the kernel runs 32-bit programs: every test, in the
# x86-64 tests' prefix. Else under the qemu-i386 emulator, in a prefix that
# wine64 makes while the emulator is registered, so that it gets its 32-bit
# part; every program start then takes most of a minute, so only the smoke
# set runs, its waits scaled up. (A 32-bit prefix cannot be made there:
# Wine's own 32-bit start-up meets faults that the emulator does not report
# as the processor would, and crashes.) SKIPPED when that cannot be set up.
run_i686_tests() {
  local prefix=$build/wineprefix
  case $i686_mode in
    native) ;;
    emulated)
      step "qemu-i386 emulator and a Wine prefix for the i686 programs"
      prefix=$build/wineprefix-wow64
      if ! register_i386_emulator; then
        skip_i686 "this host's kernel does not run 32-bit programs, and $emulator_failure"
        return
      fi
      if ! make_prefix "$prefix" "$emulated_boot_seconds"; then
        WINEPREFIX=$prefix wineserver -k 2>/dev/null
        unregister_i386_emulator
        skip_i686 "this host's kernel does not run 32-bit programs, and Wine did not make a prefix under the qemu-i386 emulator within ${emulated_boot_seconds} s"
        return
      fi ;;
    *)
      skip_i686 "KESTRA_I686=$i686_mode"
      return ;;
  esac
  export WINEPREFIX=$prefix
  if [ ! -f "$prefix/drive_c/windows/syswow64/kernel32.dll" ]; then
    echo "test-all: the Wine prefix has no 32-bit part"
    failed=$((failed + 1))
  elif [ "$i686_mode" = native ]; then
    step "Windows i686 tests under Wine"
    run_ctest --test-dir "$build/win32" --verbose
    check "the i686 zip runs under Wine" check_windows_zip win32 "$wine32_loader"
    notes+=("i686: every test ran under Wine (this host runs 32-bit programs)")
  else
    step "Windows i686 smoke set under the emulator"
    KESTRA_TIME_SCALE=10 run_ctest --test-dir "$build/win32" -L smoke --verbose
    check "the i686 zip holds the programs" check_windows_zip win32
    notes+=("i686: the smoke set only, under the qemu-i386 emulator, as this host's kernel does not run 32-bit programs: LOAD to EXIT with INITIALIZE, SEARCH, PRESENT of every record kind, SCAN, CLOSE and records nested 20,000 and 50,000 deep against the scripted target, and a session against yaz-ztest")
  fi
  unregister_i386_emulator
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

# The x86-64 programs run through wine64 itself, the i686 ones through the
# 32-bit loader.
for target in "win64 x86-64 mingw-x86_64 $wine64_loader" "win32 i686 mingw-i686 $wine32_loader"; do
  read -r name arch toolchain loader <<<"$target"
  step "Windows $arch build"
  cmake -S "$root" -B "$build/$name" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/$toolchain.cmake" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_CROSSCOMPILING_EMULATOR="$loader" >/dev/null || fail "$name configure"
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
  for suite in service/requests_e2e operations/sessions_e2e operations/present_e2e operations/faults_e2e; do
    check "$suite under the sanitizers" python3 "$root/tests/$suite.py" --bin "$build/sanitize/bin"
  done
  unset ASAN_OPTIONS
else
  echo "test-all: sanitizer build failed"
  failed=$((failed + 1))
fi

step "32-bit programs on this host"
i686_mode=${KESTRA_I686:-}
if [ -n "$i686_mode" ]; then
  echo "test-all: KESTRA_I686=$i686_mode chooses how the i686 tests run"
elif host_runs_i386; then
  i686_mode=native
  echo "test-all: this host runs 32-bit programs: the i686 tests run in full under 32-bit Wine"
else
  i686_mode=emulated
  echo "test-all: this host's kernel does not run 32-bit programs: the i686 build runs its smoke set under the qemu-i386 emulator"
fi

step "Wine: virtual display, x86-64 prefix and server"
if start_display && make_prefix "$build/wineprefix"; then
  # Verbose, so that every test case shows in the log, passed or not.
  step "Windows x86-64 tests under wine64"
  run_ctest --test-dir "$build/win64" --verbose
  check "the x86-64 zip runs under wine64" check_windows_zip win64 "$wine64_loader"
  run_i686_tests
  stop_wine
else
  echo "test-all: Wine did not start"
  failed=$((failed + 1))
fi
step "Installation: native prefix"
check "cmake --install of the native build" check_native_install

if [ -x "$root/fuzz/run.sh" ]; then
  step "Fuzzing"
  # The fuzz targets' progress goes to a log; the line of each shows here.
  check "the fuzz targets" run_fuzzer
  grep -E '^[a-z_]+_fuzzer: |^crashed:' "$build/fuzz.log"
fi

step "Benchmarks (figures only, not tests)"
"$build/native/bin/codec_bench" --benchmark_min_time=0.2 || echo "test-all: codec benchmark did not run"
cmake --build "$build/native" --target run_toolkit_bench || echo "test-all: toolkit benchmark did not run"
cmake --build "$build/native" --target run_session_bench || echo "test-all: session benchmark did not run"
cmake --build "$build/native" --target run_soak_bench || echo "test-all: the soak benchmark failed or did not run"

finish
