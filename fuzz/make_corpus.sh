#!/usr/bin/env bash
# Regenerates the seed corpora under fuzz/corpus/<target>/ from keys and signatures that the
# ecckey tool and OpenSSL make (and ssh-keygen and puttygen, when present, for the SSH-family
# files). Keys are random, so every run gives different seeds; commit the result when the
# target inputs change shape. Files other than seed-* (regression inputs) are kept.
#   fuzz/make_corpus.sh [path/to/ecckey]    (default: the fuzz build's tool)
set -euo pipefail
cd "$(dirname "$0")/.."
TOOL="${1:-build-fuzz/tools/ecckey}"
[ -x "$TOOL" ] || { echo "no ecckey tool at $TOOL (run fuzz/run.sh 0 first)" >&2; exit 2; }
TOOL="$(realpath "$TOOL")"
export ASAN_OPTIONS=detect_leaks=0
C=fuzz/corpus
W="$(mktemp -d)"
trap 'rm -rf "$W"' EXIT
for t in der pem point raw verify wrap putty jwk xml keyfile points; do
  mkdir -p "$C/$t"
  rm -f "$C/$t"/seed-*
done

# Table order of the named curves: the first byte of several targets indexes it.
curves=(secp256r1 secp384r1 secp521r1 secp256k1 secp192r1 secp160r1 secp224r1 brainpoolp256r1
        brainpoolp160r1 brainpoolp192r1 brainpoolp224r1 brainpoolp320r1 brainpoolp384r1 brainpoolp512r1)
# OpenSSL's names for the curves it makes keys on here.
declare -A osslName=([secp256r1]=prime256v1 [secp384r1]=secp384r1 [secp521r1]=secp521r1
                     [secp256k1]=secp256k1 [brainpoolp256r1]=brainpoolP256r1)
# The scalar the verify target's fixed keys use.
FIXED_K=5a17c0de5a17c0de5a17c0de

byte() { printf "\\x$(printf %02x "$1")"; }
hexbin() { xxd -r -p; }
# An SSH string: 32-bit big-endian length, then the bytes of the file given.
sshstr() { local n; n=$(stat -c %s "$1"); printf '%08x' "$n" | hexbin; cat "$1"; }

