// The ecckey tool against the independent peers, both ways: OpenSSL's openssl, OpenSSH's
// ssh-keygen, PuTTY's puttygen and Node.js. The tool reaches the library's own key readers and
// writers, so a key a peer accepts from the tool is a key it accepts from the library.
//
// Each row is one direction: `make` produces the inputs (with the peer or with ecckey),
// `consume` has the other side read them, `compare` checks what came out. All three run as one
// bash script per curve (see peer_tools.h for the helpers and the variables below).

#include <cstdio>
#include <string>
#include <vector>

#include "ecc/curves/NamedCurves.h"
#include "support/peer_tools.h"

namespace vn {
namespace testing_peers {
namespace {

enum CurveSet { kAll, kSsh, kNode };

struct PeerRow {
    const char* name;
    const char* peer;
    CurveSet curves;
    const char* make;
    const char* consume;
    const char* compare;
};

// Per curve: C ours, O openssl's name, H and HT the digests each side signs with (secp160r1's
// order is a bit longer than its field, and the two sides cut longer digests differently),
// EXPLICIT set where explicit parameters are recognised by the base point, S the SSH
// identifier, B the bits, N Node's and JWK's name.
const PeerRow kRows[] = {
    {"openssl keys (SEC1, no public key, PKCS#8 plain and encrypted, traditional encrypted, SPKI, compressed; PEM identical) -> ecckey", "openssl", kAll,
     R"~(openssl ecparam -name $O -genkey -out o.pem; has o.pem "BEGIN EC PARAMETERS"
        openssl ec -in o.pem -outform DER -out o.sec1; openssl ec -in o.pem -no_public -outform DER -out o.nopub
        openssl pkey -in o.pem -outform DER -out o.p8; openssl pkey -in o.pem -out o.p8.pem
        openssl ec -in o.pem -pubout -outform DER -out o.spki
        openssl ec -in o.pem -pubout -param_enc explicit -outform DER -out o.explicit
        openssl ec -in o.pem -pubout -conv_form compressed -outform DER -out o.compressed
        openssl ec -in o.pem -out o.ec.pem; openssl pkey -in o.pem -pubout -out o.pub.pem
        openssl pkcs8 -topk8 -in o.pem -v2 aes256 -passout pass:pw -out o.enc; openssl ec -in o.pem -aes256 -passout pass:pw -out o.trad)~",
     R"~(for f in o.pem o.sec1 o.nopub o.p8 o.p8.pem; do "$E" convert --to sec1-der $f > $f.k || fail $f; done
        for f in o.enc o.trad; do "$E" convert --passin pass:pw --to sec1-der $f > $f.k || fail $f; done
        "$E" convert --to spki-der o.spki > spki.k; "$E" pub --to spki-der o.pem > pub.k
        "$E" convert --to sec1 o.pem > sec1.pem.k; "$E" pub o.pem > pub.pem.k)~",
     R"~(for f in o.pem o.sec1 o.nopub o.p8 o.p8.pem o.enc o.trad; do same $f.k o.sec1; done; same spki.k o.spki
        same pub.k o.spki; same sec1.pem.k o.ec.pem; same pub.pem.k o.pub.pem
        if [ -n "$EXPLICIT" ]; then "$E" convert --to spki-der o.explicit > explicit.k; same explicit.k o.spki
        else refuse "Failed to parse AlgorithmIdentifier" "$E" convert --to spki-der o.explicit; fi
        "$E" convert --to spki-der o.compressed > compressed.k; same compressed.k o.spki)~"},
    {"ecckey keys (SEC1, PKCS#8 plain and encrypted, SPKI named, explicit, compressed) -> openssl", "openssl", kAll,
     R"~("$E" gen $C > k.pem; "$E" pub --to spki-der k.pem > ref.spki
        for f in sec1 pkcs8 sec1-der pkcs8-der spki spki-der spki-explicit spki-explicit-der; do
          "$E" convert --to $f k.pem > k.$f; done
        "$E" convert --to pkcs8 --passout pass:pw k.pem > k.enc; "$E" pub --point compressed --to spki-der k.pem > k.comp)~",
     R"~(for f in sec1 pkcs8 sec1-der pkcs8-der spki spki-der spki-explicit spki-explicit-der; do
          i=PEM; case $f in *-der) i=DER;; esac; pubin=; case $f in spki*) pubin=-pubin;; esac
          openssl pkey $pubin -inform $i -in k.$f -pubout -outform DER -out $f.o; done
        openssl ec -inform DER -in k.sec1-der -pubout -outform DER -out ec.o
        openssl ec -pubin -inform DER -in k.spki-explicit-der -param_enc named_curve -pubout -outform DER -out named.o
        openssl pkey -in k.enc -passin pass:pw -pubout -outform DER -out enc.o
        openssl ec -pubin -inform DER -in k.comp -conv_form uncompressed -pubout -outform DER -out comp.o)~",
     R"~(for f in sec1 pkcs8 sec1-der pkcs8-der spki spki-der ec named enc comp; do same $f.o ref.spki; done)~"},
    {"ecckey PKCS#8 -> openssl ec -> SEC1 -> ecckey", "openssl", kAll,
     R"~("$E" gen $C > k.pem; "$E" convert --to pkcs8-der k.pem > k.p8; "$E" convert --to sec1-der k.pem > k.sec1)~",
     R"~(openssl ec -inform DER -in k.p8 -outform DER -out o.sec1; "$E" convert --to sec1-der o.sec1 > back)~",
     R"~(same o.sec1 k.sec1; same back k.sec1)~"},
    {"ecckey sign -> openssl dgst -verify", "openssl", kAll,
     R"~("$E" gen $C > k.pem; "$E" pub k.pem > k.pub; echo 'a message for both' > msg
        "$E" sign --key k.pem --hash $H msg > sig)~",
     R"~(openssl dgst -$H -verify k.pub -signature sig msg > verdict)~", R"~(has verdict "Verified OK")~"},
    {"openssl dgst -sign -> ecckey verify", "openssl", kAll,
     R"~(openssl ecparam -name $O -genkey -noout -out o.pem; openssl pkey -in o.pem -pubout -out o.pub
        echo 'a message for both' > msg; echo 'another message' > other; openssl dgst -$HT -sign o.pem -out sig msg)~",
     R"~("$E" verify --key o.pub --hash $HT --sig sig msg > verdict)~",
     R"~(has verdict "Verified OK"; expect 1 "$E" verify --key o.pub --hash $HT --sig sig other)~"},
    {"openssl pkeyutl -derive = ecckey ecdh", "openssl", kAll,
     R"~("$E" gen $C > k.pem; "$E" pub k.pem > k.pub
        openssl ecparam -name $O -genkey -noout -out o.pem; openssl pkey -in o.pem -pubout -out o.pub)~",
     R"~(openssl pkeyutl -derive -inkey o.pem -peerkey k.pub -out z.bin; "$E" ecdh --key k.pem --peer o.pub > z.ours)~",
     R"~(echo "$(od -An -v -tx1 z.bin | tr -d ' \n')" > z.theirs; same z.ours z.theirs)~"},

    {"ecckey public line and fingerprints -> ssh-keygen -l", "ssh-keygen", kSsh,
     R"~("$E" gen $C > k.pem; "$E" convert --to ssh k.pem > k.pub
        "$E" convert --to fingerprint k.pem > fp; "$E" convert --to fingerprint-sha256 k.pem > fps)~",
     R"~(ssh-keygen -l -E md5 -f k.pub > md5; ssh-keygen -l -f k.pub > sha)~",
     R"~(has fp "ecdsa-sha2-$S "; has md5 "$B MD5:$(awk '{print $NF}' fp) "; has md5 "(ECDSA)"
        has sha "$B $(cat fps) ")~"},
    {"ssh-keygen private file (plain and ssh-keygen -p encrypted) and public line -> ecckey", "ssh-keygen", kSsh,
     R"~(ssh-keygen -q -t ecdsa -b $B -N '' -C peer -f id; ssh-keygen -e -m PKCS8 -f id.pub > theirs.spki
        cp id enc; ssh-keygen -q -p -a 1 -P '' -N secret -f enc)~",
     R"~("$E" convert --to ssh id > line; "$E" convert --to spki id.pub > spki; "$E" pub id > pub
        "$E" convert --to fingerprint id > fp; ssh-keygen -l -E md5 -f id.pub > md5)~",
     R"~([ "$(fields line)" = "$(fields id.pub)" ] || fail "line $(cat line)"; same pub spki
        [ "$(tr -d '\r\n' < spki)" = "$(tr -d '\r\n' < theirs.spki)" ] || fail "SPKI differs"
        has md5 "MD5:$(awk '{print $NF}' fp) "; "$E" convert --passin pass:secret --to ssh enc > encline
        [ "$(fields encline)" = "$(fields id.pub)" ] || fail "encrypted: $(cat encline)"
        refuse "wrong passphrase or corrupt file" "$E" convert --passin pass:nope --to ssh enc)~"},
    {"ecckey OpenSSH private files, plain and encrypted -> ssh-keygen -y", "ssh-keygen", kSsh,
     R"~("$E" gen $C > k.pem; "$E" convert --to ssh k.pem > line
        "$E" convert --to openssh k.pem > plain; "$E" convert --to openssh --passout pass:pw k.pem > enc; chmod 600 plain enc)~",
     R"~(ssh-keygen -y -P '' -f plain > plain.pub; ssh-keygen -y -P pw -f enc > enc.pub)~",
     R"~(for f in plain enc; do [ "$(fields $f.pub)" = "$(fields line)" ] || fail "$f: $(cat $f.pub)"; done)~"},

    {"puttygen PPK v2 and v3 (and its OpenSSH PEM) -> ecckey", "puttygen", kSsh,
     R"~(for V in 2 3; do puttygen -t ecdsa -b $B --ppk-param version=$V --new-passphrase /dev/null -o k$V.ppk
          puttygen k$V.ppk -O public-openssh -o k$V.pub; puttygen k$V.ppk -O private-openssh -o k$V.pem
          sed 's/^Comment: /Comment: x/' k$V.ppk > bad$V.ppk; done)~",
     R"~(for V in 2 3; do "$E" convert --to ssh k$V.ppk > line$V
          "$E" convert --to sec1-der k$V.ppk > ppk$V; "$E" convert --to sec1-der k$V.pem > pem$V; done)~",
     R"~(for V in 2 3; do has k$V.ppk "PuTTY-User-Key-File-$V: ecdsa-sha2-$S"; same ppk$V pem$V
          [ "$(fields line$V)" = "$(fields k$V.pub)" ] || fail "v$V line $(cat line$V)"
          refuse "MAC does not match" "$E" convert --to ssh bad$V.ppk; done)~"},
    {"ecckey SEC1 and encrypted PPK v2/v3 -> puttygen -> PPK -> ecckey", "puttygen", kSsh,
     R"~("$E" gen $C > k.pem; "$E" convert --to ssh k.pem > line; "$E" convert --to sec1-der k.pem > k.sec1
        echo pw > pw; for V in ppk ppk2; do "$E" convert --to $V --passout file:pw k.pem > ours.$V; done)~",
     R"~(puttygen k.pem -O public-openssh -o k.pub; puttygen k.pem -O private -o k.ppk
        puttygen k.pem --new-passphrase pw -O private -o e.ppk
        for V in ppk ppk2; do puttygen ours.$V --old-passphrase pw -O private-openssh -o $V.pem; done
        "$E" convert --to sec1-der k.ppk > back; "$E" convert --passin pass:pw --to sec1-der e.ppk > eback)~",
     R"~([ "$(fields line)" = "$(fields k.pub)" ] || fail "puttygen's line differs"; same back k.sec1; same eback k.sec1
        for V in ppk ppk2; do "$E" convert --passin pass:pw --to sec1-der $V.pem > $V.back; same $V.back k.sec1; done
        refuse "wrong passphrase or corrupt file" "$E" convert --passin pass:nope --to ssh e.ppk)~"},

    {"ecckey private and public JWK -> node (members, SPKI, thumbprint)", "node", kNode,
     R"~("$E" gen $C > k.pem; "$E" convert --to jwk k.pem > k.jwk; "$E" convert --to jwk-public k.pem > k.pub.jwk
        "$E" pub --to spki-der k.pem > k.spki; "$E" convert --to jwk-thumbprint k.pem > k.thumb)~",
     R"~(node ../peer.js read k.jwk k.pub.jwk)~", R"~(same node.spki k.spki; same node.spki2 k.spki; same node.thumb k.thumb)~"},
    {"node JWK -> ecckey (SEC1, JWK back, d gives the point, thumbprint)", "node", kNode, R"~(node ../peer.js gen $N)~",
     R"~("$E" convert --to sec1-der node.jwk > sec1; "$E" convert --to jwk node.jwk > back.jwk
        "$E" convert --to jwk-thumbprint node.jwk > thumb; "$E" pub --to spki-der node.jwk > spki
        "$E" convert --to raw-hex node.jwk > d.hex; "$E" pub --to spki-der --curve $C d.hex > fromd)~",
     R"~(same sec1 node.sec1; node ../peer.js same back.jwk node.jwk; same thumb node.thumb; same fromd spki)~"},
};

