#!/bin/sh
# Starts and stops the media server daemon: S86vexadms.sh start|stop|restart
set -eu

PID_FILE=@ROOT@/var/run/dms.pid
DMS=$(readlink -f @ROOT@/var/packages/Dalmira/target/sbin/dms)

# Prints the daemon's process number. The file alone proves nothing: it may be left over, and its number another
# program's by now. A daemon whose program was replaced since counts.
running() {
  pid=$(cat "$PID_FILE" 2>/dev/null) || return 1
  case $pid in '' | *[!0-9]*) return 1 ;; esac
  case $(readlink "/proc/$pid/exe") in
    "$DMS" | "$DMS (deleted)") echo "$pid" ;;
    *) return 1 ;;
  esac
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