for i in "${!curves[@]}"; do
  c=${curves[$i]}
  d="$W/$c"
  mkdir -p "$d"
  "$TOOL" gen --to sec1 "$c" > "$d/key.pem"
  for f in sec1 pkcs8 spki spki-explicit; do "$TOOL" convert --to $f "$d/key.pem" > "$C/pem/seed-$c-$f"; done
  for f in sec1-der pkcs8-der spki-der spki-explicit-der; do "$TOOL" convert --to $f "$d/key.pem" > "$C/der/seed-$c-$f"; done
  "$TOOL" convert --to jwk "$d/key.pem" > "$C/jwk/seed-$c-private"
  "$TOOL" convert --to jwk-public "$d/key.pem" > "$C/jwk/seed-$c-public"
  "$TOOL" convert --to xml "$d/key.pem" > "$C/xml/seed-$c-private"
  "$TOOL" pub --to xml "$d/key.pem" > "$C/xml/seed-$c-public"
  "$TOOL" convert --to xml-dsig "$d/key.pem" > "$C/xml/seed-$c-dsig"
  "$TOOL" convert --to raw-hex "$d/key.pem" | tr -d '\n' > "$d/k.hex"
  "$TOOL" pub --to raw-hex "$d/key.pem" | tr -d '\n' > "$d/q.hex"
  hexbin < "$d/k.hex" > "$d/k.bin"
  hexbin < "$d/q.hex" > "$d/q.bin"
  cp "$d/q.bin" "$C/point/seed-$c"
  { byte 0; cat "$d/k.bin"; } > "$C/raw/seed-$c-private"
  { byte 2; cat "$d/k.bin"; } > "$C/raw/seed-$c-private-k1"
  { byte 1; cat "$d/q.bin"; } > "$C/raw/seed-$c-public"

  # PuTTY private blob (an mpint) and an OpenSSH-style private section, each after the point.
  qlen=$(stat -c %s "$d/q.bin")
  { if [ $((0x$(head -c2 "$d/k.hex"))) -ge 128 ]; then byte 0; fi; cat "$d/k.bin"; } > "$d/k.mpint"
  { byte "$i"; byte "$qlen"; cat "$d/q.bin"; sshstr "$d/k.mpint"; } > "$C/putty/seed-$c-mpint"
  printf 'ecdsa-sha2-%s' "$c" > "$d/type"
  printf '%s' "$c" > "$d/id"
  { byte "$i"; byte "$qlen"; cat "$d/q.bin"; sshstr "$d/type"; sshstr "$d/id"; sshstr "$d/q.bin"; sshstr "$d/k.mpint"; } \
    > "$C/putty/seed-$c-openssh"

  # The tool's input detection: no curve hint (byte 0) for self-describing forms, the curve's
  # hint for bare hex.
  for f in sec1 pkcs8-der spki jwk xml-dsig ssh; do
    # SSH has names for some curves only.
    { byte 0; "$TOOL" convert --to $f "$d/key.pem" 2>/dev/null; } > "$C/keyfile/seed-$c-$f" || rm "$C/keyfile/seed-$c-$f"
  done
  { byte $((i + 1)); cat "$d/k.hex"; } > "$C/keyfile/seed-$c-hex"

  # Compressed points: bare (the points target's first byte is the curve), in the tool's
  # SubjectPublicKeyInfo, and as hex with the curve hint for the key-file reader.
  "$TOOL" pub --to raw-hex --point compressed "$d/key.pem" | tr -d '\n' > "$d/qc.hex"
  { byte "$i"; hexbin < "$d/qc.hex"; } > "$C/points/seed-$c-compressed"
  { byte "$i"; "$TOOL" pub --to spki-der --point compressed "$d/key.pem"; } > "$C/points/seed-$c-spki-compressed-der"
  { byte $((i + 1)); cat "$d/qc.hex"; } > "$C/keyfile/seed-$c-compressed-hex"

  # Signatures by the verify target's fixed key: DER and raw r || s from the tool, DER from
  # OpenSSL where it knows the curve. Layout: curve, flags, rLen, digest length, digest, sig.
  printf '%s' "$FIXED_K" > "$d/fixed.hex"
  "$TOOL" convert --to sec1 --curve "$c" "$d/fixed.hex" > "$d/fixed.pem"
  printf 'fuzz seed message %s' "$c" > "$d/msg"
  openssl dgst -sha256 -binary "$d/msg" > "$d/digest"
  "$TOOL" sign --key "$d/fixed.pem" --format der "$d/msg" > "$d/sig.der"
  "$TOOL" sign --key "$d/fixed.pem" --format raw "$d/msg" > "$d/sig.raw"
  { byte "$i"; byte 0; byte 0; byte 32; cat "$d/digest" "$d/sig.der"; } > "$C/verify/seed-$c-der"
  { byte "$i"; byte 0; byte 0; byte 32; cat "$d/digest" "$d/sig.raw"; } > "$C/verify/seed-$c-raw"
  half=$(( $(stat -c %s "$d/sig.raw") / 2 ))
  { byte "$i"; byte 1; byte "$half"; byte 32; cat "$d/digest" "$d/sig.raw"; } > "$C/verify/seed-$c-rlen"
  cp "$d/sig.der" "$C/wrap/seed-$c-der"
  cp "$d/sig.raw" "$C/wrap/seed-$c-raw"
  if [ -n "${osslName[$c]:-}" ]; then
    openssl dgst -sha256 -sign "$d/fixed.pem" "$d/msg" > "$d/sig.ossl"
    { byte "$i"; byte 0; byte 0; byte 32; cat "$d/digest" "$d/sig.ossl"; } > "$C/verify/seed-$c-openssl"
  fi
done

