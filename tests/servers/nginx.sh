#!/usr/bin/env bash
# A private web server on free ports of 127.0.0.1: HTTP, HTTPS with HTTP/2, and TLS in front of an S3 server.
#
# Usage: tests/servers/nginx.sh start WORKDIR    prints nothing, writes WORKDIR/env
#        tests/servers/nginx.sh stop WORKDIR     ends it; files and logs stay in WORKDIR
#
# WORKDIR/env sets VEXIL_HTTP_ENDPOINT, VEXIL_HTTPS_ENDPOINT, VEXIL_CA, VEXIL_WRONG_CA (paths of PEM files),
# VEXIL_HTTP_ROOT (the folder that is served), VEXIL_HTTP_USERS (the file with the users of /auth/, to which a test may
# add some) and, if VEXIL_S3_ENDPOINT was set at the start, VEXIL_S3_TLS_ENDPOINT. No root needed.
#
#   /static/                a.txt, large.bin (1 MiB) and files that a test puts there; ranges, ETag
#   /dav/PATH               PUT, DELETE, MKCOL, COPY, MOVE and GET; folders are made as needed
#   /redirect/CODE          301 302 303 307 308 to /static/a.txt
#   /redirect-dav/CODE/PATH the same to /dav/PATH
#   /loop                   a redirect to itself
#   /auth/                  basic authentication, tester and secret; contains a.txt
#   /status/CODE            204 400 401 403 404 409 429 500 502 503 with a short body
#   /echo/                  the request as the server saw it: method, target, protocol, some headers
#   /slow/                  like /static/, 20 kB per second
#   /gzip/                  like /static/, compressed if the client asks for it
set -euo pipefail

here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/servers/common.sh
source "$here/common.sh"

export PATH=$PATH:/usr/sbin:/sbin

# TERM, not KILL: the master process ends its workers.
end_all() {
    end_daemon nginx TERM
    rm -f -- "$workdir/env"
}

make_files() {
    rm -rf -- "$workdir"/{daemons,log,www,tmp,certificates}
    mkdir -p -- "$workdir"/{daemons,log,www,tmp,certificates} "$workdir"/www/{static,dav,auth} || return
    "$here/certificates.sh" "$workdir/certificates" || return
    printf 'tester:%s\n' "$(openssl passwd -apr1 secret)" >"$workdir/htpasswd" || return
    printf 'Hello, world!\n' | tee "$workdir/www/static/a.txt" >"$workdir/www/auth/a.txt" || return
    head -c 1048576 /dev/urandom >"$workdir/www/static/large.bin"
}

# nginx accepts no variable as the status of a return.
redirect_locations() {
    local code
    for code in 301 302 303 307 308; do
        printf 'location = /redirect/%s { return %s /static/a.txt; }\n' "$code" "$code"
        # shellcheck disable=SC2016 # nginx's variables
        printf 'location ~ ^/redirect-dav/%s/(?<target>.*)$ { return %s /dav/$target; }\n' "$code" "$code"
    done
}

status_locations() {
    local code
    printf 'location = /status/204 { return 204; }\n'
    for code in 400 401 403 404 409 429 500 502 503; do
        printf 'location = /status/%s { return %s "status %s\\n"; }\n' "$code" "$code" "$code"
    done
}

# Everything reaches the S3 server unchanged, above all the raw target and Host, which are signed.
s3_server() {
    [[ -n ${VEXIL_S3_ENDPOINT:-} ]] || return 0
    cat <<CONF
  server {
    listen 127.0.0.1:$s3_tls_port ssl http2;
    server_name localhost;
    location / {
      proxy_pass $VEXIL_S3_ENDPOINT;
      proxy_http_version 1.1;
      proxy_set_header Host \$http_host;
      proxy_set_header Connection "";
      proxy_request_buffering off;
      proxy_buffering off;
      proxy_read_timeout 300s;
      proxy_send_timeout 300s;
    }
  }
CONF
}

