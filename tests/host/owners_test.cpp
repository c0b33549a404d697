#include <gtest/gtest.h>

#include "host/KeyBase.h"
#include "host/ScopedOwners.h"

namespace vn {
namespace {

struct Tracked : RefCountedObject {
    explicit Tracked(int& live) : m_live(live) { ++m_live; }
    ~Tracked() override { --m_live; }
    int& m_live;
};

TEST(Owners, ReleaseAtScopeExit) {
    int live = 0;
    {
        ObjectOwner owner(new Tracked(live));
        RefCountedObjectOwner shared(new Tracked(live));
        EXPECT_EQ(live, 2);
    }
    EXPECT_EQ(live, 0);

    auto* shared = new Tracked(live);
    shared->incRefCount();
    { RefCountedObjectOwner a(shared); }
    EXPECT_EQ(live, 1);  // one reference is still out
    shared->decRefCount();
    EXPECT_EQ(live, 0);
}

TEST(Owners, ByteArraysAndTextCopies) {
    unsigned char* p = vnNewUnsignedChar(16);
    ASSERT_NE(p, nullptr);
    ByteArrayOwner owner(p, 16);
    EXPECT_EQ(owner.get(), p);
    char dst[8];
    vnStrCpy(dst, "abc");
    EXPECT_STREQ(dst, "abc");
    vnStrCpy(dst, nullptr);
    EXPECT_STREQ(dst, "");
}

TEST(KeyBase, CopyAndClearTheAttributes) {
    KeyBase a, b;
    const unsigned char attrs[] = {0xA0, 0x00};
    a.m_pkcs8Attributes.append(attrs, 2);
    b.copyFromKeyBase(a);
    a.clearKeyBase();
    EXPECT_EQ(a.m_pkcs8Attributes.getSize(), 0u);
    EXPECT_TRUE(b.m_pkcs8Attributes.equals(attrs, 2));
    EXPECT_TRUE(b.m_pkcs8Attributes.isSecure());
}

}  // namespace
}  // namespace vn