# OpenSSL's own encodings: traditional and PKCS#8 PEM, the EC PARAMETERS block in front,
# explicit parameters and compressed points (which the loaders refuse).
for c in secp256r1 secp384r1 secp256k1 brainpoolp256r1; do
  o=${osslName[$c]}
  openssl ecparam -name "$o" -genkey > "$C/pem/seed-openssl-$c-params-sec1"
  openssl ec -in "$C/pem/seed-openssl-$c-params-sec1" 2>/dev/null > "$W/$c.ossl.pem"
  openssl pkcs8 -topk8 -nocrypt -in "$W/$c.ossl.pem" > "$C/pem/seed-openssl-$c-pkcs8"
  openssl ec -in "$W/$c.ossl.pem" -pubout 2>/dev/null > "$C/pem/seed-openssl-$c-spki"
  openssl ec -in "$W/$c.ossl.pem" -outform DER 2>/dev/null > "$C/der/seed-openssl-$c-sec1"
  openssl pkcs8 -topk8 -nocrypt -in "$W/$c.ossl.pem" -outform DER > "$C/der/seed-openssl-$c-pkcs8"
  openssl ec -in "$W/$c.ossl.pem" -pubout -outform DER 2>/dev/null > "$C/der/seed-openssl-$c-spki"
  openssl ec -in "$W/$c.ossl.pem" -pubout -outform DER -param_enc explicit 2>/dev/null > "$C/der/seed-openssl-$c-spki-explicit"
  openssl ec -in "$W/$c.ossl.pem" -pubout -outform DER -conv_form compressed 2>/dev/null > "$C/der/seed-openssl-$c-spki-compressed"
  { byte 0; cat "$C/pem/seed-openssl-$c-params-sec1"; } > "$C/keyfile/seed-openssl-$c-params-sec1"
done

# SSH-family private key files, when the peers are installed.
if command -v ssh-keygen > /dev/null; then
  for b in 256 384 521; do
    ssh-keygen -q -t ecdsa -b $b -N '' -C fuzz -f "$W/id_$b" > /dev/null
    { byte 0; cat "$W/id_$b"; } > "$C/keyfile/seed-openssh-private-$b"
  done
fi
if command -v puttygen > /dev/null; then
  puttygen -q -t ecdsa -b 256 -o "$W/p3.ppk" --new-passphrase /dev/null 2>/dev/null &&
    { byte 0; cat "$W/p3.ppk"; } > "$C/keyfile/seed-putty-v3"
  puttygen -q -t ecdsa -b 384 --ppk-param version=2 -o "$W/p2.ppk" --new-passphrase /dev/null 2>/dev/null &&
    { byte 0; cat "$W/p2.ppk"; } > "$C/keyfile/seed-putty-v2"
fi

# The key-file reader with the passphrase "pw": every container, at the least cost each tool
# accepts, so that the fuzzer runs many inputs a second. The ecckey tool's own encrypted
# output uses its fixed (higher) costs; one seed of each form is enough.
K=$C/keyfile
P=$C/points
seed() { { byte 0; cat "$2"; } > "$K/seed-$1"; }
"$TOOL" gen --to sec1 secp256r1 > "$W/tool.pem"
for f in openssh ppk ppk2 pkcs8; do
  "$TOOL" convert --to $f --passout pass:pw "$W/tool.pem" > "$W/tool-$f" && seed "ecckey-$f-pw" "$W/tool-$f"
done
"$TOOL" convert --to pkcs8-der --passout pass:pw "$W/tool.pem" > "$W/tool-pkcs8-der" && seed ecckey-pkcs8-der-pw "$W/tool-pkcs8-der"
for f in sec1 pkcs8 spki sec1-der pkcs8-der spki-der; do
  "$TOOL" convert --to $f --point compressed "$W/tool.pem" > "$W/tool-c-$f" && seed "ecckey-$f-compressed" "$W/tool-c-$f"
done
for f in sec1-der pkcs8-der; do
  { byte 13; "$TOOL" convert --to $f --point compressed "$d/key.pem"; } > "$P/seed-${curves[13]}-$f-compressed"
done

for c in secp256r1 secp384r1 secp521r1 secp256k1 brainpoolp256r1; do
  o=${osslName[$c]}
  openssl ecparam -name "$o" -genkey -noout > "$W/$c.key"
  openssl pkcs8 -topk8 -v2 aes256 -iter 1 -passout pass:pw -in "$W/$c.key" > "$W/o" && seed "openssl-$c-pkcs8-aes256" "$W/o"
  openssl ec -aes256 -passout pass:pw -in "$W/$c.key" 2>/dev/null > "$W/o" && seed "openssl-$c-ec-aes256" "$W/o"
  openssl ec -conv_form compressed -in "$W/$c.key" 2>/dev/null > "$W/o" && seed "openssl-$c-sec1-compressed" "$W/o"
  openssl ec -conv_form compressed -pubout -in "$W/$c.key" 2>/dev/null > "$W/o" && seed "openssl-$c-spki-compressed" "$W/o"
  openssl ec -conv_form compressed -pubout -outform DER -in "$W/$c.key" 2>/dev/null > "$W/o"
  i=0; while [ "${curves[$i]}" != "$c" ]; do i=$((i + 1)); done
  { byte "$i"; cat "$W/o"; } > "$P/seed-openssl-$c-spki-compressed-der"
