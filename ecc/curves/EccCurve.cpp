#include "ecc/curves/EccCurve.h"

#include <cstring>

#include "ecc/curves/NamedCurves.h"
#include "host/BigNum.h"

namespace vn {

EccCurve::EccCurve() : fieldBytes(0), hasA(false) {}

EccCurve::~EccCurve() = default;

void EccCurve::clearEccCurve() {
    fieldBytes = 0;
    name.clear();
    oid.clear();
    p.clear();
    B.clear();
    n.clear();
    Gx.clear();
    Gy.clear();
}

void EccCurve::copyFromEccCurve(const EccCurve& other) {
    if (&other == this) return;
    fieldBytes = other.fieldBytes;
    name.setString(other.name);
    oid.setString(other.oid);
    p.setString(other.p);
    hasA = other.hasA;
    A.setString(other.A);
    B.setString(other.B);
    n.setString(other.n);
    Gx.setString(other.Gx);
    Gy.setString(other.Gy);
}

bool EccCurve::setFromTable(const char* canonicalName) {
    const NamedCurveParams* row = findNamedCurve(canonicalName);
    if (row == nullptr) return false;
    fieldBytes = row->fieldBytes;
    name.setString(row->name);
    oid.setString(row->oid);
    p.setString(row->p);
    hasA = row->hasA;
    if (row->hasA) {
        A.setString(row->A);
    } else {
        A.clear();
    }
    B.setString(row->B);
    n.setString(row->n);
    Gx.setString(row->Gx);
    Gy.setString(row->Gy);
    return true;
}

namespace {

// The canonical name of the first alias row that accepts the (trimmed, lower-cased) text.
const char* matchAlias(const StringBuffer& text) {
    for (int i = 0; i < kNamedCurveCount; ++i) {
        const CurveAliases& row = curveAliasesAt(i);
        for (const char* const* alias = row.equals; *alias != nullptr; ++alias) {
            if (text.equals(*alias)) return row.canonical;
        }
        if (row.containsText != nullptr && text.containsSubstring(row.containsText)) return row.canonical;
    }
    return nullptr;
}

}  // namespace

bool EccCurve::loadCurveByName(const char* curveName, LogBase& log) {
    LogContextExitor ctx(log, "loadCurveByName");
    if (curveName == nullptr) curveName = "";
    if (log.m_verbose) log.LogDataStr("name", curveName);

    clearEccCurve();

    StringBuffer wanted(curveName);
    wanted.trim2();
    wanted.toLowerCase();
    const char* canonical = matchAlias(wanted);
    if (canonical != nullptr && setFromTable(canonical)) return true;

    // Not a name: perhaps an object identifier. It is passed on untrimmed, so an identifier
    // with stray blanks is refused rather than guessed at.
    StringBuffer asOid(curveName);
    if (loadCurveByOid(asOid, log)) return true;

    log.LogError("Unsupported ECC curve..");
    return false;
}

bool EccCurve::loadCurveByOid(StringBuffer& curveOid, LogBase& log) {
    LogContextExitor ctx(log, "loadCurveByOid");
    if (log.m_verbose) log.LogDataSb("oid", curveOid);

    const char* curveName = curveNameForOid(curveOid.getString());
    if (curveName != nullptr) return loadCurveByName(curveName, log);

    log.LogError("Unsupported ECDSA curve.");
    return false;
}

unsigned int EccCurve::orderBytes() const {
    mp_int order;
    if (!BigNum::mp_read_radix(order, n.getString(), 16)) return static_cast<unsigned int>(fieldBytes);
    return static_cast<unsigned int>(BigNum::mp_unsigned_bin_size(order));
}

}  // namespace vn
