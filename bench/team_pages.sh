#!/usr/bin/env bash
# The team pages made afresh for every request (no page cache), side by side in one run:
#  1. One request at a time, for teams of 50, 200, 500 and 1000 people: the month page and the
#     now page beside it, each as the time of one request (the median of 9, curl) and as the
#     server's own CPU time for one page (over 10 pages, from the kernel's count of its threads'
#     time on a processor), which the machine's other work hardly changes.
#  2. Under load, for 50 and 500 people: wrk (2 threads, 50 connections) on the month page made
#     afresh by orbitel and served by nginx as the very same bytes from a file, plain and
#     gzip-compressed (nginx's .gz made once beforehand), with orbitel's rate as a share of nginx's.
#  3. Memory against request threads for 1000 people (bench/thread_memory.sh).
# Each team gets a site of its own: the demo site's files, a directory of that many people and the
# demo's appointments for every one of them (about 20 a person, some recurring).
# Usage: bench/team_pages.sh [path/to/orbitel] [duration, e.g. 10s]
set -euo pipefail
cd "$(dirname "$0")/.."
binary=$(realpath "${1:-build/orbitel}")
duration=${2:-10s}
source bench/load_common.sh
need_tools wrk nginx curl python3

load() { cut -d' ' -f1-3 /proc/loadavg; }
echo "$(nproc) cores ($(awk -F': ' '/model name/ { print $2; exit }' /proc/cpuinfo)), load average $(load) at the start"
make_demo_site

# Orbitel without the page cache on the site $1 and port $2; its process in $server.
serve() {
  "$binary" serve --site "$1" --listen "127.0.0.1:$2" --page-cache 0 >"$work/orbitel-$2.log" 2>&1 &
  server=$!
  pids+=("$server")
  wait_for "$2" || { cat "$work/orbitel-$2.log" >&2; exit 1; }
}
page() { curl -s -o /dev/null -w '%{http_code}' -H "Cookie: $2" "$1"; }
# The time the server's threads have spent on a processor so far, in nanoseconds.
cpu_ns() { cat /proc/"$1"/task/*/schedstat 2>/dev/null | awk '{ s += $1 } END { printf "%.0f", s }'; }
one_request() {
  for _ in $(seq 9); do curl -s -o /dev/null -w '%{time_total}\n' -H "Cookie: $2" "$1"; done |
    sort -n | sed -n 5p | awk '{ printf "%.1f ms", $1 * 1000 }'
}
cpu_a_page() {
  local before after
  before=$(cpu_ns "$1")
  for _ in $(seq 10); do page "$2" "$3" >/dev/null; done
  after=$(cpu_ns "$1")
  awk -v ns=$((after - before)) 'BEGIN { printf "%.1f ms", ns / 10 / 1e6 }'
}

echo
echo "| people | month: one request | month: server CPU a page | now: one request | now: server CPU a page |"
echo "|---|---|---|---|---|"
for n in 50 200 500 1000; do
  make_team_site "$n"
  port=$(free_port)
  serve "$work/site-$n" "$port"
  cookie=$(sign_in "http://127.0.0.1:$port/")
  month="http://127.0.0.1:$port/CalendarMonth.asp"
  now="http://127.0.0.1:$port/CalendarNow.asp"
  # Every request thread has made each page once (its connection to the store, its templates).
  for _ in $(seq 32); do
    for url in "$month" "$now"; do
      [ "$(page "$url" "$cookie")" = 200 ] || { echo "$url did not answer 200" >&2; exit 1; }
    done
  done
  printf '| %s | %s | %s | %s | %s |\n' "$n" "$(one_request "$month" "$cookie")" \
    "$(cpu_a_page "$server" "$month" "$cookie")" "$(one_request "$now" "$cookie")" \
    "$(cpu_a_page "$server" "$now" "$cookie")"
  kill "$server"; wait "$server" 2>/dev/null || true
done

echo
echo "| people | Accept-Encoding | bytes sent | orbitel, made afresh: requests/s | p99 | nginx, the same bytes: requests/s | p99 | orbitel / nginx |"
echo "|---|---|---|---|---|---|---|---|"
rate() { awk '/Requests\/sec/ { printf "%d", $2 }' "$1"; }
p99() { awk '$1 == "99%" { print $2 }' "$1"; }
for n in 50 500; do
  port=$(free_port)
  serve "$work/site-$n" "$port"
  cookie=$(sign_in "http://127.0.0.1:$port/")
  month="http://127.0.0.1:$port/CalendarMonth.asp"
  static="$work/static-$n"
  mkdir -p "$static/root"
  curl -s -H "Cookie: $cookie" -o "$static/root/month.html" "$month"
  gzip -k -1 "$static/root/month.html"
  nginx_port=$(free_port)
  serve_static "$static" "$nginx_port"
  for encoding in identity gzip; do
    headers=(-H "Cookie: $cookie" -H "Accept-Encoding: $encoding")
    bytes=$(curl -s "${headers[@]}" "$month" | wc -c)
    wrk -t2 -c50 -d"$duration" --timeout 30s --latency "${headers[@]}" "$month" >"$work/orbitel.txt"
    wrk -t2 -c50 -d"$duration" --timeout 30s --latency "${headers[@]}" "http://127.0.0.1:$nginx_port/month.html" \
      >"$work/nginx.txt"
    if grep -qE 'Non-2xx or 3xx responses|Socket errors' "$work/orbitel.txt" "$work/nginx.txt"; then
      echo "$n people, $encoding: some requests erred" >&2; cat "$work/orbitel.txt" "$work/nginx.txt" >&2; exit 1
    fi
    printf '| %s | %s | %s | %s | %s | %s | %s | %s |\n' "$n" "$encoding" "$(numfmt --to=iec "$bytes")B" \
      "$(rate "$work/orbitel.txt")" "$(p99 "$work/orbitel.txt")" "$(rate "$work/nginx.txt")" "$(p99 "$work/nginx.txt")" \
      "$(awk -v a="$(rate "$work/orbitel.txt")" -v b="$(rate "$work/nginx.txt")" 'BEGIN { printf "%.1f%%", 100 * a / b }')"
  done
  kill "$server"; wait "$server" 2>/dev/null || true
done

echo
bench/thread_memory.sh "$binary" 5s 1000
echo
echo "load average $(load) at the end"
