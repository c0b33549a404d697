// ECDSA signing on the generic engine (DER and raw forms of secp256k1 keys go to the
// fixed-width engine), the SSH signature body, and DER re-wrapping for TLS.

#include "ecc/EccKey.h"
#include "ecc/SignatureDecoding.h"
#include "ecc/SigningSupport.h"
#include "host/AsnItem.h"
#include "host/BigNum.h"
#include "host/SshMessage.h"

namespace vn {

namespace {

enum class TopBitRule { Reject, Allow };

// One signature (r, s) over e with private scalar d, each attempt with a fresh nonce from a
// throw-away key generated on the same curve. Attempts are repeated for r = 0 or s = 0 and,
// under TopBitRule::Reject, for an r or s whose top byte is 0x80 or more (so DER integers
// never need a leading zero byte). Every way out but success fails the whole call.
bool signAttempts(const EccKey& key, const mp_int& n, const mp_int& e, _vnPrng& prng, TopBitRule rule, mp_int& r,
                  mp_int& s, LogBase& log) {
    EccKey nonce;
    LogNull quiet;
    DataBuffer scratch;
    scratch.setSecure(true);
    for (;;) {
        if (!nonce.generateNewKey(key.m_curve.name, prng, quiet)) {
            log.LogDataSb("curveName", key.m_curve.name);
            log.LogError("Failed to generate point on curve.");
            return false;
        }
        if (BigNum::mp_mod(nonce.m_pubPoint.x, n, r) != MP_OKAY) return false;
        if (r.isZero()) {
            nonce.clearEccKey();
            continue;
        }
        mp_int& kInv = nonce.m_k;  // inverted in place; wiped with the nonce key
        if (BigNum::mp_invmod(kInv, n, kInv) != MP_OKAY) {
            log.LogError("ecc calc error 1");
            return false;
        }
        if (BigNum::mp_mulmod(key.m_k, r, n, s) != MP_OKAY) {
            log.LogError("ecc calc error 2");
            return false;
        }
        if (BigNum::mp_add(e, s, s) != MP_OKAY) {
            log.LogError("ecc calc error 3");
            return false;
        }
        if (BigNum::mp_mod(s, n, s) != MP_OKAY) {
            log.LogError("ecc calc error 4");
            return false;
        }
        if (BigNum::mp_mulmod(s, kInv, n, s) != MP_OKAY) {
            log.LogError("ecc calc error 5");
            return false;
        }
        if (s.isZero()) continue;
        if (rule == TopBitRule::Allow) return true;

        scratch.clear();
        if (!BigNum::mpint_to_db(r, scratch) || scratch.byteAt(0) >= 0x80) continue;
        scratch.clear();
        if (!BigNum::mpint_to_db(s, scratch) || scratch.byteAt(0) >= 0x80) continue;
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
