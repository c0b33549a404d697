#include <gtest/gtest.h>

#include <string>

#include "ecc/generic/JacobianArithmetic.h"
#include "support/openssl_oracle.h"

namespace vn {
namespace {

using testing_support::OracleCurve;
using testing_support::samePoint;

// A curve's Montgomery context and conversions, for driving the group law directly.
struct Mont {
    explicit Mont(OracleCurve& c) : curve(c) {
        BigNum::mp_montgomery_setup(c.p, rho);
        BigNum::mp_montgomery_normalization(mu, c.p);
    }
    void enter(const EccPoint& in, EccPoint& out) {
        BigNum::mp_mulmod(in.x, mu, curve.p, out.x);
        BigNum::mp_mulmod(in.y, mu, curve.p, out.y);
        BigNum::mp_mulmod(in.z, mu, curve.p, out.z);
    }
    OracleCurve& curve;
    unsigned rho = 0;
    mp_int mu;
};

void multipleOfG(OracleCurve& c, unsigned k, EccPoint& out) {
    mp_int kk;
    BigNum::mp_set(kk, k);
    c.mul(c.G, kk, out);
}

class GroupLaw : public ::testing::TestWithParam<std::string> {};

TEST_P(GroupLaw, DoubleAndAddGiveTwoGAndThreeG) {
    OracleCurve c(GetParam().c_str());
    Mont m(c);
    EccPoint g, twoG, threeG, want2, want3;
    m.enter(c.G, g);
    ASSERT_TRUE(pointDouble(g, twoG, c.ma(), c.p, m.rho));
    ASSERT_TRUE(pointAdd(g, twoG, threeG, c.ma(), c.p, m.rho));
    ASSERT_TRUE(mapPointBack(twoG, c.p, m.rho));
    ASSERT_TRUE(mapPointBack(threeG, c.p, m.rho));
    multipleOfG(c, 2, want2);
    multipleOfG(c, 3, want3);
    EXPECT_TRUE(samePoint(twoG, want2));
    EXPECT_TRUE(samePoint(threeG, want3));
}

TEST_P(GroupLaw, OutputsMayAliasInputs) {
    OracleCurve c(GetParam().c_str());
    Mont m(c);
    EccPoint g, twoG, separate, inPlace, want;

    // Double in place versus into a separate point.
    m.enter(c.G, g);
    ASSERT_TRUE(pointDouble(g, separate, c.ma(), c.p, m.rho));
    inPlace.copyFromEccPoint(g);
    ASSERT_TRUE(pointDouble(inPlace, inPlace, c.ma(), c.p, m.rho));
    EXPECT_TRUE(samePoint(separate, inPlace));

    // Add with R = P and with R = Q: 2G (Jacobian, Z != 1) + G.
    twoG.copyFromEccPoint(separate);
    EccPoint r1, r2, r3;
    r1.copyFromEccPoint(twoG);
    r2.copyFromEccPoint(g);
    ASSERT_TRUE(pointAdd(twoG, g, r3, c.ma(), c.p, m.rho));
    ASSERT_TRUE(pointAdd(r1, g, r1, c.ma(), c.p, m.rho));
    ASSERT_TRUE(pointAdd(twoG, r2, r2, c.ma(), c.p, m.rho));
    EXPECT_TRUE(samePoint(r1, r3));
    EXPECT_TRUE(samePoint(r2, r3));
    ASSERT_TRUE(mapPointBack(r3, c.p, m.rho));
    multipleOfG(c, 3, want);
    EXPECT_TRUE(samePoint(r3, want));
}

TEST_P(GroupLaw, AddingAPointToItselfDoubles) {
    OracleCurve c(GetParam().c_str());
    Mont m(c);
    EccPoint g, viaAdd, viaDouble;
    m.enter(c.G, g);
    ASSERT_TRUE(pointDouble(g, viaDouble, c.ma(), c.p, m.rho));  // Jacobian, Z != 1
    EccPoint same;
    same.copyFromEccPoint(viaDouble);
    ASSERT_TRUE(pointAdd(viaDouble, same, viaAdd, c.ma(), c.p, m.rho));
    ASSERT_TRUE(pointDouble(viaDouble, viaDouble, c.ma(), c.p, m.rho));
    EXPECT_TRUE(samePoint(viaAdd, viaDouble));
}

// P + (-P) is infinity, which the engine cannot express: the sum must not be a point that
// maps back to something affine.
TEST_P(GroupLaw, PointPlusItsNegationNeverMapsBack) {
    OracleCurve c(GetParam().c_str());
    Mont m(c);
    EccPoint g, neg, sum;
    m.enter(c.G, g);
    neg.copyFromEccPoint(g);
    BigNum::mp_sub(c.p, neg.y, neg.y);
    ASSERT_TRUE(pointAdd(g, neg, sum, c.ma(), c.p, m.rho));
    EXPECT_FALSE(mapPointBack(sum, c.p, m.rho));
}

INSTANTIATE_TEST_SUITE_P(Curves, GroupLaw, ::testing::ValuesIn(testing_support::genericCurves()),
                         [](const ::testing::TestParamInfo<std::string>& param) { return param.param; });

TEST(MapPointBack, MontgomeryOneAndZero) {
    OracleCurve c("brainpoolp256r1");
    Mont m(c);
    EccPoint g;
    m.enter(c.G, g);  // Z is now the Montgomery form of 1
    ASSERT_TRUE(mapPointBack(g, c.p, m.rho));
    EXPECT_TRUE(samePoint(g, c.G));

    m.enter(c.G, g);
    BigNum::mp_zero(g.z);
    EXPECT_FALSE(mapPointBack(g, c.p, m.rho));
}

}  // namespace
}  // namespace vn
