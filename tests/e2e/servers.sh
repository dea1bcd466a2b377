# Starters of the local peers that the network tests talk to. Each listens on
# 127.0.0.1 with an ephemeral port, keeps its files in a scratch folder and
# is stopped when the sourcing script exits (through lib.sh's add_cleanup
# when it is loaded, else through a trap of its own).
#
#   start_nginx DOCROOT [CERT KEY] -> NGINX_PORT     (files, Range answered 206; TLS with CERT)
#   start_tinyproxy USER PASS    -> TINYPROXY_PORT   (Basic credentials; CONNECT to any port)
#   start_recorder ANSWER...     -> RECORDER_PORT, RECORDER_DIR (see peers/recorder.py)
#   start_tls_peer CERT KEY [CA] -> TLS_PEER_PORT, TLS_PEER_DIR (see peers/tls_peer.py)
#   make_cert DIR NAME CN [CA]   certificates made at test time
#
# Call them directly (not in $(...)): they set the variables in this shell.

SERVERS_PEERS="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/peers"

if ! declare -F add_cleanup >/dev/null; then
  SERVERS_CLEANUPS=()
  add_cleanup() { SERVERS_CLEANUPS=("$1" "${SERVERS_CLEANUPS[@]}"); }
  servers_run_cleanups() {
    local c
    for c in "${SERVERS_CLEANUPS[@]}"; do eval "$c" || true; done
  }
  trap servers_run_cleanups EXIT
fi

# A scratch folder removed at exit, in PEER_DIR (not printed: the cleanup
# must be registered in this shell, not in a subshell).
servers_scratch() {
  PEER_DIR="$(mktemp -d /tmp/zr-peer.XXXXXX)"
  add_cleanup "rm -rf '$PEER_DIR'"
}

# A port that was free a moment ago (for servers that cannot report the port
# they bound themselves).
free_port() {
  python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])'
}

