#!/bin/bash
# SFTP test server: Debian's OpenSSH sshd in the foreground on 127.0.0.1, with host keys,
# client keys and a test user of its own.
#
# Usage: start-sftp.sh [start|stop|status|restart]
# Env:   SFTP_PORT (default 2222), SFTP_USER (default cloudtest), SFTP_PASSWORD (default
#        cloudtest-pw), CLOUDTEST_RUN (default /tmp/norvik-cloudtest)
# Files in $CLOUDTEST_RUN/sftp: home/<user>/ (the user's home, where tests write),
#   client_ed25519, client_rsa (private keys, no passphrase), known_hosts,
#   hostkey_sha256_ed25519 and hostkey_sha256_rsa (fingerprints as OpenSSH prints them),
#   sshd.pid (the listener; each session is a child of it), sshd.log.
# Needs root: password sign-in needs a real account.
set -eu
HERE="$(cd "$(dirname "$0")" && pwd)"
. "$HERE/lib.sh"

PORT="${SFTP_PORT:-2222}"
TUSER="${SFTP_USER:-cloudtest}"
TPASS="${SFTP_PASSWORD:-cloudtest-pw}"
DIR="$CT_RUN/sftp"
PIDF="$DIR/sshd.pid"
ENDPOINT="sftp://$CT_HOST:$PORT"

cmd="${1:-start}"
case "$cmd" in
start|stop|status|restart) ;;
*) echo "usage: $0 [start|stop|status|restart]" >&2; exit 2 ;;
esac

if [ "$cmd" = status ]; then
  if ct_pid_alive "$PIDF" && ct_port_open "$PORT"; then echo "sshd running pid $(ct_pid_of "$PIDF") at $ENDPOINT"; exit 0; fi
  echo "sshd not running"; exit 1
fi

ct_lock sftp
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
  ct_die "port $PORT on $CT_HOST is already used by another process; stop it or set SFTP_PORT"
fi

ct_apt_install openssh-server openssh-client || ct_die "cannot install openssh-server"
mkdir -p "$DIR/authorized_keys" "$DIR/home" || ct_die "cannot create $DIR"
chmod 755 "$CT_RUN" "$DIR" "$DIR/home" "$DIR/authorized_keys"
# sshd's privilege-separation folder, normally made by systemd.
mkdir -p /run/sshd && chmod 755 /run/sshd
ct_ensure_user "$TUSER" "$TPASS" "$DIR/home/$TUSER" || ct_die "cannot create user $TUSER"

for t in ed25519 rsa; do
  [ -f "$DIR/ssh_host_${t}_key" ] || ssh-keygen -q -t $t -N '' -f "$DIR/ssh_host_${t}_key"
  [ -f "$DIR/client_$t" ] || ssh-keygen -q -t $t -N '' -m PEM -C "cloudtest-$t" -f "$DIR/client_$t"
  ssh-keygen -l -E sha256 -f "$DIR/ssh_host_${t}_key.pub" | awk '{print $2}' | sed 's/^SHA256://' \
    > "$DIR/hostkey_sha256_$t"
done
cat "$DIR/client_ed25519.pub" "$DIR/client_rsa.pub" > "$DIR/authorized_keys/$TUSER"
chmod 644 "$DIR/authorized_keys/$TUSER"
: > "$DIR/known_hosts"
for t in ed25519 rsa; do
  echo "[$CT_HOST]:$PORT $(cut -d' ' -f1,2 "$DIR/ssh_host_${t}_key.pub")" >> "$DIR/known_hosts"
done

cat > "$DIR/sshd_config" <<CONF
ListenAddress $CT_HOST:$PORT
HostKey $DIR/ssh_host_ed25519_key
HostKey $DIR/ssh_host_rsa_key
PidFile none
AuthorizedKeysFile $DIR/authorized_keys/%u
StrictModes no
UsePAM no
PasswordAuthentication yes
KbdInteractiveAuthentication no
PubkeyAuthentication yes
# libssh2 1.10 (under Debian's libcurl) signs RSA user keys with SHA-1 only.
PubkeyAcceptedAlgorithms +ssh-rsa
PermitRootLogin no
AllowUsers $TUSER
X11Forwarding no
AllowTcpForwarding no
PrintMotd no
MaxStartups 100:30:200
MaxSessions 100
Subsystem sftp internal-sftp
LogLevel INFO
CONF

# -D: stay in the foreground (the PID file holds the listener), -e: log to the log file.
ct_start_bg "$PIDF" "$DIR/sshd.log" "$DIR/sshd_config" /usr/sbin/sshd -D -e -f "$DIR/sshd_config"
if ! ct_wait_cmd 20 ct_port_open "$PORT"; then
  ct_log "ERROR: sshd did not start; log:"; tail -20 "$DIR/sshd.log" >&2
  ct_stop_pidfile "$PIDF"; exit 1
fi
ct_log "ready: user $TUSER password $TPASS, keys $DIR/client_{ed25519,rsa}, home $DIR/home/$TUSER"
echo "$ENDPOINT"
