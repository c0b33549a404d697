// The per-curve engine against OpenSSL: k*G from the table, k*P by signed windows and the
// verification sum, on scalars at the edges of the window arithmetic and at random.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ecc/generic/ConstantTimeMultiplication.h"
#include "ecc/generic/CurveEngine.h"
#include "support/openssl_oracle.h"

namespace vn {
namespace {

using testing_support::OracleCurve;
using testing_support::hexOf;
using testing_support::samePoint;

class Engine : public ::testing::TestWithParam<std::string> {};

// Scalars that stress the recoding: the ends of [1, n), powers of two at window borders (6 and
// 5 bits), runs of ones, and random values.
std::vector<std::string> edgeScalars(OracleCurve& c) {
    std::vector<std::string> out;
    mp_int k, t, one;
    BigNum::mp_set(one, 1);
    for (unsigned small : {1u, 2u, 3u, 63u, 64u, 65u}) {
        BigNum::mp_set(k, small);
        out.push_back(hexOf(k));
    }
    for (unsigned d : {1u, 2u, 3u}) {
        BigNum::mp_set(t, d);
        BigNum::mp_sub(c.n, t, k);
        out.push_back(hexOf(k));  // n - 1, n - 2, n - 3
    }
    const int bits = BigNum::mp_count_bits(c.n);
    for (int b : {bits - 1, bits - 2, 6 * ((bits - 1) / 6), 5 * ((bits - 1) / 5), 60, 61}) {
        BigNum::mp_read_radix(k, (std::string(1, "1248"[b % 4]) + std::string(static_cast<std::size_t>(b / 4), '0')).c_str(), 16);
        if (BigNum::mp_cmp(k, c.n) != -1) continue;
        out.push_back(hexOf(k));
        BigNum::mp_sub(k, one, t);
        out.push_back(hexOf(t));  // all ones below
    }
    for (int i = 0; i < 12; ++i) {
        c.randomScalar(k);
        out.push_back(hexOf(k));
    }
    return out;
}

TEST_P(Engine, ProductsMatchOpenSsl) {
    OracleCurve c(GetParam().c_str());
    const CurveEngine* engine = curveEngine(c.key.m_curve);
    ASSERT_NE(engine, nullptr);
    EXPECT_EQ(engine, curveEngine(c.key.m_curve));  // built once

    mp_int secret;
    c.randomScalar(secret);
    EccPoint P;  // a base other than G
    c.mul(c.G, secret, P);

    for (const std::string& hex : edgeScalars(c)) {
        mp_int k;
        BigNum::mp_read_radix(k, hex.c_str(), 16);
        EccPoint ours, theirs;
        ASSERT_TRUE(engine->generatorMultiply(k, ours)) << hex;
        c.mul(c.G, k, theirs);
        EXPECT_TRUE(samePoint(ours, theirs)) << "k*G, k=" << hex;
        ASSERT_TRUE(engine->multiply(k, P, ours)) << hex;
        c.mul(P, k, theirs);
        EXPECT_TRUE(samePoint(ours, theirs)) << "k*P, k=" << hex;
    }

    // Scalars at or above n are reduced (and written back by the generator product); 0 and n
    // have no affine product.
    mp_int k, expected;
    BigNum::mp_add(c.n, secret, k);
    EccPoint ours, theirs;
    ASSERT_TRUE(engine->generatorMultiply(k, ours));
    EXPECT_EQ(hexOf(k), hexOf(secret));
    c.mul(c.G, secret, theirs);
    EXPECT_TRUE(samePoint(ours, theirs));
    BigNum::mp_set(k, 0);
    EXPECT_FALSE(engine->generatorMultiply(k, ours));
    EXPECT_FALSE(engine->multiply(k, P, ours));
    BigNum::mp_copy(c.n, k);
    EXPECT_FALSE(engine->generatorMultiply(k, ours));
    EXPECT_FALSE(engine->multiply(k, P, ours));
}

// u1*G + u2*Q where the two halves are related: Q = +-G, u1*G = +-u2*Q (a doubling, the point
// at infinity), and random pairs; the match against r = x mod n is OpenSSL's answer.
TEST_P(Engine, VerificationSumMatchesOpenSsl) {
    OracleCurve c(GetParam().c_str());
    const CurveEngine* engine = curveEngine(c.key.m_curve);
    ASSERT_NE(engine, nullptr);
    mp_int q, u1, u2, t, one;
    BigNum::mp_set(one, 1);
    for (int round = 0; round < 24; ++round) {
        c.randomScalar(u2);
        switch (round % 6) {
            case 0: BigNum::mp_set(q, 1); c.randomScalar(u1); break;                         // Q = G
            case 1: BigNum::mp_sub(c.n, one, q); c.randomScalar(u1); break;                  // Q = -G
            case 2: c.randomScalar(q); BigNum::mp_mulmod(q, u2, c.n, u1); break;             // doubling
            case 3: c.randomScalar(q); BigNum::mp_mulmod(q, u2, c.n, t); BigNum::mp_sub(c.n, t, u1); break;
            case 4: BigNum::mp_set(q, 2); BigNum::mp_add(u2, u2, u1); BigNum::mp_mod(u1, c.n, u1); break;
            default: c.randomScalar(q); c.randomScalar(u1); break;
        }
        EccPoint Q, sum;
        c.mul(c.G, q, Q);
        BigNum::mp_mulmod(q, u2, c.n, t);
        BigNum::mp_add(t, u1, t);
        BigNum::mp_mod(t, c.n, t);  // u1 + q u2: the sum is t*G
        bool match = false;
        if (t.isZero()) {
            EXPECT_FALSE(engine->verifyMatch_var(u1, u2, Q, one, match)) << "infinity, round " << round;
            continue;
        }
        c.mul(c.G, t, sum);
        mp_int r, wrong;
        BigNum::mp_mod(sum.x, c.n, r);
        ASSERT_TRUE(engine->verifyMatch_var(u1, u2, Q, r, match)) << round;
        EXPECT_TRUE(match) << "round " << round;
        BigNum::mp_add(r, one, wrong);
        ASSERT_TRUE(engine->verifyMatch_var(u1, u2, Q, wrong, match));
        EXPECT_FALSE(match) << "round " << round;
    }
}

// Small sums whose first additions are the exceptional ones: Q = G and u1 = u2 (a doubling at
// the first digit), u2 = n - u1 (the point at infinity).
TEST_P(Engine, VerificationSumOfSmallRelatedScalars) {
    OracleCurve c(GetParam().c_str());
    const CurveEngine* engine = curveEngine(c.key.m_curve);
    mp_int u, v, t, r;
    for (unsigned small : {1u, 3u, 5u, 63u}) {
        BigNum::mp_set(u, small);
        EccPoint sum;
        BigNum::mp_set(t, 2 * small);
        c.mul(c.G, t, sum);
        BigNum::mp_mod(sum.x, c.n, r);
        bool match = false;
        ASSERT_TRUE(engine->verifyMatch_var(u, u, c.G, r, match));
        EXPECT_TRUE(match) << small;
        BigNum::mp_sub(c.n, u, v);
        EXPECT_FALSE(engine->verifyMatch_var(u, v, c.G, r, match)) << small;
    }
}

// Every case of the complete addition, constant-time and variable-time, against the answer
// it must give: P + P held with different Z is 2P, P + (-P) and O + O are O, O + P is P.
template <int L>
void checkCompleteAddition(OracleCurve& c) {
    LimbCurve<L> lc;
    EXPECT_TRUE(lc.init(c.p, c.ma()));
    LimbPoint<L> g, scaled, neg, inf, twice, out;
    EXPECT_TRUE(lc.enter(c.G, c.p, g));
    // (X l^2, Y l^3, Z l) with l = 3 in Montgomery form: the same point, another Z.
    Limb l[arraySize(L)], l2[arraySize(L)], l3[arraySize(L)];
    lc.f.add(lc.one, lc.one, l);
    lc.f.add(l, lc.one, l);
    lc.f.sqr(l, l2);
    lc.f.mul(l2, l, l3);
    lc.f.mul(g.x, l2, scaled.x);
    lc.f.mul(g.y, l3, scaled.y);
    lc.f.mul(g.z, l, scaled.z);
    neg = scaled;
    negateWhere(lc.f, ~Limb{0}, neg.y);
    inf = g;
    for (int i = 0; i < L; ++i) inf.z[i] = 0;
    limbDouble(lc, g, twice);
    const auto same = [&](const LimbPoint<L>& a, const LimbPoint<L>& b) {
        Limb ax[arraySize(L)], ay[arraySize(L)], bx[arraySize(L)], by[arraySize(L)];
        return toAffine(lc, a, ax, ay) && toAffine(lc, b, bx, by) && LimbField<L>::equal(ax, bx) &&
               LimbField<L>::equal(ay, by);
    };
    const auto atInfinity = [](const LimbPoint<L>& a) { return LimbField<L>::zeroMask(a.z) != 0; };
    for (int variant = 0; variant < 2; ++variant) {
        const auto add = [&](const LimbPoint<L>& a, const LimbPoint<L>& b, LimbPoint<L>& o) {
            if (variant == 0) limbAddComplete(lc, a, b, o);
            else limbAddComplete_var(lc, a, b, o);
        };
        add(g, scaled, out);
        EXPECT_TRUE(same(out, twice)) << "P + P, variant " << variant;
        add(g, neg, out);
        EXPECT_TRUE(atInfinity(out)) << "P - P, variant " << variant;
        add(inf, scaled, out);
        EXPECT_TRUE(same(out, g)) << "O + P, variant " << variant;
        add(scaled, inf, out);
        EXPECT_TRUE(same(out, g)) << "P + O, variant " << variant;
        add(inf, inf, out);
        EXPECT_TRUE(atInfinity(out)) << "O + O, variant " << variant;
    }
    // The mixed form takes an affine Q: g itself (its Z is the Montgomery one).
    limbAddMixedComplete(lc, scaled, g.x, g.y, out);
    EXPECT_TRUE(same(out, twice)) << "mixed P + P";
    limbAddMixedComplete(lc, neg, g.x, g.y, out);
    EXPECT_TRUE(atInfinity(out)) << "mixed P - P";
    limbAddMixedComplete(lc, inf, g.x, g.y, out);
    EXPECT_TRUE(same(out, g)) << "mixed O + P";
    // The projective form (x l, y l, l) of the same point, its negative, and (0 : 1 : 0).
    ProjectiveB<L> b;
    mp_int bm;
    BigNum::mp_read_radix(bm, c.key.m_curve.B.getString(), 16);
    EXPECT_TRUE(lc.enter(bm, c.p, b.v));
    if (c.hasA) {
        Limb b1[arraySize(L)];
        LimbField<L>::copy(b.v, b1);
        lc.f.add(b1, b1, b.v);
        lc.f.add(b.v, b1, b.v);
    }
    LimbPoint<L> proj, projNeg, projInf;
    lc.f.mul(g.x, l, proj.x);
    lc.f.mul(g.y, l, proj.y);
    LimbField<L>::copy(l, proj.z);
    projNeg = proj;
    negateWhere(lc.f, ~Limb{0}, projNeg.y);
    for (int i = 0; i < L; ++i) projInf.x[i] = projInf.z[i] = 0;
    LimbField<L>::copy(lc.one, projInf.y);
    const std::pair<const LimbPoint<L>*, const LimbPoint<L>*> cases[] = {
        {&proj, &twice}, {&projNeg, nullptr}, {&projInf, &g}};
    for (const auto& cs : cases) {
        projectiveAddMixed(lc, b, *cs.first, g.x, g.y, out);
        projectiveToJacobian(lc, out);
        if (cs.second == nullptr) EXPECT_TRUE(atInfinity(out)) << "projective P - P";
        else EXPECT_TRUE(same(out, *cs.second)) << "projective case";
    }
}

TEST_P(Engine, CompleteAdditionCoversEveryCase) {
    OracleCurve c(GetParam().c_str());
    withFieldLimbs(fieldLimbs(c.p), [&](auto limbs) {
    checkCompleteAddition<decltype(limbs)::value>(c);
    return true;
    });
}

INSTANTIATE_TEST_SUITE_P(Curves, Engine, ::testing::ValuesIn(testing_support::genericCurves()),
                         [](const ::testing::TestParamInfo<std::string>& i) { return i.param; });

}  // namespace
}  // namespace vn