// Node's side: `gen CRV` makes a key (JWK, SEC1 DER, RFC 7638 thumbprint); `read PRIV PUB`
// imports our JWKs, checks Node exports the same members and writes its SPKI and thumbprint;
// `same A B` checks two JWK files hold the same members.
const char kNodeScript[] = R"JS(
const c = require('crypto'), fs = require('fs');
const [mode, a, b] = process.argv.slice(2);
const read = (f) => JSON.parse(fs.readFileSync(f, 'utf8'));
const thumb = (k) => {
  const p = (k.type === 'public' ? k : c.createPublicKey(k)).export({format: 'jwk'});
  const canonical = JSON.stringify({crv: p.crv, kty: p.kty, x: p.x, y: p.y});
  return c.createHash('sha256').update(canonical).digest('base64url') + '\n';
};
const same = (x, y) => {
  for (const k of new Set([...Object.keys(x), ...Object.keys(y)]))
    if (x[k] !== y[k]) { console.error(`member ${k}: ${x[k]} vs ${y[k]}`); process.exit(1); }
};
if (mode === 'gen') {
  const {privateKey} = c.generateKeyPairSync('ec', {namedCurve: a});
  fs.writeFileSync('node.jwk', JSON.stringify(privateKey.export({format: 'jwk'})));
  fs.writeFileSync('node.sec1', privateKey.export({format: 'der', type: 'sec1'}));
  fs.writeFileSync('node.thumb', thumb(privateKey));
} else if (mode === 'read') {
  const priv = c.createPrivateKey({key: read(a), format: 'jwk'});
  const pub = c.createPublicKey({key: read(b), format: 'jwk'});
  same(priv.export({format: 'jwk'}), read(a));
  same(pub.export({format: 'jwk'}), read(b));
  fs.writeFileSync('node.spki', pub.export({format: 'der', type: 'spki'}));
  fs.writeFileSync('node.spki2', c.createPublicKey(priv).export({format: 'der', type: 'spki'}));
  fs.writeFileSync('node.thumb', thumb(pub));
} else {
  same(read(a), read(b));
}
)JS";