write_config() {
    # If root started it, the workers would become another user, who cannot enter the folder.
    local user=
    [[ $(id -u) != 0 ]] || user='user root;'
    cat >"$workdir/nginx.conf" <<CONF
daemon off;
worker_processes 1;
$user
pid $workdir/daemons/nginx.ready;
error_log $logs/error.log info;
events { worker_connections 1024; }
http {
  include /etc/nginx/mime.types;
  default_type application/octet-stream;
  access_log $logs/access.log;
  client_body_temp_path $workdir/tmp/body;
  proxy_temp_path $workdir/tmp/proxy;
  fastcgi_temp_path $workdir/tmp/fastcgi;
  uwsgi_temp_path $workdir/tmp/uwsgi;
  scgi_temp_path $workdir/tmp/scgi;
  client_max_body_size 0;
  # one slash more or less would be another object
  merge_slashes off;
  keepalive_timeout 65;
  keepalive_requests 1000000;
  tcp_nodelay on;
  ssl_certificate $workdir/certificates/cert.pem;
  ssl_certificate_key $workdir/certificates/key.pem;
  ssl_protocols TLSv1.2 TLSv1.3;
  server {
    listen 127.0.0.1:$http_port;
    listen 127.0.0.1:$https_port ssl http2;
    server_name localhost;
    root $workdir/www;
    location /static/ { autoindex on; }
    location /dav/ {
      dav_methods PUT DELETE MKCOL COPY MOVE;
      create_full_put_path on;
      min_delete_depth 1;
    }
$(redirect_locations)
    location = /loop { return 302 /loop; }
$(status_locations)
    location /auth/ { auth_basic "test"; auth_basic_user_file $workdir/htpasswd; }
    location /slow/ { alias $workdir/www/static/; limit_rate 20k; }
    location /gzip/ { alias $workdir/www/static/; gzip on; gzip_types *; gzip_min_length 1; }
    location /echo/ {
      default_type text/plain;
      return 200 "\$request_method \$request_uri \$server_protocol\nhost=\$http_host ua=\$http_user_agent auth=\$http_authorization ct=\$http_content_type cl=\$http_content_length te=\$http_transfer_encoding x=\$http_x_test cookie=\$http_cookie expect=\$http_expect\n";
    }
  }
$(s3_server)
}
CONF
}

# nginx writes this file after it has bound all its ports.
is_ready() {
    [[ -s $workdir/daemons/nginx.ready ]]
}

start_all() {
    local first_port
    make_files || return
    first_port=$(find_ports 3) || return
    http_port=$first_port
    https_port=$((first_port + 1))
    s3_tls_port=$((first_port + 2))
    write_config
    start_daemon nginx nginx -p "$workdir" -c "$workdir/nginx.conf" -e "$logs/error.log"
    wait_for nginx "$start_seconds" is_ready
}

write_env() {
    local -a settings=(
        VEXIL_HTTP_ENDPOINT "http://127.0.0.1:$http_port"
        VEXIL_HTTPS_ENDPOINT "https://127.0.0.1:$https_port"
        VEXIL_CA "$workdir/certificates/ca.pem"
        VEXIL_WRONG_CA "$workdir/certificates/wrong-ca.pem"
        VEXIL_HTTP_ROOT "$workdir/www"
        VEXIL_HTTP_USERS "$workdir/htpasswd"
    )
    if [[ -n ${VEXIL_S3_ENDPOINT:-} ]]; then
        settings+=(VEXIL_S3_TLS_ENDPOINT "https://127.0.0.1:$s3_tls_port")
    fi
    printf 'export %s=%q\n' "${settings[@]}" >"$workdir/env"
}

start() {
    require_programs nginx openssl python3
    # Its configuration cannot contain a path with these characters.
    [[ $workdir != *[[:space:]\;\{\}\"\'\$\\]* ]] || fail "nginx cannot work in a folder of this name: $workdir"
    start_or_fail nginx 'address already in use'
}

run_command
