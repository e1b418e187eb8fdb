#!/bin/bash
# A machine with lighttpd of its own gets the packages: run as root in a throw-away root, without a network.
# shellcheck disable=SC2317 # most functions are called by hold
set -uo pipefail
cd "$(dirname "$(readlink -f "$0")")" || exit

failures=0
page=http://127.0.0.1/mediaserv/
program=http://127.0.0.1/cgi-bin/mediaserv
settings=/var/packages/Dalmira/etc
login=(--user root:secret)

# hold WHAT COMMAND...: the command succeeds.
hold() {
  if "${@:2}"; then
    echo "ok: $1"
  else
    echo "FAILED: $1"
    failures=$((failures + 1))
  fi
}
matches() { grep -qE -e "$2" <<<"$1" || { echo "${1:0:300}" && false; }; }
status() { curl --silent --insecure --output /dev/null --write-out '%{http_code} %{redirect_url}' "$@"; }
# answers CODE ARGUMENT...: curl's status, and the place that it is sent to.
answers() { matches "$(status "${@:2}")" "^$1 ?$"; }
act() { curl --silent --max-time 60 "${login[@]}" --data "action=$1${2:+&$2}" "$program"; }
# All files with type, mode and owner, and what those below /etc hold; none of what packages leave by their nature.
files() {
  find / -xdev \( -path /proc -o -path /dev -o -path /debs -o -path /run -o -path /tmp -o -path /var/cache -o -path /var/log \
    -o -path /var/lib/dpkg -o -path /var/lib/apt -o -path /var/lib/systemd \) -prune -o -printf '%p %y %m %u %g\n' | sort
  find /etc -type f -print0 | sort -z | xargs -0 md5sum
  find /var/lib/systemd /etc/rc?.d -printf '%p\n' | sort
}
install() { apt-get -qq -o Dpkg::Use-Pty=0 install "$@" 2>&1; }
# repack DEB VERSION: the package as an older version.
repack() {
  rm -rf old
  dpkg-deb -R "$1" old
  sed -i "s/^Version: .*/Version: $2/; s/(= [^)]*)/(= $2)/" old/DEBIAN/control
  dpkg-deb -Zgzip -b old "old_$1" >/dev/null
  rm -rf old
}

refuses() { ! "$@" 2>/dev/null; }
users() {
  local script='mediaserv-user eve'
  hold 'nobody gets in at first' answers 401 "${login[@]}" "$page"
  hold 'a name with a colon' refuses mediaserv-user 'a:b' <<<secret
  hold 'a name with a line feed' refuses mediaserv-user $'a\nb' <<<secret
  hold 'no password' refuses mediaserv-user root </dev/null
  hold 'nobody to take away' refuses mediaserv-user --delete root
  hold 'no file yet' test ! -e /etc/mediaserv.users
  echo wrong | mediaserv-user root
  echo secret | mediaserv-user root
  hold 'asked on a terminal' matches "$( (sleep 1; echo other; sleep 1; echo other) | script -qec "$script" /dev/null)" 'Again:'
  hold 'let in from the terminal' answers 200 --user eve:other "$page"
  hold 'only root reads the hashes' test "$(stat -c '%a %U' /etc/mediaserv.users)" = '600 root'
  mediaserv-user --delete eve
  hold 'taken away' answers 401 --user eve:other "$page"
}

uses() {
  users
  hold 'the page' matches "$(curl --silent "${login[@]}" "$page")" 'app\.js'
  hold 'what the media server can do' cmp <(curl --silent "${login[@]}" "${page}appliance.json") /usr/share/mediaserv-minidlna/appliance.json
  hold 'and its status' matches "$(curl --silent "${login[@]}" "${page}status.json")" '"running_since":[1-9]'
  hold 'not without a password' answers 401 "$page"
  hold 'nor with a wrong one' answers 401 --user root:wrong "$page"
  hold 'the program takes no GET' answers 403 "${login[@]}" "$program"
  hold 'plain http from elsewhere is sent to https' answers '307 https://192.0.2.1/mediaserv/' http://192.0.2.1/mediaserv/
  hold 'so is the program' answers '307 https://192.0.2.1/cgi-bin/mediaserv' --data action=loadlogconf http://192.0.2.1/cgi-bin/mediaserv
  hold 'other pages are not' answers 404 http://192.0.2.1/other
  hold 'https' answers 200 "${login[@]}" https://192.0.2.1/mediaserv/
  local action fields pattern answer count=0
  while IFS='|' read -r action fields pattern; do
    answer=$(act "$action" "$fields" | if [[ $action == downloadlog ]]; then tar tz; else cat; fi)
    hold "$action" matches "$answer" "$pattern"
    count=$((count + 1))
  done < <(sed '/^#/d' actions)
  hold 'all nineteen actions' test "$count" = 19
}

