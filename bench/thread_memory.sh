#!/usr/bin/env bash
# Memory against request threads, side by side in one run: a team of n people (default 1000),
# served without the page cache by 1 request thread and by 32, each loaded the same way (wrk,
# 2 threads, 32 connections, the team month, week and now pages in turn). For each server: its
# resident memory idle, its peak (VmHWM) under the load, and what it holds once it has answered
# every request the load left waiting.
# Usage: bench/thread_memory.sh [path/to/orbitel] [duration per page, e.g. 10s] [people]
set -euo pipefail
cd "$(dirname "$0")/.."
binary=$(realpath "${1:-build/orbitel}")
duration=${2:-10s}
people=${3:-1000}
source bench/load_common.sh
need_tools wrk curl python3

make_demo_site
make_team_site "$people"

kilobytes() { awk -v key="$2:" '$1 == key { print $2 }' "/proc/$1/status"; }
# Waits until the server has finished what the load left queued: no CPU used for a second.
cpu_ticks() { awk '{ print $14 + $15 }' "/proc/$1/stat"; }
wait_idle() {
  local before after
  before=$(cpu_ticks "$1")
  while sleep 1; after=$(cpu_ticks "$1"); [ "$after" != "$before" ]; do before=$after; done
}
megabytes() { awk '{ printf "%.0f MB", $1 / 1024 }' <<<"$1"; }

echo "| people | request threads | idle | peak under load | after the load | requests/s (month) |"
echo "|---|---|---|---|---|---|"
for threads in 1 32; do
  port=$(free_port)
  "$binary" serve --site "$work/site-$people" --listen "127.0.0.1:$port" --threads "$threads" --page-cache 0 \
    >"$work/orbitel-$port.log" 2>&1 &
  pid=$!
  pids+=("$pid")
  wait_for "$port" || { cat "$work/orbitel-$port.log" >&2; exit 1; }
  cookie=$(sign_in "http://127.0.0.1:$port/")
  idle=$(kilobytes "$pid" VmRSS)
  rate=""
  for page in CalendarMonth.asp CalendarWeek.asp CalendarNow.asp; do
    wrk -t2 -c32 -d"$duration" --timeout 60s -H "Cookie: $cookie" "http://127.0.0.1:$port/$page" >"$work/wrk.txt"
    [ -n "$rate" ] || rate=$(awk '/Requests\/sec/ { printf "%.1f", $2 }' "$work/wrk.txt")
  done
  wait_idle "$pid"
  peak=$(kilobytes "$pid" VmHWM)
  after=$(kilobytes "$pid" VmRSS)
  printf '| %s | %s | %s | %s | %s | %s |\n' "$people" "$threads" "$(megabytes "$idle")" "$(megabytes "$peak")" \
    "$(megabytes "$after")" "$rate"
  kill "$pid"; wait "$pid" 2>/dev/null || true
done
