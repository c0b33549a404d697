// Making a private key and deriving its public point.

#include "ecc/EccKey.h"
#include "ecc/KeyLoadGuard.h"
#include "ecc/SecretMarking.h"
#include "ecc/generic/CurveEngine.h"
#include "ecc/secp256k1/CompletePoint.h"
#include "ecc/secp256k1/CurvePt.h"
#include "ecc/secp256k1/GeneratorMultiplication.h"
#include "ecc/secp256k1/Uint256Conversions.h"
#include "host/BigNum.h"
#include "host/SecureWipe.h"

namespace vn {

namespace {

// k from big-endian bytes; the buffer goes with the caller's secure flag set.
bool scalarFromBytes(const DataBuffer& bytes, mp_int& k) {
    return BigNum::mpint_from_bytes(k, bytes.getData2(), static_cast<int>(bytes.getSize()));
}

}  // namespace

bool EccKey::generateNewKey(const StringBuffer& curveName, _vnPrng& prng, LogBase& log) {
    LogContextExitor ctx(log, "generateNewKey_ecc");
    PrivateTypeGuard guard(*this);
    clearEccKey();
    m_keyType = 1;
    if (!m_curve.loadCurveByName(curveName.getString(), log)) {
        log.LogError("Failed to load curve by name.");
        return false;
    }
    DataBuffer random;
    random.setSecure(true);
    if (!prng.genRandomBytes(static_cast<unsigned int>(m_curve.fieldBytes), random, log)) {
        log.LogError("Failed to generate random private key.");
        return false;
    }
    if (!scalarFromBytes(random, m_k)) return false;
    random.secureClear();
    return guard.succeeded(genPubKey(log));
}

bool EccKey::generateNewKey2(const StringBuffer& curveName, const char* kText, const char* encoding,
                             LogBase& log) {
    LogContextExitor ctx(log, "generateNewKey2_ecc");
    PrivateTypeGuard guard(*this);
    clearEccKey();
    m_keyType = 1;
    if (!m_curve.loadCurveByName(curveName.getString(), log)) return false;
    DataBuffer decoded;
    decoded.setSecure(true);
    if (!decoded.appendEncoded(kText, encoding)) {
        log.LogError("Failed to decode K.");
        return false;
    }
    if (!scalarFromBytes(decoded, m_k)) return false;
    decoded.secureClear();
    return guard.succeeded(genPubKey(log));
}

bool EccKey::genPubKey(LogBase& log) {
    LogContextExitor ctx(log, "genPubKey");

    if (usesSecp256k1Engine()) {
        _vnUnsigned256 k;
        // A scalar wider than the engine's 256 bits would be silently truncated by the
        // conversion's caller; refuse it instead of deriving the point of a different key.
        if (!mp_int_to_uint256(m_k, k)) {
            log.LogError("Private key is larger than 256 bits.");
            return false;
        }
        ECCKEY_SECRET(&k, sizeof k);
        // Below 2^256 < 2n the only multiples of n are 0 and n, whose product is the point at
        // infinity: no public key, so no private key either (the generic path refuses them too).
        mp_int order;
        if (m_k.isZero() || (BigNum::mp_read_radix(order, m_curve.n.getString(), 16) &&
                             BigNum::mp_cmp(m_k, order) == 0)) {
            log.LogError("point multiply failed.");
            return false;
        }
        _vnPt64 product;
        multiplyGenerator(k, product);
        _vnCurvePt Q = pt64::toNormalizedCurvePt(product);
        secureWipe(&k, sizeof k);
        secureWipe(&product, sizeof product);
        ECCKEY_PUBLIC(&Q, sizeof Q);
        uint256_to_mp_int(_vnUnsigned256(Q.x), m_pubPoint.x);
        uint256_to_mp_int(_vnUnsigned256(Q.y), m_pubPoint.y);
        uint256_to_mp_int(_vnUnsigned256(Q.z), m_pubPoint.z);
        return true;
    }

    // The curve's texts were parsed once, when its engine was built; a curve without one (a
    // record never loaded) has no numbers to parse.
    const CurveEngine* engine = curveEngine(m_curve);
    if (engine == nullptr) {
        log.LogError("Big integer calculations failed.");
        return false;
    }
    bool multiplied;
    {
        LogContextExitor multiplying(log, "pointMultiply");
        multiplied = engine->generatorMultiply(m_k, m_pubPoint);
    }
    if (!multiplied) {
        log.LogError("point multiply failed.");
        return false;
    }
    return true;
}

bool EccKey::regeneratePubKey(EccKey& source, LogBase& log) {
    LogContextExitor ctx(log, "regeneratePubKey");
    clearEccKey();
    m_keyType = 1;
    if (!m_curve.loadCurveByName(source.m_curve.name.getString(), log)) return false;
    BigNum::mp_copy(source.m_k, m_k);
    if (!genPubKey(log)) {
        log.LogError("Failed.");
        return false;
    }
    bool xDiffers = BigNum::mp_cmp(source.m_pubPoint.x, m_pubPoint.x) != 0;
    if (xDiffers) log.LogError("x is different!");
    bool yDiffers = BigNum::mp_cmp(source.m_pubPoint.y, m_pubPoint.y) != 0;
    if (yDiffers) log.LogError("y is different!");
    if (BigNum::mp_cmp(source.m_pubPoint.z, m_pubPoint.z) != 0) {
        log.LogError("z is different!");
        log.LogError("Failed.");
        return false;
    }
    if (xDiffers || yDiffers) {
        log.LogError("Failed.");
        return false;
    }
    return true;
}

}  // namespace vn
