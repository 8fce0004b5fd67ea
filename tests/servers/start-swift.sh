#!/bin/bash
# OpenStack Swift all-in-one test server on 127.0.0.1 (Debian bookworm swift 2.30):
# memcached + account/container/object servers + proxy with tempauth (v1 auth),
# s3api (S3, V2 and V4 signatures checked), tempurl, slo, dlo, bulk, copy, versioned_writes, symlink.
# One replica, storage in a plain folder (mount_check = false); rings are built at first start.
#
# Usage: start-swift.sh [start|stop|status|restart]
#   start   installs what is missing, starts (or keeps) the servers, prints the endpoint on stdout
#   stop    stops every process by its PID file
#   status  one line per process on stdout; exit 0 only if all run and the proxy answers
# Env:   SWIFT_PORT (proxy, default 8080), SWIFT_BASE_PORT (default 6010: object, +1 container,
#        +2 account), SWIFT_MEMCACHE_PORT (default 11311), CLOUDTEST_RUN (default /tmp/norvik-cloudtest),
#        SWIFT_KEYSTONE=1 to accept Keystone tokens too (accounts KEY_<project id>; start-keystone.sh
#        does this for its own Swift), SWIFT_KEYSTONE_URL (default http://127.0.0.1:5000)
# Swift: curl -H 'X-Auth-User: test:tester' -H 'X-Auth-Key: testing' http://127.0.0.1:8080/auth/v1.0
#        other users: test2:tester2/testing2 (.admin), test:tester3/testing3 (no .admin),
#        admin:admin/admin (.reseller_admin)
# S3:    endpoint http://127.0.0.1:8080 (path-style), access key test:tester, secret testing, region us-east-1
set -eu
HERE="$(cd "$(dirname "$0")" && pwd)"
. "$HERE/lib.sh"

PROXY_PORT="${SWIFT_PORT:-8080}"
BASE="${SWIFT_BASE_PORT:-6010}"
OBJECT_PORT=$BASE; CONTAINER_PORT=$((BASE + 1)); ACCOUNT_PORT=$((BASE + 2))
MEMCACHE_PORT="${SWIFT_MEMCACHE_PORT:-11311}"
DIR="$CT_RUN/swift"
KEYSTONE="${SWIFT_KEYSTONE:-0}"
KEYSTONE_URL="${SWIFT_KEYSTONE_URL:-http://127.0.0.1:5000}"
# tempauth last, so that it can still claim its AUTH_ accounts beside keystoneauth's KEY_ ones.
AUTH_PIPELINE=tempauth
[ "$KEYSTONE" = 1 ] && AUTH_PIPELINE="authtoken keystoneauth tempauth"
ETC="$DIR/etc"; DEVICES="$DIR/srv"; RUN="$DIR/run"; LOG="$DIR/log"
SERVICES="memcached account container object proxy"
ENDPOINT="http://$CT_HOST:$PROXY_PORT"

port_of() {
  case "$1" in
    memcached) echo "$MEMCACHE_PORT" ;; account) echo "$ACCOUNT_PORT" ;;
    container) echo "$CONTAINER_PORT" ;; object) echo "$OBJECT_PORT" ;; proxy) echo "$PROXY_PORT" ;;
  esac
}

stop_all() {
  local s
  for s in proxy object container account memcached; do ct_stop_pidfile "$RUN/$s.pid"; done
}

all_alive() {
  local s
  for s in $SERVICES; do ct_pid_alive "$RUN/$s.pid" || return 1; done
}

any_alive() {
  local s
  for s in $SERVICES; do ct_pid_alive "$RUN/$s.pid" && return 0; done
  return 1
}

ready() {
  curl -sf -o /dev/null "http://$CT_HOST:$PROXY_PORT/healthcheck" &&
  curl -sf -o /dev/null "http://$CT_HOST:$ACCOUNT_PORT/healthcheck" &&
  curl -sf -o /dev/null "http://$CT_HOST:$CONTAINER_PORT/healthcheck" &&
  curl -sf -o /dev/null "http://$CT_HOST:$OBJECT_PORT/healthcheck" &&
  curl -sf -o /dev/null -H 'X-Auth-User: test:tester' -H 'X-Auth-Key: testing' "http://$CT_HOST:$PROXY_PORT/auth/v1.0"
}

