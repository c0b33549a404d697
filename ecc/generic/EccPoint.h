#pragma once

#include "host/DataBuffer.h"
#include "host/LogBase.h"
#include "host/mp_int.h"

namespace vn {

// A point of the generic engine: affine (z = 1) as a key's public point, Jacobian
// (X/Z^2, Y/Z^3) in Montgomery form while a multiplication runs. There is no encoding of the
// point at infinity. The fields are plain data read by the key code.
class EccPoint {
public:
    EccPoint();
    virtual ~EccPoint();
    EccPoint(const EccPoint&) = delete;
    EccPoint& operator=(const EccPoint&) = delete;

    void clearEccPoint();
    bool copyFromEccPoint(const EccPoint& other);
    // Logs x, y and z under a context named by the caller.
    void logEccPoint(const char* contextName, LogBase& log) const;

    // Reads an ANSI X9.63 octet string: an optional leading 00 (exactly when the length is
    // even, the unused-bits byte of a BIT STRING), the form byte 04, 06 or 07, then x and y
    // splitting the rest in two halves. Compressed points (02, 03) are refused.
    bool loadEccPoint(DataBuffer& x963, LogBase& log);
    // Appends 04 || x || y, each coordinate left-padded to fieldBytes. The point must be affine.
    bool exportEccPoint(int fieldBytes, DataBuffer& out, LogBase& log) const;

    int format;  // form byte the point was last read from (4, 6 or 7); 4 when cleared
    mp_int x;
    mp_int y;
    mp_int z;
};

}  // namespace vn
