// Loading a key from DER. One entry point takes whatever the bytes hold and tells the three
// structures apart by shape alone: a SubjectPublicKeyInfo starts with the AlgorithmIdentifier
// SEQUENCE, a PKCS#8 PrivateKeyInfo with a version INTEGER followed by a SEQUENCE, a bare
// SEC1 ECPrivateKey with a version INTEGER followed by the OCTET STRING of k.
//
// Trailing bytes after the outer element (and after the SEC1 key inside a PKCS#8 OCTET
// STRING) are ignored: callers hand over PEM bodies and file contents that sometimes carry
// padding, and nothing after the element can change what the element says.

#include "ecc/EccKey.h"
#include "host/Asn1.h"
#include "host/AsnItem.h"
#include "host/BigNum.h"
#include "host/ScopedOwners.h"

namespace vn {

namespace {

const char kIdEcPublicKey[] = "1.2.840.10045.2.1";

// Explicit ECParameters are recognised by nothing but the start of their base point, written
// as upper-case hex. A base point in compressed form (02/03) cannot match, and explicit
// parameters of any other curve (the brainpool ones included) are refused.
struct ExplicitCurvePrefix {
    const char* basePointHex;
    const char* curveOid;
};

const ExplicitCurvePrefix kExplicitCurvePrefixes[] = {
    // 04, all of Gx, the first three digits of Gy
    {"046B17D1F2E12C4247F8BCE6E563A440F277037D812DEB33A0F4A13945D898C2964FE", "1.2.840.10045.3.1.7"},
    {"0400C6858E06B70404E9CD9E3ECB", "1.3.132.0.35"},
    {"04AA87CA22BE8B05378EB1C71EF320AD746E1D3B628BA79B9859", "1.3.132.0.34"},
    {"0479BE667EF9DCBBAC55A06295CE870B07029BFCD", "1.3.132.0.10"},
};

// No base point of a supported curve is shorter; the shortest prefix above spans 20.5 bytes.
const unsigned kMinBasePointBytes = 20;

// A decoded tree released at scope exit.
class TreeOwner {
public:
    explicit TreeOwner(_vnAsn1* root) : m_owner(root), m_root(root) {}
    _vnAsn1* get() const { return m_root; }

private:
    RefCountedObjectOwner m_owner;
    _vnAsn1* m_root;
};

}  // namespace

bool EccKey::loadEccDer(DataBuffer& der, LogBase& log) {
    LogContextExitor ctx(log, "loadEccDer");
    der.setSecure(true);
    clearEccKey();

    unsigned consumed = 0;
    TreeOwner root(_vnAsn1::DecodeToAsn(der.getData2(), der.getSize(), consumed, log));
    if (root.get() == nullptr) {
        log.LogError("Failed to decode ECC key ASN.1");
        return false;
    }
    bool ok = loadAnyEccAsn(root.get(), log);
    if (!ok) DerCodec::derDiagnostic(der, log);
    return ok;
}

bool EccKey::loadAnyEccAsn(_vnAsn1* asn, LogBase& log) {
    LogContextExitor ctx(log, "loadAnyEccAsn");
    clearEccKey();

    _vnAsn1* first = asn != nullptr ? asn->getAsnPart(0) : nullptr;
    if (first == nullptr) {
        log.LogError("Invalid ASN.1 for ECC key.");
        return false;
    }

    StringBuffer algOid;
    StringBuffer curveOid;

    if (first->isSequence()) {
        if (!parseAldId(first, algOid, curveOid, log)) {
            log.LogError("Failed to parse AlgorithmIdentifier");
            log.LogError("Invalid ASN.1 for ECC key.");
            return false;
        }
        if (!algOid.equals(kIdEcPublicKey)) {
            log.LogError("Not an ECC key.");
            return false;
        }
        _vnAsn1* second = asn->getAsnPart(1);
        if (second == nullptr) {
            log.LogError("Invalid ASN.1 for ECC key.");
            return false;
        }
        if (!second->isBitString()) {
            log.LogError("Expected an ASN.1 bitstring.");
            return false;
        }
        return loadEccPublicAsn(second, curveOid, log);
    }

    if (first->isBitString()) {
        log.LogError("The ECC curve OID is unknown.");
        log.LogError("Invalid ASN.1 for ECC key.");
        return false;
    }

    // The version INTEGER of a private key; the private loader judges its value.
    _vnAsn1* second = asn->getAsnPart(1);
    if (second == nullptr) {
        log.LogError("Invalid ASN.1 for ECC key.");
        return false;
    }
    if (!second->isSequence()) return loadEccPrivateAsn(asn, curveOid, log);

    // PKCS#8 PrivateKeyInfo.
    if (!parseAldId(second, algOid, curveOid, log)) {
        log.LogError("Invalid ASN.1 for ECC key.");
        return false;
    }
    if (!algOid.equals(kIdEcPublicKey)) {
        log.LogError("Not an ECC key.");
        return false;
    }
    _vnAsn1* third = asn->getAsnPart(2);
    if (third == nullptr || !third->isOctetString()) {
        log.LogError("Invalid ASN.1 for ECC key.");
        return false;
    }
    DataBuffer inner;
    inner.setSecure(true);
    if (!third->getAsnContent(inner)) return false;
    unsigned consumed = 0;
    TreeOwner innerRoot(_vnAsn1::DecodeToAsn(inner.getData2(), inner.getSize(), consumed, log));
    if (innerRoot.get() == nullptr) {
        log.LogError("Failed to decode ECC key ASN.1");
        return false;
    }
    if (!loadEccPrivateAsn(innerRoot.get(), curveOid, log)) return false;

    // The attributes ([0] IMPLICIT SET OF Attribute) play no part in the key itself, but are
    // kept so that exporting the key as PKCS#8 again loses nothing. The private loader has
    // just cleared whatever a previous key left there. A [1] (the public key of a version 2
    // OneAsymmetricKey) is not kept: the point comes from the SEC1 structure.
    for (int i = 3; i < asn->numAsnParts(); ++i) {
        _vnAsn1* part = asn->getAsnPart(i);
        if (part == nullptr || !part->isContextSpecific(0)) continue;
        DataBuffer attributes;
        attributes.setSecure(true);
        // Failing to keep them does not make the key itself any less loaded.
        if (part->EncodeToDer(attributes, false, log)) m_pkcs8Attributes.append(attributes);
        break;
    }
    return true;
}

bool EccKey::parseAldId(_vnAsn1* algId, StringBuffer& algOid, StringBuffer& curveOid, LogBase& log) {
    LogContextExitor ctx(log, "parseAldId");
    if (algId == nullptr) return false;
    algOid.clear();
    curveOid.clear();

    _vnAsn1* a = algId->getAsnPart(0);
    _vnAsn1* b = algId->getAsnPart(1);
    if (a == nullptr || b == nullptr) return false;
    if (!a->GetOid(algOid)) return false;

    // A named curve; a NULL or any other non-identifier parameter fails the read.
    if (!b->isSequence()) return b->GetOid(curveOid);

    // Explicit ECParameters: version, fieldID, curve, base, order[, cofactor].
    _vnAsn1* base = b->getAsnPart(3);
    if (base == nullptr) return false;
    DataBuffer basePoint;
    if (!base->getAsnContent(basePoint) || basePoint.getSize() < kMinBasePointBytes) return false;
    StringBuffer hex;
    if (!basePoint.encodeDB("hex", hex)) return false;
    for (const ExplicitCurvePrefix& row : kExplicitCurvePrefixes) {
        if (hex.beginsWith(row.basePointHex)) return curveOid.append(row.curveOid);
    }
    return false;
}

bool EccKey::loadEccPublicAsn(_vnAsn1* bitString, StringBuffer& curveOid, LogBase& log) {
    LogContextExitor ctx(log, "loadEccPublicAsn");
    clearEccKey();
    if (bitString == nullptr) {
        log.LogError("No bitstring for ECC public key.");
        return false;
    }
    if (log.m_verbose) log.LogDataSb("curveOid", curveOid);
    if (!m_curve.loadCurveByOid(curveOid, log)) return false;

    DataBuffer pointBytes;
    bool taken = bitString->getAsnContent(pointBytes);
    bool loaded = false;
    if (taken) {
        if (log.m_verbose) log.LogDataLong("dbPubKeySize", static_cast<long>(pointBytes.getSize()));
        loaded = m_pubPoint.loadEccPoint(pointBytes, log);
        if (!loaded) log.LogError("Failed to load ECC point.");
    }
    m_keyType = 0;
    return taken && loaded;
}

bool EccKey::loadEccPrivateAsn(_vnAsn1* ecPrivateKey, StringBuffer& passedInCurveOid, LogBase& log) {
    LogContextExitor ctx(log, "loadEccPrivateDer");
    clearEccKey();

    bool kRead = false;
    bool curveLoaded = false;
    bool pointLoaded = false;
    bool stepOk = false;

    _vnAsn1* seq = ecPrivateKey;
    _vnAsn1* version = (seq != nullptr && seq->isSequence()) ? seq->getAsnPart(0) : nullptr;
    _vnAsn1* kNode = (version != nullptr && version->asnIntValue() == 1) ? seq->getAsnPart(1) : nullptr;
    if (kNode != nullptr) {
        if (!kNode->isOctetString()) {
            log.LogError("Did not get octets for K");
        } else {
            DataBuffer kBytes;
            kBytes.setSecure(true);
            if (!kNode->getAsnContent(kBytes) || kBytes.getSize() == 0) {
                log.LogError("Failed to get K bytes");
            } else if (!BigNum::mpint_from_bytes(m_k, kBytes.getData2(), static_cast<int>(kBytes.getSize()))) {
                log.LogError("Failed to parse K");
            } else {
                kRead = true;
                stepOk = true;
            }
        }
    }

    // Whatever follows k: the first identifier is the curve, the first BIT STRING the public
    // key, whichever context tags carry them.
    if (kRead && seq->numAsnParts() >= 3) {
        const int count = seq->numAsnParts();
        for (int i = 2; i < count; ++i) {
            _vnAsn1* part = seq->getAsnPart(i);
            _vnAsn1* inner = part != nullptr ? part->getAsnPart(0) : nullptr;
            if (inner == nullptr) {
                stepOk = false;
                break;
            }
            if (inner->isOid() && !curveLoaded) {
                StringBuffer oid;
                stepOk = inner->GetOid(oid);
                if (stepOk) {
                    if (log.m_verbose) log.LogDataSb("curveOid", oid);
                    stepOk = m_curve.loadCurveByOid(oid, log);
                    if (!stepOk) log.LogError("Failed to load curve by OID.");
                    curveLoaded = stepOk;
                }
            } else if (inner->isBitString() && !pointLoaded) {
                DataBuffer pointBytes;
                stepOk = inner->getAsnContent(pointBytes);
                if (stepOk) {
                    stepOk = m_pubPoint.loadEccPoint(pointBytes, log);
                    if (!stepOk) log.LogError("Failed to load ECC point.");
                    pointLoaded = stepOk;
                }
            }
            if (!stepOk || (curveLoaded && pointLoaded)) break;
        }
    }

    if (!pointLoaded && log.m_verbose) log.LogError("No public key bits found (this is not an error)");

    // The PKCS#8 wrapper's curve also stands in for an identifier inside that failed to load.
    if (!curveLoaded && passedInCurveOid.getSize() != 0) {
        log.LogDataSb("passedInCurveOid", passedInCurveOid);
        stepOk = m_curve.loadCurveByOid(passedInCurveOid, log);
        if (!stepOk) log.LogDataSb("oidNotFound", passedInCurveOid);
        curveLoaded = stepOk;
    }

    bool ok = true;
    if (!curveLoaded) {
        log.LogError("curve OID not found.");
        ok = false;
    }
    if (ok && (!kRead || !stepOk)) ok = false;

    // A scalar outside [1, n-1] is not a private key on this curve (SEC 1, RFC 5915): zero
    // has no public point at all, and a k of n or more would be exported with bytes other
    // than the ones its public point was derived from. Refused rather than reduced.
    if (ok) {
        mp_int n;
        if (!BigNum::mp_read_radix(n, m_curve.n.getString(), 16) || BigNum::mp_cmp_d(m_k, 0) == 0 ||
            BigNum::mp_cmp(m_k, n) != -1) {
            log.LogError("K is out of range.");
            ok = false;
        }
    }

    // A stored point is taken as it is, without checking it against k: keys whose embedded
    // public key was written separately must load as their owner wrote them.
    if (ok && !pointLoaded) {
        if (log.m_verbose) log.LogInfo("computing the public key...");
        ok = genPubKey(log);
    }

    if (!ok) {
        clearEccKey();
        log.LogError("Invalid ASN.1 for ECC private key.");
        return false;
    }
    if (log.m_verbose) log.LogInfo("ECC parsing success.");
    m_keyType = 1;
    return true;
}

}  // namespace vn
