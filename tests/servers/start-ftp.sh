#!/bin/bash
# FTP test server: Debian's vsftpd in the foreground on 127.0.0.1, passive data ports on
# 127.0.0.1, a local test user chrooted to its home.
#
# Usage: start-ftp.sh [start|stop|status|restart]
# Env:   FTP_PORT (default 2121), FTP_PASV_MIN/FTP_PASV_MAX (default 30000/30049),
#        FTP_USER (default cloudftp), FTP_PASSWORD (default cloudftp-pw),
#        CLOUDTEST_RUN (default /tmp/norvik-cloudtest)
# Files in $CLOUDTEST_RUN/ftp: home/<user>/ (the user's root), vsftpd.pid, vsftpd.log.
# Needs root: vsftpd signs in local users through PAM.
set -eu
HERE="$(cd "$(dirname "$0")" && pwd)"
. "$HERE/lib.sh"

PORT="${FTP_PORT:-2121}"
PMIN="${FTP_PASV_MIN:-30000}"; PMAX="${FTP_PASV_MAX:-30049}"
TUSER="${FTP_USER:-cloudftp}"; TPASS="${FTP_PASSWORD:-cloudftp-pw}"
DIR="$CT_RUN/ftp"
PIDF="$DIR/vsftpd.pid"
ENDPOINT="ftp://$CT_HOST:$PORT"

cmd="${1:-start}"
case "$cmd" in
start|stop|status|restart) ;;
*) echo "usage: $0 [start|stop|status|restart]" >&2; exit 2 ;;
esac

if [ "$cmd" = status ]; then
  if ct_pid_alive "$PIDF" && ct_port_open "$PORT"; then echo "vsftpd running pid $(ct_pid_of "$PIDF") at $ENDPOINT"; exit 0; fi
  echo "vsftpd not running"; exit 1
fi

ct_lock ftp
if [ "$cmd" = stop ] || [ "$cmd" = restart ]; then
  ct_stop_pidfile "$PIDF"
  ct_log "stopped"
  [ "$cmd" = stop ] && exit 0
fi

if ct_pid_alive "$PIDF"; then
  if ct_port_open "$PORT"; then ct_log "already running ($ENDPOINT)"; echo "$ENDPOINT"; exit 0; fi
  ct_stop_pidfile "$PIDF"
fi
if ct_port_open "$PORT"; then
  ct_die "port $PORT on $CT_HOST is already used by another process; stop it or set FTP_PORT"
fi

ct_apt_install vsftpd || ct_die "cannot install vsftpd"
mkdir -p "$DIR/home" "$DIR/empty" || ct_die "cannot create $DIR"
chmod 755 "$CT_RUN" "$DIR" "$DIR/home"; chmod 555 "$DIR/empty"
ct_ensure_user "$TUSER" "$TPASS" "$DIR/home/$TUSER" || ct_die "cannot create user $TUSER"

cat > "$DIR/vsftpd.conf" <<CONF
listen=YES
listen_ipv6=NO
listen_address=$CT_HOST
listen_port=$PORT
background=NO
anonymous_enable=NO
local_enable=YES
write_enable=YES
local_umask=022
chroot_local_user=YES
allow_writeable_chroot=YES
pasv_enable=YES
pasv_address=$CT_HOST
pasv_min_port=$PMIN
pasv_max_port=$PMAX
port_enable=NO
connect_from_port_20=NO
secure_chroot_dir=$DIR/empty
pam_service_name=vsftpd
seccomp_sandbox=NO
xferlog_enable=YES
vsftpd_log_file=$DIR/vsftpd.log
dual_log_enable=NO
syslog_enable=NO
use_localtime=NO
dirmessage_enable=NO
max_clients=50
max_per_ip=50
ssl_enable=NO
CONF

ct_start_bg "$PIDF" "$DIR/vsftpd.out" "$DIR/vsftpd.conf" /usr/sbin/vsftpd "$DIR/vsftpd.conf"
if ! ct_wait_cmd 20 ct_port_open "$PORT"; then
  ct_log "ERROR: vsftpd did not start:"; cat "$DIR/vsftpd.out" >&2
  ct_stop_pidfile "$PIDF"; exit 1
fi
ct_log "ready: user $TUSER password $TPASS, root $DIR/home/$TUSER, passive $PMIN-$PMAX"
echo "$ENDPOINT"
