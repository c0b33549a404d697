#pragma once
// Shared by the fuzz targets: turning fuzzer bytes into the arguments the loaders take, and
// the properties every loaded key must have. A broken property aborts, which libFuzzer
// reports as a crash with the input that caused it.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "ecc/EccKey.h"
#include "ecc/curves/NamedCurves.h"
#include "host/BigNum.h"
#include "host/DataBuffer.h"
#include "host/LogBase.h"
#include "host/StringBuffer.h"

namespace fuzz {

[[noreturn]] inline void fail(const char* what) {
    std::fprintf(stderr, "PROPERTY VIOLATED: %s\n", what);
    std::abort();
}

inline void check(bool cond, const char* what) {
    if (!cond) fail(what);
}

// A C string of the input: the loaders of text stop at the first NUL, as their callers would.
inline std::string text(const uint8_t* data, size_t size) {
    return std::string(reinterpret_cast<const char*>(data), size);
}

inline void fill(vn::DataBuffer& out, const uint8_t* data, size_t size) {
    out.clear();
    if (size > 0) out.append(data, static_cast<unsigned>(size));
}

inline const char* curveFromByte(uint8_t b) {
    return vn::namedCurveAt(b % vn::kNamedCurveCount).name;
}

// A loader that said no must not leave a key that claims to be private: it would sign
// with whatever scalar it had half read.
inline void checkFailedLoad(const vn::EccKey& key, const char* loader) {
    if (key.m_keyType == 1) {
        std::fprintf(stderr, "%s returned false but left m_keyType == 1\n", loader);
        fail("failed load left a private key");
    }
}

inline bool sameMp(const vn::mp_int& a, const vn::mp_int& b) {
    return vn::BigNum::mp_cmp(a, b) == 0;
}

// A private key is its curve and scalar: the loaders keep a stored public point as given,
// even one the scalar does not produce, and not every private form carries the point.
inline void checkSameKey(const vn::EccKey& a, const vn::EccKey& b, const char* how) {
    bool same = a.m_keyType == b.m_keyType && a.m_curve.name.equals(b.m_curve.name);
    if (same && a.m_keyType == 1) {
        same = sameMp(a.m_k, b.m_k);
    } else if (same) {
        same = sameMp(a.m_pubPoint.x, b.m_pubPoint.x) && sameMp(a.m_pubPoint.y, b.m_pubPoint.y);
    }
    if (!same) {
        std::fprintf(stderr, "round trip through %s changed the key (curve %s -> %s, type %d -> %d)\n", how,
                     a.m_curve.name.getString(), b.m_curve.name.getString(), a.m_keyType, b.m_keyType);
        fail("export and reload gave a different key");
    }
}

// A key a loader accepted must export as DER and load back as the same key. Private keys go
// through PKCS#8, public ones through the named-curve SubjectPublicKeyInfo. False when the
// key is one that cannot round-trip by design (see below): the caller's own form then has no
// round trip to check either.
inline bool checkDerRoundTrip(vn::EccKey& key) {
    vn::LogNull log;
    vn::DataBuffer der;
    const bool priv = key.m_keyType == 1;
    // The X9.63 reader takes coordinates of any width (it does not hold the encoding against
    // the curve's size, and the point check is a separate step); the writer emits exactly
    // fieldBytes per coordinate. Only public points that fit the field can come back.
    const int width = key.m_curve.fieldBytes;
    if (!priv && (vn::BigNum::mp_unsigned_bin_size(key.m_pubPoint.x) > width ||
                  vn::BigNum::mp_unsigned_bin_size(key.m_pubPoint.y) > width)) {
        return false;
    }
    const bool exported = priv ? key.toEccPkcs8PrivateKeyDer(der, log) : key.toPublicKeyDer_shortFmt(der, log);
    if (!exported) {
        // Nothing half-written may stay in the buffer of a failed private export.
        if (priv) check(der.getSize() == 0, "failed private DER export left bytes in the output");
        fail("a loaded key does not export as DER");
    }
    vn::EccKey back;
    if (!back.loadEccDer(der, log)) {
        checkFailedLoad(back, "loadEccDer (reload)");
        fail("an exported key does not load back");
    }
    checkSameKey(key, back, priv ? "PKCS#8 DER" : "SubjectPublicKeyInfo DER");
    return true;
}

}  // namespace fuzz
