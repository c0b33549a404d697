#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <random>
#include <string>
#include <vector>

#include "host/DataBuffer.h"
#include "host/Hash.h"

namespace vn {
namespace {

using Bytes = std::vector<unsigned char>;

struct Algo {
    int id;
    const char* name;
    const EVP_MD* (*md)();
};

const Algo kAlgos[] = {
    {_vnHash::MD5, "MD5", EVP_md5},          {_vnHash::SHA1, "SHA-1", EVP_sha1},
    {_vnHash::SHA224, "SHA-224", EVP_sha224}, {_vnHash::SHA256, "SHA-256", EVP_sha256},
    {_vnHash::SHA384, "SHA-384", EVP_sha384}, {_vnHash::SHA512, "SHA-512", EVP_sha512},
};

Bytes openssl(const Algo& a, const Bytes& msg) {
    unsigned char md[EVP_MAX_MD_SIZE];
    unsigned int n = 0;
    EXPECT_EQ(EVP_Digest(msg.data(), msg.size(), md, &n, a.md(), nullptr), 1);
    return Bytes(md, md + n);
}

Bytes oneShot(const Algo& a, const Bytes& msg) {
    DataBuffer out;
    out.append("stale", 5);  // doHash replaces, never appends
    EXPECT_TRUE(_vnHash::doHash(msg.data(), static_cast<unsigned>(msg.size()), a.id, out));
    return Bytes(out.getData2(), out.getData2() + out.getSize());
}

// Fed in pieces of random size up to maxPiece, empty ones (and a null pointer) included.
Bytes inPieces(const Algo& a, const Bytes& msg, std::size_t maxPiece, std::mt19937& rng) {
    _vnHash h;
    EXPECT_TRUE(h.start(a.id));
    EXPECT_TRUE(h.update(nullptr, 0));
    for (std::size_t at = 0; at < msg.size();) {
        const std::size_t n = std::min<std::size_t>(rng() % (maxPiece + 1), msg.size() - at);
        EXPECT_TRUE(h.update(msg.data() + at, n));
        at += n;
    }
    DataBuffer out;
    EXPECT_TRUE(h.finish(out));
    return Bytes(out.getData2(), out.getData2() + out.getSize());
}

Bytes randomBytes(std::size_t n, std::mt19937& rng) {
    Bytes b(n);
    for (unsigned char& c : b) c = static_cast<unsigned char>(rng());
    return b;
}

// Every digest on the portable route and on the processor's (the same route twice where it
// has none), against OpenSSL: every length up to 300 crosses the padding cases of both block
// sizes (the tail fitting in one block, just not (55/56, 111/112), exact multiples), then a
// few large inputs whose pieces straddle many blocks.
TEST(Hash, EveryRouteMatchesOpenSsl) {
    std::mt19937 rng(20);
    const Bytes all = randomBytes(300, rng);
    std::vector<Bytes> big;
    for (std::size_t len : {4095u, 65536u, 1000003u}) big.push_back(randomBytes(len, rng));
    for (bool hardware : {false, true}) {
        _vnHash::allowHardware(hardware);
        for (const Algo& a : kAlgos) {
            const std::string route = std::string(a.name) + (hardware ? " hardware" : " portable");
            for (std::size_t len = 0; len <= all.size(); ++len) {
                const Bytes msg(all.begin(), all.begin() + static_cast<long>(len));
                const Bytes want = openssl(a, msg);
                ASSERT_EQ(oneShot(a, msg), want) << route << " length " << len;
                ASSERT_EQ(inPieces(a, msg, 1 + len / 3, rng), want) << route << " pieces, length " << len;
            }
            for (const Bytes& msg : big) {
                const Bytes want = openssl(a, msg);
                EXPECT_EQ(oneShot(a, msg), want) << route << " length " << msg.size();
                EXPECT_EQ(inPieces(a, msg, 3000, rng), want) << route << " pieces, length " << msg.size();
            }
        }
    }
    _vnHash::allowHardware(true);
    if (!_vnHash::hardwareInUse()) std::printf("note: no SHA extensions here; the portable route ran twice\n");
}

TEST(Hash, IdentifiersAndMisuse) {
    const unsigned lengths[] = {16, 20, 28, 32, 48, 64};
    for (int id = 1; id <= 6; ++id) EXPECT_EQ(_vnHash::digestLength(id), lengths[id - 1]);
    _vnHash h;
    DataBuffer out;
    for (int id : {0, 7, -1, 100}) {
        EXPECT_EQ(_vnHash::digestLength(id), 0u);
        EXPECT_FALSE(_vnHash::doHash("x", 1, id, out));
        EXPECT_FALSE(h.start(id));
    }
    // Nothing in progress: before a start, after a failed one, after a finish.
    EXPECT_FALSE(h.update("x", 1));
    EXPECT_FALSE(h.finish(out));
    EXPECT_TRUE(h.start(_vnHash::SHA256));
    EXPECT_FALSE(h.update(nullptr, 1));
    EXPECT_TRUE(h.finish(out));
    EXPECT_EQ(out.getSize(), 32u);
    EXPECT_FALSE(h.finish(out));
    EXPECT_TRUE(_vnHash::doHash(nullptr, 0, _vnHash::SHA256, out));
    EXPECT_FALSE(_vnHash::doHash(nullptr, 1, _vnHash::SHA256, out));
}

TEST(Hash, Md5DigestDataMatchesOpenSsl) {
    std::mt19937 rng(5);
    for (std::size_t len : {0u, 56u, 300u}) {
        const Bytes msg = randomBytes(len, rng);
        DataBuffer in;
        in.append(msg.data(), static_cast<unsigned>(msg.size()));
        unsigned char md[16];
        _vnMd5().digestData(in, md);
        EXPECT_EQ(Bytes(md, md + 16), openssl(kAlgos[0], msg)) << len;
    }
}

}  // namespace
}  // namespace vn
