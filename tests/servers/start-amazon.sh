#!/bin/bash
# Amazon S3 test server (amazon/s3server.py, Debian's python3) over TLS on 127.0.0.1.
#
# Usage: start-amazon.sh [start|stop|status|restart]
#   start   makes the test CA and the server certificate once, starts (or keeps) the server,
#           prints the endpoint on stdout
#   stop    stops it by its PID file
#   status  one line on stdout; exit 0 only if it runs and answers
# Env:   AMAZON_PORT (default 25040), AMAZON_DOMAIN (default amazon.test),
#        CLOUDTEST_RUN (default /tmp/norvik-cloudtest)
# Files: $CLOUDTEST_RUN/amazon/ca.pem is the CA that clients must trust. The certificate names
#        the service hosts under the domain ("s3.", "*.s3.", "*.s3-accelerate.", "*.s3.<region>."
#        and "*.<region>." for every built-in region) and 127.0.0.1. Nothing resolves these
#        names: clients connect them to 127.0.0.1:$AMAZON_PORT themselves (libcurl's connect-to,
#        or path-style requests to https://127.0.0.1:$AMAZON_PORT).
# Credentials: access key AKIAAMAZONTEST000001, secret amazon-test-secret/Key+0123456789abcdefghij.
set -eu
HERE="$(cd "$(dirname "$0")" && pwd)"
. "$HERE/lib.sh"

PORT="${AMAZON_PORT:-25040}"
DOMAIN="${AMAZON_DOMAIN:-amazon.test}"
DIR="$CT_RUN/amazon"
PIDF="$DIR/amazon.pid"
ENDPOINT="https://$CT_HOST:$PORT"
PY=/usr/bin/python3
SERVER="$HERE/amazon/s3server.py"

ready() { curl -s -o /dev/null --cacert "$DIR/ca.pem" "$ENDPOINT/"; }

make_certificates() {
  [ -s "$DIR/ca.pem" ] && [ -s "$DIR/server.pem" ] && [ -s "$DIR/server.key" ] && return 0
  local regions names
  regions=$(sed -n 's:.*<Endpoint>\([^<]*\)</Endpoint>.*:\1:p' "$HERE/../../src/info/regions.s3.xml")
  names="DNS:s3.$DOMAIN,DNS:*.s3.$DOMAIN,DNS:*.s3-accelerate.$DOMAIN,DNS:localhost,IP:127.0.0.1"
  for r in $regions; do names="$names,DNS:*.$r.$DOMAIN,DNS:*.s3.$r.$DOMAIN,DNS:s3.$r.$DOMAIN"; done
  openssl req -x509 -newkey rsa:2048 -nodes -days 3650 -subj "/CN=Norvik test CA" \
    -keyout "$DIR/ca.key" -out "$DIR/ca.pem" >/dev/null 2>&1 || return 1
  openssl req -newkey rsa:2048 -nodes -subj "/CN=s3.$DOMAIN" \
    -keyout "$DIR/server.key" -out "$DIR/server.csr" >/dev/null 2>&1 || return 1
  printf 'subjectAltName=%s\nbasicConstraints=CA:FALSE\nextendedKeyUsage=serverAuth\n' "$names" > "$DIR/server.ext"
  openssl x509 -req -in "$DIR/server.csr" -CA "$DIR/ca.pem" -CAkey "$DIR/ca.key" -CAcreateserial \
    -days 3650 -extfile "$DIR/server.ext" -out "$DIR/server.pem" >/dev/null 2>&1
}

cmd="${1:-start}"
case "$cmd" in
start|stop|status|restart) ;;
*) echo "usage: $0 [start|stop|status|restart]" >&2; exit 2 ;;
esac

if [ "$cmd" = status ]; then
  if ct_pid_alive "$PIDF" && ready; then echo "amazon running pid $(ct_pid_of "$PIDF") at $ENDPOINT"; exit 0; fi
  echo "amazon not running"; exit 1
fi

ct_lock amazon

if [ "$cmd" = stop ] || [ "$cmd" = restart ]; then
  ct_stop_pidfile "$PIDF"
  ct_log "stopped"
  [ "$cmd" = stop ] && exit 0
fi

mkdir -p "$DIR" || ct_die "cannot create $DIR"
if ct_pid_alive "$PIDF"; then
  if ready; then ct_log "already running ($ENDPOINT)"; echo "$ENDPOINT"; exit 0; fi
  ct_log "amazon pid $(ct_pid_of "$PIDF") does not answer: restarting it"
  ct_stop_pidfile "$PIDF"
fi

if ct_port_open "$PORT"; then
  ct_die "port $PORT on $CT_HOST is already used by another process; stop it or set AMAZON_PORT"
fi

ct_apt_install curl openssl python3 || ct_die "cannot install curl, openssl and python3"
make_certificates || ct_die "cannot make the test certificates in $DIR"

ct_start_bg "$PIDF" "$DIR/amazon.log" "$SERVER" \
  "$PY" "$SERVER" --port "$PORT" --domain "$DOMAIN" --cert "$DIR/server.pem" --key "$DIR/server.key"

if ! ct_wait_cmd 20 ready; then
  ct_log "ERROR: the amazon test server did not start; log $DIR/amazon.log:"
  tail -20 "$DIR/amazon.log" >&2
  ct_stop_pidfile "$PIDF"
  exit 1
fi
ct_log "ready: $ENDPOINT pid $(ct_pid_of "$PIDF"), CA $DIR/ca.pem"
echo "$ENDPOINT"
