#pragma once

#include "ecc/curves/EccCurve.h"
#include "ecc/generic/EccPoint.h"
#include "host/DataBuffer.h"
#include "host/KeyBase.h"
#include "host/LogBase.h"
#include "host/StringBuffer.h"
#include "host/Prng.h"
#include "host/mp_int.h"

namespace vn {

class _vnAsn1;
class ClsJsonObject;
class ClsXml;

// One elliptic-curve key on a named prime curve: empty, public-only (curve and point) or
// private (curve, scalar k and the public point derived from it). The four members are plain
// data that the key's operations read and write directly; copies are deep.
class EccKey : public KeyBase {
public:
    EccKey();
    ~EccKey() override;

    // A new key on the heap, or null when it cannot be made; delete it through the pointer.
    static EccKey* createNewObject();

    void clearEccKey();
    void copyFromEccKey(const EccKey& other);

    // fieldBytes * 8: byte-rounded, so 528 for secp521r1; 0 for an empty key.
    unsigned int get_ModulusBitLen() const;
    bool loadCurveByOid(StringBuffer& oid, LogBase& log);
    void getCurveOid(StringBuffer& out) const;

    // Key generation: from the caller's generator (fieldBytes random bytes), from a scalar
    // given as text in an encoding ("hex", "base64"), or from another key's scalar with a
    // check that the recomputed public point equals the other key's.
    bool generateNewKey(const StringBuffer& curveName, _vnPrng& prng, LogBase& log);
    bool generateNewKey2(const StringBuffer& curveName, const char* kText, const char* encoding, LogBase& log);
    // Q = k*G from the key's curve and k; on the generic curves k is first reduced mod n.
    bool genPubKey(LogBase& log);
    bool regeneratePubKey(EccKey& source, LogBase& log);

    // ECDSA over a caller-computed digest, cut to fieldBytes when longer (below 64-byte
    // fields). sig receives DER (bAsn) or raw r || s, each half fieldBytes wide.
    bool eccSignHash(const unsigned char* hash, unsigned int inlen, _vnPrng& prng, bool bAsn, DataBuffer& sig,
                     LogBase& log);
    // Appends the SSH signature body: string(mpint r), string(mpint s).
    bool eccSignHash_forSsh(const unsigned char* hash, unsigned int inlen, _vnPrng& prng, DataBuffer& sig,
                            LogBase& log);
    // A DER or raw signature re-encoded as DER; the unsigned argument is ignored.
    static bool eccWrapSigAsn_forTls(const DataBuffer& sigIn, unsigned int unused, DataBuffer& derOut, LogBase& log);
    // The result says whether verification could be carried out; sigValid whether the
    // signature is valid. rLen (with useRLen) splits a raw signature of any size.
    bool eccVerifyHash(const unsigned char* sig, unsigned int siglen, bool useRLen, const unsigned char* hash,
                       unsigned int inlen, bool& sigValid, LogBase& log, unsigned int rLen);

    // The secp256k1 paths of signing and verification, on the fixed-width engine.
    bool eccSignHashK(const unsigned char* hash, unsigned int inlen, _vnPrng& prng, bool bAsn, DataBuffer& sig,
                      LogBase& log);
    bool eccVerifyHashK(const unsigned char* sig, unsigned int siglen, bool useRLen, const unsigned char* hash,
                        unsigned int inlen, bool& sigValid, LogBase& log, unsigned int rLen);

    // ECDH: the x-coordinate of k * pubKey's point, fieldBytes wide.
    bool sharedSecret(EccKey& pubKey, DataBuffer& secret, LogBase& log);

    // DER export: SubjectPublicKeyInfo with a named curve (short) or explicit parameters
    // (long, for the curves that have a template; short otherwise); SEC1 ECPrivateKey (with
    // the public key when the log's options hold "EMIT_ECC_PKCS1_PUBKEY"), its PKCS#11
    // reduction, and PKCS#8 PrivateKeyInfo.
    bool toPublicKeyDer_shortFmt(DataBuffer& out, LogBase& log);
    bool toPublicKeyDer_longFmt(DataBuffer& out, LogBase& log);
    bool toEccPkcs1PrivateKeyDer(DataBuffer& out, LogBase& log);
    bool toEccPkcs1PrivateKeyDer_forPkcs11(DataBuffer& out, LogBase& log);
    bool toEccPkcs8PrivateKeyDer(DataBuffer& out, LogBase& log);

