#pragma once

#include "host/DataBuffer.h"
#include "host/LogBase.h"

namespace vn {

// A source of cryptographically random bytes, supplied by the caller of key generation and
// signing. Callers (and tests) may supply their own by deriving from this class.
class _vnPrng {
public:
    _vnPrng() = default;
    virtual ~_vnPrng() = default;
    _vnPrng(const _vnPrng&) = delete;
    _vnPrng& operator=(const _vnPrng&) = delete;

    // Appends exactly n random bytes to out; false (out unchanged) when the source fails.
    virtual bool genRandomBytes(unsigned int n, DataBuffer& out, LogBase& log) = 0;
};

// Bytes from the operating system (getrandom), the generator to use unless there is a
// reason for another.
class _vnSystemPrng : public _vnPrng {
public:
    bool genRandomBytes(unsigned int n, DataBuffer& out, LogBase& log) override;
};

}  // namespace vn
