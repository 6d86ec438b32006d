#!/bin/bash
# Makes samples/ and the seeds of the fuzz targets with OpenSSL and NSS's pk12util. Run by hand; keys,
# salts and serial numbers differ each time, what the tests look at does not.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
corpus=$here/../../fuzz/corpus
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

cat >ca.cnf <<'CONFIG'
[ca]
default_ca = here
[here]
new_certs_dir = .
database = index.txt
rand_serial = yes
default_md = sha256
policy = any
unique_subject = no
[any]
commonName = supplied
countryName = optional
organizationName = optional
organizationalUnitName = optional
emailAddress = optional
domainComponent = optional
[req]
distinguished_name = empty
string_mask = utf8only
[empty]
[root]
basicConstraints = critical, CA:TRUE, pathlen:3
keyUsage = critical, keyCertSign, cRLSign
[leaf]
basicConstraints = CA:FALSE
keyUsage = digitalSignature, keyEncipherment, decipherOnly
extendedKeyUsage = clientAuth, emailProtection
[other]
basicConstraints = CA:FALSE
CONFIG
touch index.txt

# request NAME KEY SUBJECT
request() { openssl req -new -config ca.cnf -utf8 -multivalue-rdn -key "$2" -subj "$3" -out "$1.csr"; }
# issue NAME EXTENSIONS END OPTIONS...
issue() {
  openssl ca -batch -config ca.cnf -preserveDN -notext -in "$1.csr" -out "$1.pem" -startdate 20200102030405Z \
    -enddate "$3" ${2:+-extensions "$2"} "${@:4}" 2>/dev/null
  openssl x509 -in "$1.pem" -outform DER -out "$1.der"
}

for key in root leaf; do openssl genrsa -traditional -out $key.key 1024 2>/dev/null; done
openssl ecparam -name prime256v1 -genkey -noout -out ec.key
openssl rsa -in leaf.key -traditional -outform DER -out leaf_key.der 2>/dev/null

request root root.key '/C=DE/O=Orlind/CN=Orlind Test Root'
issue root root 20491231235959Z -selfsign -keyfile root.key
request leaf leaf.key '/DC=example/O=Köln, "Dom" \+ Söhne/OU=a+emailAddress=jane@example.org/CN= Jane #1 '
issue leaf leaf 20600102030405Z -cert root.pem -keyfile root.key
request plain leaf.key '/CN=Plain'
openssl x509 -req -in plain.csr -signkey leaf.key -days 3650 -out plain.pem 2>/dev/null
openssl x509 -in plain.pem -outform DER -out plain.der
request ec ec.key '/CN=Curve'
issue ec other 20491231235959Z -selfsign -keyfile ec.key

export_pfx() {
  openssl pkcs12 -export -inkey leaf.key -in leaf.pem -out "$1.pfx" -passout pass:secret \
    -name "Jane's €" "${@:2}"
}
export_pfx legacy -legacy -certfile root.pem
export_pfx rc4 -legacy -certfile root.pem -iter 1 -maciter \
  -certpbe PBE-SHA1-RC4-128 -keypbe PBE-SHA1-3DES -macalg sha1
export_pfx swapped -legacy -iter 1 -certpbe PBE-SHA1-3DES -keypbe PBE-SHA1-RC4-128 -macalg sha1
export_pfx two_key -legacy -iter 1 -certpbe PBE-SHA1-2DES -keypbe PBE-SHA1-RC4-40 -macalg sha1
export_pfx rc2 -legacy -iter 1 -certpbe PBE-SHA1-RC2-128 -keypbe PBE-SHA1-RC2-40 -macalg sha512
export_pfx modern -certfile root.pem
export_pfx aes128 -iter 1 -certpbe AES-128-CBC -keypbe AES-192-CBC -macalg sha384
export_pfx open -certpbe NONE -keypbe NONE -iter 1
export_pfx no_mac -iter 1 -nomac
openssl pkcs12 -export -inkey leaf.key -in leaf.pem -out empty_password.pfx -passout pass: -iter 1

mkdir nss
certutil -N -d sql:nss --empty-password
pk12util -i modern.pfx -d sql:nss -W secret -K '' >/dev/null
nickname=$(certutil -L -d sql:nss | sed -n "/u,u,u/s/ *u,u,u *$//p")
pk12util -o nss.pfx -n "$nickname" -d sql:nss -W secret -K '' >/dev/null
pk12util -o nss_legacy.pfx -n "$nickname" -d sql:nss -W secret -K '' \
  -c 'PKCS #12 V2 PBE With SHA-1 And 128 Bit RC4' \
  -C 'PKCS #12 V2 PBE With SHA-1 And 3KEY Triple DES-CBC' >/dev/null

cp leaf_key.der legacy.pfx modern.pfx nss.pfx nss_legacy.pfx "$here/samples"
for target in certificate_decode pkcs12_decode; do
  rm -rf "${corpus:?}/$target"
  mkdir -p "$corpus/$target"
done
for name in root leaf plain ec; do cp $name.der "$corpus/certificate_decode/$name.der"; done
cp leaf.pem "$corpus/certificate_decode/leaf.pem"
for name in rc4 swapped two_key rc2 aes128 open no_mac empty_password; do
  cp $name.pfx "$corpus/pkcs12_decode/$name.pfx"
done
