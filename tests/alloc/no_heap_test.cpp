// The engines' arithmetic must not touch the heap: its working values are inline digits and
// fixed-width words. Every global operator new of this program is replaced, so that the
// allocations made while an operation runs can be counted, and the next one made to fail.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

#include "ecc/EccKey.h"
#include "ecc/generic/CurveEngine.h"
#include "ecc/generic/ScalarMultiplication.h"
#include "ecc/secp256k1/GeneratorMultiplication.h"
#include "ecc/secp256k1/OrderMontgomery.h"
#include "ecc/secp256k1/PointMultiplication.h"
#include "support/openssl_oracle.h"
#include "support/scripted_prng.h"

// The replacements below pair malloc with free on purpose.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

namespace {
std::atomic<bool> g_armed{false}, g_failNext{false};
std::atomic<long> g_allocations{0};
}  // namespace

void* operator new(std::size_t n) {
    if (g_armed.load(std::memory_order_relaxed)) g_allocations.fetch_add(1, std::memory_order_relaxed);
    if (g_failNext.exchange(false)) throw std::bad_alloc();
    void* p = std::malloc(n == 0 ? 1 : n);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}
// The array and nothrow forms the runtime supplies all forward to these.
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

namespace vn {
namespace {

template <typename F>
long allocationsDuring(F&& f) {
    g_allocations = 0, g_armed = true;
    f();
    g_armed = false;
    return g_allocations.load();
}

// The factory is the library's one allocation that reports failure instead of throwing; its
// failing also shows the replacement (and so the counter) is the one in use.
TEST(NoHeap, CounterAndFactoryUnderFailure) {
    EccKey* key = EccKey::createNewObject();
    ASSERT_NE(key, nullptr);
    delete static_cast<VantorObject*>(key);  // through the virtual destructor
    g_failNext = true;
    EXPECT_EQ(EccKey::createNewObject(), nullptr);
    EXPECT_FALSE(g_failNext);
}

// Every generic engine operation once the engine and its table exist, and the ladder and
// two-scalar sum, on every curve of that engine.
TEST(NoHeap, GenericEngineOperations) {
    for (const std::string& name : testing_support::genericCurves()) {
        SCOPED_TRACE(name);
        testing_support::OracleCurve c(name.c_str());
        const CurveEngine* engine = curveEngine(c.key.m_curve);
        ASSERT_NE(engine, nullptr);
        LogNull log;
        mp_int k, d, r, s, x;
        BigNum::mp_mod(c.G.y, c.n, k), BigNum::mp_mod(c.G.x, c.n, d);  // fixed values below n: nothing random
        EccPoint Q, R;
        SecretScalar nonce;
        const unsigned char bytes[20] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20};
        bool ok = false, match = false;
        const auto ops = [&] {
            ok = engine->generatorMultiply(k, Q) && engine->multiply(d, Q, R) &&
                           engine->nonceCommitment(bytes, sizeof bytes, nonce, x) &&
                           BigNum::mp_mod(x, c.n, r) == MP_OKAY && engine->signatureS(nonce, d, d, r, s) &&
                           engine->verifyMatch_var(d, r, Q, r, match) &&
                 pointMult_tmr(k, c.G, R, c.ma(), c.p, log) && c.key.mul2add(c.G, k, Q, d, R, c.ma(), c.p, log);
        };
        ops();  // the first run grows the callers' host integers (the ladder's G) to size
        EXPECT_EQ(0, allocationsDuring(ops));
        EXPECT_TRUE(ok);
    }
}

// The secp256k1 products of every key operation (generator table, odd windows, the verifier's
// sum and its x test) and the signer's s, once the generator table exists; then the key's
// verification end to end, a raw signature in and the verdict out.
TEST(NoHeap, Secp256k1Operations) {
    const _vnUnsigned256 k("A5A6A3A0B1B2BFBC8D8E8B88999A979475767370616273EC5D5E5B58494A4744"), e(_vnCurvePt::m_s_G.x);
    _vnPt64 Q, R;
    multiplyGenerator(k, Q);
    _vnUnsigned256 s, inv = e;
    _vnCurvePt p = _vnCurvePt::m_s_G;
    EXPECT_EQ(0, allocationsDuring([&] {
                  multiplyGenerator(k, Q), multiplyGenerator_var(e, R), multiplyPointOddWindows(Q, k, R);
                  multiplyTwo_var(k, e, Q, R), pt64::xModOrderEquals_var(R, e), signatureS(k, k, e, e, s);
                  reciprocalModOrderMont(inv), p.multiplyPt(k), p.normalizePt();
              }));
    EXPECT_TRUE(p.isOnCurve());

    EccKey key;
    LogNull log;
    ASSERT_TRUE(key.generateNewKey2(StringBuffer("secp256k1"), "C0FFEE0123456789", "hex", log));
    unsigned char digest[32] = {7};
    testing_support::ScriptedPrng prng;
    prng.fillWith(0x5A);
    DataBuffer sig;
    ASSERT_TRUE(key.eccSignHashK(digest, 32, prng, false, sig, log));
    bool ok = false, valid = false;
    EXPECT_EQ(0, allocationsDuring([&] { ok = key.eccVerifyHashK(sig.getData2(), sig.getSize(), false, digest, 32, valid, log, 0); }));
    EXPECT_TRUE(ok && valid);
}

}  // namespace
}  // namespace vn
