#!/usr/bin/env bash
# Load check of the team month page: wrk with 2 threads and 50 connections for 20 seconds
# against a fresh demo site, signed in as the team. Fails when any request errs or is not a 200.
# Usage: bench/month_load.sh [path/to/orbitel] [duration, e.g. 20s]
set -euo pipefail
cd "$(dirname "$0")/.."
binary=${1:-build/orbitel}
duration=${2:-20s}
source bench/load_common.sh
need_tools wrk curl

XDG_DATA_HOME="$work/data" "$binary" serve --listen 127.0.0.1:0 >"$work/server.log" 2>&1 &
pids+=($!)
for _ in $(seq 100); do
  address=$(grep -o 'http://127.0.0.1:[0-9]*/' "$work/server.log" || true)
  [ -n "$address" ] && break
  sleep 0.1
done
[ -n "$address" ] || { cat "$work/server.log" >&2; exit 1; }

cookie=$(sign_in "$address")
status=$(curl -s -o /dev/null -w '%{http_code}' -H "Cookie: $cookie" "${address}CalendarMonth.asp")
[ "$status" = 200 ] || { echo "the month page answered $status after sign-in" >&2; exit 1; }

wrk -t2 -c50 -d"$duration" -H "Cookie: $cookie" "${address}CalendarMonth.asp" | tee "$work/wrk.txt"
if grep -qE 'Non-2xx or 3xx responses|Socket errors' "$work/wrk.txt"; then
  echo "FAILED: some requests erred" >&2
  exit 1
fi
echo "OK: $(awk '/Requests\/sec/ { print $2 }' "$work/wrk.txt") requests per second, no errors"