    // DER import: whatever key the bytes hold (PKCS#8, SEC1, SubjectPublicKeyInfo).
    bool loadEccDer(DataBuffer& der, LogBase& log);
    bool loadAnyEccAsn(_vnAsn1* asn, LogBase& log);
    bool parseAldId(_vnAsn1* algId, StringBuffer& algOid, StringBuffer& curveOid, LogBase& log);
    bool loadEccPublicAsn(_vnAsn1* bitString, StringBuffer& curveOid, LogBase& log);
    bool loadEccPrivateAsn(_vnAsn1* ecPrivateKey, StringBuffer& passedInCurveOid, LogBase& log);

    // PEM export: SEC1 (true) or PKCS#8 (false) under one private label; the named-curve (true)
    // or explicit-parameter (false) public key under "PUBLIC KEY".
    bool toEccPrivateKeyPem(bool sec1, StringBuffer& out, LogBase& log);
    bool toEccPublicKeyPem(bool namedCurve, StringBuffer& out, LogBase& log);

    // Raw forms.
    bool loadEccPrivateRaw(const DataBuffer& raw, bool preferSecp256k1, LogBase& log);
    bool loadEccPublicRaw(DataBuffer& x963, LogBase& log);
    bool loadEcPubKeyByCurveAndPoint(const char* curveName, DataBuffer& x963, LogBase& log);
    bool toRawHex(StringBuffer& privHex, StringBuffer& pubHex, LogBase& log);

    // SSH and PuTTY: the RFC 5656 public key blob (string key type, string curve identifier,
    // string point), its digest by host hash identifier, the MD5 fingerprint text, and a
    // private key from a PuTTY private blob (an mpint) or an OpenSSH-style ECDSA private
    // section, with the public point given separately.
    bool puttyPublicKeyBlob(DataBuffer& out, LogBase& log);
    bool calc_fingerprint_digest(int hashId, DataBuffer& out, LogBase& log);
    bool calc_fingerprint(StringBuffer& out, LogBase& log);
    bool loadPrivateFromPuttySsh(const char* curveName, DataBuffer& x963, DataBuffer& privBlob, LogBase& log);

    // XML: <ECCKeyValue> (private, SEC1 DER), <ECCPublicKey> (coordinates and SPKI DER) and
    // the XML Signature 1.1 <ECKeyValue>; loadAnyXml reads any of them.
    bool toEccPrivateKeyXml(StringBuffer& out, LogBase& log);
    bool toEccPublicKeyXml(StringBuffer& out, LogBase& log);
    bool toEccPublicKeyXmlDSig(StringBuffer& out, LogBase& log);
    bool loadAnyXml(const ClsXml& xml, LogBase& log);

    // JWK (RFC 7517/7518): "P-256", "P-384", "P-521" or the canonical curve name as "crv";
    // the public form in the usual member order or, with thumbprintOrder, in the RFC 7638
    // order crv, kty, x, y.
    bool getJwkCurveName(StringBuffer& out, LogBase& log);
    bool toEccPrivateKeyJwk(StringBuffer& out, LogBase& log);
    bool toEccPublicKeyJwk(StringBuffer& out, bool thumbprintOrder, LogBase& log);
    bool loadAnyJwk(const ClsJsonObject& jwk, LogBase& log);

    // Appends the public point as an X9.63 uncompressed octet string.
    bool exportEccPoint(DataBuffer& out, LogBase& log);
    // True when the public point satisfies the curve equation.
    bool isPoint(LogBase& log);

    // Out = kA*A + kB*B in affine coordinates by Shamir's trick over 2-bit windows. Out may be
    // A or B. False when both scalars are zero or a scalar is longer than 256 bytes.
    bool mul2add(EccPoint& A, mp_int& kA, EccPoint& B, mp_int& kB, EccPoint& Out, mp_int* ma, mp_int& modulus,
                 LogBase& log);

    // Operations on secp256k1 keys (every alias of it) run on the fixed-width constant-time
    // engine; every other curve, and a key without a curve, on the generic engine.
    bool usesSecp256k1Engine() const { return m_curve.name.equals("secp256k1"); }

    int m_keyType;  // 1: private key; 0: public-only or empty
    EccCurve m_curve;
    EccPoint m_pubPoint;
    mp_int m_k;
};

}  // namespace vn
