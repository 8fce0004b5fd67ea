#!/bin/bash
# CTest fixture step for one test server.
# Usage: ctest-fixture.sh start|stop SERVER ENDPOINT_FILE
#   start  runs start-SERVER.sh, writes the endpoint it prints to ENDPOINT_FILE (and stdout);
#          fails (non-zero) when the server cannot start
#   stop   removes ENDPOINT_FILE and stops the server by its PID files
set -u
HERE="$(cd "$(dirname "$0")" && pwd)"
[ $# -eq 3 ] || { echo "usage: $0 start|stop SERVER ENDPOINT_FILE" >&2; exit 2; }
action="$1" server="$2" file="$3"
script="$HERE/start-$server.sh"
[ -x "$script" ] || { echo "ERROR: no launcher $script" >&2; exit 2; }

case "$action" in
start)
  mkdir -p "$(dirname "$file")" || exit 1
  rm -f "$file"
  if ! endpoint="$("$script" start)"; then
    echo "ERROR: $server test server could not be started (see messages above)" >&2
    exit 1
  fi
  if [ -z "$endpoint" ]; then
    echo "ERROR: start-$server.sh printed no endpoint" >&2
    exit 1
  fi
  printf '%s\n' "$endpoint" > "$file.tmp" && mv -f "$file.tmp" "$file" || exit 1
  echo "$server endpoint: $endpoint (written to $file)"
  ;;
stop)
  rm -f "$file"
  "$script" stop
  ;;
*)
  echo "usage: $0 start|stop SERVER ENDPOINT_FILE" >&2; exit 2 ;;
esac
