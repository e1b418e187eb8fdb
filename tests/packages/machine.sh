#!/bin/bash
# Installs the packages on a machine that already runs lighttpd and minidlna. Runs as root in a temporary Debian system
# without a network.
# shellcheck disable=SC2317 # check calls most functions
set -uo pipefail
cd "$(dirname "$(readlink -f "$0")")" || exit

failures=0
page=http://127.0.0.1/mediaserv/
program=http://127.0.0.1/cgi-bin/mediaserv
settings=/var/packages/Dalmira/etc
login=(--user root:secret)

# check WHAT COMMAND...: the command must succeed.
check() {
  if "${@:2}"; then
    echo "ok: $1"
  else
    echo "FAILED: $1"
    failures=$((failures + 1))
  fi
}
matches() { grep -qE -e "$2" <<<"$1" || { echo "${1:0:300}" && false; }; }
status() { curl --silent --insecure --output /dev/null --write-out '%{http_code} %{redirect_url}' "$@"; }
# responds "CODE [REDIRECT]" ARGUMENT...: a request with these arguments of curl gets this status and redirection.
responds() { matches "$(status "${@:2}")" "^$1 ?$"; }
act() { curl --silent --max-time 60 "${login[@]}" --data "action=$1${2:+&$2}" "$program"; }
# Lists all files with type, mode and owner, and the checksums of those below /etc. Omits directories in which packages
# legitimately leave files.
files() {
  find / -xdev \( -path /proc -o -path /dev -o -path /debs -o -path /run -o -path /tmp -o -path /var/cache -o -path /var/log \
    -o -path /var/lib/dpkg -o -path /var/lib/apt -o -path /var/lib/systemd \) -prune -o -printf '%p %y %m %u %g\n' | sort
  find /etc -type f -print0 | sort -z | xargs -0 md5sum
  find /var/lib/systemd /etc/rc?.d -printf '%p\n' | sort
}
install() { apt-get -qq -o Dpkg::Use-Pty=0 install "$@" 2>&1; }
# repack DEB VERSION: makes old_DEB, the same package with an older version.
repack() {
  rm -rf old
  dpkg-deb -R "$1" old
  sed -i "s/^Version: .*/Version: $2/; s/(= [^)]*)/(= $2)/" old/DEBIAN/control
  dpkg-deb -Zgzip -b old "old_$1" >/dev/null
  rm -rf old
}

fails() { ! "$@" 2>/dev/null; }
users() {
  local script='mediaserv-user eve'
  check 'no user may log in at first' responds 401 "${login[@]}" "$page"
  check 'a name with a colon is rejected' fails mediaserv-user 'a:b' <<<secret
  check 'a name with a line feed is rejected' fails mediaserv-user $'a\nb' <<<secret
  check 'an empty password is rejected' fails mediaserv-user root </dev/null
  check 'an unknown user cannot be deleted' fails mediaserv-user --delete root
  check 'no file is created' test ! -e /etc/mediaserv.users
  echo wrong | mediaserv-user root
  echo secret | mediaserv-user root
  check 'a terminal asks for the password twice' matches "$( (sleep 1; echo other; sleep 1; echo other) | script -qec "$script" /dev/null)" 'Again:'
  check 'this password is accepted' responds 200 --user eve:other "$page"
  check 'only root reads the hashes' test "$(stat -c '%a %U' /etc/mediaserv.users)" = '600 root'
  mediaserv-user --delete eve
  check 'a deleted user is rejected' responds 401 --user eve:other "$page"
}

uses() {
  users
  check 'the page is served' matches "$(curl --silent "${login[@]}" "$page")" 'app\.js'
  check 'the page gets the features of the media server' cmp <(curl --silent "${login[@]}" "${page}appliance.json") /usr/share/mediaserv-minidlna/appliance.json
  check 'the page gets the status of the media server' matches "$(curl --silent "${login[@]}" "${page}status.json")" '"running_since":[1-9]'
  check 'the page is not served without a password' responds 401 "$page"
  check 'the page is not served with a wrong password' responds 401 --user root:wrong "$page"
  check 'the program rejects GET' responds 403 "${login[@]}" "$program"
  check 'http from another host is redirected to https' responds '307 https://192.0.2.1/mediaserv/' http://192.0.2.1/mediaserv/
  check 'http to the program is redirected to https' responds '307 https://192.0.2.1/cgi-bin/mediaserv' --data action=loadlogconf http://192.0.2.1/cgi-bin/mediaserv
  check 'other pages are not redirected' responds 404 http://192.0.2.1/other
  check 'the page is served by https' responds 200 "${login[@]}" https://192.0.2.1/mediaserv/
  local action fields pattern response count=0
  while IFS='|' read -r action fields pattern; do
    response=$(act "$action" "$fields" | if [[ $action == downloadlog ]]; then tar tz; else cat; fi)
    check "$action" matches "$response" "$pattern"
    count=$((count + 1))
  done < <(sed '/^#/d' actions)
  check 'all nineteen actions were tested' test "$count" = 19
  local tag
  tag=$(curl --silent --include "${login[@]}" -H 'If-Match: *' --data action=load_dma_page "$program" | sed -n 's/^ETag: //Ip' | tr -d '\r')
  check 'a conditional load has a tag' matches "$tag" '^"[0-9a-f]+"$'
  check 'a save with this tag succeeds' responds 200 "${login[@]}" -H "If-Match: $tag" --data action=save_dma_page "$program"
  check 'a save with the old tag fails' responds 412 "${login[@]}" -H "If-Match: $tag" --data action=save_dma_page "$program"
}

