// JSON Web Keys crossing between this library and Node.js's crypto module, both directions,
// on the four curves Node reads as JWK. One node process per curve; skipped (loudly) where
// node is missing.

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>

#include "ecc/EccKey.h"
#include "host/BigNum.h"
#include "host/JsonObject.h"
#include "support/peer_tools.h"

namespace vn {
namespace {

namespace peers = testing_peers;

struct NodeCurve {
    const char* ours;
    const char* crv;  // JWK "crv" and Node's namedCurve alike
};
const NodeCurve kCurves[] = {
    {"secp256r1", "P-256"}, {"secp384r1", "P-384"}, {"secp521r1", "P-521"}, {"secp256k1", "secp256k1"}};

// Reads our two JWKs, has Node import and re-export them, and adds a key pair of Node's own:
// its JWK text goes to node.json, and every member of the three exports to a line
// "tag.member=value" on standard output.
const char kScript[] = R"JS(
const crypto = require('crypto'), fs = require('fs');
const [dir, crv] = process.argv.slice(2);
const read = (f) => JSON.parse(fs.readFileSync(dir + '/' + f, 'utf8'));
const out = {
  priv: crypto.createPrivateKey({key: read('priv.json'), format: 'jwk'}).export({format: 'jwk'}),
  pub: crypto.createPublicKey({key: read('pub.json'), format: 'jwk'}).export({format: 'jwk'}),
  gen: crypto.generateKeyPairSync('ec', {namedCurve: crv}).privateKey.export({format: 'jwk'}),
};
fs.writeFileSync(dir + '/node.json', JSON.stringify(out.gen));
for (const tag of Object.keys(out))
  for (const [k, v] of Object.entries(out[tag])) console.log(tag + '.' + k + '=' + v);
)JS";

std::map<std::string, std::string> parseLines(const std::string& text) {
    std::map<std::string, std::string> m;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        size_t eq = line.find('=');
        if (eq != std::string::npos) m[line.substr(0, eq)] = line.substr(eq + 1);
    }
    return m;
}

// Members of one of our own texts (flat, no escapes).
std::map<std::string, std::string> members(const std::string& json) {
    std::map<std::string, std::string> m;
    size_t at = 0;
    while ((at = json.find('"', at)) != std::string::npos) {
        size_t nameEnd = json.find('"', at + 1);
        size_t valEnd = json.find('"', nameEnd + 3);
        if (nameEnd == std::string::npos || valEnd == std::string::npos) break;
        m[json.substr(at + 1, nameEnd - at - 1)] = json.substr(nameEnd + 3, valEnd - nameEnd - 3);
        at = valEnd + 1;
    }
    return m;
}

// The members of one Node export, by prefix "tag.".
std::map<std::string, std::string> nodeMembers(const std::map<std::string, std::string>& lines, const std::string& tag) {
    std::map<std::string, std::string> m;
    for (const auto& kv : lines) {
        if (kv.first.rfind(tag + ".", 0) == 0) m[kv.first.substr(tag.size() + 1)] = kv.second;
    }
    return m;
}

class NodeJwk : public ::testing::TestWithParam<NodeCurve> {
protected:
    void SetUp() override {
        if (!peers::haveTool("node")) GTEST_SKIP() << "*** node not found: Node.js JWK interop tests SKIPPED ***";
        ASSERT_TRUE(dir.ok());
    }
    peers::TempDir dir;
};

TEST_P(NodeJwk, BothDirections) {
    const NodeCurve& c = GetParam();
    LogBase log;
    _vnSystemPrng prng;
    EccKey ours;
    ASSERT_TRUE(ours.generateNewKey(StringBuffer(c.ours), prng, log));
    StringBuffer priv, pub;
    ASSERT_TRUE(ours.toEccPrivateKeyJwk(priv, log));
    ASSERT_TRUE(ours.toEccPublicKeyJwk(pub, false, log));
    peers::writeFile(dir.path("priv.json"), priv.getString());
    peers::writeFile(dir.path("pub.json"), pub.getString());
    peers::writeFile(dir.path("jwk.js"), kScript);

    int status = -1;
    auto lines = parseLines(peers::capture("node " + dir.path("jwk.js") + " " + dir.path("") + " " + c.crv, &status));
    ASSERT_EQ(status, 0) << "node refused our JWKs";

    // Node read our keys as the same keys: its exports carry our member values.
    EXPECT_EQ(nodeMembers(lines, "priv"), members(priv.getString()));
    EXPECT_EQ(nodeMembers(lines, "pub"), members(pub.getString()));

    // Node's key loads here as the same key, and we write it back with Node's values.
    const auto gen = nodeMembers(lines, "gen");
    ASSERT_EQ(gen.count("d"), 1u);
    ClsJsonObject json;
    ASSERT_TRUE(json.load(peers::readFile(dir.path("node.json")).c_str(), log)) << log.render();
    EccKey theirs;
    ASSERT_TRUE(theirs.loadAnyJwk(json, log)) << log.render();
    EXPECT_EQ(theirs.m_keyType, 1);
    EXPECT_TRUE(theirs.isPoint(log));
    StringBuffer back;
    ASSERT_TRUE(theirs.toEccPrivateKeyJwk(back, log));
    EXPECT_EQ(members(back.getString()), gen);

    // k and the point are one key: the point derived from Node's d is Node's point.
    EccKey derived;
    ASSERT_TRUE(derived.generateNewKey2(StringBuffer(c.ours), gen.at("d").c_str(), "base64url", log)) << log.render();
    EXPECT_EQ(BigNum::mp_cmp(derived.m_pubPoint.x, theirs.m_pubPoint.x), 0);
    EXPECT_EQ(BigNum::mp_cmp(derived.m_pubPoint.y, theirs.m_pubPoint.y), 0);

    // RFC 7638 canonical text, built from Node's members.
    StringBuffer thumb;
    ASSERT_TRUE(theirs.toEccPublicKeyJwk(thumb, true, log));
    EXPECT_EQ(std::string(thumb.getString()), "{\"crv\":\"" + gen.at("crv") + "\",\"kty\":\"EC\",\"x\":\"" + gen.at("x") +
                                                  "\",\"y\":\"" + gen.at("y") + "\"}");
    EXPECT_TRUE(log.errors().empty()) << log.render();
}

INSTANTIATE_TEST_SUITE_P(Curves, NodeJwk, ::testing::ValuesIn(kCurves),
                         [](const ::testing::TestParamInfo<NodeCurve>& p) { return std::string(p.param.ours); });

}  // namespace
}  // namespace vn
