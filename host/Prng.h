#pragma once

#include "host/DataBuffer.h"
#include "host/LogBase.h"

namespace vn {

/// A source of cryptographically random bytes, supplied by the caller of key generation and
/// signing. Callers (and tests) may supply their own by deriving from this class; the
/// library's secrets are only as good as these bytes.
class _vnPrng {
public:
    _vnPrng() = default;
    /// Virtual, for derived generators.
    virtual ~_vnPrng() = default;
    _vnPrng(const _vnPrng&) = delete;
    _vnPrng& operator=(const _vnPrng&) = delete;

    /// APPENDS exactly n random bytes to out; false (out unchanged) when the source fails.
    /// The library passes secure buffers. An instance shared between threads must be
    /// thread-safe.
    virtual bool genRandomBytes(unsigned int n, DataBuffer& out, LogBase& log) = 0;
};

/// Bytes from the operating system (getrandom), the generator to use unless there is a
/// reason for another. Stateless: one instance may serve every thread.
class _vnSystemPrng : public _vnPrng {
public:
    /// As _vnPrng::genRandomBytes; fails with "getrandom failed." or
    /// "Out of memory for random bytes.", out unchanged.
    bool genRandomBytes(unsigned int n, DataBuffer& out, LogBase& log) override;
};

}  // namespace vn
