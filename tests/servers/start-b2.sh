#!/bin/bash
# B2 test server: our B2 native API server (b2/b2server.py) on Debian's python3-b2sdk simulator,
# on 127.0.0.1.
#
# Usage: start-b2.sh [start|stop|status|restart]
#   start   installs what is missing, starts (or keeps) the server, prints the endpoint on stdout
#   stop    stops it by its PID file
#   status  one line on stdout; exit 0 only if it runs and answers
# Env:   B2_PORT (default 8240), CLOUDTEST_RUN (default /tmp/norvik-cloudtest)
# Credentials: key id 000a1b2c3d4e5f60000000001, application key K000xxxxxxxxxxxxxxxxxxxxxxxxxxx
# (the server's defaults). Fault hooks under /_test/ (see b2/b2server.py).
set -eu
HERE="$(cd "$(dirname "$0")" && pwd)"
. "$HERE/lib.sh"

PORT="${B2_PORT:-8240}"
DIR="$CT_RUN/b2"
PIDF="$DIR/b2.pid"
ENDPOINT="http://$CT_HOST:$PORT"
SERVER="$HERE/b2/b2server.py"

# An unauthorised call answers 401 with a JSON body: the server is up.
ready() { [ "$(curl -s -o /dev/null -w '%{http_code}' "$ENDPOINT/b2api/v1/b2_authorize_account")" = 401 ]; }

cmd="${1:-start}"
case "$cmd" in
start|stop|status|restart) ;;
*) echo "usage: $0 [start|stop|status|restart]" >&2; exit 2 ;;
esac

if [ "$cmd" = status ]; then
  if ct_pid_alive "$PIDF" && ready; then echo "b2 running pid $(ct_pid_of "$PIDF") at $ENDPOINT"; exit 0; fi
  if ct_pid_alive "$PIDF"; then echo "b2 running pid $(ct_pid_of "$PIDF") but not answering at $ENDPOINT"; exit 1; fi
  echo "b2 not running"; exit 1
fi

ct_lock b2

if [ "$cmd" = stop ] || [ "$cmd" = restart ]; then
  ct_stop_pidfile "$PIDF"
  ct_log "stopped"
  [ "$cmd" = stop ] && exit 0
fi

if ct_pid_alive "$PIDF"; then
  if ready; then ct_log "already running ($ENDPOINT)"; echo "$ENDPOINT"; exit 0; fi
  ct_log "b2 pid $(ct_pid_of "$PIDF") does not answer: restarting it"
  ct_stop_pidfile "$PIDF"
fi

if ct_port_open "$PORT"; then
  ct_die "port $PORT on $CT_HOST is already used by another process; stop it or set B2_PORT"
fi

ct_apt_install curl python3-b2sdk || ct_die "cannot install python3-b2sdk"
/usr/bin/python3 -c 'import b2sdk.raw_simulator' 2>/dev/null || ct_die "/usr/bin/python3 cannot import b2sdk"

mkdir -p "$DIR" || ct_die "cannot create $DIR"
ct_start_bg "$PIDF" "$DIR/b2.log" "$SERVER" /usr/bin/python3 "$SERVER" --port "$PORT"

deadline=$(( $(date +%s) + 30 ))
until ready; do
  if ! ct_pid_alive "$PIDF" || [ "$(date +%s)" -ge "$deadline" ]; then
    ct_log "ERROR: b2 server did not start; log $DIR/b2.log:"
    tail -20 "$DIR/b2.log" >&2
    ct_stop_pidfile "$PIDF"
    exit 1
  fi
  sleep 0.1
done
ct_log "ready: $ENDPOINT pid $(ct_pid_of "$PIDF"), log $DIR/b2.log"
echo "$ENDPOINT"
