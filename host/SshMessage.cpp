#include "host/SshMessage.h"

#include "host/BigNum.h"

namespace vn {

bool SshMessage::pack_db(const DataBuffer& in, DataBuffer& out) {
    const unsigned oldSize = out.getSize();
    if (out.appendUint32_be(in.getSize()) && out.append(in)) return true;
    out.truncate(oldSize);
    return false;
}

namespace {

// Reads the 32-bit length of an SSH string at offset and checks that the body fits. The
// comparison is written so that no sum can wrap: a length near 2^32 is simply too long.
bool readLength(const DataBuffer& in, unsigned offset, unsigned& length) {
    unsigned value = 0;
    unsigned at = offset;
    if (!SshMessage::parseUint32(in, at, value)) return false;
    if (value > in.getSize() - at) return false;
    length = value;
    return true;
}

}  // namespace

bool SshMessage::parseUint32(const DataBuffer& in, unsigned& offset, unsigned& value) {
    const unsigned size = in.getSize();
    if (offset > size || size - offset < 4) return false;
    const unsigned char* p = in.getData2() + offset;
    value = (unsigned{p[0]} << 24) | (unsigned{p[1]} << 16) | (unsigned{p[2]} << 8) | unsigned{p[3]};
    offset += 4;
    return true;
}

bool SshMessage::parseString(const DataBuffer& in, unsigned& offset, StringBuffer& out) {
    unsigned length = 0;
    if (!readLength(in, offset, length)) return false;
    const char* body = reinterpret_cast<const char*>(in.getData2()) + offset + 4;
    for (unsigned i = 0; i < length; ++i) {
        if (body[i] == '\0') return false;
    }
    out.clear();
    if (!out.appendN(body, length)) return false;
    offset += 4 + length;
    return true;
}

bool SshMessage::parseBinaryString(const DataBuffer& in, unsigned& offset, DataBuffer& out, LogBase& log) {
    unsigned length = 0;
    if (!readLength(in, offset, length)) {
        log.LogError("SSH string runs past the end of the data.");
        return false;
    }
    out.clear();
    if (!out.append(in.getData2() + offset + 4, length)) {
        log.LogError("Out of memory reading an SSH string.");
        return false;
    }
    offset += 4 + length;
    return true;
}

bool SshMessage::parseMpInt(const DataBuffer& in, unsigned& offset, mp_int& out, LogBase& log) {
    unsigned length = 0;
    if (!readLength(in, offset, length)) {
        log.LogError("SSH mpint runs past the end of the data.");
        return false;
    }
    const unsigned char* body = in.getData2() + offset + 4;
    if (length > 0 && (body[0] & 0x80) != 0) {
        log.LogError("SSH mpint is negative.");
        return false;
    }
    // RFC 4251: no unnecessary leading zero byte. A 00 is only there to keep the next byte's
    // top bit from reading as a sign.
    if (length > 0 && body[0] == 0 && (length == 1 || (body[1] & 0x80) == 0)) {
        log.LogError("SSH mpint has a superfluous leading zero.");
        return false;
    }
    if (!BigNum::mpint_from_bytes(out, body, static_cast<int>(length))) {
        log.LogError("SSH mpint is too large.");
        return false;
    }
    offset += 4 + length;
    return true;
}

}  // namespace vn
