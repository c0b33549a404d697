// Signature decoding through verification, on every curve: the generic engine and the
// secp256k1 one. Input: curve byte, flag byte, rLen byte, digest length byte, the digest,
// then the signature.
#include "FuzzCommon.h"

namespace {

// One fixed key per curve, made once. The scalar is small enough for every curve's order, and
// make_corpus.sh signs its seeds with the same scalar.
vn::EccKey* keyFor(int curve) {
    static vn::EccKey* keys[vn::kNamedCurveCount] = {};
    if (keys[curve] == nullptr) {
        vn::LogNull log;
        auto* key = new vn::EccKey;
        vn::StringBuffer name(vn::namedCurveAt(curve).name);
        fuzz::check(key->generateNewKey2(name, "5a17c0de5a17c0de5a17c0de", "hex", log), "fixed key not made");
        keys[curve] = key;
    }
    return keys[curve];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 4) return 0;
    const int curve = data[0] % vn::kNamedCurveCount;
    const bool useRLen = (data[1] & 1) != 0;
    const unsigned rLen = data[2];
    size_t hashLen = data[3];
    data += 4;
    size -= 4;
    if (hashLen > size) hashLen = size;
    const uint8_t* hash = data;
    const uint8_t* sig = data + hashLen;
    const size_t sigLen = size - hashLen;

    vn::EccKey& key = *keyFor(curve);
    vn::LogNull log;
    bool valid = true;
    const bool ran = key.eccVerifyHash(sig, static_cast<unsigned>(sigLen), useRLen, hash,
                                       static_cast<unsigned>(hashLen), valid, log, rLen);
    fuzz::check(ran || !valid, "verification that could not run says valid");
    fuzz::check(key.m_keyType == 1, "verification changed the key");

    // A signature that verifies verifies the same once re-encoded as DER.
    if (valid && !(useRLen && rLen != 0)) {
        vn::DataBuffer in, der;
        fuzz::fill(in, sig, sigLen);
        fuzz::check(vn::EccKey::eccWrapSigAsn_forTls(in, 0, der, log), "a valid signature does not re-encode");
        bool valid2 = false;
        fuzz::check(key.eccVerifyHash(der.getData2(), der.getSize(), false, hash, static_cast<unsigned>(hashLen),
                                      valid2, log, 0),
                    "the re-encoded signature does not verify");
        fuzz::check(valid2, "the re-encoded signature is not valid");
    }
    return 0;
}
