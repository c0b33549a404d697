// Results that must never change: key generation, every signature form and ECDH on every
// curve, from a fixed generator stream, digested into one known answer. However the arithmetic
// is computed, the same generator bytes give the same keys, nonces and signatures.

#include <gtest/gtest.h>

#include <string>

#include "ecc/EccKey.h"
#include "host/Hash.h"
#include "host/Prng.h"

namespace vn {
namespace {

// A fixed stream of bytes (a 64-bit LCG's top byte).
struct StreamPrng : _vnPrng {
    bool genRandomBytes(unsigned int n, DataBuffer& out, LogBase&) override {
        for (unsigned i = 0; i < n; ++i) {
            m_state = m_state * 6364136223846793005ULL + 1442695040888963407ULL;
            if (!out.appendChar(static_cast<unsigned char>(m_state >> 56))) return false;
        }
        return true;
    }
    unsigned long long m_state = 12345;
};

// Lower-case hex and a newline: one transcript line.
std::string line(const DataBuffer& d) {
    static const char digits[] = "0123456789abcdef";
    std::string t;
    for (unsigned i = 0; i < d.getSize(); ++i) t += {digits[d.getData2()[i] >> 4], digits[d.getData2()[i] & 15]};
    return t + '\n';
}

TEST(KnownAnswer, EveryCurveEveryFormFromAFixedStream) {
    StreamPrng prng;
    std::string t;
    for (const char* c : {"secp160r1", "secp192r1", "secp224r1", "secp256r1", "secp384r1", "secp521r1", "secp256k1",
                          "brainpoolP160r1", "brainpoolP192r1", "brainpoolP224r1", "brainpoolP256r1",
                          "brainpoolP320r1", "brainpoolP384r1", "brainpoolP512r1"}) {
        for (int rep = 0; rep < 2; ++rep) {
            EccKey a, b;
            LogNull log;
            const StringBuffer name(c);
            const bool keys = a.generateNewKey(name, prng, log) && b.generateNewKey(name, prng, log);
            t += std::string(c) + (keys ? " keys\n" : " no keys\n");
            DataBuffer out;
            a.m_pubPoint.exportEccPoint(a.m_curve.fieldBytes, out, log);
            t += line(out);
            unsigned char digest[80];
            for (int i = 0; i < 80; ++i) digest[i] = static_cast<unsigned char>(i * 37 + rep);
            for (unsigned len : {20u, 32u, 64u, 80u}) {
                for (int form = 0; form < 3; ++form) {
                    out.clear();
                    const bool ok = form == 2 ? a.eccSignHash_forSsh(digest, len, prng, out, log)
                                              : a.eccSignHash(digest, len, prng, form == 0, out, log);
                    t += (ok ? "sig " : "no sig ") + line(out);
                }
            }
            out.clear();
            const bool agreed = a.sharedSecret(b, out, log);
            t += (agreed ? "ecdh " : "no ecdh ") + line(out);
        }
    }
    DataBuffer d;
    _vnHash::doHash(t.data(), static_cast<unsigned>(t.size()), _vnHash::SHA256, d);
    EXPECT_EQ(line(d), "b85b055110a81127a4a86800f4b4af626b845b8b44bcd2f3bc1f86b321e1fd33\n");
}

}  // namespace
}  // namespace vn
