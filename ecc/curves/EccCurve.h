#pragma once

#include "host/LogBase.h"
#include "host/StringBuffer.h"

namespace vn {

// The domain parameters of one named prime curve, as hexadecimal text. A record is filled
// only from the built-in table, by name or by object identifier; arithmetic parses the
// texts into integers when it needs them. The fields are plain data read by the key code.
class EccCurve {
public:
    EccCurve();
    virtual ~EccCurve();
    EccCurve(const EccCurve&) = delete;
    EccCurve& operator=(const EccCurve&) = delete;

    // Accepts the canonical names and aliases (trimmed, any case), and failing those, a
    // dotted object identifier exactly as given.
    bool loadCurveByName(const char* curveName, LogBase& log);
    bool loadCurveByOid(StringBuffer& curveOid, LogBase& log);
    // Empties everything but A and hasA, which every successful load sets anew.
    void clearEccCurve();
    void copyFromEccCurve(const EccCurve& other);

    // The short curve name of SSH key types ("ecdsa-sha2-" + this); never fails.
    const char* puttyCurveName() const;
    // Appends the PuTTY key-type name of the curve; false for a curve PuTTY has no name for.
    bool getPpkType(StringBuffer& out, LogBase& log) const;
    // Byte length of the order n, to which SEC 1 and RFC 7518 pad k: fieldBytes on every curve
    // but secp160r1, whose order is one bit longer than its prime (21 bytes, not 20).
    unsigned int orderBytes() const;

    int fieldBytes;
    StringBuffer name;
    StringBuffer oid;
    StringBuffer p;
    StringBuffer A;
    bool hasA;
    StringBuffer B;
    StringBuffer n;
    StringBuffer Gx;
    StringBuffer Gy;

private:
    bool setFromTable(const char* canonicalName);
};

}  // namespace vn
