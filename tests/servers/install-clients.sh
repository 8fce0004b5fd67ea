#!/bin/bash
# Install the Debian command-line clients used to cross-check the test servers:
#   awscli (/usr/bin/aws), python3-boto3 (for /usr/bin/python3), rclone, python3-swiftclient (/usr/bin/swift),
#   azure-cli (/usr/bin/az; about 540 MB, a minute to install).
# Idempotent: does nothing when they are all installed. Exits non-zero if any cannot be installed.
#
# Notes:
#   - use /usr/bin/aws and /usr/bin/python3 explicitly: another `aws` or `python3` may come first on PATH
#   - rclone's S3 backend fails every request when AWS_CA_BUNDLE is set: run it as
#     `env -u AWS_CA_BUNDLE rclone ...`
set -eu
HERE="$(cd "$(dirname "$0")" && pwd)"
. "$HERE/lib.sh"

ct_apt_install awscli python3-boto3 rclone python3-swiftclient azure-cli ||
  ct_die "cannot install the client packages (apt-get failed, see above)"
[ -x /usr/bin/aws ] || ct_die "/usr/bin/aws missing after installing awscli"
command -v rclone >/dev/null || ct_die "rclone missing after install"
/usr/bin/python3 -c 'import boto3' 2>/dev/null || ct_die "/usr/bin/python3 cannot import boto3"
[ -x /usr/bin/swift ] || ct_die "/usr/bin/swift missing after installing python3-swiftclient"
[ -x /usr/bin/az ] || ct_die "/usr/bin/az missing after installing azure-cli"
ct_log "clients ready: /usr/bin/aws, /usr/bin/python3 + boto3, $(command -v rclone), /usr/bin/swift, /usr/bin/az"
