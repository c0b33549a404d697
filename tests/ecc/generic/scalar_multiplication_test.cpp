#include <gtest/gtest.h>

#include <string>

#include "ecc/generic/ScalarMultiplication.h"
#include "support/openssl_oracle.h"

namespace vn {
namespace {

using testing_support::OracleCurve;
using testing_support::hexOf;
using testing_support::samePoint;

class GenericCurve : public ::testing::TestWithParam<std::string> {};

TEST_P(GenericCurve, LadderAgreesWithOpenSsl) {
    OracleCurve c(GetParam().c_str());
    ASSERT_TRUE(c.group);
    LogBase log;

    auto check = [&](mp_int& k, const char* label) {
        EccPoint ours, theirs;
        ASSERT_TRUE(pointMult_tmr(k, c.G, ours, c.ma(), c.p, log)) << label << " k=" << hexOf(k);
        c.mul(c.G, k, theirs);
        EXPECT_TRUE(samePoint(ours, theirs)) << label << " k=" << hexOf(k);
    };

    mp_int k, one;
    BigNum::mp_set(one, 1);
    for (unsigned small : {1u, 2u, 3u, 4u, 5u, 7u}) {
        BigNum::mp_set(k, small);
        check(k, "small");
    }
    BigNum::mp_sub(c.n, one, k);
    check(k, "n-1");
    BigNum::mp_sub(k, one, k);
    check(k, "n-2");
    for (int i = 0; i < 100; ++i) {
        c.randomScalar(k);
        check(k, "random");
    }
    // A base point other than G, through the same routine, with R the same object as G.
    EccPoint P;
    P.copyFromEccPoint(c.G);
    c.randomScalar(k);
    EccPoint expected;
    c.mul(c.G, k, expected);
    ASSERT_TRUE(pointMult_tmr(k, P, P, c.ma(), c.p, log));
    EXPECT_TRUE(samePoint(P, expected));
    EXPECT_TRUE(log.errors().empty());
}

TEST_P(GenericCurve, ScalarsWithoutAnAffineResultAreRefused) {
    OracleCurve c(GetParam().c_str());
    LogBase log;
    EccPoint R;
    mp_int zero;
    EXPECT_FALSE(pointMult_tmr(zero, c.G, R, c.ma(), c.p, log));
    // n*G is the point at infinity: a false, never a made-up point.
    EXPECT_FALSE(pointMult_tmr(c.n, c.G, R, c.ma(), c.p, log));
    EXPECT_TRUE(log.errors().empty());
}

TEST_P(GenericCurve, Mul2AddAgreesWithOpenSsl) {
    OracleCurve c(GetParam().c_str());
    LogBase log;
    EccKey key;
    mp_int q, u1, u2, zero;
    EccPoint Q;
    c.randomScalar(q);
    c.mul(c.G, q, Q);

    for (int i = 0; i < 20; ++i) {
        c.randomScalar(u1);
        c.randomScalar(u2);
        EccPoint ours, theirs;
        ASSERT_TRUE(key.mul2add(c.G, u1, Q, u2, ours, c.ma(), c.p, log));
        c.mul2(c.G, u1, Q, u2, theirs);
        EXPECT_TRUE(samePoint(ours, theirs)) << "u1=" << hexOf(u1) << " u2=" << hexOf(u2);
    }

    // One scalar zero: the other alone.
    EccPoint ours, theirs;
    c.randomScalar(u1);
    ASSERT_TRUE(key.mul2add(c.G, u1, Q, zero, ours, c.ma(), c.p, log));
    c.mul(c.G, u1, theirs);
    EXPECT_TRUE(samePoint(ours, theirs));
    ASSERT_TRUE(key.mul2add(c.G, zero, Q, u1, ours, c.ma(), c.p, log));
    c.mul(Q, u1, theirs);
    EXPECT_TRUE(samePoint(ours, theirs));

    // Scalars of different byte lengths are aligned at their least significant byte.
    BigNum::mp_set(u2, 0x1234);
    ASSERT_TRUE(key.mul2add(c.G, u1, Q, u2, ours, c.ma(), c.p, log));
    c.mul2(c.G, u1, Q, u2, theirs);
    EXPECT_TRUE(samePoint(ours, theirs));

    // Out the same object as A, as verification calls it.
    EccPoint A;
    A.copyFromEccPoint(c.G);
    c.mul2(c.G, u2, Q, u1, theirs);
    ASSERT_TRUE(key.mul2add(A, u2, Q, u1, A, c.ma(), c.p, log));
    EXPECT_TRUE(samePoint(A, theirs));

    EXPECT_FALSE(key.mul2add(c.G, zero, Q, zero, ours, c.ma(), c.p, log));
    EXPECT_TRUE(log.errors().empty());
}

INSTANTIATE_TEST_SUITE_P(Curves, GenericCurve, ::testing::ValuesIn(testing_support::genericCurves()),
                         [](const ::testing::TestParamInfo<std::string>& param) { return param.param; });

TEST(Mul2Add, ScalarLongerThan256BytesIsRefused) {
    OracleCurve c("secp256r1");
    LogBase log;
    EccKey key;
    unsigned char big[257];
    for (unsigned char& b : big) b = 0x5A;
    mp_int kA, kB;
    ASSERT_TRUE(BigNum::mpint_from_bytes(kA, big, 257));
    BigNum::mp_set(kB, 1);
    EccPoint out;
    EXPECT_FALSE(key.mul2add(c.G, kA, c.G, kB, out, c.ma(), c.p, log));
    ASSERT_TRUE(BigNum::mpint_from_bytes(kA, big, 256));
    EXPECT_TRUE(key.mul2add(c.G, kA, c.G, kB, out, c.ma(), c.p, log));
}

TEST(PointMultiply, EvenModulusFailsInsideItsContext) {
    OracleCurve c("secp256r1");
    LogBase log;
    mp_int even, k;
    BigNum::mp_set(even, 1000);
    BigNum::mp_set(k, 3);
    EccPoint R;
    EXPECT_FALSE(pointMult_tmr(k, c.G, R, nullptr, even, log));
}

}  // namespace
}  // namespace vn