# By whom the media server's port is served: minidlna's own service, or dms.
served_by() {
  local own=/run/minidlna/minidlna.pid
  hold "media is served by $1" answers 200 --retry 20 --retry-delay 1 --retry-connrefused http://127.0.0.1:8200/
  case $1 in
    minidlna) hold 'not by dms' test -e "$own" -a ! -e /run/dms.pid ;;
    dms) hold 'not by minidlna' test ! -e "$own" -a -e /run/dms.pid ;;
  esac
}

kept() {
  hold "settings are kept, $1" matches "$(act load_browsing_page)" '"musicdisplayinfo":"artist"'
  hold "the page is served, $1" answers 200 "${login[@]}" "$page"
  hold "the certificate is kept, $1" test "$certificate" = "$(md5sum </etc/mediaserv/tls.pem)"
}

rm -rf /var/lib/apt/lists/* && mkdir -p /var/lib/apt/lists/partial
printf '#!/bin/sh\n' >/usr/sbin/policy-rc.d # without an init system services start only where a policy lets them
chmod +x /usr/sbin/policy-rc.d
service lighttpd start
service minidlna start
served_by minidlna
hold 'the web server' answers 404 http://127.0.0.1/other
packages=(*.deb)
for deb in "${packages[@]}"; do repack "$deb" 0.9; done
files >/debs/before

echo "== installing the version before"
hold 'installed' install "${packages[@]/#//debs/old_}"
((failures == 0)) || exit 1
served_by dms
uses
certificate=$(md5sum </etc/mediaserv/tls.pem)

echo "== upgrading"
hold 'upgraded' install "${packages[@]/#//debs/}"
kept 'after the upgrade'
served_by dms

echo "== removing"
names=()
for deb in "${packages[@]}"; do names+=("$(dpkg-deb -f "$deb" Package)"); done
hold 'removed' apt-get -qq remove "${names[@]}"
served_by minidlna
hold 'the page has gone' answers 404 "$page"
hold 'the settings stay' grep -q artist "$settings/dmsinfo.conf"
hold 'the users stay' grep -q '^root:.6.' /etc/mediaserv.users

echo "== coming back"
hold 'installed again' install "${packages[@]/#//debs/}"
kept 'after the return'

echo "== purging"
hold 'purged' apt-get -qq purge "${names[@]}"
files >/debs/after
hold 'no trace' diff /debs/before /debs/after
hold 'no logs and no state' refuses ls -d /var/log/dms.log* /run/dms* /run/mediaserv*

echo "== a web server with a broken configuration"
echo 'server.modules += (' >/etc/lighttpd/conf-enabled/60-broken.conf
hold 'installed' matches "$(install "${packages[@]/#//debs/}")" 'the page is not served'
hold 'the web server runs on' answers 404 http://127.0.0.1/other
hold 'nothing is enabled' test ! -e /etc/lighttpd/conf-enabled/50-mediaserv.conf
rm /etc/lighttpd/conf-enabled/60-broken.conf
hold 'purged' apt-get -qq purge "${names[@]}"
files >/debs/after
hold 'no trace again' diff /debs/before /debs/after

echo "== a web server with TLS of its own"
openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=own -keyout key -out crt 2>/dev/null
cat key crt >/etc/lighttpd/server.pem
lighty-enable-mod ssl
service lighttpd restart
hold 'installed' matches "$(install "${packages[@]/#//debs/}")" 'https is set up already'
echo secret | mediaserv-user root
hold 'its certificate stays' matches "$(curl --silent --verbose --insecure https://192.0.2.1/ 2>&1)" 'CN=own'
hold 'the page by its https' answers 200 "${login[@]}" https://192.0.2.1/mediaserv/
hold 'the administrator disables it' lighty-disable-mod mediaserv
service lighttpd restart
hold 'installed anew' install --reinstall "${packages[@]/#//debs/}"
hold 'it stays disabled' answers 404 "$page"

service minidlna stop
service lighttpd stop
exit $((failures > 0))