# served_by minidlna|dms: the media server's port belongs to the service of the package minidlna or to dms.
served_by() {
  local pid_file=/run/minidlna/minidlna.pid
  check "media is served by $1" responds 200 --retry 20 --retry-delay 1 --retry-connrefused http://127.0.0.1:8200/
  case $1 in
    minidlna) check 'dms does not run' test -e "$pid_file" -a ! -e /run/dms.pid ;;
    dms) check 'the service minidlna does not run' test ! -e "$pid_file" -a -e /run/dms.pid ;;
  esac
}

kept() {
  check "settings are kept, $1" matches "$(act load_browsing_page)" '"musicdisplayinfo":"artist"'
  check "the page is served, $1" responds 200 "${login[@]}" "$page"
  check "the certificate is kept, $1" test "$certificate" = "$(md5sum </etc/mediaserv/tls.pem)"
}

rm -rf /var/lib/apt/lists/* && mkdir -p /var/lib/apt/lists/partial
printf '#!/bin/sh\n' >/usr/sbin/policy-rc.d # without an init system, services start only if this policy allows it
chmod +x /usr/sbin/policy-rc.d
service lighttpd start
service minidlna start
served_by minidlna
check 'the web server runs' responds 404 http://127.0.0.1/other
packages=(*.deb)
for deb in "${packages[@]}"; do repack "$deb" 0.9; done
files >/debs/before

echo "== installing an older version"
check 'installed' install "${packages[@]/#//debs/old_}"
((failures == 0)) || exit 1
served_by dms
uses
certificate=$(md5sum </etc/mediaserv/tls.pem)

echo "== upgrading"
check 'upgraded' install "${packages[@]/#//debs/}"
kept 'after the upgrade'
served_by dms

echo "== removing"
names=()
for deb in "${packages[@]}"; do names+=("$(dpkg-deb -f "$deb" Package)"); done
check 'removed' apt-get -qq remove "${names[@]}"
served_by minidlna
check 'the page is gone' responds 404 "$page"
check 'the settings are kept' grep -q artist "$settings/dmsinfo.conf"
check 'the users are kept' grep -q '^root:.6.' /etc/mediaserv.users

echo "== installing again"
check 'installed again' install "${packages[@]/#//debs/}"
kept 'after the second installation'

echo "== purging"
check 'purged' apt-get -qq purge "${names[@]}"
files >/debs/after
check 'no file is left' diff /debs/before /debs/after
check 'no log and no state is left' fails ls -d /var/log/dms.log* /run/dms* /run/mediaserv*

echo "== a web server with a broken configuration"
echo 'server.modules += (' >/etc/lighttpd/conf-enabled/60-broken.conf
check 'installed' matches "$(install "${packages[@]/#//debs/}")" 'the page is not served'
check 'the web server keeps running' responds 404 http://127.0.0.1/other
check 'the configuration is not enabled' test ! -e /etc/lighttpd/conf-enabled/50-mediaserv.conf
rm /etc/lighttpd/conf-enabled/60-broken.conf
check 'purged' apt-get -qq purge "${names[@]}"
files >/debs/after
check 'no file is left again' diff /debs/before /debs/after

echo "== a web server that already has TLS"
openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=own -keyout key -out crt 2>/dev/null
cat key crt >/etc/lighttpd/server.pem
lighty-enable-mod ssl
service lighttpd restart
check 'installed' matches "$(install "${packages[@]/#//debs/}")" 'https is set up already'
echo secret | mediaserv-user root
check 'its certificate is kept' matches "$(curl --silent --verbose --insecure https://192.0.2.1/ 2>&1)" 'CN=own'
check 'the page is served by its https' responds 200 "${login[@]}" https://192.0.2.1/mediaserv/
check 'the administrator disables it' lighty-disable-mod mediaserv
service lighttpd restart
check 'reinstalled' install --reinstall "${packages[@]/#//debs/}"
check 'it stays disabled' responds 404 "$page"

service minidlna stop
service lighttpd stop
exit $((failures > 0))
