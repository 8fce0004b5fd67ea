#!/bin/bash
# OpenStack Keystone v3 (Debian bookworm python3-keystone, sqlite, the package's own
# keystone-wsgi-public server) on 127.0.0.1, and a Swift of its own that accepts its tokens.
# The Swift of start-swift.sh stays as it is (tempauth only): this one runs on other ports and
# in its own state folder, so that both can run at once and neither slows the other.
# Keystone serves the identity API v3 only; version 2 was removed upstream.
#
# Usage: start-keystone.sh [start|stop|status]
#   start  starts (or keeps) Keystone and its Swift; prints the Keystone address on stdout
# Env:   KEYSTONE_PORT (default 5000), KEYSTONE_SWIFT_PORT (proxy, default 8081),
#        KEYSTONE_SWIFT_BASE_PORT (default 6020, three ports), KEYSTONE_SWIFT_MEMCACHE_PORT
#        (default 11312), CLOUDTEST_RUN (default /tmp/norvik-cloudtest)
# Users (domain "Default"): admin/adminpw (project admin), tester/testerpw (project swifttest,
#        role member), tester2/tester2pw (project swifttest2, role member). The catalogue has
#        object-store in region RegionOne at http://127.0.0.1:<KEYSTONE_SWIFT_PORT>/v1/KEY_<project id>.
set -eu
HERE="$(cd "$(dirname "$0")" && pwd)"
. "$HERE/lib.sh"

PORT="${KEYSTONE_PORT:-5000}"
SWIFT_PROXY_PORT="${KEYSTONE_SWIFT_PORT:-8081}"
SWIFT_PREFIX="http://$CT_HOST:$SWIFT_PROXY_PORT/v1/KEY_"
DIR="$CT_RUN/keystone"
PIDF="$DIR/keystone.pid"
URL="http://$CT_HOST:$PORT"

# The Swift of this server: start-swift.sh with its own ports and state folder.
swift_ctl() {
  CLOUDTEST_RUN="$CT_RUN/keystone-swift" SWIFT_PORT="$SWIFT_PROXY_PORT" \
  SWIFT_BASE_PORT="${KEYSTONE_SWIFT_BASE_PORT:-6020}" SWIFT_MEMCACHE_PORT="${KEYSTONE_SWIFT_MEMCACHE_PORT:-11312}" \
  SWIFT_KEYSTONE=1 SWIFT_KEYSTONE_URL="$URL" "$HERE/start-swift.sh" "$1"
}

ready() { curl -sf -o /dev/null "$URL/v3"; }

cmd="${1:-start}"
case "$cmd" in
start|stop|status) ;;
*) echo "usage: $0 [start|stop|status]" >&2; exit 2 ;;
esac

if [ "$cmd" = status ]; then
  rc=0
  if ct_pid_alive "$PIDF" && ready; then echo "keystone running pid $(ct_pid_of "$PIDF") $URL/v3"
  else echo "keystone not running"; rc=1; fi
  swift_ctl status || rc=1
  exit $rc
fi

ct_lock keystone
if [ "$cmd" = stop ]; then
  swift_ctl stop >/dev/null || true
  ct_stop_pidfile "$PIDF"
  ct_log "stopped"
  exit 0
fi

if ! { ct_pid_alive "$PIDF" && ready; }; then
  ct_stop_pidfile "$PIDF"
  ct_port_open "$PORT" && ct_die "port $PORT (keystone) on $CT_HOST is already used by another process; set KEYSTONE_PORT"
  ct_apt_install curl python3-keystone python3-keystonemiddleware || ct_die "cannot install Keystone (apt-get failed)"
  mkdir -p "$DIR" || ct_die "cannot create $DIR"
  CONF="$DIR/keystone.conf"
  sed "s|@DIR@|$DIR|g" "$HERE/keystone/keystone.conf" > "$CONF"
  KM() { /usr/bin/keystone-manage --config-file "$CONF" "$@" >> "$DIR/manage.log" 2>&1; }

  # The database is made once per port and Swift address: both stand in the catalogue.
  signature="$PORT $SWIFT_PREFIX"
  seed=0
  if [ "$(cat "$DIR/bootstrapped" 2>/dev/null)" != "$signature" ]; then
    ct_log "creating the Keystone database in $DIR"
    rm -rf "$DIR/keystone.db"* "$DIR/fernet-keys" "$DIR/fernet-receipts" "$DIR/credential-keys" "$DIR/bootstrapped"
    KM db_sync || ct_die "keystone-manage db_sync failed (see $DIR/manage.log)"
    # WAL: with the rollback journal a request that fails inside a session leaves a lock behind.
    /usr/bin/python3 -c "import sqlite3,sys; sqlite3.connect(sys.argv[1]).execute('PRAGMA journal_mode=WAL')" "$DIR/keystone.db"
    KM fernet_setup --keystone-user "$(id -un)" --keystone-group "$(id -gn)" || ct_die "fernet_setup failed"
    KM credential_setup --keystone-user "$(id -un)" --keystone-group "$(id -gn)" || ct_die "credential_setup failed"
    KM bootstrap --bootstrap-password adminpw --bootstrap-username admin --bootstrap-project-name admin \
       --bootstrap-role-name admin --bootstrap-service-name keystone --bootstrap-region-id RegionOne \
       --bootstrap-admin-url "$URL/v3/" --bootstrap-public-url "$URL/v3/" --bootstrap-internal-url "$URL/v3/" ||
      ct_die "keystone-manage bootstrap failed (see $DIR/manage.log)"
    seed=1
  fi

  ct_start_bg "$PIDF" "$DIR/keystone.log" "--port $PORT" \
    /usr/bin/keystone-wsgi-public --host "$CT_HOST" --port "$PORT" -- --config-file "$CONF"
  deadline=$(( $(date +%s) + 60 ))
  until ready; do
    ct_pid_alive "$PIDF" || { tail -20 "$DIR/keystone.log" >&2; ct_die "keystone exited during startup"; }
    [ "$(date +%s)" -ge "$deadline" ] && { tail -20 "$DIR/keystone.log" >&2; ct_stop_pidfile "$PIDF"; ct_die "keystone did not answer within 60 s"; }
    sleep 0.2
  done
  if [ $seed = 1 ]; then
    /usr/bin/python3 "$HERE/keystone/seed.py" "$URL" adminpw "$SWIFT_PREFIX" > "$DIR/seed.json" ||
      { ct_stop_pidfile "$PIDF"; ct_die "seeding Keystone failed"; }
    echo "$signature" > "$DIR/bootstrapped"
  fi
fi

swift_ctl start >/dev/null || { ct_stop_pidfile "$PIDF"; ct_die "the Swift of Keystone did not start"; }
ct_log "ready: $URL/v3 (tester/testerpw, project swifttest); object-store ${SWIFT_PREFIX}<project id>"
echo "$URL"
