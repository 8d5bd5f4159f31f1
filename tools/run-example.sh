#!/usr/bin/env bash
# The client's main job, end to end: a distributor starts a Kestra client and
# hands it requests through the exchange files and the messages, printing
# every response line. Builds the two programs first if needed.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${KESTRA_BUILD:-$root/build}/native
if [ ! -x "$build/bin/kestra" ] || [ ! -x "$build/bin/kestra-distributor" ]; then
  cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
  cmake --build "$build" -j "$(nproc)" --target kestra kestra-distributor
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cat > "$work/requests.txt" <<'REQUESTS'
RequestType:LOAD SessionTimeout:60 TempPrefix:Z39
RequestType:EXIT
REQUESTS
"$build/bin/kestra-distributor" --verbose "$work/requests.txt"
echo "kestra: all requests succeeded"
