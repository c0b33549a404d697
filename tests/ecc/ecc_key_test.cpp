#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>

#include "ecc/EccKey.h"
#include "ecc/curves/NamedCurves.h"
#include "host/BigNum.h"

// Allocation failure on demand, for the factory's promise to return null instead of throwing.
namespace {
bool g_failNextAllocation = false;
}

// GCC cannot see that these replace the global pair, and takes free() for a mismatch.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpragmas"
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t n) {
    if (g_failNextAllocation) {
        g_failNextAllocation = false;
        throw std::bad_alloc();
    }
    void* p = std::malloc(n == 0 ? 1 : n);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}
// Every other form is replaced as well, so that no allocation in this program pairs with a
// release from a different family (AddressSanitizer checks the pairing).
void* operator new[](std::size_t n) { return ::operator new(n); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
    try {
        return ::operator new(n);
    } catch (...) {
        return nullptr;
    }
}
void* operator new[](std::size_t n, const std::nothrow_t& tag) noexcept { return ::operator new(n, tag); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
#pragma GCC diagnostic pop

namespace vn {
namespace {

void expectEmpty(const EccKey& key) {
    EXPECT_EQ(key.m_keyType, 0);
    EXPECT_EQ(key.get_ModulusBitLen(), 0u);
    StringBuffer oid("stale");
    key.getCurveOid(oid);
    EXPECT_STREQ(oid.getString(), "");
    EXPECT_EQ(key.m_curve.name.getSize(), 0u);
    EXPECT_EQ(key.m_pubPoint.format, 4);
    EXPECT_TRUE(key.m_pubPoint.x.isZero() && key.m_pubPoint.y.isZero() && key.m_pubPoint.z.isZero());
    EXPECT_TRUE(key.m_k.isZero());
    EXPECT_EQ(key.m_pkcs8Attributes.getSize(), 0u);
}

// A key on the curve with its base point as public point and a made-up scalar.
void fill(EccKey& key, const char* curve) {
    LogNull log;
    ASSERT_TRUE(key.m_curve.loadCurveByName(curve, log));
    BigNum::mp_read_radix(key.m_pubPoint.x, key.m_curve.Gx.getString(), 16);
    BigNum::mp_read_radix(key.m_pubPoint.y, key.m_curve.Gy.getString(), 16);
    BigNum::mp_set(key.m_pubPoint.z, 1);
    key.m_pubPoint.format = 6;
    BigNum::mp_set(key.m_k, 12345);
    key.m_keyType = 1;
    const unsigned char attrs[] = {0xA0, 0x00};
    key.m_pkcs8Attributes.append(attrs, 2);
}

TEST(EccKeyLifecycle, FreshAndClearedKeysAreAlike) {
    EccKey fresh;
    expectEmpty(fresh);
    EccKey used;
    fill(used, "brainpoolP256r1");
    used.clearEccKey();
    expectEmpty(used);
}

TEST(EccKeyLifecycle, CopyIsDeepAndOutlivesTheSource) {
    EccKey src, copy;
    fill(src, "bp-320");
    fill(copy, "secp521r1");  // everything of the previous key must go
    copy.copyFromEccKey(src);
    src.clearEccKey();
    src.m_curve.A.clear();
    EXPECT_EQ(copy.m_keyType, 1);
    EXPECT_EQ(BigNum::mp_cmp_d(copy.m_k, 12345), 0);
    EXPECT_STREQ(copy.m_curve.name.getString(), "brainpoolp320r1");
    EXPECT_TRUE(copy.m_curve.hasA);
    EXPECT_EQ(copy.m_curve.A.getSize(), 80u);
    EXPECT_EQ(copy.m_pubPoint.format, 6);
    EXPECT_EQ(copy.get_ModulusBitLen(), 320u);
    EXPECT_EQ(copy.m_pkcs8Attributes.getSize(), 2u);
    LogNull log;
    EXPECT_TRUE(copy.isPoint(log));
}

TEST(EccKeyLifecycle, ModulusBitLengthIsByteRounded) {
    struct Case {
        const char* curve;
        unsigned bits;
    } cases[] = {{"secp256r1", 256}, {"secp256k1", 256}, {"secp384r1", 384}, {"secp521r1", 528},
                 {"secp160r1", 160}, {"secp224r1", 224}};
    for (const Case& c : cases) {
        EccKey key;
        StringBuffer oid;
        LogNull log;
        ASSERT_TRUE(key.m_curve.loadCurveByName(c.curve, log));
        EXPECT_EQ(key.get_ModulusBitLen(), c.bits) << c.curve;
    }
}

TEST(EccKeyLifecycle, CurveByOidAndEngineChoice) {
    EccKey key;
    LogBase log;
    StringBuffer oid("1.3.132.0.10");
    ASSERT_TRUE(key.loadCurveByOid(oid, log));
    EXPECT_TRUE(key.usesSecp256k1Engine());
    StringBuffer out;
    key.getCurveOid(out);
    EXPECT_STREQ(out.getString(), "1.3.132.0.10");
    ASSERT_TRUE(key.m_curve.loadCurveByName(" SECP256K1 ", log));
    EXPECT_TRUE(key.usesSecp256k1Engine());
    ASSERT_TRUE(key.m_curve.loadCurveByName("secp256r1", log));
    EXPECT_FALSE(key.usesSecp256k1Engine());
    EccKey empty;
    EXPECT_FALSE(empty.usesSecp256k1Engine());
}

TEST(EccKeyLifecycle, FactoryReturnsNullWhenAllocationFails) {
    EccKey* key = EccKey::createNewObject();
    ASSERT_NE(key, nullptr);
    expectEmpty(*key);
    VantorObject* asBase = key;
    delete asBase;  // through the virtual destructor

    g_failNextAllocation = true;
    EXPECT_EQ(EccKey::createNewObject(), nullptr);
    EXPECT_FALSE(g_failNextAllocation);
}

TEST(EccKeyIsPoint, EveryBasePointIsOnItsCurveAndABitFlipIsNot) {
    for (int i = 0; i < kNamedCurveCount; ++i) {
        const char* curve = namedCurveAt(i).name;
        EccKey key;
        fill(key, curve);
        LogBase log;
        EXPECT_TRUE(key.isPoint(log)) << curve;
        mp_int one;
        BigNum::mp_set(one, 1);
        DataBuffer x963;
        ASSERT_TRUE(key.exportEccPoint(x963, log));
        EXPECT_EQ(x963.getSize(), 1u + 2u * unsigned(key.m_curve.fieldBytes)) << curve;
        // Flip the lowest bit of y.
        x963.getData2()[x963.getSize() - 1] ^= 1;
        ASSERT_TRUE(key.m_pubPoint.loadEccPoint(x963, log));
        EXPECT_FALSE(key.isPoint(log)) << curve;
        EXPECT_TRUE(log.errors().empty()) << curve;
    }
}

TEST(EccKeyIsPoint, UnparseableCurveTextsAreReported) {
    EccKey key;
    fill(key, "secp256r1");
    key.m_curve.B.setString("xyz");
    LogBase log;
    EXPECT_FALSE(key.isPoint(log));
    EXPECT_EQ(log.errors(), std::vector<std::string>{"Failed to decode curve B."});
    key.m_curve.p.setString("");
    LogBase log2;
    EXPECT_FALSE(key.isPoint(log2));
    EXPECT_EQ(log2.errors(), std::vector<std::string>{"Failed to decode curve prime."});
}

}  // namespace
}  // namespace vn
