# What the load scripts share; sourced after `binary` is set. Makes a scratch folder ($work)
# that goes with the script, with every server started into `pids`.

# Stops the script when a tool is missing.
need_tools() {
  for tool in "$@"; do
    command -v "$tool" >/dev/null || [ -x "/usr/sbin/$tool" ] || { echo "$tool is missing: apt-get install $tool" >&2; exit 2; }
  done
}

work=$(mktemp -d)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null && wait "$pid" 2>/dev/null || true; done
  rm -rf "$work"
}
trap cleanup EXIT

free_port() { python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'; }
wait_for() { for _ in $(seq 200); do curl -s -o /dev/null "http://127.0.0.1:$1/" && return 0; sleep 0.1; done; return 1; }

# The demo site, made once by a first start, in "$work/data/orbitel/demo".
make_demo_site() {
  XDG_DATA_HOME="$work/data" timeout 20 "$binary" serve --listen 127.0.0.1:0 >"$work/first.log" 2>&1 &
  local first=$!
  for _ in $(seq 100); do grep -qs 'http://' "$work/first.log" && break; sleep 0.1; done
  kill "$first"; wait "$first" 2>/dev/null || true
}

# Signs in to the site at the address ("http://127.0.0.1:8080/") through the form, as a browser
# does; prints the session cookie ("orbitel_session=...").
sign_in() {
  local address=$1 jar="$work/cookies-$RANDOM"
  local token
  token=$(curl -s -c "$jar" -b "$jar" "${address}CalendarLogin.asp" | grep -o 'name="FormToken" value="[0-9a-f]*"' | sed 's/.*value="//; s/"$//')
  curl -s -o /dev/null -c "$jar" -b "$jar" --data "FormToken=$token&cstrUserName=team&cstrPassword=team&action=Login" "${address}CalendarLogin.asp"
  awk '$6 == "orbitel_session" { print $6 "=" $7 }' "$jar"
}

# A site of n people: the demo's files, a directory of n accounts, everyone included on the
# first page (FirstTime), the demo appointments for all.
make_team_site() {
  local n=$1 site="$work/site-$1"
  cp -r "$work/data/orbitel/demo" "$site"
  rm -rf "$site/store"
  {
    printf 'version: 1\n\ndn: DC=ORBITEL,DC=DEMO\nobjectClass: domain\ndc: ORBITEL\n\n'
    for i in $(seq "$n"); do
      printf 'dn: CN=Person %s,DC=ORBITEL,DC=DEMO\nobjectClass: user\ncn: Person %s\n' "$i" "$i"
      printf 'displayName: Person %s\nsAMAccountName: person%s\nuserAccountControl: 512\n\n' "$i" "$i"
    done
  } >"$site/directory.ldif"
  sed -i "s/FirstTime='No'/FirstTime='Yes'/" "$site/OrbitelSettings.xml"
  "$binary" store --store-root "$site/store" demo orbitel.demo "$site/directory.ldif" >/dev/null
}

# nginx serving the files of "$1/root" (a page and its .gz, through gzip_static) on port $2,
# one worker process, until the script ends.
serve_static() {
  local static=$1 port=$2
  # nginx's workers run as another user: they must be able to read the files.
  chmod a+x "$work"; chmod -R a+rX "$static"
  cat >"$static/nginx.conf" <<CONF
pid $static/nginx.pid;
error_log $static/error.log;
worker_processes 1;
events { worker_connections 1024; }
http {
  access_log off;
  client_body_temp_path $static/body; proxy_temp_path $static/proxy;
  fastcgi_temp_path $static/f; uwsgi_temp_path $static/u; scgi_temp_path $static/s;
  server {
    listen 127.0.0.1:$port;
    root $static/root;
    default_type text/html;
    gzip_static on;
  }
}
CONF
  /usr/sbin/nginx -p "$static" -c "$static/nginx.conf" -g 'daemon off;' &
  pids+=($!)
  wait_for "$port"
}