done
k=$W/secp256r1.key
openssl pkcs8 -topk8 -v2 aes128 -v2prf hmacWithSHA512 -iter 1 -passout pass:pw -in "$k" > "$W/o" && seed openssl-pkcs8-aes128-sha512 "$W/o"
openssl pkcs8 -topk8 -v2 aes192 -v2prf hmacWithSHA1 -iter 1 -passout pass:pw -outform DER -in "$k" > "$W/o" && seed openssl-pkcs8-der-aes192-sha1 "$W/o"
openssl pkcs8 -topk8 -scrypt -scrypt_N 16 -scrypt_r 1 -scrypt_p 1 -passout pass:pw -in "$k" > "$W/o" && seed openssl-pkcs8-scrypt "$W/o"
openssl ec -aes128 -passout pass:pw -in "$k" 2>/dev/null > "$W/o" && seed openssl-ec-aes128 "$W/o"
openssl ec -des3 -passout pass:pw -in "$k" 2>/dev/null > "$W/o" && seed openssl-ec-des3 "$W/o"

if command -v ssh-keygen > /dev/null; then
  for z in aes256-ctr aes128-ctr aes256-cbc aes256-gcm@openssh.com chacha20-poly1305@openssh.com; do
    rm -f "$W/id"
    ssh-keygen -q -t ecdsa -b 256 -N pw -a 1 -Z "$z" -C fuzz -f "$W/id" > /dev/null && seed "openssh-$z" "$W/id"
  done
  for b in 384 521; do
    rm -f "$W/id"
    ssh-keygen -q -t ecdsa -b $b -N pw -a 1 -C fuzz -f "$W/id" > /dev/null && seed "openssh-$b" "$W/id"
  done
  rm -f "$W/id"
  ssh-keygen -q -t ed25519 -N '' -C fuzz -f "$W/id" > /dev/null
  seed openssh-ed25519 "$W/id"
  seed openssh-ed25519-pub "$W/id.pub"
  cp "$W/id" "$W/id.pub" "$P/" && mv "$P/id" "$P/seed-openssh-ed25519" && mv "$P/id.pub" "$P/seed-openssh-ed25519-pub"
fi
if command -v puttygen > /dev/null; then
  printf 'pw\n' > "$W/pw"
  for kdf in argon2id argon2i argon2d; do
    puttygen -q -t ecdsa -b 256 -o "$W/p.ppk" --new-passphrase "$W/pw" \
      --ppk-param "kdf=$kdf,memory=8,passes=1,parallelism=1" 2>/dev/null && seed "putty-v3-$kdf" "$W/p.ppk"
  done
  puttygen -q -t ecdsa -b 384 -o "$W/p.ppk" --new-passphrase "$W/pw" --ppk-param version=2 2>/dev/null &&
    seed putty-v2-aes256 "$W/p.ppk"
  puttygen -q -t ed25519 -o "$W/p.ppk" --new-passphrase /dev/null 2>/dev/null &&
    { seed putty-ed25519 "$W/p.ppk"; cp "$W/p.ppk" "$P/seed-putty-ed25519"; }
fi

# Keys of other types, for the namer.
openssl genpkey -algorithm ed25519 > "$W/o" && { seed openssl-ed25519 "$W/o"; cp "$W/o" "$P/seed-openssl-ed25519"; }
openssl pkey -pubout -outform DER -in "$W/o" > "$P/seed-openssl-ed25519-spki-der"
openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:1024 2>/dev/null > "$W/o" &&
  { seed openssl-rsa "$W/o"; cp "$W/o" "$P/seed-openssl-rsa"; }
openssl rsa -traditional -in "$W/o" 2>/dev/null > "$P/seed-openssl-rsa-traditional"
openssl pkey -pubout -in "$W/o" > "$P/seed-openssl-rsa-spki"

du -sh "$C"
