#!/usr/bin/env bash
# The team month page for 50 and 500 people, side by side in one run: orbitel with its page
# cache and without it, each asked for the plain page and for the gzip-compressed one, against
# nginx serving the very same bytes as static files (the page as saved, and its .gz through
# gzip_static). For each: the time of one request (median of 9, curl), then wrk with 2 threads
# and 50 connections: requests per second and the 99th percentile of latency.
# Each size gets a site of its own: the demo site's files, a directory of that many people and
# the demo's appointments for every one of them (`orbitel store demo`).
# Usage: bench/page_cache_load.sh [path/to/orbitel] [duration, e.g. 10s] [people...]
set -euo pipefail
cd "$(dirname "$0")/.."
binary=$(realpath "${1:-build/orbitel}")
duration=${2:-10s}
if [ $# -gt 2 ]; then sizes=("${@:3}"); else sizes=(50 500); fi
source bench/load_common.sh
need_tools wrk nginx curl python3

# The demo site, made once by a first start.
make_demo_site

serve() {
  local site=$1 port=$2; shift 2
  "$binary" serve --site "$site" --listen "127.0.0.1:$port" "$@" >"$work/orbitel-$port.log" 2>&1 &
  pids+=($!)
  wait_for "$port" || { cat "$work/orbitel-$port.log" >&2; exit 1; }
}

measure() {
  local people=$1 name=$2 encoding=$3 url=$4 cookie=$5
  local headers=(-H "Cookie: $cookie" -H "Accept-Encoding: $encoding")
  local status
  status=$(curl -s -o "$work/page" -w '%{http_code}' "${headers[@]}" "$url")
  [ "$status" = 200 ] || { echo "$name: the month page answered $status" >&2; exit 1; }
  local bytes one
  bytes=$(stat -c %s "$work/page")
  one=$(for _ in $(seq 9); do curl -s -o /dev/null -w '%{time_total}\n' "${headers[@]}" "$url"; done |
        sort -n | sed -n 5p | awk '{ printf "%.1f ms", $1 * 1000 }')
  wrk -t2 -c50 -d"$duration" --timeout 20s --latency "${headers[@]}" "$url" >"$work/wrk.txt"
  if grep -qE 'Non-2xx or 3xx responses|Socket errors' "$work/wrk.txt"; then
    echo "$name: some requests erred" >&2; cat "$work/wrk.txt" >&2; exit 1
  fi
  printf '| %s | %s | %s | %s | %s | %s | %s |\n' "$people" "$name" "$encoding" "$(numfmt --to=iec "$bytes")B" "$one" \
    "$(awk '/Requests\/sec/ { printf "%d", $2 }' "$work/wrk.txt")" "$(awk '$1 == "99%" { print $2 }' "$work/wrk.txt")"
}

echo "| people | server | Accept-Encoding | bytes sent | one request | requests/s | p99 under load |"
echo "|---|---|---|---|---|---|---|"
for n in "${sizes[@]}"; do
  make_team_site "$n"
  cached=$(free_port); serve "$work/site-$n" "$cached"
  uncached=$(free_port); serve "$work/site-$n" "$uncached" --page-cache 0
  cookie=$(sign_in "http://127.0.0.1:$cached/")
  month="CalendarMonth.asp"  # this month, where the demo appointments are

  # nginx serves the bytes a signed-in visitor gets, plain and compressed.
  static="$work/static-$n"
  mkdir -p "$static/root"
  curl -s -H "Cookie: $cookie" -o "$static/root/month.html" "http://127.0.0.1:$cached/$month"
  gzip -k -1 "$static/root/month.html"
  nginx_port=$(free_port)
  serve_static "$static" "$nginx_port"

  for encoding in identity gzip; do
    measure "$n" "orbitel, page cache" "$encoding" "http://127.0.0.1:$cached/$month" "$cookie"
    measure "$n" "orbitel, no page cache" "$encoding" "http://127.0.0.1:$uncached/$month" "$cookie"
    measure "$n" "nginx, the same bytes" "$encoding" "http://127.0.0.1:$nginx_port/month.html" "$cookie"
  done
done
