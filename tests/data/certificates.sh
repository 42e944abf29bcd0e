#!/usr/bin/env bash
# Makes the certificates that the tests of TLS use: tests/data/certificates.sh FOLDER
# Each NAME.pem has a certificate and behind it its key; root.pem is the root that vouches for all of
# them but "self".
set -euo pipefail
cd "$1"

cat >made.cnf <<'END'
[req]
distinguished_name = name
prompt = no
[name]
CN = $ENV::NAME
[root]
basicConstraints = critical, CA:true
[other]
subjectAltName = $ENV::HOSTS
[ca]
default_ca = made
[made]
new_certs_dir = .
database = made.index
serial = made.serial
default_md = sha256
policy = any
[any]
commonName = supplied
END
touch made.index
echo 1000 >made.serial

key=(-newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -config made.cnf)

# own NAME HOSTS SECTION: a certificate that vouches for itself.
own() {
    NAME=$1 HOSTS=$2 openssl req -x509 "${key[@]}" -extensions "$3" -days 2 -keyout "$1.key" -out "$1.crt"
    cat "$1.crt" "$1.key" >"$1.pem"
}
# signed NAME HOSTS [START END]: one that the root vouches for.
signed() {
    export NAME=$1 HOSTS=$2
    local dates=${3:+-startdate $3 -enddate $4}
    openssl req -new "${key[@]}" -keyout "$1.key" -out made.csr
    openssl ca -batch -notext -config made.cnf -extensions other -keyfile root.key -cert root.crt \
        -in made.csr -out "$1.crt" ${dates:--days 2}
    cat "$1.crt" "$1.key" >"$1.pem"
}

{
    own root DNS:root root
    own self DNS:localhost,IP:127.0.0.1 other
    signed server DNS:localhost,IP:127.0.0.1
    signed other DNS:other.example
    signed expired DNS:localhost,IP:127.0.0.1 20200101000000Z 20200102000000Z
    signed client IP:127.0.0.2
    openssl genpkey -algorithm ed25519 -out other.kind
    openssl pkey -aes128 -passout pass:secret -in server.key -out locked.key
} 2>made.log || { cat made.log; exit 1; }
