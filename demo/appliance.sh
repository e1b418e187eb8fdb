#!/usr/bin/env bash
# Runs the demo appliance: PostgreSQL with a video library, the media server with some media, and a web server with the
# page and the program. All their files are in one build folder, and the media server announces itself only on the
# loopback interface. Ctrl-C or SIGTERM ends the appliance and everything that it started.
#
#   appliance.sh --build FOLDER [--port N] [--fresh]
#
#   --build FOLDER   the build folder. The appliance's files are in FOLDER/root, which is created if it does not exist
#   --port N         the port of the web server, 8080 by default; `any` chooses a free one
#   --fresh          deletes FOLDER/root and creates it again
set -euo pipefail

fail() {
  echo "$1" >&2
  exit 1
}

in_use() {
  (: 7<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null
}

# Returns whether no socket has the port. The media server can't bind the port of an outgoing connection, not even of a
# closed one.
unused() {
  ! grep -qs "^ *[0-9]*: [0-9A-F]*:$(printf %04X "$1") " /proc/net/tcp /proc/net/tcp6
}

# A pair of unused ports that depends on the process, so appliances that start at the same time choose different ones.
# Outgoing connections get ports from 32768 on, so they never take one of these.
any_port() {
  local port=$((20000 + 2 * $$ % 10000))
  until unused "$port" && unused $((port + 1)); do port=$((20000 + (port + 2) % 10000)); done
  echo "$port"
}

# Creates the folder $root under another name and renames it when it is complete. The login name is that of the user who
# runs this script, because collections belong to users of the system.
create_root() {
  local new=$root.new
  rm -rf "$root" "$new"
  cp -R "$demo/root" "$new"
  cp -R "$source/appliance/." "$new/var/packages/Dalmira"
  mkdir -p "$new/var/run" "$new/var/cache/minidlna" "$new/$package/sbin" "$new/$package/share/mediaserv"
  ln -s "$build/minidlna/dms" "$new/$package/sbin/dms"
  "$demo/media.sh" "$new/volume1"
  find "$new" \( -name '*.sh' -o -name '*.conf' \) -exec \
    sed -i "s|@ROOT@|$root|g; s|@USER@|$(id -un)|g; s|@UUID@|$(</proc/sys/kernel/random/uuid)|g" {} +
  (umask 077 && echo "$(id -un):$(od -An -N9 -tx1 /dev/urandom | tr -d ' ')" >"$build/demo/login")
  mv "$new" "$root"
}

fill_library() {
  local psql=(psql -Xqt -v ON_ERROR_STOP=1 -h "$1" -U postgres -d video_metadata)
  if (($("${psql[@]}" -c 'SELECT count(*) FROM collection') == 0)); then
    "${psql[@]}" -v uid="$(id -u)" -f "$demo/video_library.sql"
  fi
}

# Stops the media server and PostgreSQL, including those that an earlier, killed run of this script left behind.
stop_services() {
  if [[ -d $root/$library ]]; then
    "$root/$package/scripts/S86vexadms.sh" stop
    "$demo/postgres.sh" stop "$root/$library"
  fi
}

# Stops the web server and its requests first, because a request may still restart the daemon. The web server and the
# processes of its requests are in one process session. Waits for them at most ten seconds, then kills what is left.
stop() {
  trap '' INT TERM HUP
  set +e
  if [[ -n $web_server ]]; then
    kill -INT "$web_server" 2>/dev/null
    wait "$web_server"
    for ((tenths = 0; tenths < 100; tenths++)); do
      pgrep --session "$web_server" --runstates DRST >/dev/null || break
      sleep 0.1
    done
    pgrep --session "$web_server" | xargs --no-run-if-empty kill -KILL
  fi
  stop_services
}

responds() {
  curl --silent --noproxy '*' --user "$login" --data action=load_browsing_page "$address" | grep -q '"success":true'
}

demo=$(dirname "$(readlink -f "$0")")
source=$(dirname "$demo")
build=
port=8080
fresh=
while (($#)); do
  case $1 in
    # Without a value there is nothing more to shift.
    --build) build=$(realpath -m "${2-.}") && shift $(($# > 1)) ;;
    --port) port=${2-} && shift $(($# > 1)) ;;
    --fresh) fresh=yes ;;
    *) break ;;
  esac
  shift
done
[[ $port != any ]] || port=$(any_port)
if (($#)) || [[ -z $build || ! $port =~ ^[1-9][0-9]{0,4}$ ]]; then
  sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" >&2
  exit 2
fi
[[ -x $build/mediaserv && -x $build/minidlna/dms ]] || fail "$build does not contain a build with the media server."
root=$build/root
package=var/packages/Dalmira/target
library=var/services/pgsql
address=http://127.0.0.1:$port/cgi-bin/mediaserv
web_server=

if in_use "$port"; then
  fail "Port $port of 127.0.0.1 is already in use. Choose another port with --port N."
fi
mkdir -p "$build/demo"
# Every process that could outlive this script is started without descriptor 8. Otherwise it would keep the lock.
exec 8>"$build/demo/lock"
flock --nonblock 8 || fail "The appliance in $build is already running."

trap stop EXIT
trap 'exit 0' INT TERM HUP
stop_services
[[ -d $root/$package/sbin && -z $fresh ]] || create_root
mkdir -p "$root/var/log/lighttpd" # the web server writes its log there
rm -rf "$build/demo/www"
cp -Rs "$source/web" "$build/demo/www" # links, so a changed file is served at once
cp -sf "$source"/minidlna/{appliance.json,page/*} "$build/demo/www"
ln -s "$root/$package/share/mediaserv/status.json" "$build/demo/www"
login=$(<"$build/demo/login")
socket=$("$demo/postgres.sh" start "$root/$library" 8>&-)
fill_library "$socket"
media_port=$((port + 1))
until unused "$media_port"; do media_port=$((media_port + 1)); done
sed -i "s/^port=.*/port=$media_port/" "$root/etc/minidlna.conf"
"$root/$package/scripts/S86vexadms.sh" start 8>&-
BUILD=$build PORT=$port PGHOST=$socket setsid setpriv --pdeathsig INT \
  /usr/sbin/lighttpd -D -f "$demo/lighttpd.conf" 8>&- &
web_server=$!
for ((tries = 0; tries < 100; tries++)); do
  responds && break
  kill -0 "$web_server" 2>/dev/null || fail "The web server ended before it responded."
  sleep 0.1
done
((tries < 100)) || fail "The program does not respond at $address."

# The tests read the lines "login: " and "ready: ".
cat <<END
page: http://127.0.0.1:$port/

The appliance is ready. Its log and event lines follow. Try:

  curl -u $login $address -d action=load_browsing_page
  curl -u $login $address -d action=save_browsing_page -d sendthumb=true -d musicdisplayinfo=artist
  curl -u $login $address -d action=getdmslangtext -d lang=ger

The media server: gssdp-discover -i lo, and http://127.0.0.1:$media_port/rootDesc.xml
The appliance's files: $root
Ctrl-C ends the appliance.
login: $login
ready: $address
END
wait "$web_server" || true
echo "The web server ended." >&2
false
