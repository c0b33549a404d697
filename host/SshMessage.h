#pragma once

#include "host/DataBuffer.h"
#include "host/LogBase.h"
#include "host/StringBuffer.h"
#include "host/mp_int.h"

namespace vn {

// SSH wire format (RFC 4251).
class SshMessage {
public:
    // Appends an SSH string: 32-bit big-endian length, then the bytes.
    static bool pack_db(const DataBuffer& in, DataBuffer& out);

    // Readers at a running offset, which each advances past what it read. On failure (too
    // few bytes, a length running past the end) the offset is left unchanged.
    static bool parseUint32(const DataBuffer& in, unsigned& offset, unsigned& value);
    // An SSH string as text; refused when it holds a NUL byte, which a C string would cut.
    static bool parseString(const DataBuffer& in, unsigned& offset, StringBuffer& out);
    // An SSH string as bytes, replacing out's content.
    static bool parseBinaryString(const DataBuffer& in, unsigned& offset, DataBuffer& out, LogBase& log);
    // An SSH mpint (two's complement, big-endian). Negative values and non-minimal encodings
    // (a superfluous leading 00, or 00 where no sign bit needs it) are refused.
    static bool parseMpInt(const DataBuffer& in, unsigned& offset, mp_int& out, LogBase& log);
};

}  // namespace vn
