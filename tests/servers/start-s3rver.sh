#!/bin/bash
# S3 test server: npm s3rver 3.7.1 on 127.0.0.1, installed into $CLOUDTEST_PREFIX/npm.
#
# Usage: start-s3rver.sh [start|stop|status|restart]
#   start   installs what is missing, starts (or keeps) the server, prints the endpoint on stdout
#   stop    stops it by its PID file
#   status  one line on stdout; exit 0 only if it runs and answers
# Env:   S3RVER_PORT (default 4568), CLOUDTEST_RUN (default /tmp/norvik-cloudtest),
#        CLOUDTEST_PREFIX (default /opt/norvik-cloudtest)
# Credentials: access key S3RVER, secret S3RVER (fixed in s3rver). Path-style only.
# Known limits of s3rver 3.7.1:
#   - SigV4 signatures are NOT verified (any secret is accepted; only the access key id is checked):
#     use Swift's s3api (start-swift.sh) for signature tests
#   - SigV2 is verified, but header auth only works when the client signs with x-amz-date
#     (s3rver leaves the Date line of the StringToSign empty); presigned V2 URLs are verified
#   - no ListParts, AbortMultipartUpload, ListMultipartUploads; anonymous requests are allowed
set -eu
HERE="$(cd "$(dirname "$0")" && pwd)"
. "$HERE/lib.sh"

VERSION=3.7.1
PORT="${S3RVER_PORT:-4568}"
DIR="$CT_RUN/s3rver"
PIDF="$DIR/s3rver.pid"
ENDPOINT="http://$CT_HOST:$PORT"
JS="$CT_PREFIX/npm/node_modules/s3rver/bin/s3rver.js"

ready() { curl -sf -o /dev/null "$ENDPOINT/"; }

cmd="${1:-start}"
case "$cmd" in
start|stop|status|restart) ;;
*) echo "usage: $0 [start|stop|status|restart]" >&2; exit 2 ;;
esac

if [ "$cmd" = status ]; then
  if ct_pid_alive "$PIDF" && ready; then echo "s3rver running pid $(ct_pid_of "$PIDF") at $ENDPOINT"; exit 0; fi
  if ct_pid_alive "$PIDF"; then echo "s3rver running pid $(ct_pid_of "$PIDF") but not answering at $ENDPOINT"; exit 1; fi
  echo "s3rver not running"; exit 1
fi

ct_lock s3rver

if [ "$cmd" = stop ] || [ "$cmd" = restart ]; then
  ct_stop_pidfile "$PIDF"
  ct_log "stopped"
  [ "$cmd" = stop ] && exit 0
fi

if ct_pid_alive "$PIDF"; then
  if ready; then ct_log "already running ($ENDPOINT)"; echo "$ENDPOINT"; exit 0; fi
  ct_log "s3rver pid $(ct_pid_of "$PIDF") does not answer: restarting it"
  ct_stop_pidfile "$PIDF"
fi

if ct_port_open "$PORT"; then
  ct_die "port $PORT on $CT_HOST is already used by another process; stop it or set S3RVER_PORT"
fi

ct_apt_install curl || ct_die "cannot install curl"
ct_npm_install "s3rver@$VERSION" || ct_die "cannot install s3rver@$VERSION with npm (see above)"
[ -f "$JS" ] || ct_die "s3rver not found at $JS after npm install"
command -v node >/dev/null || ct_die "node not found"

mkdir -p "$DIR/data" || ct_die "cannot create $DIR"
# --openssl-legacy-provider: s3rver makes ListObjectsV2 continuation tokens with DES,
# which Node's OpenSSL 3 refuses otherwise (HTTP 500 InternalError on paged ListObjectsV2).
export NODE_OPTIONS=--openssl-legacy-provider
ct_start_bg "$PIDF" "$DIR/s3rver.log" "$JS" \
  "$(command -v node)" "$JS" -d "$DIR/data" -a "$CT_HOST" -p "$PORT" --no-vhost-buckets

deadline=$(( $(date +%s) + 30 ))
until ready; do
  if ! ct_pid_alive "$PIDF" || [ "$(date +%s)" -ge "$deadline" ]; then
    ct_log "ERROR: s3rver did not start; log $DIR/s3rver.log:"
    tail -20 "$DIR/s3rver.log" >&2
    ct_stop_pidfile "$PIDF"
    exit 1
  fi
  sleep 0.1
done
ct_log "ready: $ENDPOINT pid $(ct_pid_of "$PIDF"), access key S3RVER / secret S3RVER, data $DIR/data"
echo "$ENDPOINT"