# wait_for_port PORT PID: until something listens (at most 10 s) or PID died.
wait_for_port() {
  local i
  for ((i = 0; i < 100; i++)); do
    kill -0 "$2" 2>/dev/null || return 1
    (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null && return 0
    sleep 0.1
  done
  return 1
}

# stop_pid PID: ends a peer this script started, and waits for it.
stop_pid() { kill "$1" 2>/dev/null; wait "$1" 2>/dev/null || true; }

start_nginx() {  # DOCROOT [CERT KEY]
  local docroot dir port pid attempt tls=""
  [[ $# -ge 3 ]] && tls="ssl; ssl_certificate $2; ssl_certificate_key $3"
  docroot="$(cd "$1" && pwd)"
  servers_scratch
  dir="$PEER_DIR"
  mkdir -p "$dir/tmp"
  for attempt in 1 2 3; do
    port="$(free_port)"
    cat >"$dir/nginx.conf" <<CONF
$( [ "$(id -u)" -eq 0 ] && echo "user root;" )
worker_processes 1;
daemon off;
pid $dir/nginx.pid;
error_log $dir/error.log;
events { worker_connections 64; }
http {
  access_log off;
  client_body_temp_path $dir/tmp/body;
  proxy_temp_path $dir/tmp/proxy;
  fastcgi_temp_path $dir/tmp/fastcgi;
  uwsgi_temp_path $dir/tmp/uwsgi;
  scgi_temp_path $dir/tmp/scgi;
  sendfile on;
  default_type application/octet-stream;
  server {
    listen 127.0.0.1:$port $tls;
    root $docroot;
  }
}
CONF
    nginx -e "$dir/error.log" -p "$dir" -c "$dir/nginx.conf" >"$dir/stderr" 2>&1 &
    pid=$!
    if wait_for_port "$port" "$pid"; then
      add_cleanup "stop_pid $pid"
      NGINX_PORT=$port
      return 0
    fi
    stop_pid "$pid"
  done
  echo "nginx did not start: $(cat "$dir/error.log" "$dir/stderr" 2>/dev/null)" >&2
  return 1
}

start_tinyproxy() {  # USER PASS
  local dir port pid attempt
  servers_scratch
  dir="$PEER_DIR"
  for attempt in 1 2 3; do
    port="$(free_port)"
    cat >"$dir/tinyproxy.conf" <<CONF
Port $port
Listen 127.0.0.1
Timeout 30
MaxClients 20
Allow 127.0.0.1
BasicAuth $1 $2
LogFile "$dir/tinyproxy.log"
LogLevel Info
PidFile "$dir/tinyproxy.pid"
$( [ "$(id -u)" -eq 0 ] && printf 'User root\nGroup root' )
CONF
    tinyproxy -d -c "$dir/tinyproxy.conf" >"$dir/stderr" 2>&1 &
    pid=$!
    if wait_for_port "$port" "$pid"; then
      add_cleanup "stop_pid $pid"
      TINYPROXY_PORT=$port
      return 0
    fi
    stop_pid "$pid"
  done
  echo "tinyproxy did not start: $(cat "$dir/stderr" "$dir/tinyproxy.log" 2>/dev/null)" >&2
  return 1
}

# start_python_peer SCRIPT ARGS...: runs peers/SCRIPT with a scratch folder
# before ARGS and waits until it wrote its port there; sets PEER_DIR,
# PEER_PID and PEER_PORT.
start_python_peer() {
  local script="$1" i
  shift
  servers_scratch
  python3 "$SERVERS_PEERS/$script" "$PEER_DIR" "$@" 2>"$PEER_DIR/stderr" &
  PEER_PID=$!
  add_cleanup "stop_pid $PEER_PID"
  for ((i = 0; i < 100; i++)); do
    [[ -s "$PEER_DIR/port" ]] && break
    sleep 0.1
  done
  [[ -s "$PEER_DIR/port" ]] || { echo "$script did not start: $(cat "$PEER_DIR/stderr")" >&2; return 1; }
  PEER_PORT="$(cat "$PEER_DIR/port")"
}

start_recorder() {  # ANSWER...
  start_python_peer recorder.py "$@" || return 1
  RECORDER_PORT=$PEER_PORT
  RECORDER_DIR=$PEER_DIR
  RECORDER_PID=$PEER_PID
}

# make_cert DIR NAME CN [CA_NAME]: DIR/NAME.crt and DIR/NAME.key, made now,
# for the common name CN: self-signed, or issued by DIR/CA_NAME.crt. A CN
# that is a host name or an address is also the certificate's DNS or IP
# alternative name, as servers' certificates carry it.
make_cert() {
  local dir="$1" name="$2" cn="$3" ca="${4:-}" san=()
  if [[ "$cn" =~ ^[0-9.]+$ ]]; then
    san=(-addext "subjectAltName=IP:$cn")
  elif [[ "$cn" =~ ^[A-Za-z0-9.*-]+$ ]]; then
    san=(-addext "subjectAltName=DNS:$cn")
  fi
  if [[ -z "$ca" ]]; then
    openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 \
      -subj "/CN=$cn" "${san[@]}" -keyout "$dir/$name.key" -out "$dir/$name.crt" 2>/dev/null
  else
    openssl req -new -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes \
      -subj "/CN=$cn" "${san[@]}" -keyout "$dir/$name.key" -out "$dir/$name.csr" 2>/dev/null &&
      openssl x509 -req -in "$dir/$name.csr" -CA "$dir/$ca.crt" -CAkey "$dir/$ca.key" \
        -CAcreateserial -copy_extensions copy -days 2 -out "$dir/$name.crt" 2>/dev/null
  fi
}

# start_tls_peer CERT KEY [CLIENT_CA] -> TLS_PEER_PORT, TLS_PEER_DIR (see
# peers/tls_peer.py; TLS_PEER_DIR/names lists the server names asked for)
start_tls_peer() {
  start_python_peer tls_peer.py "$@" || return 1
  TLS_PEER_PORT=$PEER_PORT
  TLS_PEER_DIR=$PEER_DIR
}

# start_update_server NAME ROOT [OPTIONS...]: the reference update server
# (tools/zr-update-server.py) on the package folder ROOT -> UPDATE_PORT_<NAME>,
# UPDATE_PID_<NAME>; its request log (one JSON line per request) is
# $ZR_SCRATCH/NAME.requests. update_server_options NAME OPTIONS... changes
# its behaviour from the next request on (the start options stay);
# stop_update_server NAME stops it early.
start_update_server() {
  local name="$1" root="$2" i
  shift 2
  local portfile="$ZR_SCRATCH/$name.port"
  rm -f "$portfile"
  python3 "$ZR_SOURCE_DIR/tools/zr-update-server.py" --root "$root" --port 0 --port-file "$portfile" \
    --request-log "$ZR_SCRATCH/$name.requests" --options-file "$ZR_SCRATCH/$name.options" "$@" >/dev/null 2>"$ZR_SCRATCH/$name.stderr" &
  local pid=$!
  add_cleanup "stop_pid $pid"
  for ((i = 0; i < 100; i++)); do
    [[ -s "$portfile" ]] && break
    kill -0 "$pid" 2>/dev/null || break
    sleep 0.1
  done
  [[ -s "$portfile" ]] || { echo "update server did not start: $(cat "$ZR_SCRATCH/$name.stderr")" >&2; return 1; }
  printf -v "UPDATE_PORT_$name" '%s' "$(cat "$portfile")"
  printf -v "UPDATE_PID_$name" '%s' "$pid"
}

update_server_options() {
  local name="$1"
  shift
  : >"$ZR_SCRATCH/$name.options"
  [[ $# -eq 0 ]] || printf '%q ' "$@" >"$ZR_SCRATCH/$name.options"
}

stop_update_server() {
  local var="UPDATE_PID_$1"
  stop_pid "${!var}"
}