fail_with_logs() {
  ct_log "ERROR: $*"
  local f
  for f in "$LOG"/*.log; do [ -f "$f" ] && { echo "--- $f" >&2; tail -n 15 "$f" >&2; }; done
  stop_all
  exit 1
}

cmd="${1:-start}"
case "$cmd" in
start|stop|status|restart) ;;
*) echo "usage: $0 [start|stop|status|restart]" >&2; exit 2 ;;
esac

if [ "$cmd" = status ]; then
  rc=0
  for s in $SERVICES; do
    if ct_pid_alive "$RUN/$s.pid"; then echo "$s running pid $(ct_pid_of "$RUN/$s.pid") port $(port_of "$s")"
    else echo "$s not running"; rc=1; fi
  done
  if [ $rc = 0 ] && ready; then echo "swift ready at $ENDPOINT"; else echo "swift not ready"; rc=1; fi
  exit $rc
fi

ct_lock swift

if [ "$cmd" = stop ] || [ "$cmd" = restart ]; then
  stop_all
  ct_log "stopped"
  [ "$cmd" = stop ] && exit 0
fi

# start: already running and answering? Then just report the endpoint.
if all_alive && ready; then
  ct_log "already running ($ENDPOINT)"
  echo "$ENDPOINT"
  exit 0
fi
if any_alive; then
  ct_log "some Swift processes are missing or not answering: restarting all of them"
  stop_all
fi

# The ports must be free: a foreign server there would answer our readiness checks.
for s in $SERVICES; do
  p=$(port_of "$s")
  if ct_port_open "$p"; then
    ct_die "port $p (swift $s) on $CT_HOST is already used by another process; stop it or set SWIFT_PORT / SWIFT_BASE_PORT / SWIFT_MEMCACHE_PORT"
  fi
done

ct_apt_install curl swift swift-proxy swift-account swift-container swift-object python3-swiftclient memcached ||
  ct_die "cannot install the Swift packages (apt-get failed, see above)"
if [ "$KEYSTONE" = 1 ]; then
  ct_apt_install python3-keystonemiddleware || ct_die "cannot install python3-keystonemiddleware"
fi
for b in swift-ring-builder swift-proxy-server swift-account-server swift-container-server swift-object-server memcached curl; do
  command -v "$b" >/dev/null || ct_die "$b not found after installing the Swift packages"
done

USER_NAME="$(id -un)"
mkdir -p "$ETC" "$DEVICES/d1" "$RUN" "$LOG" || ct_die "cannot create $DIR"
for f in swift.conf proxy-server.conf account-server.conf container-server.conf object-server.conf; do
  sed -e "s|@PROXY_PORT@|$PROXY_PORT|g" -e "s|@ACCOUNT_PORT@|$ACCOUNT_PORT|g" \
      -e "s|@CONTAINER_PORT@|$CONTAINER_PORT|g" -e "s|@OBJECT_PORT@|$OBJECT_PORT|g" \
      -e "s|@MEMCACHE_PORT@|$MEMCACHE_PORT|g" -e "s|@USER@|$USER_NAME|g" \
      -e "s|@ETC@|$ETC|g" -e "s|@DEVICES@|$DEVICES|g" \
      -e "s|@AUTH_PIPELINE@|$AUTH_PIPELINE|g" -e "s|@KEYSTONE_URL@|$KEYSTONE_URL|g" "$HERE/swift/$f" > "$ETC/$f"
done

# Rings: 2^6 partitions, 1 replica, one device "d1" per ring. Rebuilt when the ports change.
ring_sig="$OBJECT_PORT/$CONTAINER_PORT/$ACCOUNT_PORT"
if [ ! -f "$ETC/object.ring.gz" ] || [ ! -f "$ETC/container.ring.gz" ] || [ ! -f "$ETC/account.ring.gz" ] ||
   [ "$(cat "$ETC/ring.sig" 2>/dev/null)" != "$ring_sig" ]; then
  ct_log "building rings in $ETC"
  rm -f "$ETC"/*.builder "$ETC"/*.ring.gz "$ETC/ring.sig"; rm -rf "$ETC/backups"
  for r in object:$OBJECT_PORT container:$CONTAINER_PORT account:$ACCOUNT_PORT; do
    name=${r%%:*}; port=${r##*:}
    swift-ring-builder "$ETC/$name.builder" create 6 1 1 >/dev/null ||
      ct_die "swift-ring-builder create $name failed"
    swift-ring-builder "$ETC/$name.builder" add "r1z1-127.0.0.1:$port/d1" 100 >/dev/null ||
      ct_die "swift-ring-builder add $name failed"
    # rebalance exits 1 on a warning (single device) but still writes the ring
    swift-ring-builder "$ETC/$name.builder" rebalance >/dev/null 2>&1 || true
    [ -f "$ETC/$name.ring.gz" ] || ct_die "swift-ring-builder did not write $ETC/$name.ring.gz"
  done
  echo "$ring_sig" > "$ETC/ring.sig"
fi

ct_start_bg "$RUN/memcached.pid" "$LOG/memcached.log" "-p $MEMCACHE_PORT" \
  memcached -l 127.0.0.1 -p "$MEMCACHE_PORT" -U 0 -m 64 -u "$USER_NAME"
for s in account container object proxy; do
  ct_start_bg "$RUN/$s.pid" "$LOG/$s.log" "$ETC/$s-server.conf" \
    "$(command -v swift-$s-server)" "$ETC/$s-server.conf" -v
done

deadline=$(( $(date +%s) + 60 ))
until ready; do
  for s in $SERVICES; do
    ct_pid_alive "$RUN/$s.pid" || fail_with_logs "swift $s exited during startup"
  done
  [ "$(date +%s)" -ge "$deadline" ] && fail_with_logs "swift did not answer within 60 s"
  sleep 0.1
done
ct_log "ready: $ENDPOINT (v1 auth $ENDPOINT/auth/v1.0 test:tester / testing; S3 access key test:tester secret testing); logs $LOG"
echo "$ENDPOINT"
