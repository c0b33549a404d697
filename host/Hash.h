#pragma once

#include <cstddef>
#include <cstdint>

#include "host/DataBuffer.h"

namespace vn {

/// Message digests by numeric identifier: in one call (doHash) or fed piece by piece through an
/// instance (start, update, finish), for messages too large to hold in memory. Variable time
/// in the message length only. An instance is for one thread; the static functions for any.
class _vnHash {
public:
    /// The digests, by the identifiers the key object's methods take.
    enum HashId {
        MD5 = 1,     ///< 16 bytes; for fingerprints only.
        SHA1 = 2,    ///< 20 bytes.
        SHA224 = 3,  ///< 28 bytes.
        SHA256 = 4,  ///< 32 bytes.
        SHA384 = 5,  ///< 48 bytes.
        SHA512 = 6   ///< 64 bytes.
    };

    /// REPLACES out's content with the digest of data[0, len); false for an unknown identifier.
    static bool doHash(const void* data, unsigned int len, int hashId, DataBuffer& out);
    /// Digest size in bytes, 0 for an unknown identifier.
    static unsigned int digestLength(int hashId);

    /// Whether SHA-1 and SHA-224/256 may use the processor's SHA extensions where it has them
    /// (the default: yes). Off, every digest takes the portable route; tests turn it off to keep
    /// that route exercised. It applies to digests started afterwards.
    static void allowHardware(bool allowed);
    /// Whether SHA-1 and SHA-224/256 would take the SHA extensions now: allowed and present.
    static bool hardwareInUse();

    /// No digest in progress.
    _vnHash();
    /// Wipes the state: the message may have been a secret.
    ~_vnHash();
    /// Copies the state, digest in progress included (to digest several messages with a
    /// common prefix).
    _vnHash(const _vnHash&) = default;
    /// Copies the state, as the copy constructor.
    _vnHash& operator=(const _vnHash&) = default;

    /// Begins a digest of hashId (one of HashId), dropping any digest in progress.
    /// @returns false (and no digest in progress) for an unknown identifier.
    bool start(int hashId);
    /// Feeds the next len bytes of the message (data may be null when len is 0).
    /// @returns false when no digest is in progress or data is null with len > 0.
    bool update(const void* data, std::size_t len);
    /// Ends the digest and REPLACES out's content with it: digestLength(hashId) bytes.
    /// Afterwards no digest is in progress until the next start().
    /// @returns false when no digest is in progress or out cannot grow.
    bool finish(DataBuffer& out);
    /// As finish(DataBuffer&), writing the digest to out, which must hold
    /// digestLength(hashId) bytes.
    bool finish(unsigned char* out);

private:
    using BlockFn = void (*)(void* state, const unsigned char* blocks, std::size_t count);

    union State {
        std::uint32_t w32[8];
        std::uint64_t w64[8];
    };

    void wipe();

    State m_state;
    unsigned char m_buffer[128];  // the partial block
    std::uint64_t m_total = 0;    // message bytes so far
    BlockFn m_blocks = nullptr;   // null: no digest in progress
    unsigned m_blockSize = 0;
    unsigned m_buffered = 0;
    int m_hashId = 0;
};

/// MD5, for the traditional SSH fingerprint (not for anything that needs collision resistance).
class _vnMd5 {
public:
    /// Writes the 16-byte digest of data into out.
    void digestData(const DataBuffer& data, unsigned char* out);
};

}  // namespace vn
