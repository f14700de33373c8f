#!/usr/bin/env bash
# One orbitel process against two behind nginx, in one run: the same demo site, the same team
# month page, wrk with 2 threads and 50 connections through nginx (plain HTTP on loopback, the
# README's upstream and location) to one process and then to both. Prints requests per second
# and errors for each, and for the page asked of the first process directly.
# Usage: bench/nginx_processes.sh [path/to/orbitel] [duration, e.g. 20s] [threads a process]
set -euo pipefail
cd "$(dirname "$0")/.."
binary=$(realpath "${1:-build/orbitel}")
duration=${2:-20s}
threads=${3:-16}
source bench/load_common.sh
need_tools wrk nginx curl python3

# The demo site, made once by a first start, then served by both processes.
make_demo_site
site="$work/data/orbitel/demo"

ports=("$(free_port)" "$(free_port)")
for port in "${ports[@]}"; do
  "$binary" serve --site "$site" --listen "127.0.0.1:$port" --threads "$threads" \
    --trusted-proxy 127.0.0.1 >"$work/orbitel-$port.log" 2>&1 &
  pids+=($!)
  wait_for "$port" || { cat "$work/orbitel-$port.log" >&2; exit 1; }
done

# nginx with the README's location, its upstream holding the processes given.
start_nginx() {
  local port=$1; shift
  local servers=""
  for upstream in "$@"; do servers+="server 127.0.0.1:$upstream; "; done
  mkdir -p "$work/nginx-$port"
  cat >"$work/nginx-$port/nginx.conf" <<EOF
pid $work/nginx-$port/nginx.pid;
error_log $work/nginx-$port/error.log;
worker_processes 1;
events { worker_connections 1024; }
http {
  access_log off;
  client_body_temp_path $work/nginx-$port/body; proxy_temp_path $work/nginx-$port/proxy;
  fastcgi_temp_path $work/nginx-$port/f; uwsgi_temp_path $work/nginx-$port/u; scgi_temp_path $work/nginx-$port/s;
  upstream orbitel { $servers}
  server {
    listen 127.0.0.1:$port;
    location /orbitel/ {
      proxy_pass http://orbitel/;
      proxy_set_header Host \$host;
      proxy_set_header X-Forwarded-For \$proxy_add_x_forwarded_for;
      proxy_set_header X-Forwarded-Proto \$scheme;
      proxy_next_upstream error timeout http_502 http_503;
    }
  }
}
EOF
  /usr/sbin/nginx -p "$work/nginx-$port" -c "$work/nginx-$port/nginx.conf" -g 'daemon off;' &
  pids+=($!)
  wait_for "$port"
}
one=$(free_port); start_nginx "$one" "${ports[0]}"
two=$(free_port); start_nginx "$two" "${ports[0]}" "${ports[1]}"

address="http://127.0.0.1:${ports[0]}/"
cookie=$(sign_in "$address")

measure() {
  local name=$1 url=$2
  status=$(curl -s -o /dev/null -w '%{http_code}' -H "Cookie: $cookie" "$url")
  [ "$status" = 200 ] || { echo "$name: the month page answered $status" >&2; exit 1; }
  wrk -t2 -c50 -d"$duration" -H "Cookie: $cookie" "$url" >"$work/wrk.txt"
  local errors
  errors=$(awk '/Non-2xx|Socket errors/ { print; found=1 } END { if (!found) print "none" }' "$work/wrk.txt" | tr '\n' ' ')
  printf '| %s | %s | %s |\n' "$name" "$(awk '/Requests\/sec/ { print $2 }' "$work/wrk.txt")" "$errors"
}

echo "| team month page, $duration, $threads threads a process | requests/s | errors |"
echo "|---|---|---|"
measure "one process, directly" "${address}CalendarMonth.asp"
measure "one process behind nginx" "http://127.0.0.1:$one/orbitel/CalendarMonth.asp"
measure "two processes behind nginx" "http://127.0.0.1:$two/orbitel/CalendarMonth.asp"
