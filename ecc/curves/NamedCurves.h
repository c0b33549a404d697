#pragma once

namespace vn {

// The built-in domain parameters of the fourteen named curves, as hexadecimal text in the
// exact form the curve record stores (digit counts and letter case included).
struct NamedCurveParams {
    const char* name;  // canonical, lower case
    const char* oid;   // dotted decimal
    int fieldBytes;
    bool hasA;         // a is stored (Brainpool); otherwise a is -3, or 0 for secp256k1
    const char* p;
    const char* A;     // empty unless hasA
    const char* B;
    const char* n;
    const char* Gx;
    const char* Gy;
};

// The names a curve is known by, in the order they are tried when loading by name.
struct CurveAliases {
    const char* canonical;
    const char* const* equals;    // exact matches, null-terminated list
    const char* containsText;     // substring that also selects the curve, or null
};

constexpr int kNamedCurveCount = 14;

// Rows in table order (secp256r1 first, brainpoolp512r1 last).
const NamedCurveParams& namedCurveAt(int index);
const CurveAliases& curveAliasesAt(int index);
// The row with this canonical name, or null.
const NamedCurveParams* findNamedCurve(const char* canonicalName);

// The curve an object identifier stands for: the name that loading by identifier passes on
// (Brainpool names with a capital P), or null for an unknown identifier.
const char* curveNameForOid(const char* oid);

}  // namespace vn
