#!/usr/bin/env bash
# The client's main job, end to end: kestra-distributor starts a Kestra client
# and drives one Z39.50 session through the exchange files and the messages:
# LOAD, INITIALIZE, SEARCH, PRESENT (USMARC), SCAN, CLOSE, EXIT. It prints
# every response line, each MARC record one field a line (--show-marc).
#
#   bash tools/run-example.sh [--server HOST] [--port N] [--database DB]
#                             [--query TEXT] [--terms N] [--records N]
#
# Without --server a local Zebra with the MARC21 example records (database
# "marc") is started on a free loopback port and stopped at the end. The
# query is in the client's own form, "@use=4@term=computer" (use attribute 4,
# title; more terms as "@op=AND@use=1003@term=smith" with --terms 2); the SCAN
# browses the index of the first term from that term on. --records is how
# many records the PRESENT fetches. Installs what is missing and builds the
# two programs when needed. Exit status 0 when every request succeeded.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${KESTRA_BUILD:-$root/build}/native

usage() {
  echo "usage: bash tools/run-example.sh [--server HOST] [--port N] [--database DB]" \
       "[--query TEXT] [--terms N] [--records N]" >&2
  exit 2
}

server="" port=210 database=marc query="@use=4@term=computer" terms=1 records=3
while [ $# -gt 0 ]; do
  case $1 in
    --server | --port | --database | --query | --terms | --records)
      [ $# -ge 2 ] || usage
      declare "${1#--}=$2"
      shift 2 ;;
    *) usage ;;
  esac
done
case $query in *'"'*) echo "run-example: the query cannot hold a double quote" >&2; exit 2 ;; esac

# The SCAN starts at the first term of the query, in that term's index.
IFS=@ read -r -a query_fields <<< "${query#@}"
scan_attributes=${query_fields[0]#*=}
scan_term=${query_fields[1]:-}
scan_term=${scan_term#*=}

# What the build (GoogleTest for configuring) and the local Zebra need.
needed=(/usr/bin/cmake /usr/bin/g++ /usr/bin/python3 /usr/include/gtest/gtest.h)
[ -n "$server" ] || needed+=(/usr/bin/zebrasrv-2.0 /usr/bin/zebraidx-2.0
  /usr/share/doc/idzebra-2.0/examples/marc21/sample-marc.gz
  /usr/lib/x86_64-linux-gnu/idzebra-2.0/modules/mod-grs-marc.so)
for file in "${needed[@]}"; do
  [ -e "$file" ] || { bash "$root/tools/install-deps.sh" example; break; }
done

work=$(mktemp -d)
cleanup() {
  if [ -f "$work/zebra.json" ]; then
    python3 "$root/tests/peers/peers.py" stop "$work/zebra.json" || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

echo "run-example: building kestra and kestra-distributor in $build if needed" >&2
build_programs() {
  [ -f "$build/CMakeCache.txt" ] || cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo || return
  cmake --build "$build" -j "$(nproc)" --target kestra kestra-distributor
}
build_programs > "$work/build.log" 2>&1 || { cat "$work/build.log" >&2; exit 2; }

if [ -z "$server" ]; then
  echo "run-example: starting a local Zebra with the MARC21 example records" >&2
  python3 -c 'import sys; sys.path.insert(0, sys.argv[1]); import peers
sys.exit(peers.main(sys.argv[2:], start=lambda: peers.start_all(("zebra",))))' \
    "$root/tests/peers" start "$work/zebra.json"
  server=127.0.0.1
  port=$(python3 -c 'import json, sys; print(json.load(open(sys.argv[1]))["zebra"][1])' "$work/zebra.json")
fi

cat > "$work/requests.txt" <<REQUESTS
RequestType:LOAD SessionTimeout:60 TempPath:"$work/" TempPrefix:Z39
RequestType:INITIALIZE Server:"$server" Port:$port
RequestType:SEARCH Query:"$query" Terms:$terms Database:"$database" AnsiAttributeSet:BIB1
RequestType:PRESENT StartFrom:1 Records:$records RecordSyntax:USMARC
RequestType:SCAN Query:"$scan_term" Attribute:"$scan_attributes" Records:10 Database:"$database"
RequestType:CLOSE
REQUESTS
# EXIT goes in a file of its own: the client deletes its response file as it
# ends, so the lines before must have been read by then.
echo "RequestType:EXIT" > "$work/exit.txt"
status=0
"$build/bin/kestra-distributor" --verbose --show-marc "$work/requests.txt" "$work/exit.txt" || status=$?
if [ "$status" -eq 0 ]; then
  echo "kestra: all requests succeeded"
else
  echo "kestra: the session failed (kestra-distributor exit status $status)" >&2
fi
exit "$status"
