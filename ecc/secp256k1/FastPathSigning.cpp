// ECDSA signing of secp256k1 keys on the fixed-width engine.

#include <cstdint>

#include "ecc/EccKey.h"
#include "ecc/SecretMarking.h"
#include "ecc/secp256k1/CompletePoint.h"
#include "ecc/secp256k1/CurvePt.h"
#include "ecc/secp256k1/GeneratorMultiplication.h"
#include "ecc/secp256k1/OrderMontgomery.h"
#include "ecc/secp256k1/Uint256Conversions.h"
#include "host/AsnItem.h"
#include "host/BigNum.h"
#include "host/SecureWipe.h"

namespace vn {

namespace {

constexpr unsigned kScalarBytes = 32;
constexpr unsigned kNonceAttempts = 100;

// Overwrites a secret stack value on every way out of the signer, early returns included.
class StackWipe {
public:
    StackWipe(void* p, std::size_t n) : m_p(p), m_n(n) {}
    ~StackWipe() { secureWipe(m_p, m_n); }
    StackWipe(const StackWipe&) = delete;
    StackWipe& operator=(const StackWipe&) = delete;

private:
    void* m_p;
    std::size_t m_n;
};

// Subtracts n when the value (with `carry` as a 257th bit) is not below n; masked, so the
// decision never shows as a branch on the secret.
void reduceOnceModOrder(_vnUnsigned256& v, std::uint32_t carry) {
    const _vnUnsigned256& n = _vnCurvePt::m_s_order;
    v.subtract(n, carry | (1u - v.lessFlag(n)));
}

}  // namespace

bool EccKey::eccSignHashK(const unsigned char* hash, unsigned int inlen, _vnPrng& prng, bool bAsn,
                          DataBuffer& sig, LogBase& log) {
    LogContextExitor ctx(log, "eccSignHashK");
    sig.clear();
    if (hash == nullptr) return false;
    if (inlen != kScalarBytes) {
        log.LogError("secp256k1 must use SHA256");
        return false;
    }

    const _vnUnsigned256& n = _vnCurvePt::m_s_order;

    _vnUnsigned256 d;
    _vnUnsigned256 k;
    StackWipe wipeD(&d, sizeof d);
    StackWipe wipeK(&k, sizeof k);

    // Signing with the low 256 bits of a wider scalar would produce signatures for a key
    // other than the one the caller holds, so such a key is refused outright.
    if (!mp_int_to_uint256(m_k, d)) {
        log.LogError("Private key is wider than 256 bits; it is not a secp256k1 scalar.");
        return false;
    }
    ECCKEY_SECRET(&d, sizeof d);
    const _vnUnsigned256 e(hash);

    DataBuffer random;
    random.setSecure(true);

    _vnUnsigned256 r;
    _vnUnsigned256 s;
    bool signedOk = false;
    for (unsigned attempt = 0; attempt < kNonceAttempts && !signedOk; ++attempt) {
        random.clear();
        if (!prng.genRandomBytes(kScalarBytes, random, log) || random.getSize() != kScalarBytes) {
            log.LogError("Failed to generate random nonce.");
            return false;
        }
        // Little-endian: the first byte is the least significant.
        const unsigned char* b = random.getData2();
        for (unsigned w = 0; w < 8; ++w) {
            k.words[w] = static_cast<std::uint32_t>(b[4 * w]) | static_cast<std::uint32_t>(b[4 * w + 1]) << 8 |
                         static_cast<std::uint32_t>(b[4 * w + 2]) << 16 |
                         static_cast<std::uint32_t>(b[4 * w + 3]) << 24;
        }
        random.clear();
        ECCKEY_SECRET(&k, sizeof k);
        // Rejection rather than reduction keeps k uniform in [1, n-1]; a rejected draw is
        // discarded, so the verdict (and only the verdict) may be public and branched on.
        std::uint32_t rejected = k.isZeroFlag() | (1u ^ k.lessFlag(n));
        ECCKEY_PUBLIC(&rejected, sizeof rejected);
        if (rejected != 0) continue;

        _vnPt64 product;
        multiplyGenerator(k, product);
        _vnCurvePt R = pt64::toNormalizedCurvePt(product);
        secureWipe(&product, sizeof product);
        r = _vnUnsigned256(R.x);
        reduceOnceModOrder(r, 0);
        ECCKEY_PUBLIC(&r, sizeof r);
        if (r.isZeroFlag() != 0) continue;

        signatureS(k, d, r, e, s);
        ECCKEY_PUBLIC(&s, sizeof s);
        if (s.isZeroFlag() != 0) continue;

        // Low-s: of s and n - s keep the smaller, chosen through a mask.
        _vnUnsigned256 negS = n;
        negS.subtract(s, 1);
        s.replace(negS, negS.lessFlag(s));
        signedOk = true;
    }
    if (!signedOk) return false;

    if (bAsn) {
        mp_int rm;
        mp_int sm;
        uint256_to_mp_int(r, rm);
        uint256_to_mp_int(s, sm);
        vn_asnItem seq;
        seq.newSequence();
        if (!seq.appendUnsignedInt(rm, log) || !seq.appendUnsignedInt(sm, log)) return false;
        const bool encoded = DerCodec::itemToDer(seq, sig);
        if (!encoded) log.LogError("Failed to encode final ASN.1");
        if (log.m_verbose) log.LogDataLong("eccAsnSigLen", static_cast<long>(sig.getSize()));
        return encoded;
    }

    // The 32-byte big-endian image is exactly the minimal bytes left-padded to fieldBytes.
    unsigned char half[kScalarBytes];
    r.getBigEndian(half);
    const bool rOk = sig.append(half, kScalarBytes);
    s.getBigEndian(half);
    return rOk && sig.append(half, kScalarBytes);
}

}  // namespace vn
