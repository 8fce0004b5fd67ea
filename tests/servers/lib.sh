# Shared helpers for the start-*.sh scripts in this folder. Source it; do not run it.
#
# Every server binds 127.0.0.1 only. Processes are tracked by PID files and are
# only ever stopped through them, never by process name.
#
# Environment:
#   CLOUDTEST_RUN     data, logs, PID files, generated configs (default /tmp/norvik-cloudtest)
#   CLOUDTEST_PREFIX  private npm install folder                 (default /opt/norvik-cloudtest)

CT_RUN="${CLOUDTEST_RUN:-/tmp/norvik-cloudtest}"
CT_PREFIX="${CLOUDTEST_PREFIX:-/opt/norvik-cloudtest}"
CT_HOST=127.0.0.1

# Everything the scripts say goes to stderr: stdout carries only the endpoint.
ct_log() { echo "[$(basename "$0")] $*" >&2; }
ct_die() { echo "[$(basename "$0")] ERROR: $*" >&2; exit 1; }

# ct_lock NAME: serialise start/stop of one server (the lock is released at exit).
# fd 9 holds the lock; servers are started with 9>&- so they never inherit it.
ct_lock() {
  mkdir -p "$CT_RUN" || ct_die "cannot create $CT_RUN"
  exec 9>"$CT_RUN/.$1.lock"
  flock -w 600 9 || ct_die "timed out waiting for $CT_RUN/.$1.lock"
}

# ct_apt_install PKG...: install the missing ones, non-interactively.
# Waits while another apt/dpkg holds the lock; refreshes stale package lists once.
ct_apt_install() {
  local missing=() p
  for p in "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  [ "$(id -u)" = 0 ] || { ct_log "need root to apt-get install ${missing[*]}"; return 1; }
  ct_log "apt-get install ${missing[*]}"
  local out updated=0
  for _ in $(seq 1 30); do
    if out=$(DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends \
               -o DPkg::Lock::Timeout=300 -o Dpkg::Options::=--force-confold "${missing[@]}" 2>&1 </dev/null); then
      return 0
    fi
    if echo "$out" | grep -qiE 'could not get lock|unable to lock|unable to acquire'; then
      ct_log "apt/dpkg lock held by another process, waiting 10 s"; sleep 10; continue
    fi
    if [ $updated = 0 ] && echo "$out" | grep -qiE 'unable to locate package|has no installation candidate|404 +not found|failed to fetch'; then
      ct_log "package lists look stale: apt-get update"
      DEBIAN_FRONTEND=noninteractive apt-get update -q -o DPkg::Lock::Timeout=300 >/dev/null 2>&1 </dev/null || true
      updated=1; continue
    fi
    if echo "$out" | grep -qiE 'dpkg was interrupted'; then
      ct_log "dpkg was interrupted: dpkg --configure -a"
      DEBIAN_FRONTEND=noninteractive dpkg --configure -a >/dev/null 2>&1 </dev/null || true
      continue
    fi
    echo "$out" | tail -20 >&2
    return 1
  done
  return 1
}

# ct_npm_install NAME@VERSION: install into $CT_PREFIX/npm (a private node_modules, not global).
ct_npm_install() {
  local pkg="$1" name="${1%@*}" want="${1##*@}"
  local pj="$CT_PREFIX/npm/node_modules/$name/package.json"
  if [ -f "$pj" ] && grep -q "\"version\": *\"$want\"" "$pj"; then return 0; fi
  command -v node >/dev/null && command -v npm >/dev/null || ct_apt_install nodejs npm || return 1
  mkdir -p "$CT_PREFIX/npm" || return 1
  [ -f "$CT_PREFIX/npm/package.json" ] || echo '{"name":"norvik-cloudtest-servers","private":true}' > "$CT_PREFIX/npm/package.json"
  ct_log "npm install $pkg into $CT_PREFIX/npm"
  (cd "$CT_PREFIX/npm" && npm install --no-audit --no-fund --loglevel=error "$pkg" </dev/null >&2)
}

# ct_wait_cmd TIMEOUT_SECONDS CMD...: retry CMD every 0.1 s until it succeeds.
ct_wait_cmd() {
  local t="$1"; shift
  local deadline=$(( $(date +%s) + t ))
  until "$@" >/dev/null 2>&1; do
    [ "$(date +%s)" -ge "$deadline" ] && return 1
    sleep 0.1
  done
}

ct_port_open() { (exec 3<>"/dev/tcp/$CT_HOST/$1") 2>/dev/null; }

# ct_pid_alive PIDFILE: the PID in the file is running and is still the process we
# started (its command line contains the marker saved on the file's second line).
ct_pid_alive() {
  local f="$1" pid marker
  [ -s "$f" ] || return 1
  pid=$(sed -n 1p "$f"); marker=$(sed -n 2p "$f")
  [ -n "$pid" ] && ct_running "$pid" || return 1
  [ -z "$marker" ] && return 0
  tr '\0' ' ' < "/proc/$pid/cmdline" 2>/dev/null | grep -qF -- "$marker"
}

ct_pid_of() { sed -n 1p "$1" 2>/dev/null; }

# ct_running PID: the process exists and is not a zombie (an unreaped exited child).
ct_running() {
  kill -0 "$1" 2>/dev/null || return 1
  [ "$(sed 's/.*) //' "/proc/$1/stat" 2>/dev/null | cut -c1)" != Z ]
}

# ct_start_bg PIDFILE LOGFILE MARKER CMD...: start CMD detached (own session, no
# inherited descriptors), record its PID and MARKER in PIDFILE.
ct_start_bg() {
  local pidf="$1" logf="$2" marker="$3"; shift 3
  setsid "$@" > "$logf" 2>&1 < /dev/null 9>&- &
  printf '%s\n%s\n' "$!" "$marker" > "$pidf"
}

# ct_stop_pidfile PIDFILE: TERM the PID in the file, wait up to 10 s, then KILL.
# Does nothing to a PID that is no longer the process we started.
ct_stop_pidfile() {
  local f="$1" pid
  [ -s "$f" ] || { rm -f "$f"; return 0; }
  pid=$(ct_pid_of "$f")
  if ct_pid_alive "$f"; then
    kill "$pid" 2>/dev/null
    for _ in $(seq 1 100); do ct_running "$pid" || break; sleep 0.1; done
    if ct_running "$pid"; then
      ct_log "pid $pid did not stop on TERM, sending KILL"
      kill -9 "$pid" 2>/dev/null
      for _ in $(seq 1 50); do ct_running "$pid" || break; sleep 0.1; done
    fi
  fi
  rm -f "$f"
}

# ct_ensure_user NAME PASSWORD HOME: a local login user with this password and home (servers
# that sign in real accounts: sshd, vsftpd). Needs root. The shell is /bin/bash, so that PAM's
# pam_shells lets vsftpd sign it in.
ct_ensure_user() {
  local u="$1" pw="$2" home="$3"
  [ "$(id -u)" = 0 ] || { ct_log "must run as root to create user $u"; return 1; }
  if ! id "$u" >/dev/null 2>&1; then
    useradd -M -d "$home" -s /bin/bash "$u" || return 1
  else
    usermod -d "$home" "$u" >/dev/null 2>&1 || true
  fi
  mkdir -p "$home" && chown "$u:" "$home" && chmod 755 "$home" || return 1
  echo "$u:$pw" | chpasswd
}
