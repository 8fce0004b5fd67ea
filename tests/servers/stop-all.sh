#!/bin/bash
# Stop every test server started by the start-*.sh scripts in this folder (by their PID files only).
HERE="$(cd "$(dirname "$0")" && pwd)"
rc=0
for s in keystone s3rver swift azurite b2 sftp ftp gcs amazon; do "$HERE/start-$s.sh" stop || rc=1; done
exit $rc
