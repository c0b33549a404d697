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

#include <cstdio>

#include "ecc/EccKey.h"
#include "host/Prng.h"

namespace {

using namespace vn;

// Below every order here; its top bits set, so the scalar has no leading zero digits.
const char* const kKnownScalar = "F1E2D3C4B5A6978879695A4B3C2D1E0F00112233445566778899AABBCCDDEEFF";

int failures = 0;

// Deterministic bytes (xorshift64*), different on every call: signing draws a fresh nonce
// until r and s suit its encoding, so a constant answer would never end.
struct DeterministicPrng : _vnPrng {
    unsigned long long s = 0x9E3779B97F4A7C15ULL;
    bool genRandomBytes(unsigned int n, DataBuffer& out, LogBase&) override {
        for (unsigned int i = 0; i < n; ++i) {
            s ^= s >> 12, s ^= s << 25, s ^= s >> 27;
            if (!out.appendChar(static_cast<unsigned char>((s * 0x2545F4914F6CDD1DULL) >> 56))) return false;
        }
        return true;
    }
};

// Key generation, the public point of the known scalar against OpenSSL, signing and
// verification in both encodings, and both sides of ECDH.
void check(const char* name, int nid) {
    const auto fail = [name](const char* what) { std::fprintf(stderr, "%s: %s\n", name, what), ++failures; };
    LogBase log;
    DeterministicPrng prng;
    EccKey a, b, derived;
    if (!a.generateNewKey(StringBuffer(name), prng, log) || !b.generateNewKey(StringBuffer(name), prng, log))
        return fail("key generation");
    EC_GROUP* group = EC_GROUP_new_by_curve_name(nid);
    EC_POINT* point = EC_POINT_new(group);
    BIGNUM* k = nullptr;
    BN_hex2bn(&k, kKnownScalar);
    unsigned char expected[200];
    const std::size_t len = EC_POINT_mul(group, point, k, nullptr, nullptr, nullptr) != 1 ? 0
        : EC_POINT_point2oct(group, point, POINT_CONVERSION_UNCOMPRESSED, expected, sizeof expected, nullptr);
    BN_free(k), EC_POINT_free(point), EC_GROUP_free(group);
    DataBuffer ours, ab, ba;
    if (!derived.generateNewKey2(StringBuffer(name), kKnownScalar, "hex", log) || !derived.exportEccPoint(ours, log) ||
        len == 0 || !ours.equals(expected, static_cast<unsigned>(len))) {
        fail("public key from the known scalar differs from OpenSSL's");
    }
    const unsigned char digest[32] = {0x11, 0x2E, 0x4B, 0x68, 0x85, 0xA2, 0xBF, 0xDC};  // the rest zero
    for (bool der : {true, false}) {
        DataBuffer sig;
        bool valid = false;
        const unsigned rawSize = der ? 0 : static_cast<unsigned>(a.m_curve.fieldBytes);
        if (!a.eccSignHash(digest, 32, prng, der, sig, log) ||
            !a.eccVerifyHash(sig.getData2(), sig.getSize(), !der, digest, 32, valid, log, rawSize) || !valid) {
            fail(der ? "DER signing or verification" : "raw signing or verification");
        }
    }
    if (!a.sharedSecret(b, ab, log) || !b.sharedSecret(a, ba, log) || ab.getSize() == 0 || !ab.equals(ba)) {
        fail("the two sides of ECDH disagree");
    }
}

}  // namespace

int main() {
    check("secp256r1", NID_X9_62_prime256v1), check("secp384r1", NID_secp384r1), check("secp521r1", NID_secp521r1);
    check("brainpoolP256r1", NID_brainpoolP256r1), check("brainpoolP512r1", NID_brainpoolP512r1);
    check("secp256k1", NID_secp256k1);
    if (failures != 0) return std::fprintf(stderr, "%d failures\n", failures), 1;
    std::printf("whole-library constant-time check: %s\n",
                RUNNING_ON_VALGRIND ? "ran under valgrind" : "not under valgrind (results only)");
    return 0;
}
