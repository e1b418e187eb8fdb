#!/bin/sh
# Starts and stops the media server daemon: S86vexadms.sh start|stop|restart
set -eu

# With systemd, the unit starts and stops the daemon. The unit runs this script with DMS_UNIT set.
if [ -z "${DMS_UNIT-}" ] && [ -d /run/systemd/system ] && [ -e @ROOT@/lib/systemd/system/dms.service ]; then
  exec systemctl "${1-}" dms.service
fi

PID_FILE=@ROOT@/var/run/dms.pid
DMS=@ROOT@/var/packages/Dalmira/target/sbin/dms

# Prints the process ID of the running daemon; fails if it is not running. The daemon keeps its PID file locked, so a
# file without a lock is stale.
running() {
  [ -e "$PID_FILE" ] && ! flock -n "$PID_FILE" true && cat "$PID_FILE" 2>/dev/null
}

# Descriptor 9 is the lock of this script: the daemon must not inherit it.
start() {
  running >/dev/null || "$DMS" 9>&-
}

# Kills the daemon if it has not ended after 10 seconds, and fails after 15.
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

# Calls of this script wait for each other: two restarts at the same time would leave two daemons running.
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
