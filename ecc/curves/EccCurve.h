#pragma once

#include "host/LogBase.h"
#include "host/StringBuffer.h"

namespace vn {

/// The domain parameters of one named prime curve y^2 = x^3 + ax + b over GF(p), as
/// upper-case hexadecimal text. A record is filled only from the built-in table of fourteen
/// curves, by name or by object identifier; arithmetic parses the texts when it needs them.
/// The fields are plain data read by the key code; treat them as read-only.
class EccCurve {
public:
    /// An empty record (fieldBytes 0, every text empty).
    EccCurve();
    virtual ~EccCurve();
    EccCurve(const EccCurve&) = delete;
    EccCurve& operator=(const EccCurve&) = delete;

    /// Loads a curve by name: the canonical names ("secp256r1", "brainpoolP256r1", ...) and
    /// their aliases ("P-256", "prime256v1", "nistp256", ...), trimmed, in any case; failing
    /// those, curveName read as a dotted object identifier exactly as given. Null reads as "".
    /// @writes  every field (the record is cleared first, so it stays empty on failure).
    /// @fails   "Unsupported ECC curve.." (after "Unsupported ECDSA curve." from the
    ///          identifier attempt).
    bool loadCurveByName(const char* curveName, LogBase& log);
    /// Loads a curve by dotted object identifier ("1.2.840.10045.3.1.7").
    /// @reads   curveOid (non-const for the interface; not modified).
    /// @fails   "Unsupported ECDSA curve."; the record is then unchanged.
    bool loadCurveByOid(StringBuffer& curveOid, LogBase& log);
    /// Empties every field but A and hasA, which every successful load sets anew.
    void clearEccCurve();
    /// Makes this record a copy of other.
    void copyFromEccCurve(const EccCurve& other);

    /// The SSH curve identifier, the part after "ecdsa-sha2-" in key types: "nistp256",
    /// "nistp224", "nistp384", "nistp521", "nistk256" (secp256k1). Never fails: every other
    /// curve, and an empty record, answers "nistp256", so callers must know the curve has an
    /// SSH name of its own (keyfile::sshIdentifierOf tells).
    const char* puttyCurveName() const;
    /// APPENDS the PuTTY key-type name ("ecdsa-sha2-nistp256", "ecdsa-sha2-brainpoolP256r1",
    /// ...). @fails "Unsupported ecdsa curve." for secp160r1 and an empty record.
    bool getPpkType(StringBuffer& out, LogBase& log) const;
    /// Byte length of the order n, to which SEC 1 and RFC 7518 pad k: fieldBytes on every curve
    /// but secp160r1, whose order is one bit longer than its prime (21 bytes, not 20).
    unsigned int orderBytes() const;

    int fieldBytes;   ///< Bytes of the prime p (66 for secp521r1); 0 when empty.
    StringBuffer name;  ///< Canonical name, lower case ("secp256r1", "brainpoolp256r1").
    StringBuffer oid;   ///< Dotted object identifier.
    StringBuffer p;     ///< The field prime.
    StringBuffer A;     ///< Coefficient a, when hasA; empty otherwise.
    bool hasA;          ///< False when a = -3 (the secp*r1 curves) or a = 0 (secp256k1).
    StringBuffer B;     ///< Coefficient b.
    StringBuffer n;     ///< The order of the generator.
    StringBuffer Gx;    ///< Generator's x.
    StringBuffer Gy;    ///< Generator's y.

private:
    bool setFromTable(const char* canonicalName);
};

}  // namespace vn
