#pragma once

#include "host/DataBuffer.h"

namespace vn {

// SSH wire format (RFC 4251).
class SshMessage {
public:
    // Appends an SSH string: 32-bit big-endian length, then the bytes.
    static bool pack_db(const DataBuffer& in, DataBuffer& out);
};

}  // namespace vn
