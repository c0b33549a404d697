#pragma once
// Compressed public points (X9.63 02/03 || x). The key object reads and writes only the
// uncompressed form, so the key-file layer converts at its edges: points and DER structures
// coming in are expanded before the key object sees them, and on request the ones going out
// are shortened after it has written them.

#include "ecc/EccKey.h"
#include "ecc/curves/EccCurve.h"
#include "host/DataBuffer.h"
#include "host/LogBase.h"

namespace vn {
namespace keyfile {

// True when the bytes have the shape of a compressed point: 02 or 03 and at least one byte
// of x; the curve decides the width (see decompressPoint).
bool isCompressedPoint(const DataBuffer& point);

// Expands a compressed point on the curve into the uncompressed form.
// in: 02 or 03 followed by x, exactly curve.fieldBytes wide. x963 is replaced by
// 04 || x || y, each coordinate fieldBytes wide, where y is the root of x^3 + a x + b whose
// parity the first byte names. False, with one error line and x963 empty, for a wrong width,
// a wrong first byte, x >= p, or an x that gives no point ("the compressed point is not on
// the curve").
bool decompressPoint(const EccCurve& curve, const DataBuffer& in, DataBuffer& x963, LogBase& log);

// The same for a curve given by any name the curve table accepts (raw hexadecimal input with
// a curve hint). False, with an error line, for an unknown curve.
bool decompressPointOnCurve(const char* curveName, const DataBuffer& in, DataBuffer& x963, LogBase& log);

// The key's public point compressed: 02 (y even) or 03 (y odd), then x, fieldBytes wide.
// out is replaced. False for a key without a curve or point.
bool compressPoint(const EccKey& key, DataBuffer& out);

// Given DER of a SubjectPublicKeyInfo, a SEC1 ECPrivateKey or a PKCS#8 PrivateKeyInfo (with
// SEC1 inside), replaces a compressed public point in it by the uncompressed one, the rest of
// the structure kept byte for byte. The curve comes from the structure's named-curve
// parameters. True and der unchanged when no point in it is compressed (including DER this
// function does not know, which the key's own reader then judges). False, with an error line
// and der unchanged, when a compressed point cannot be expanded (off the curve, no named
// curve to expand it on). Private keys pass through wiping buffers only.
bool uncompressInDer(DataBuffer& der, LogBase& log);

// The reverse, for writing compressed output: every uncompressed (04) public point in the
// same three structures is replaced by its compressed form. True and der unchanged when there
// is no point; false, with an error line and der unchanged, on malformed DER.
bool compressInDer(DataBuffer& der, LogBase& log);

}  // namespace keyfile
}  // namespace vn
