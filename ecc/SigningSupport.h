#pragma once

#include "host/DataBuffer.h"
#include "host/LogBase.h"
#include "host/mp_int.h"

namespace vn {

// Internal helpers shared by signing, verification and key agreement.

// The number of leading digest bytes that take part: a digest longer than the field is cut to
// fieldBytes whole bytes, except on curves whose field is 64 bytes or wider.
unsigned int eccEffectiveDigestLength(int fieldBytes, unsigned int inlen);

// Appends v as big-endian bytes with zero bytes in front up to width (a wider value is
// appended whole).
bool appendLeftPadded(const mp_int& v, unsigned int width, DataBuffer& out);

// DER SEQUENCE { INTEGER r, INTEGER s } into sig; logs "Failed to encode final ASN.1" when
// encoding fails and "eccAsnSigLen" when verbose.
bool encodeDerSignature(mp_int& r, mp_int& s, DataBuffer& sig, LogBase& log);

}  // namespace vn
