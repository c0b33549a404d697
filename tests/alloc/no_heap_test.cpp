// Scalar multiplication must not touch the heap on either engine: its working values are
// inline digits and fixed-width words. Every global operator new of this program is
// replaced so that the allocations made while a multiplication runs can be counted.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

#include "ecc/EccKey.h"
#include "ecc/generic/CurveEngine.h"
#include "ecc/generic/ScalarMultiplication.h"
#include "ecc/secp256k1/CompletePoint.h"
#include "ecc/secp256k1/CurvePt.h"
#include "ecc/secp256k1/GeneratorMultiplication.h"
#include "ecc/secp256k1/OrderMontgomery.h"
#include "ecc/secp256k1/PointMultiplication.h"
#include "support/openssl_oracle.h"

// The replacements below pair malloc with free on purpose.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

namespace {
std::atomic<bool> g_armed{false};
std::atomic<long> g_allocations{0};

void* counted(std::size_t n) {
    if (g_armed.load(std::memory_order_relaxed)) g_allocations.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(n == 0 ? 1 : n);
}
}  // namespace

void* operator new(std::size_t n) {
    void* p = counted(n);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}
void* operator new[](std::size_t n) { return operator new(n); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return counted(n); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return counted(n); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

namespace vn {
namespace {

// Counts the allocations made by f.
template <typename F>
long allocationsDuring(F&& f) {
    g_allocations = 0;
    g_armed = true;
    f();
    g_armed = false;
    return g_allocations.load();
}

TEST(NoHeap, CounterSeesAnAllocation) {
    EXPECT_EQ(1, allocationsDuring([] {
                  int* volatile p = new int(1);
                  delete p;
              }));
}

class GenericCurve : public ::testing::TestWithParam<std::string> {};

TEST_P(GenericCurve, LadderAndShamirStayOffTheHeap) {
    testing_support::OracleCurve c(GetParam().c_str());
    LogNull log;
    mp_int k1, k2;
    c.randomScalar(k1);
    c.randomScalar(k2);
    EccPoint Q, R, Out;
    ASSERT_TRUE(pointMult_tmr(k2, c.G, Q, c.ma(), c.p, log));

    bool ok = false;
    EXPECT_EQ(0, allocationsDuring([&] { ok = pointMult_tmr(k1, c.G, R, c.ma(), c.p, log); }));
    EXPECT_TRUE(ok);
    EXPECT_EQ(0, allocationsDuring([&] { ok = c.key.mul2add(c.G, k1, Q, k2, Out, c.ma(), c.p, log); }));
    EXPECT_TRUE(ok);
}

// The per-curve engine's operations, once the engine (and its table) exists.
TEST_P(GenericCurve, EngineOperationsStayOffTheHeap) {
    testing_support::OracleCurve c(GetParam().c_str());
    const CurveEngine* engine = curveEngine(c.key.m_curve);
    ASSERT_NE(engine, nullptr);
    mp_int k, d, e, r, s, x;
    c.randomScalar(k);
    c.randomScalar(d);
    c.randomScalar(e);
    EccPoint Q, R;
    SecretScalar nonce;
    const unsigned char bytes[20] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20};
    bool ok = true, match = false;
    EXPECT_EQ(0, allocationsDuring([&] {
                  ok = engine->generatorMultiply(k, Q) && engine->multiply(d, Q, R) &&
                       engine->nonceCommitment(bytes, sizeof bytes, nonce, x) && BigNum::mp_mod(x, c.n, r) == MP_OKAY &&
                       engine->signatureS(nonce, d, e, r, s) && engine->verifyMatch_var(e, r, Q, r, match);
              }));
    EXPECT_TRUE(ok);
}

INSTANTIATE_TEST_SUITE_P(AllGenericCurves, GenericCurve,
                         ::testing::Values("secp160r1", "secp192r1", "secp224r1", "secp256r1", "secp384r1",
                                           "secp521r1", "brainpoolP160r1", "brainpoolP192r1",
                                           "brainpoolP224r1", "brainpoolP256r1", "brainpoolP320r1",
                                           "brainpoolP384r1", "brainpoolP512r1"));

TEST(NoHeap, Secp256k1MultiplyAndNormalize) {
    unsigned char bytes[32];
    for (int i = 0; i < 32; ++i) bytes[i] = static_cast<unsigned char>(0x5A + 7 * i);
    const _vnUnsigned256 k(bytes);
    _vnCurvePt p = _vnCurvePt::m_s_G;
    EXPECT_EQ(0, allocationsDuring([&] {
                  p.multiplyPt(k);
                  p.normalizePt();
              }));
    EXPECT_TRUE(p.isOnCurve());
}

// The secp256k1 paths every key operation takes, once the generator table exists.
TEST(NoHeap, Secp256k1FastPaths) {
    unsigned char bytes[32];
    for (int i = 0; i < 32; ++i) bytes[i] = static_cast<unsigned char>(0xA5 ^ (3 * i));
    const _vnUnsigned256 k(bytes), e(bytes + 0);
    _vnPt64 Q, R;
    multiplyGenerator(k, Q);  // builds the table
    _vnUnsigned256 s;
    EXPECT_EQ(0, allocationsDuring([&] {
                  multiplyGenerator(k, Q);
                  multiplyPointOddWindows(Q, k, R);
                  multiplyTwo_var(k, e, Q, R);
                  signatureS(k, k, e, e, s);
              }));
}

}  // namespace
}  // namespace vn
