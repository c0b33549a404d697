#include "host/Hash.h"

#include <atomic>
#include <cstring>

#include "host/HashFunctions.h"
#include "host/SecureWipe.h"

namespace vn {

namespace {

std::atomic<bool> g_allowHardware{true};

constexpr std::uint32_t kInitMd5[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
constexpr std::uint32_t kInitSha1[5] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476, 0xc3d2e1f0};
constexpr std::uint32_t kInit224[8] = {0xc1059ed8, 0x367cd507, 0x3070dd17, 0xf70e5939,
                                       0xffc00b31, 0x68581511, 0x64f98fa7, 0xbefa4fa4};
constexpr std::uint32_t kInit256[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                       0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
constexpr std::uint64_t kInit384[8] = {0xcbbb9d5dc1059ed8, 0x629a292a367cd507, 0x9159015a3070dd17,
                                       0x152fecd8f70e5939, 0x67332667ffc00b31, 0x8eb44a8768581511,
                                       0xdb0c2e0d64f98fa7, 0x47b5481dbefa4fa4};
constexpr std::uint64_t kInit512[8] = {0x6a09e667f3bcc908, 0xbb67ae8584caa73b, 0x3c6ef372fe94f82b,
                                       0xa54ff53a5f1d36f1, 0x510e527fade682d1, 0x9b05688c2b3e6c1f,
                                       0x1f83d9abfb41bd6b, 0x5be0cd19137e2179};

// The block functions behind one pointer type; the state is the union's 32- or 64-bit array,
// whichever the algorithm started with.
template <void (*F)(std::uint32_t*, const unsigned char*, std::size_t)>
void words32(void* state, const unsigned char* blocks, std::size_t count) {
    F(static_cast<std::uint32_t*>(state), blocks, count);
}
template <void (*F)(std::uint64_t*, const unsigned char*, std::size_t)>
void words64(void* state, const unsigned char* blocks, std::size_t count) {
    F(static_cast<std::uint64_t*>(state), blocks, count);
}

}  // namespace

void _vnHash::allowHardware(bool allowed) { g_allowHardware.store(allowed); }

bool _vnHash::hardwareInUse() { return g_allowHardware.load() && hashfn::shaNiAvailable(); }

_vnHash::_vnHash() { wipe(); }

_vnHash::~_vnHash() { wipe(); }

void _vnHash::wipe() {
    secureWipe(&m_state, sizeof m_state);
    secureWipe(m_buffer, sizeof m_buffer);
    m_total = 0;
    m_blocks = nullptr;
    m_blockSize = 0;
    m_buffered = 0;
    m_hashId = 0;
}

bool _vnHash::start(int hashId) {
    wipe();
    const bool shaNi = g_allowHardware.load() && hashfn::shaNiAvailable();
    m_blockSize = 64;
    switch (hashId) {
        case MD5:
            std::memcpy(m_state.w32, kInitMd5, sizeof kInitMd5);
            m_blocks = words32<hashfn::md5Blocks>;
            break;
        case SHA1:
            std::memcpy(m_state.w32, kInitSha1, sizeof kInitSha1);
            m_blocks = shaNi ? words32<hashfn::sha1BlocksShaNi> : words32<hashfn::sha1Blocks>;
            break;
        case SHA224:
        case SHA256:
            std::memcpy(m_state.w32, hashId == SHA224 ? kInit224 : kInit256, sizeof kInit256);
            m_blocks = shaNi ? words32<hashfn::sha256BlocksShaNi> : words32<hashfn::sha256Blocks>;
            break;
        case SHA384:
        case SHA512:
            std::memcpy(m_state.w64, hashId == SHA384 ? kInit384 : kInit512, sizeof kInit512);
            m_blocks = words64<hashfn::sha512Blocks>;
            m_blockSize = 128;
            break;
        default:
            wipe();
            return false;
    }
    m_hashId = hashId;
    return true;
}

bool _vnHash::update(const void* data, std::size_t len) {
    if (m_blocks == nullptr || (data == nullptr && len != 0)) return false;
    if (len == 0) return true;  // nothing to take, and no pointer to copy from
    const unsigned char* p = static_cast<const unsigned char*>(data);
    m_total += len;
    if (m_buffered != 0) {
        const std::size_t take = len < m_blockSize - m_buffered ? len : m_blockSize - m_buffered;
        std::memcpy(m_buffer + m_buffered, p, take);
        m_buffered += static_cast<unsigned>(take);
        p += take;
        len -= take;
        if (m_buffered < m_blockSize) return true;
        m_blocks(&m_state, m_buffer, 1);
        m_buffered = 0;
    }
    // Whole blocks go straight from the caller's memory.
    const std::size_t full = len / m_blockSize;
    if (full != 0) m_blocks(&m_state, p, full);
    p += full * m_blockSize;
    len -= full * m_blockSize;
    if (len != 0) std::memcpy(m_buffer, p, len);
    m_buffered = static_cast<unsigned>(len);
    return true;
}

bool _vnHash::finish(unsigned char* out) {
    if (m_blocks == nullptr) return false;
    // Padding: the 0x80 marker, zeros, and the bit count in the block's last 8 bytes (16 for
    // SHA-384/512, whose top 8 hold what a 64-bit byte count shifted out).
    const unsigned lengthBytes = m_blockSize == 128 ? 16 : 8;
    m_buffer[m_buffered++] = 0x80;
    if (m_buffered > m_blockSize - lengthBytes) {
        std::memset(m_buffer + m_buffered, 0, m_blockSize - m_buffered);
        m_blocks(&m_state, m_buffer, 1);
        m_buffered = 0;
    }
    std::memset(m_buffer + m_buffered, 0, m_blockSize - m_buffered);
    const std::uint64_t bits = m_total << 3;
    const bool littleEndian = m_hashId == MD5;
    for (unsigned i = 0; i < 8; ++i) {
        const unsigned char b = static_cast<unsigned char>(bits >> (8 * i));
        if (littleEndian) {
            m_buffer[m_blockSize - 8 + i] = b;
        } else {
            m_buffer[m_blockSize - 1 - i] = b;
        }
    }
    if (lengthBytes == 16) m_buffer[m_blockSize - 9] = static_cast<unsigned char>(m_total >> 61);
    m_blocks(&m_state, m_buffer, 1);
    const unsigned n = digestLength(m_hashId);
    for (unsigned i = 0; i < n; ++i) {
        if (littleEndian) {
            out[i] = static_cast<unsigned char>(m_state.w32[i / 4] >> (8 * (i % 4)));
        } else if (m_blockSize == 64) {
            out[i] = static_cast<unsigned char>(m_state.w32[i / 4] >> (24 - 8 * (i % 4)));
        } else {
            out[i] = static_cast<unsigned char>(m_state.w64[i / 8] >> (56 - 8 * (i % 8)));
        }
    }
    wipe();
    return true;
}

bool _vnHash::finish(DataBuffer& out) {
    if (m_blocks == nullptr) return false;
    const unsigned n = digestLength(m_hashId);
    unsigned char digest[hashfn::kSha512Len];
    finish(digest);
    out.clear();
    const bool ok = out.append(digest, n);
    secureWipe(digest, sizeof digest);
    return ok;
}

bool _vnHash::doHash(const void* data, unsigned int len, int hashId, DataBuffer& out) {
    if (data == nullptr && len != 0) return false;
    _vnHash h;
    return h.start(hashId) && h.update(data, len) && h.finish(out);
}

unsigned int _vnHash::digestLength(int hashId) {
    switch (hashId) {
        case MD5: return hashfn::kMd5Len;
        case SHA1: return hashfn::kSha1Len;
        case SHA224: return hashfn::kSha224Len;
        case SHA256: return hashfn::kSha256Len;
        case SHA384: return hashfn::kSha384Len;
        case SHA512: return hashfn::kSha512Len;
        default: return 0;
    }
}

void _vnMd5::digestData(const DataBuffer& data, unsigned char* out) {
    _vnHash h;
    h.start(_vnHash::MD5);
    h.update(data.getData2(), data.getSize());
    h.finish(out);
}

}  // namespace vn
