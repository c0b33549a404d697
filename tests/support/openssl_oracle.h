#pragma once
// OpenSSL as an independent oracle for curve arithmetic, plus small conversions between its
// BIGNUMs and our mp_int. Test-only.

#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/obj_mac.h>
#include <openssl/objects.h>

#include <memory>
#include <string>
#include <vector>

#include "ecc/EccKey.h"
#include "host/BigNum.h"
#include "host/DataBuffer.h"

namespace vn {
namespace testing_support {

using BnPtr = std::unique_ptr<BIGNUM, decltype(&BN_free)>;
using GroupPtr = std::unique_ptr<EC_GROUP, decltype(&EC_GROUP_free)>;
using PointPtr = std::unique_ptr<EC_POINT, decltype(&EC_POINT_free)>;
using CtxPtr = std::unique_ptr<BN_CTX, decltype(&BN_CTX_free)>;

inline BnPtr newBn() { return BnPtr(BN_new(), BN_free); }

// OpenSSL's short names differ from ours in case (brainpoolP) and for two prime curves.
inline int nidOf(const char* canonical) {
    std::string name = canonical;
    if (name == "secp256r1" || name == "secp192r1") name = "prime" + name.substr(4, 3) + "v1";
    if (name.rfind("brainpoolp", 0) == 0) name[9] = 'P';
    return OBJ_sn2nid(name.c_str());
}

inline void toBn(const mp_int& v, BIGNUM* out) {
    DataBuffer bytes;
    BigNum::mpint_to_db(v, bytes);
    BN_bin2bn(bytes.getData2() != nullptr ? bytes.getData2() : reinterpret_cast<const unsigned char*>(""),
              static_cast<int>(bytes.getSize()), out);
}

inline void fromBn(const BIGNUM* bn, mp_int& out) {
    std::vector<unsigned char> bytes(static_cast<std::size_t>(BN_num_bytes(bn)) + 1);
    int n = BN_bn2bin(bn, bytes.data());
    BigNum::mpint_from_bytes(out, bytes.data(), n);
}

inline std::string hexOf(const mp_int& v) {
    DataBuffer bytes;
    BigNum::mpint_to_db(v, bytes);
    StringBuffer sb;
    bytes.encodeDB("hex", sb);
    return sb.getString();
}

// One named curve in OpenSSL, with our own parsed parameters beside it.
struct OracleCurve {
    explicit OracleCurve(const char* canonical)
        : group(EC_GROUP_new_by_curve_name(nidOf(canonical)), EC_GROUP_free), ctx(BN_CTX_new(), BN_CTX_free) {
        LogNull log;
        key.m_curve.loadCurveByName(canonical, log);
        BigNum::mp_read_radix(p, key.m_curve.p.getString(), 16);
        BigNum::mp_read_radix(n, key.m_curve.n.getString(), 16);
        BigNum::mp_read_radix(G.x, key.m_curve.Gx.getString(), 16);
        BigNum::mp_read_radix(G.y, key.m_curve.Gy.getString(), 16);
        BigNum::mp_set(G.z, 1);
        hasA = key.m_curve.hasA;
        if (hasA) BigNum::mp_read_radix(a, key.m_curve.A.getString(), 16);
    }
    mp_int* ma() { return hasA ? &a : nullptr; }

    // Our affine point as OpenSSL's.
    PointPtr point(const EccPoint& P) const {
        BnPtr x = newBn(), y = newBn();
        toBn(P.x, x.get());
        toBn(P.y, y.get());
        PointPtr pt(EC_POINT_new(group.get()), EC_POINT_free);
        EC_POINT_set_affine_coordinates(group.get(), pt.get(), x.get(), y.get(), ctx.get());
        return pt;
    }

    // k*P (P affine, ours) computed by OpenSSL, as our affine point.
    void mul(const EccPoint& P, const mp_int& k, EccPoint& out) const {
        BnPtr kk = newBn();
        toBn(k, kk.get());
        PointPtr r(EC_POINT_new(group.get()), EC_POINT_free);
        EC_POINT_mul(group.get(), r.get(), nullptr, point(P).get(), kk.get(), ctx.get());
        toAffine(r.get(), out);
    }

    // kA*A + kB*B by OpenSSL.
    void mul2(const EccPoint& A, const mp_int& kA, const EccPoint& B, const mp_int& kB, EccPoint& out) const {
        EccPoint a1, b1;
        mul(A, kA, a1);
        mul(B, kB, b1);
        PointPtr sum = point(a1);
        EC_POINT_add(group.get(), sum.get(), sum.get(), point(b1).get(), ctx.get());
        toAffine(sum.get(), out);
    }

    void toAffine(const EC_POINT* pt, EccPoint& out) const {
        BnPtr x = newBn(), y = newBn();
        EC_POINT_get_affine_coordinates(group.get(), pt, x.get(), y.get(), ctx.get());
        fromBn(x.get(), out.x);
        fromBn(y.get(), out.y);
        BigNum::mp_set(out.z, 1);
    }

    GroupPtr group;
    CtxPtr ctx;
    EccKey key;
    mp_int p, n, a;
    bool hasA = false;
    EccPoint G;
};

// The thirteen curves of the generic engine.
inline std::vector<std::string> genericCurves() {
    return {"secp256r1",       "secp384r1",       "secp521r1",       "secp192r1",      "secp160r1",
            "secp224r1",       "brainpoolp160r1", "brainpoolp192r1", "brainpoolp224r1", "brainpoolp256r1",
            "brainpoolp320r1", "brainpoolp384r1", "brainpoolp512r1"};
}

using EcKeyPtr = std::unique_ptr<EC_KEY, decltype(&EC_KEY_free)>;

// OpenSSL's view of one of our keys: the public point, and the private scalar when it has one.
inline EcKeyPtr toOpenSslKey(const EccKey& key) {
    EcKeyPtr ec(EC_KEY_new_by_curve_name(nidOf(key.m_curve.name.getString())), EC_KEY_free);
    BnPtr x = newBn(), y = newBn();
    toBn(key.m_pubPoint.x, x.get());
    toBn(key.m_pubPoint.y, y.get());
    if (EC_KEY_set_public_key_affine_coordinates(ec.get(), x.get(), y.get()) != 1) return EcKeyPtr(nullptr, EC_KEY_free);
    if (key.m_keyType == 1) {
        BnPtr k = newBn();
        toBn(key.m_k, k.get());
        EC_KEY_set_private_key(ec.get(), k.get());
    }
    return ec;
}

inline bool samePoint(const EccPoint& a, const EccPoint& b) {
    return BigNum::mp_cmp(a.x, b.x) == 0 && BigNum::mp_cmp(a.y, b.y) == 0 && BigNum::mp_cmp(a.z, b.z) == 0;
}

}  // namespace testing_support
}  // namespace vn
