// ECDSA signing on the generic engine (DER and raw forms of secp256k1 keys go to the
// fixed-width engine), the SSH signature body, and DER re-wrapping for TLS.

#include "ecc/EccKey.h"
#include "ecc/SignatureDecoding.h"
#include "ecc/SecretMarking.h"
#include "ecc/SigningSupport.h"
#include "ecc/generic/CurveEngine.h"
#include "ecc/secp256k1/CurvePt.h"
#include "ecc/secp256k1/OrderMontgomery.h"
#include "ecc/secp256k1/Uint256Conversions.h"
#include "host/AsnItem.h"
#include "host/BigNum.h"
#include "host/SecureWipe.h"
#include "host/SshMessage.h"

namespace vn {

namespace {

enum class TopBitRule { Reject, Allow };

// Whether the minimal big-endian form of v starts with a byte of 0x80 or more (its DER INTEGER
// would need a leading zero). r and s are public once made.
bool topBitSet(const mp_int& v) {
    const int bits = BigNum::mp_count_bits(v);
    return bits > 0 && bits % 8 == 0;
}

// s = k^-1 (e + r d) mod n on the secp256k1 engine's fixed-width integers, in constant time
// in k and d, for the SSH signature body of a secp256k1 key (the only generic-path signature
// on that curve). e may be any length and is reduced first: it is public.
bool secp256k1SignatureS(const mp_int& nonce, const mp_int& d, const mp_int& e, const mp_int& r, const mp_int& n,
                         mp_int& s) {
    _vnUnsigned256 k, dk, ee, rr, out;
    mp_int eReduced;
    const bool converted = mp_int_to_uint256(nonce, k) && mp_int_to_uint256(d, dk) &&
                           BigNum::mp_mod(e, n, eReduced) == MP_OKAY && mp_int_to_uint256(eReduced, ee) &&
                           mp_int_to_uint256(r, rr);
    ECCKEY_SECRET(&k, sizeof k);
    ECCKEY_SECRET(&dk, sizeof dk);
    if (converted) {
        // The drawn nonce is below n but for 2^-128 of draws; the inverse needs it below.
        const _vnUnsigned256& order = _vnCurvePt::m_s_order;
        k.subtract(order, 1u - k.lessFlag(order));
        signatureS(k, dk, rr, ee, out);
        ECCKEY_PUBLIC(&out, sizeof out);
        uint256_to_mp_int(out, s);
    }
    secureWipe(&k, sizeof k);
    secureWipe(&dk, sizeof dk);
    return converted;
}

// One signature (r, s) over e with private scalar d, each attempt with a fresh nonce drawn
// as a key generation on the same curve would draw it (fieldBytes from the generator, reduced
// modulo n). Attempts are repeated for r = 0 or s = 0 and, under TopBitRule::Reject, for an r
// or s whose top byte is 0x80 or more (so DER integers never need a leading zero byte). Every
// way out but success fails the whole call. On the generic curves the nonce never leaves the
// engine's limbs; secp256k1 (reached only for SSH signatures) generates a throw-away key.
bool signAttempts(const EccKey& key, const mp_int& n, const mp_int& e, _vnPrng& prng, TopBitRule rule, mp_int& r,
                  mp_int& s, LogBase& log) {
    const CurveEngine* engine = curveEngine(key.m_curve);
    EccKey nonceKey;
    SecretScalar nonce;
    LogNull quiet;
    DataBuffer random;
    random.setSecure(true);
    mp_int x;
    for (;;) {
        bool drawn;
        if (engine != nullptr) {
            random.secureClear();
            drawn = prng.genRandomBytes(static_cast<unsigned int>(key.m_curve.fieldBytes), random, quiet) &&
                    engine->nonceCommitment(random.getData2(), random.getSize(), nonce, x);
            random.secureClear();
        } else {
            drawn = nonceKey.generateNewKey(key.m_curve.name, prng, quiet) &&
                    BigNum::mp_copy(nonceKey.m_pubPoint.x, x) == MP_OKAY;
        }
        if (!drawn) {
            log.LogDataSb("curveName", key.m_curve.name);
            log.LogError("Failed to generate point on curve.");
            return false;
        }
        if (BigNum::mp_mod(x, n, r) != MP_OKAY) return false;
        // r is public: a retry it forces costs no inverse.
        if (r.isZero() || (rule == TopBitRule::Reject && topBitSet(r))) continue;
        const bool computed = engine != nullptr ? engine->signatureS(nonce, key.m_k, e, r, s)
                                                : secp256k1SignatureS(nonceKey.m_k, key.m_k, e, r, n, s);
        if (!computed) {
            log.LogError("ecc calc error 1");
            return false;
        }
        if (s.isZero() || (rule == TopBitRule::Reject && topBitSet(s))) continue;
        return true;
    }
}

}  // namespace

bool EccKey::eccSignHash(const unsigned char* hash, unsigned int inlen, _vnPrng& prng, bool bAsn, DataBuffer& sig,
                         LogBase& log) {
    LogContextExitor ctx(log, "eccSignHash");
    sig.clear();
    if (log.m_verbose) {
        log.LogDataLong("bAsn", bAsn ? 1 : 0);
        log.LogDataLong("inlen", static_cast<long>(inlen));
    }
    unsigned int L = eccEffectiveDigestLength(m_curve.fieldBytes, inlen);
    if (m_keyType != 1) {
        log.LogError("Must be a private key.");
        return false;
    }
    if (usesSecp256k1Engine()) return eccSignHashK(hash, L, prng, bAsn, sig, log);

    mp_int n, e, r, s;
    if (!BigNum::mp_read_radix(n, m_curve.n.getString(), 16)) {
        log.LogError("Failed to get p");
        return false;
    }
    if (hash == nullptr || !BigNum::mpint_from_bytes(e, hash, static_cast<int>(L))) {
        log.LogError("Failed to get e");
        return false;
    }
    if (!signAttempts(*this, n, e, prng, TopBitRule::Reject, r, s, log)) return false;

    if (bAsn) return encodeDerSignature(r, s, sig, log);
    unsigned int width = static_cast<unsigned int>(m_curve.fieldBytes);
    return appendLeftPadded(r, width, sig) && appendLeftPadded(s, width, sig);
}

bool EccKey::eccSignHash_forSsh(const unsigned char* hash, unsigned int inlen, _vnPrng& prng, DataBuffer& sig,
                                LogBase& log) {
    LogContextExitor ctx(log, "eccSignHash_forSsh");
    if (m_keyType != 1) {
        log.LogError("Must be a private key.");
        return false;
    }
    mp_int n, e, r, s;
    if (!BigNum::mp_read_radix(n, m_curve.n.getString(), 16)) {
        log.LogError("Failed to get p");
        return false;
    }
    // The whole digest, read as unsigned (a leading 00 in front of a high first byte would
    // not change the value).
    if (hash == nullptr || !BigNum::mpint_from_bytes(e, hash, static_cast<int>(inlen))) {
        log.LogError("Failed to get e");
        return false;
    }
    if (!signAttempts(*this, n, e, prng, TopBitRule::Allow, r, s, log)) return false;

    DataBuffer body;
    if (BigNum::mpint_to_ssh_db(r, body) != MP_OKAY || !SshMessage::pack_db(body, sig)) return false;
    body.clear();
    if (BigNum::mpint_to_ssh_db(s, body) != MP_OKAY || !SshMessage::pack_db(body, sig)) return false;
    return true;
}

bool EccKey::eccWrapSigAsn_forTls(const DataBuffer& sigIn, unsigned int, DataBuffer& derOut, LogBase& log) {
    LogContextExitor ctx(log, "eccWrapSigAsn_forTls");
    mp_int r, s;
    if (!unpackDsaSig(sigIn.getData2(), sigIn.getSize(), true, r, s, log, 0)) return false;
    vn_asnItem seq;
    seq.newSequence();
    if (!seq.appendUnsignedInt_ensure7bit(r, log) || !seq.appendUnsignedInt_ensure7bit(s, log)) return false;
    bool ok = DerCodec::itemToDer(seq, derOut);
    if (!ok) log.LogError("Failed to encode final ASN.1");
    if (log.m_verbose) log.LogDataLong("eccAsnSigLen", static_cast<long>(derOut.getSize()));
    return ok;
}

}  // namespace vn
