#!/bin/sh
# Starts and stops the media server daemon: S86vexadms.sh start|stop|restart
set -eu

# Under systemd the daemon belongs to its unit, which runs this with DMS_UNIT set.
if [ -z "${DMS_UNIT-}" ] && [ -d /run/systemd/system ] && [ -e @ROOT@/lib/systemd/system/dms.service ]; then
  exec systemctl "${1-}" dms.service
fi

PID_FILE=@ROOT@/var/run/dms.pid
DMS=@ROOT@/var/packages/Dalmira/target/sbin/dms

# Prints the daemon's process number. The file alone proves nothing, it may be left over; but a running daemon locks it.
running() {
  [ -e "$PID_FILE" ] && ! flock -n "$PID_FILE" true && cat "$PID_FILE" 2>/dev/null
}

start() {
  running >/dev/null || "$DMS" 9>&-
}

stop() {
  tenths=0
  while pid=$(running); do
    case $tenths in
      0) kill -TERM "$pid" || : ;;
      100) kill -KILL "$pid" || : ;;
      150) return 1 ;;
    esac
    tenths=$((tenths + 1))
    sleep 0.1
  done
  rm -f "$PID_FILE" "${PID_FILE%.pid}.ip"
}

# One at a time: two restarts at once would leave two daemons.
exec 9>"$PID_FILE.lock"
flock 9

case ${1-} in
  start) start ;;
  stop) stop ;;
  restart)
    stop
    start
    ;;
  *)
    echo "usage: $0 start|stop|restart" >&2
    exit 2
    ;;
esac