struct PeerCurve {
    std::string name, vars;
    bool ssh, node;
};

std::vector<PeerCurve> peerCurves() {
    // The curves SSH and JWK name: {ours, SSH identifier, bits, JWK name}.
    const char* const named[][4] = {{"secp256r1", "nistp256", "256", "P-256"},
                                    {"secp384r1", "nistp384", "384", "P-384"},
                                    {"secp521r1", "nistp521", "521", "P-521"},
                                    {"secp256k1", "", "256", "secp256k1"}};
    std::vector<PeerCurve> curves;
    for (int i = 0; i < kNamedCurveCount; ++i) {
        const std::string c = namedCurveAt(i).name;
        std::string o = c == "secp256r1" ? "prime256v1" : c == "secp192r1" ? "prime192v1" : c;
        if (c.rfind("brainpoolp", 0) == 0) o = "brainpoolP" + c.substr(10);
        const bool s160 = c == "secp160r1";
        PeerCurve pc{c, "C=" + c + " O=" + o + " H=" + (s160 ? "sha1" : "sha384") + " HT=" + (s160 ? "sha1" : "sha256"),
                     false, false};
        for (const auto& n : named) {
            if (c != n[0]) continue;
            pc.vars += std::string(" EXPLICIT=1 S=") + n[1] + " B=" + n[2] + " N=" + n[3];
            pc.ssh = n[1][0] != '\0';
            pc.node = true;
        }
        curves.push_back(pc);
    }
    return curves;
}

