#!/usr/bin/env bash
# Tests the configuration of docs/examples in lighttpd and nginx. Only the paths are replaced.
# Usage: deploying_test.sh PROGRAM
set -euo pipefail

program=$(readlink -f "$1")
source=$(dirname "$(dirname "$(readlink -f "$0")")")
page=$source/web
work=$(mktemp -d)
servers=()
failures=0

trap 'kill -- "${servers[@]}" 2>/dev/null || true; wait; rm -rf "$work"' EXIT
trap 'exit 1' INT TERM HUP

example() {
  sed "s|/var/packages/Dalmira/target/libexec/cgi-bin/mediaserv|$program|
       s|/var/packages/Dalmira/target/share/mediaserv/|$page/|
       s|/etc/mediaserv.users|$work/users|
       s|/run/fcgiwrap.socket|$work/socket|
       s|/var/log/lighttpd/|$work/|" "$source/docs/examples/$1"
}

free_port() {
  local port
  while port=$((10000 + RANDOM % 10000)) && (: 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; do :; done
  echo "$port"
}

# check SERVER WHAT COMMAND...: the command must succeed.
check() {
  local what="$1, $2"
  shift 2
  "$@" && echo "ok: $what" && return
  echo "FAILED: $what: $*"
  failures=$((failures + 1))
}

matches() { [[ $1 =~ $2 ]]; }

# expect SERVER WHAT PATTERN CURL-ARGUMENT...: the response body and status must match the pattern.
expect() {
  local server=$1 what=$2 pattern=$3 response
  shift 3
  response=$(curl --silent --noproxy '*' --max-time 60 --write-out '\n%{http_code}' "$@" "$url" | tr '\n' ' ')
  check "$server" "$what" matches "$response" "$pattern"
}

# Four requests of one second each take less than two seconds in total. A busy machine may need another try.
four_at_a_time() {
  local start requests
  for _ in {1..10}; do
    start=${EPOCHREALTIME/[^0-9]/} requests=()
    for _ in 1 2 3 4; do
      curl --silent --noproxy '*' --output /dev/null "$@" --data action=loadClientList "$url" &
      requests+=($!)
    done
    wait "${requests[@]}"
    ((${EPOCHREALTIME/[^0-9]/} - start >= 1950000)) || return 0
  done
  return 1
}

# check_page SERVER PORT: the page and its headers are served, and only to a GET or HEAD request with a login.
check_page() {
  local server=$1 login=(--user demo:secret) tag
  url=http://127.0.0.1:$2/mediaserv/
  expect "$server" 'the page' "default-src 'none'.* 200 ?$" "${login[@]}" --include
  expect "$server" 'the page by HEAD' 'no-cache.* 200 ?$' "${login[@]}" --head
  expect "$server" 'the page without a password' ' 401 ?$'
  expect "$server" 'the page by POST' ' 40[35] ?$' "${login[@]}" --data x=y
  tag=$(curl --silent --noproxy '*' "${login[@]}" --head "$url" | sed -n 's/^ETag: //Ip' | tr -d '\r')
  expect "$server" 'the page, unchanged' ' 304 ?$' "${login[@]}" -H "If-None-Match: $tag"
  url+=app.js
  expect "$server" 'a module' 'text/javascript.*nosniff.* 200 ?$' "${login[@]}" --include
}

# Conditional requests. The save changes nothing, because nothing is stored.
check_condition() {
  local server=$1 login=(--user demo:secret) tag
  tag=$(curl --silent --noproxy '*' "${login[@]}" --include -H 'If-Match: *' --data action=load_dma_page "$url" |
    sed -n 's/^ETag: //Ip' | tr -d '\r')
  check "$server" 'a conditional load has a tag' matches "$tag" '^"[0-9a-f]+"$'
  expect "$server" 'a save with this tag' '"success":true.* 200 ?$' "${login[@]}" -H "If-Match: $tag" --data action=save_dma_page
  expect "$server" 'a save with another tag' '"success":false.* 412 ?$' "${login[@]}" -H 'If-Match: "x"' --data action=save_dma_page
  expect "$server" 'a malformed condition' '"success":false.* 400 ?$' "${login[@]}" -H 'If-Match: x' --data action=save_dma_page
}

# check_program SERVER PORT LOG: LOG is the file that gets the log lines of the program.
check_program() {
  local server=$1 log=$3 login=(--user demo:secret) load=(--data action=load_browsing_page)
  url=http://127.0.0.1:$2/cgi-bin/mediaserv
  curl --silent --noproxy '*' --output /dev/null --retry 100 --retry-delay 1 --retry-connrefused "$url" || true
  expect "$server" 'no password' ' 401 ?$' "${load[@]}"
  expect "$server" 'wrong password' ' 401 ?$' --user demo:wrong "${load[@]}"
  expect "$server" 'GET' ' 40[35] ?$' "${login[@]}" --get "${load[@]}"
  expect "$server" 'HEAD' ' 40[35] ?$' "${login[@]}" --head
  expect "$server" 'PUT' ' 40[35] ?$' "${login[@]}" --request PUT "${load[@]}"
  expect "$server" 'POST' '^\{"data":\{.*"success":true\} .*200 ?$' "${login[@]}" "${load[@]}"
  expect "$server" 'a page of another site, by Sec-Fetch-Site' '50[02] ?$' "${login[@]}" "${load[@]}" -H 'Sec-Fetch-Site: cross-site'
  expect "$server" 'a page of another site, by Origin' '50[02] ?$' "${login[@]}" "${load[@]}" -H 'Origin: http://other.example'
  expect "$server" 'a page of the same site' '"success":true' "${login[@]}" "${load[@]}" -H "Origin: http://127.0.0.1:$2"
  expect "$server" 'a body of 32 MiB' '"success":true' "${login[@]}" --data-binary "@$work/large"
  echo >>"$work/large"
  expect "$server" 'a larger body' '^\{"error":.*"success":false\} .*413 ?$' "${login[@]}" --data-binary "@$work/large"
  truncate --size=32M "$work/large"
  check "$server" 'the log line of a rejected request' grep -q 'request refused: ' "$log"

  check_condition "$server"
  check "$server" 'four requests at the same time' four_at_a_time "${login[@]}"
}

# shellcheck disable=SC2016 # the dollar signs belong to the hash
perl -e 'print "demo:", crypt("secret", q($6$mediaserv$)), "\n"' >"$work/users"
chmod 600 "$work/users"
printf 'action=load_browsing_page&filler=' >"$work/large"
truncate --size=32M "$work/large"

port=$(free_port)
cat >"$work/lighttpd.conf" <<END
server.bind = "127.0.0.1"
server.port = $port
server.document-root = "$work"
server.upload-dirs = ("$work")
$(example lighttpd.conf)
END
/usr/sbin/lighttpd -D -f "$work/lighttpd.conf" 2>"$work/lighttpd.log" &
servers+=($!)
check_program lighttpd "$port" "$work/breakage.log"
check_page lighttpd "$port"

port=$(free_port)
cat >"$work/nginx.conf" <<END
user $(id -un) $(id -gn);
daemon off;
pid $work/nginx.pid;
error_log $work/nginx.log;
events {}
http {
    access_log off;
    client_body_temp_path $work/body;
    proxy_temp_path $work/proxy;
    fastcgi_temp_path $work/fastcgi;
    uwsgi_temp_path $work/uwsgi;
    scgi_temp_path $work/scgi;
    server {
        listen 127.0.0.1:$port;
        $(example nginx.conf)
    }
}
END
read -ra fcgiwrap < <(example fcgiwrap.service.conf | sed -n 's/^ExecStart=\(.\+\)/\1/p')
setsid "${fcgiwrap[@]}" -s "unix:$work/socket" &
servers+=("-$!") # the process group, with all child processes
/usr/sbin/nginx -e "$work/nginx.log" -c "$work/nginx.conf" 2>"$work/nginx.err" &
servers+=($!)
check_program nginx "$port" "$work/nginx.log"
check_page nginx "$port"

((failures == 0)) || { tail -n 20 "$work"/*.log; exit 1; }
