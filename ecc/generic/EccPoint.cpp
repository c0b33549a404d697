#include "ecc/generic/EccPoint.h"

#include <cstring>

#include "host/BigNum.h"
#include "host/SecureWipe.h"

namespace vn {

EccPoint::EccPoint() : format(4) {}

EccPoint::~EccPoint() = default;

void EccPoint::clearEccPoint() {
    BigNum::mp_zero(x);
    BigNum::mp_zero(y);
    BigNum::mp_zero(z);
    format = 4;
}

bool EccPoint::copyFromEccPoint(const EccPoint& other) {
    if (&other == this) return true;
    format = other.format;
    BigNum::mp_copy(other.x, x);
    BigNum::mp_copy(other.y, y);
    BigNum::mp_copy(other.z, z);
    return true;
}

void EccPoint::logEccPoint(const char* contextName, LogBase& log) const {
    LogContextExitor ctx(log, contextName);
    BigNum::log_mpint("x", x, log);
    BigNum::log_mpint("y", y, log);
    BigNum::log_mpint("z", z, log);
}

bool EccPoint::loadEccPoint(DataBuffer& x963, LogBase& log) {
    LogContextExitor ctx(log, "loadEccPoint");
    clearEccPoint();

    const unsigned char* bytes = x963.getData2();
    if (bytes == nullptr) return false;
    unsigned size = x963.getSize();
    if (size == 0) {
        log.LogError("dbX963 is empty.");
        return false;
    }

    bool valid = true;
    if (size % 2 == 0) {
        // Only a BIT STRING's unused-bits byte may make the length even.
        if (bytes[0] != 0x00) {
            valid = false;
        } else {
            ++bytes;
            --size;
        }
    }
    unsigned char form = bytes[0];
    if (valid && form != 0x04 && form != 0x06 && form != 0x07) {
        log.LogError("First byte of ECC point is invalid.");
        valid = false;
    }
    format = form;

    if (valid) {
        unsigned rest = size - 1;
        unsigned lenX = rest / 2;
        unsigned lenY = rest - lenX;
        if (lenX == 0 || lenY == 0) {
            valid = false;
        } else {
            bool ok = BigNum::mpint_from_bytes(x, bytes + 1, static_cast<int>(lenX)) &&
                      BigNum::mpint_from_bytes(y, bytes + 1 + lenX, static_cast<int>(lenY));
            BigNum::mp_set(z, 1);
            if (ok) return true;
            valid = false;
        }
    }

    log.LogDataHex("eccPoint", x963.getData2(), x963.getSize());
    log.LogError("Invalid ANSI X9.63 ECC point.");
    return false;
}

namespace {

// Appends v big-endian, left-padded to width bytes (a wider value contributes its first width
// bytes, which cannot happen for a coordinate below p).
bool appendFixedWidth(const mp_int& v, int width, DataBuffer& out) {
    constexpr int kWork = 256;
    int len = BigNum::mp_unsigned_bin_size(v);
    if (len > kWork || width < 0 || width > kWork) return false;
    unsigned char work[kWork];
    std::memset(work, 0, sizeof work);
    int at = len <= width ? width - len : 0;
    if (BigNum::mpint_to_bytes(v, work + at) != MP_OKAY) return false;
    bool ok = out.append(work, static_cast<unsigned>(width));
    secureWipe(work, sizeof work);
    return ok;
}

}  // namespace

bool EccPoint::exportEccPoint(int fieldBytes, DataBuffer& out, LogBase& log) const {
    LogContextExitor ctx(log, "exportEccPoint");
    if (!out.appendChar(0x04)) return false;
    if (BigNum::mp_unsigned_bin_size(x) > 256 || BigNum::mp_unsigned_bin_size(y) > 256) return false;
    return appendFixedWidth(x, fieldBytes, out) && appendFixedWidth(y, fieldBytes, out);
}

}  // namespace vn
