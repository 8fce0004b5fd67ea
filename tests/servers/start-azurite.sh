#!/bin/bash
# Azure Blob test server: npm azurite 3.37.0, blob service only, on 127.0.0.1, installed into
# $CLOUDTEST_PREFIX/npm.
#
# Usage: start-azurite.sh [start|stop|status|restart]
#   start   installs what is missing, starts (or keeps) the server, prints the endpoint on stdout
#   stop    stops it by its PID file
#   status  one line on stdout; exit 0 only if it runs and answers
# Env:   AZURITE_PORT (default 10000), CLOUDTEST_RUN (default /tmp/norvik-cloudtest),
#        CLOUDTEST_PREFIX (default /opt/norvik-cloudtest)
# Account: devstoreaccount1, key (azurite's well-known one)
#   Eby8vdM02xNOcqFlqUwJPLlmEtlCDXJ1OUzFT50uSRZ6IFsuFq2UVErCz4I6tq/K1SZFPTOtr/KBHBeksoGMGw==
# The endpoint printed is the path-style one, http://127.0.0.1:PORT/devstoreaccount1, for
# clients such as az. Clients that put the account in the host name reach the same server as
# http://devstoreaccount1.blob.localhost:PORT (libcurl resolves *.localhost to the loopback).
# SharedKey and service SAS signatures are verified (a wrong key gets 403).
# Known limits of azurite 3.37.0: archive rehydration is not simulated (a blob set back to Hot
# is readable at once), and there are no server-side fault injections.
set -eu
HERE="$(cd "$(dirname "$0")" && pwd)"
. "$HERE/lib.sh"

VERSION=3.37.0
PORT="${AZURITE_PORT:-10000}"
DIR="$CT_RUN/azurite"
PIDF="$DIR/azurite.pid"
ENDPOINT="http://$CT_HOST:$PORT/devstoreaccount1"
JS="$CT_PREFIX/npm/node_modules/azurite/dist/src/blob/main.js"

# Any HTTP answer means it listens (an unsigned request is refused with 4xx).
ready() { curl -s -o /dev/null "http://$CT_HOST:$PORT/"; }

cmd="${1:-start}"
case "$cmd" in
start|stop|status|restart) ;;
*) echo "usage: $0 [start|stop|status|restart]" >&2; exit 2 ;;
esac

if [ "$cmd" = status ]; then
  if ct_pid_alive "$PIDF" && ready; then echo "azurite running pid $(ct_pid_of "$PIDF") at $ENDPOINT"; exit 0; fi
  if ct_pid_alive "$PIDF"; then echo "azurite running pid $(ct_pid_of "$PIDF") but not answering at $ENDPOINT"; exit 1; fi
  echo "azurite not running"; exit 1
fi

ct_lock azurite

if [ "$cmd" = stop ] || [ "$cmd" = restart ]; then
  ct_stop_pidfile "$PIDF"
  ct_log "stopped"
  [ "$cmd" = stop ] && exit 0
fi

if ct_pid_alive "$PIDF"; then
  if ready; then ct_log "already running ($ENDPOINT)"; echo "$ENDPOINT"; exit 0; fi
  ct_log "azurite pid $(ct_pid_of "$PIDF") does not answer: restarting it"
  ct_stop_pidfile "$PIDF"
fi

if ct_port_open "$PORT"; then
  ct_die "port $PORT on $CT_HOST is already used by another process; stop it or set AZURITE_PORT"
fi

ct_apt_install curl || ct_die "cannot install curl"
ct_npm_install "azurite@$VERSION" || ct_die "cannot install azurite@$VERSION with npm (see above)"
[ -f "$JS" ] || ct_die "azurite not found at $JS after npm install"
command -v node >/dev/null || ct_die "node not found"

# A fresh store on every start: tests never depend on what an earlier run left.
rm -rf "$DIR/data"
mkdir -p "$DIR/data" || ct_die "cannot create $DIR"
# --disableTelemetry: no network here; --skipApiVersionCheck: accept our older x-ms-version.
ct_start_bg "$PIDF" "$DIR/azurite.log" "$JS" \
  "$(command -v node)" "$JS" --blobHost "$CT_HOST" --blobPort "$PORT" -l "$DIR/data" \
  --disableTelemetry --skipApiVersionCheck -d "$DIR/debug.log"

deadline=$(( $(date +%s) + 60 ))
until ready; do
  if ! ct_pid_alive "$PIDF" || [ "$(date +%s)" -ge "$deadline" ]; then
    ct_log "ERROR: azurite did not start; log $DIR/azurite.log:"
    tail -20 "$DIR/azurite.log" >&2
    ct_stop_pidfile "$PIDF"
    exit 1
  fi
  sleep 0.1
done
ct_log "ready: $ENDPOINT pid $(ct_pid_of "$PIDF"), account devstoreaccount1, data $DIR/data"
echo "$ENDPOINT"
