#pragma once

#include "host/DataBuffer.h"
#include "host/LogBase.h"
#include "host/mp_int.h"

namespace vn {

/// A point of the generic engine's interface: affine (z = 1) as a key's public point,
/// Jacobian (X/Z^2, Y/Z^3) in Montgomery form only inside the engine. There is no encoding of
/// the point at infinity. The fields are plain data read by the key code.
class EccPoint {
public:
    /// The point (0, 0, 0), form 4.
    EccPoint();
    virtual ~EccPoint();
    EccPoint(const EccPoint&) = delete;
    EccPoint& operator=(const EccPoint&) = delete;

    /// Sets x, y and z to zero and format to 4.
    void clearEccPoint();
    /// Makes this point a copy of other; always true.
    bool copyFromEccPoint(const EccPoint& other);
    /// Logs x, y and z as data lines under a context named by the caller.
    void logEccPoint(const char* contextName, LogBase& log) const;

    /// Reads an ANSI X9.63 octet string: an optional leading 00 (exactly when the length is
    /// even, the unused-bits byte of a BIT STRING), the form byte 04, 06 or 07, then x and y
    /// splitting the rest in two halves. Compressed points (02, 03) are refused.
    /// @reads   x963 (non-const for the interface; not modified).
    /// @writes  x, y, z = 1 and format; the point is cleared first.
    /// @fails   "dbX963 is empty.", "First byte of ECC point is invalid.",
    ///          "Invalid ANSI X9.63 ECC point."
    /// @warning Neither the curve equation nor x, y < p is checked.
    bool loadEccPoint(DataBuffer& x963, LogBase& log);
    /// APPENDS 04 || x || y, each coordinate left-padded to fieldBytes. The point must be
    /// affine. False when a coordinate is longer than 256 bytes.
    bool exportEccPoint(int fieldBytes, DataBuffer& out, LogBase& log) const;

    int format;  ///< Form byte the point was last read from (4, 6 or 7); 4 when cleared.
    mp_int x;    ///< x-coordinate (affine unless inside the engine).
    mp_int y;    ///< y-coordinate.
    mp_int z;    ///< 1 for an affine point.
};

}  // namespace vn
