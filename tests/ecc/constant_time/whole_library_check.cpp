// Constant-time check of the whole library, run under valgrind's memcheck.
//
// The library is built for this program with its secret marks switched on: the engines mark
// the private scalar and the signing nonce undefined where they enter the arithmetic and mark
// results defined where they become public. Memcheck then reports every branch and every
// memory address computed from a secret, as it would for uninitialised memory. Each
// operation runs once per curve, through the public key API, and its result is checked, so a
// clean run is also a correct one. OpenSSL supplies the public point of the known scalar.
//
// Outside valgrind the marks are no-ops and only the results are checked.

#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/obj_mac.h>
#include <valgrind/valgrind.h>

#include <cstdint>
#include <cstdio>
#include <vector>

#include "ecc/EccKey.h"
#include "host/Prng.h"

namespace {

using vn::DataBuffer;
using vn::EccKey;
using vn::LogBase;
using vn::StringBuffer;

struct Curve {
    const char* name;
    int nid;
};

const Curve kCurves[] = {
    {"secp256r1", NID_X9_62_prime256v1}, {"secp384r1", NID_secp384r1},
    {"secp521r1", NID_secp521r1},        {"brainpoolP256r1", NID_brainpoolP256r1},
    {"brainpoolP512r1", NID_brainpoolP512r1}, {"secp256k1", NID_secp256k1},
};

// Below every order above; its top bits set, so the scalar has no leading zero digits.
const char* const kKnownScalar = "F1E2D3C4B5A6978879695A4B3C2D1E0F00112233445566778899AABBCCDDEEFF";

int failures = 0;

void fail(const char* curve, const char* what) {
    std::fprintf(stderr, "%s: %s\n", curve, what);
    ++failures;
}

// Deterministic bytes (xorshift64*), different on every call: signing draws a fresh nonce
// until r and s suit its encoding, so a constant answer would never end.
class DeterministicPrng : public vn::_vnPrng {
public:
    bool genRandomBytes(unsigned int n, DataBuffer& out, LogBase&) override {
        for (unsigned int i = 0; i < n; ++i) {
            m_state ^= m_state >> 12;
            m_state ^= m_state << 25;
            m_state ^= m_state >> 27;
            if (!out.appendChar(static_cast<unsigned char>((m_state * 0x2545F4914F6CDD1DULL) >> 56))) return false;
        }
        return true;
    }

private:
    std::uint64_t m_state = 0x9E3779B97F4A7C15ULL;
};

std::vector<unsigned char> pattern(std::size_t n, unsigned seed) {
    std::vector<unsigned char> v(n);
    for (std::size_t i = 0; i < n; ++i) v[i] = static_cast<unsigned char>(seed + 29 * i);
    return v;
}

// k*G for the known k, X9.63 uncompressed, by OpenSSL.
std::vector<unsigned char> opensslPoint(int nid) {
    EC_GROUP* group = EC_GROUP_new_by_curve_name(nid);
    EC_POINT* point = EC_POINT_new(group);
    BIGNUM* k = nullptr;
    BN_hex2bn(&k, kKnownScalar);
    std::vector<unsigned char> out(200);
    std::size_t len = 0;
    if (EC_POINT_mul(group, point, k, nullptr, nullptr, nullptr) == 1) {
        len = EC_POINT_point2oct(group, point, POINT_CONVERSION_UNCOMPRESSED, out.data(), out.size(), nullptr);
    }
    out.resize(len);
    BN_free(k);
    EC_POINT_free(point);
    EC_GROUP_free(group);
    return out;
}

void check(const Curve& curve) {
    const char* name = curve.name;
    LogBase log;
    DeterministicPrng prng;
    EccKey a, b, derived;
    if (!a.generateNewKey(StringBuffer(name), prng, log) || !b.generateNewKey(StringBuffer(name), prng, log)) {
        return fail(name, "key generation");
    }

    DataBuffer point;
    const std::vector<unsigned char> expected = opensslPoint(curve.nid);
    if (!derived.generateNewKey2(StringBuffer(name), kKnownScalar, "hex", log) ||
        !derived.exportEccPoint(point, log) || expected.empty() ||
        !point.equals(expected.data(), static_cast<unsigned>(expected.size()))) {
        fail(name, "public key from the known scalar differs from OpenSSL's");
    }

    const std::vector<unsigned char> digest = pattern(32, 0x11);
    for (bool der : {true, false}) {
        DataBuffer sig;
        bool valid = false;
        const unsigned half = static_cast<unsigned>(a.m_curve.fieldBytes);
        if (!a.eccSignHash(digest.data(), 32, prng, der, sig, log)) {
            fail(name, der ? "signing (DER)" : "signing (raw)");
            continue;
        }
        if (!a.eccVerifyHash(sig.getData2(), sig.getSize(), !der, digest.data(), 32, valid, log, der ? 0 : half) ||
            !valid) {
            fail(name, der ? "DER signature does not verify" : "raw signature does not verify");
        }
    }

    DataBuffer ab, ba;
    if (!a.sharedSecret(b, ab, log) || !b.sharedSecret(a, ba, log) || ab.getSize() == 0 || !ab.equals(ba)) {
        fail(name, "the two sides of ECDH disagree");
    }
}

}  // namespace

int main() {
    for (const Curve& curve : kCurves) check(curve);
    if (failures != 0) {
        std::fprintf(stderr, "%d failures\n", failures);
        return 1;
    }
    std::printf("whole-library constant-time check: %s\n",
                RUNNING_ON_VALGRIND ? "ran under valgrind" : "not under valgrind (results only)");
    return 0;
}
