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

Bytes ours(const Algo& a, const Bytes& msg) {
    DataBuffer out;
    out.append("stale", 5);  // doHash replaces, never appends
    EXPECT_TRUE(_vnHash::doHash(msg.data(), static_cast<unsigned>(msg.size()), a.id, out));
    return Bytes(out.getData2(), out.getData2() + out.getSize());
}

std::string hex(const Bytes& b) {
    static const char digits[] = "0123456789abcdef";
    std::string s;
    for (unsigned char c : b) {
        s += digits[c >> 4];
        s += digits[c & 15];
    }
    return s;
}

Bytes randomBytes(std::size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    Bytes b(n);
    for (unsigned char& c : b) c = static_cast<unsigned char>(rng());
    return b;
}

// Every length up to 300 crosses the padding cases of both block sizes: the tail fitting in
// one block, just not fitting (55/56, 111/112) and exact multiples (64, 128).
TEST(Hash, MatchesOpenSslOnEveryShortLength) {
    const Bytes all = randomBytes(300, 1);
    for (const Algo& a : kAlgos) {
        for (std::size_t len = 0; len <= 300; ++len) {
            const Bytes msg(all.begin(), all.begin() + static_cast<long>(len));
            ASSERT_EQ(hex(ours(a, msg)), hex(openssl(a, msg))) << a.name << " length " << len;
        }
    }
}

TEST(Hash, MatchesOpenSslOnBigInputs) {
    for (std::size_t len : {4095u, 65536u, 1000003u}) {
        const Bytes msg = randomBytes(len, static_cast<unsigned>(len));
        for (const Algo& a : kAlgos) {
            EXPECT_EQ(hex(ours(a, msg)), hex(openssl(a, msg))) << a.name << " length " << len;
        }
    }
}

TEST(Hash, KnownAnswers) {
    struct Case {
        int id;
        const char* msg;
        const char* digest;
    } const cases[] = {
        {_vnHash::MD5, "", "d41d8cd98f00b204e9800998ecf8427e"},
        {_vnHash::MD5, "abc", "900150983cd24fb0d6963f7d28e17f72"},
        {_vnHash::MD5, "12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
        {_vnHash::SHA1, "abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {_vnHash::SHA1, "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
        {_vnHash::SHA224, "abc", "23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7"},
        {_vnHash::SHA256, "abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {_vnHash::SHA256, "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {_vnHash::SHA384, "abc",
         "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7"},
        {_vnHash::SHA512, "abc",
         "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
         "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f"},
        {_vnHash::SHA512,
         "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmno"
         "ijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu",
         "8e959b75dae313da8cf4f72814fc143f8f7779c6eb9f7fa17299aeadb6889018"
         "501d289e4900f7e4331b99dec4b5433ac7d329eeb6dd26545e96e55b874be909"},
    };
    for (const Case& c : cases) {
        const std::string m = c.msg;
        DataBuffer out;
        ASSERT_TRUE(_vnHash::doHash(m.data(), static_cast<unsigned>(m.size()), c.id, out));
        EXPECT_EQ(hex(Bytes(out.getData2(), out.getData2() + out.getSize())), c.digest) << c.id << " " << m;
    }
}

TEST(Hash, IdentifiersAndLengths) {
    const unsigned lengths[] = {16, 20, 28, 32, 48, 64};
    for (int id = 1; id <= 6; ++id) EXPECT_EQ(_vnHash::digestLength(id), lengths[id - 1]);
    for (int id : {0, 7, -1, 100}) {
        EXPECT_EQ(_vnHash::digestLength(id), 0u);
        DataBuffer out;
        out.appendChar(1);
        EXPECT_FALSE(_vnHash::doHash("x", 1, id, out));
    }
    DataBuffer out;
    EXPECT_TRUE(_vnHash::doHash(nullptr, 0, _vnHash::SHA256, out));
    EXPECT_EQ(out.getSize(), 32u);
    EXPECT_FALSE(_vnHash::doHash(nullptr, 1, _vnHash::SHA256, out));
}

TEST(Hash, Md5DigestDataMatchesDoHash) {
    for (std::size_t len : {0u, 1u, 56u, 64u, 300u}) {
        const Bytes msg = randomBytes(len, 7);
        DataBuffer in;
        in.append(msg.data(), static_cast<unsigned>(msg.size()));
        unsigned char first[16];
        unsigned char second[16];
        _vnMd5 md5;
        md5.digestData(in, first);
        _vnMd5().digestData(in, second);
        EXPECT_EQ(Bytes(first, first + 16), openssl(kAlgos[0], msg)) << len;
        EXPECT_EQ(Bytes(first, first + 16), Bytes(second, second + 16)) << len;
    }
}

}  // namespace
}  // namespace vn
