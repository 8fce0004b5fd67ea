#!/bin/bash
# Google Cloud Storage test server (ours: tests/servers/gcs/gcs_server.py) on 127.0.0.1, with the
# OAuth token endpoints, behind the service's fixed https host names.
#
# Usage: start-gcs.sh [start|stop|status|restart]
#   start   makes the test CA, the server certificate and the service-account keys (once), starts
#           (or keeps) the server, prints the endpoint (the proxy and admin address) on stdout
#   stop    stops it by its PID file
#   status  one line on stdout; exit 0 only if it runs and answers
# Env:   GCS_PORT (default 9023): HTTP proxy that tunnels CONNECT to the fixed host names on 443
#        and serves /_admin/; GCS_TLS_PORT (default 9024): the TLS listener behind it;
#        GCS_CLIENT_ID, GCS_CLIENT_SECRET: the OAuth client the library was built with;
#        CLOUDTEST_RUN (default /tmp/norvik-cloudtest)
# Clients reach https://storage.googleapis.com, https://www.googleapis.com and
# https://accounts.google.com through the proxy and trust $CLOUDTEST_RUN/gcs/ca.pem;
# GET <endpoint>/_admin/info gives the paths and test credentials.
set -eu
HERE="$(cd "$(dirname "$0")" && pwd)"
. "$HERE/lib.sh"

PORT="${GCS_PORT:-9023}"
TLS_PORT="${GCS_TLS_PORT:-9024}"
DIR="$CT_RUN/gcs"
PIDF="$DIR/gcs.pid"
ENDPOINT="http://$CT_HOST:$PORT"
SERVER="$HERE/gcs/gcs_server.py"
PY=/usr/bin/python3

ready() { curl -sf -o /dev/null "$ENDPOINT/_admin/stats"; }

cmd="${1:-start}"
case "$cmd" in
start|stop|status|restart) ;;
*) echo "usage: $0 [start|stop|status|restart]" >&2; exit 2 ;;
esac

if [ "$cmd" = status ]; then
  if ct_pid_alive "$PIDF" && ready; then echo "gcs running pid $(ct_pid_of "$PIDF") at $ENDPOINT"; exit 0; fi
  echo "gcs not running"; exit 1
fi

ct_lock gcs

if [ "$cmd" = stop ] || [ "$cmd" = restart ]; then
  ct_stop_pidfile "$PIDF"
  ct_log "stopped"
  [ "$cmd" = stop ] && exit 0
fi

if ct_pid_alive "$PIDF"; then
  if ready; then ct_log "already running ($ENDPOINT)"; echo "$ENDPOINT"; exit 0; fi
  ct_stop_pidfile "$PIDF"
fi
for p in "$PORT" "$TLS_PORT"; do
  ct_port_open "$p" && ct_die "port $p on $CT_HOST is already used by another process; set GCS_PORT/GCS_TLS_PORT"
done

ct_apt_install curl openssl python3-cryptography || ct_die "cannot install curl, openssl, python3-cryptography"
mkdir -p "$DIR" || ct_die "cannot create $DIR"

# Keys and certificates, made once per state folder.
if [ ! -s "$DIR/other.p12" ]; then
  ct_log "making the test CA, the server certificate and the service-account keys in $DIR"
  (
    set -e
    cd "$DIR"
    openssl req -x509 -newkey rsa:2048 -nodes -keyout ca.key -out ca.pem -days 3650 -subj "/CN=norvik test CA" 2>/dev/null
    openssl req -newkey rsa:2048 -nodes -keyout server.key -out server.csr -subj "/CN=storage.googleapis.com" 2>/dev/null
    printf '%s\n' "subjectAltName=DNS:storage.googleapis.com,DNS:www.googleapis.com,DNS:accounts.google.com,DNS:oauth2.googleapis.com,DNS:localhost,IP:127.0.0.1" \
      "basicConstraints=CA:FALSE" "extendedKeyUsage=serverAuth" > server.ext
    openssl x509 -req -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial -out server.pem -days 3650 -extfile server.ext 2>/dev/null
    # The service account's key as the service issues it: RC2-40 encryption, pass phrase "notasecret".
    openssl req -x509 -newkey rsa:2048 -nodes -keyout sa.key -out sa_cert.pem -days 3650 -subj "/CN=backup-test" 2>/dev/null
    openssl pkcs12 -export -legacy -inkey sa.key -in sa_cert.pem -passout pass:notasecret -out sa.p12
    # A well-formed key of another account, which the token endpoint must refuse.
    openssl req -x509 -newkey rsa:2048 -nodes -keyout other.key -out other_cert.pem -days 3650 -subj "/CN=other" 2>/dev/null
    openssl pkcs12 -export -inkey other.key -in other_cert.pem -passout pass:notasecret -out other.p12
  ) || ct_die "openssl failed to make the keys"
fi

ct_start_bg "$PIDF" "$DIR/gcs.log" "$SERVER" \
  "$PY" "$SERVER" --port "$PORT" --tls-port "$TLS_PORT" --dir "$DIR"

deadline=$(( $(date +%s) + 30 ))
until ready; do
  if ! ct_pid_alive "$PIDF" || [ "$(date +%s)" -ge "$deadline" ]; then
    ct_log "ERROR: gcs did not start; log $DIR/gcs.log:"
    tail -20 "$DIR/gcs.log" >&2
    ct_stop_pidfile "$PIDF"
    exit 1
  fi
  sleep 0.1
done
ct_log "ready: $ENDPOINT pid $(ct_pid_of "$PIDF"), TLS on $TLS_PORT, CA $DIR/ca.pem"
echo "$ENDPOINT"
