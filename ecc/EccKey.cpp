#include "ecc/EccKey.h"

#include <new>

#include "host/BigNum.h"

namespace vn {

EccKey::EccKey() : m_keyType(0) {}

EccKey::~EccKey() = default;

EccKey* EccKey::createNewObject() {
    try {
        return new EccKey();
    } catch (...) {
        return nullptr;
    }
}

void EccKey::clearEccKey() {
    m_curve.clearEccCurve();
    m_pubPoint.clearEccPoint();
    BigNum::mp_zero(m_k);
    m_keyType = 0;
    clearKeyBase();
}

void EccKey::copyFromEccKey(const EccKey& other) {
    if (&other == this) return;
    m_keyType = other.m_keyType;
    BigNum::mp_copy(other.m_k, m_k);
    m_curve.copyFromEccCurve(other.m_curve);
    m_pubPoint.copyFromEccPoint(other.m_pubPoint);
    copyFromKeyBase(other);
}

unsigned int EccKey::get_ModulusBitLen() const { return static_cast<unsigned int>(m_curve.fieldBytes) * 8u; }

bool EccKey::loadCurveByOid(StringBuffer& oid, LogBase& log) { return m_curve.loadCurveByOid(oid, log); }

void EccKey::getCurveOid(StringBuffer& out) const { out.setString(m_curve.oid); }

bool EccKey::exportEccPoint(DataBuffer& out, LogBase& log) {
    return m_pubPoint.exportEccPoint(m_curve.fieldBytes, out, log);
}

bool EccKey::isPoint(LogBase& log) {
    LogContextExitor ctx(log, "isPoint");
    mp_int p, b, a, t1, t2;
    if (!BigNum::mp_read_radix(p, m_curve.p.getString(), 16)) {
        log.LogDataSb("curvePrime", m_curve.p);
        log.LogError("Failed to decode curve prime.");
        return false;
    }
    if (!BigNum::mp_read_radix(b, m_curve.B.getString(), 16)) {
        log.LogDataSb("curveB", m_curve.B);
        log.LogError("Failed to decode curve B.");
        return false;
    }
    const mp_int& x = m_pubPoint.x;
    const mp_int& y = m_pubPoint.y;

    // y^2 - x^3 - a*x must equal b.
    if (BigNum::mp_sqr(y, t1) != MP_OKAY || BigNum::mp_mulmod(x, x, p, t2) != MP_OKAY ||
        BigNum::mp_mul(x, t2, t2) != MP_OKAY || BigNum::mp_sub(t1, t2, t1) != MP_OKAY) {
        return false;
    }
    if (m_curve.hasA) {
        if (!BigNum::mp_read_radix(a, m_curve.A.getString(), 16)) return false;
        if (BigNum::mp_mul(a, x, t2) != MP_OKAY || BigNum::mp_sub(t1, t2, t1) != MP_OKAY) return false;
    } else if (!usesSecp256k1Engine()) {
        for (int i = 0; i < 3; ++i) {  // a = -3
            if (BigNum::mp_add(t1, x, t1) != MP_OKAY) return false;
        }
    }
    if (BigNum::mp_mod(t1, p, t1) != MP_OKAY) return false;
    while (BigNum::mp_cmp_d(t1, 0) == -1) {
        if (BigNum::mp_add(t1, p, t1) != MP_OKAY) return false;
    }
    while (BigNum::mp_cmp(t1, p) != -1) {
        if (BigNum::mp_sub(t1, p, t1) != MP_OKAY) return false;
    }
    return BigNum::mp_cmp(t1, b) == 0;
}

}  // namespace vn
