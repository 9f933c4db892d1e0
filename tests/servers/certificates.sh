#!/usr/bin/env bash
# Makes temporary certificates for servers on this machine; they are never committed.
#
# Usage: tests/servers/certificates.sh DIR
#   DIR/ca.pem                   the authority that a client must trust
#   DIR/cert.pem, DIR/key.pem    a server certificate for localhost, 127.0.0.1, s3.localhost and *.s3.localhost
#   DIR/wrong-ca.pem             an authority that has signed nothing
set -euo pipefail

dir=${1:?usage: certificates.sh DIR}
umask 077
mkdir -p -- "$dir"
cd -- "$dir"

make_authority() {
    openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 30 -subj "/CN=$2" \
        -addext 'keyUsage=critical,keyCertSign,cRLSign' -keyout "$1-key.pem" -out "$1.pem"
}

make_server_certificate() {
    openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -subj /CN=localhost \
        -keyout key.pem -out request.pem
    printf '%s\n' 'subjectAltName=DNS:localhost,IP:127.0.0.1,DNS:s3.localhost,DNS:*.s3.localhost' 'basicConstraints=critical,CA:FALSE' \
        'extendedKeyUsage=serverAuth' >extensions
    openssl x509 -req -in request.pem -CA ca.pem -CAkey ca-key.pem -set_serial "0x$(openssl rand -hex 15)" \
        -days 30 -extfile extensions -out cert.pem
}

make_all() {
    # Checked by hand after each command: if a caller tests the status, `set -e` has no effect here.
    make_authority ca 'vexil test authority' &&
        make_server_certificate &&
        make_authority wrong-ca 'vexil unrelated authority'
}

if ! make_all >certificates.log 2>&1; then
    cat certificates.log >&2
    exit 1
fi
rm -f certificates.log request.pem extensions ca-key.pem wrong-ca-key.pem