void runPeerRows(const std::string& peer) {
    Scratch dir;
    ASSERT_TRUE(dir.ok());
    dir.write("peer.js", kNodeScript);
    int rowNumber = 0;
    for (const PeerRow& row : kRows) {
        ++rowNumber;
        if (peer != row.peer) continue;
        int count = 0;
        for (const PeerCurve& curve : peerCurves()) {
            if ((row.curves == kSsh && !curve.ssh) || (row.curves == kNode && !curve.node)) continue;
            SCOPED_TRACE(std::string(row.name) + " on " + curve.name);
            // A directory of its own, so no file of another row or curve can stand in for an output.
            const std::string sub = std::to_string(rowNumber) + "-" + curve.name;
            Result r = dir.bash(curve.vars, "mkdir " + sub + " && cd " + sub + "\n" + row.make + "\n" + row.consume +
                                                "\n" + row.compare);
            // The failed check is the last line; peers chatter before it.
            EXPECT_EQ(r.status, 0) << r.err.substr(r.err.size() > 1500 ? r.err.size() - 1500 : 0);
            count += r.status == 0;
        }
        std::printf("[ peer row ] %s: %d curves passed\n", row.name, count);
    }
}

TEST(Peers, Openssl) {
    ECCKEY_NEED_PEER("openssl");
    runPeerRows("openssl");
}

TEST(Peers, SshKeygen) {
    ECCKEY_NEED_PEER("ssh-keygen");
    runPeerRows("ssh-keygen");
}

TEST(Peers, Puttygen) {
    ECCKEY_NEED_PEER("puttygen");
    runPeerRows("puttygen");
}

TEST(Peers, Node) {
    ECCKEY_NEED_PEER("node");
    runPeerRows("node");
}

}  // namespace
}  // namespace testing_peers
}  // namespace vn
