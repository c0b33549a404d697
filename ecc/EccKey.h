#pragma once

#include "ecc/curves/EccCurve.h"
#include "ecc/generic/EccPoint.h"
#include "host/DataBuffer.h"
#include "host/KeyBase.h"
#include "host/LogBase.h"
#include "host/StringBuffer.h"
#include "host/Prng.h"
#include "host/mp_int.h"

/// Everything of the library, the key-file layer included, is in this namespace.
namespace vn {

class _vnAsn1;
class ClsJsonObject;
class ClsXml;

/// One elliptic-curve key on a named prime curve: empty, public-only (curve and point) or
/// private (curve, scalar k and the public point derived from it).
///
/// The four data members are plain data that the key's operations read and write directly.
/// Every operation that can fail returns false and writes its error lines into the LogBase
/// it is given; nothing throws. A key is not safe to use from two threads at once; distinct
/// keys are.
///
/// Contracts below name what each method reads, what it writes (REPLACES: the output is
/// emptied first; APPENDS: the output keeps its content), the failure lines a caller may see
/// in the log (the main ones; deeper layers add their own), the key's state after a failure,
/// and its time behaviour:
/// - key generation, signing and ECDH are constant time in the private scalar and the nonce,
///   on both engines (secp256k1 under any of its names on its own engine, every other curve
///   on the generic one), except that the scalar's length in 28-bit digits shows when it is
///   converted into and out of the host integer type;
/// - everything else (verification, encodings, loading) runs in variable time; only the
///   operations named constant time are meant to be given secrets under a timing observer.
///
/// The key's own loaders are lenient by design: they take any point of the right shape and
/// do not check it against the curve or against k. keyfile::readKey is the strict door
/// (point width and curve equation, scalar against point); use it, or isPoint(), for keys
/// from outside.
class EccKey : public KeyBase {
public:
    /// An empty key.
    EccKey();
    /// Wipes the scalar.
    ~EccKey() override;

    /// A new empty key on the heap, or null when memory is exhausted; delete it through the
    /// pointer.
    static EccKey* createNewObject();

    /// Empties the key (curve, point, scalar, PKCS#8 attributes); the scalar is wiped.
    void clearEccKey();
    /// Makes this key a deep copy of other (a no-op for itself).
    void copyFromEccKey(const EccKey& other);

    /// The field size in bits, rounded up to whole bytes (fieldBytes * 8): 528 for secp521r1,
    /// 0 for a key without a curve.
    unsigned int get_ModulusBitLen() const;
    /// Sets the key's curve from a dotted object identifier (as EccCurve::loadCurveByOid);
    /// the point and the scalar are left as they are.
    /// @returns false for an unknown identifier, with "Unsupported ECDSA curve."; the curve is
    ///          then unchanged.
    bool loadCurveByOid(StringBuffer& oid, LogBase& log);
    /// REPLACES out with the curve's dotted object identifier (empty for a key without a curve).
    void getCurveOid(StringBuffer& out) const;

    /// Generates a private key on the named curve.
    /// @reads   curveName: any name EccCurve::loadCurveByName accepts; prng: fieldBytes bytes.
    /// @writes  the whole key: cleared, then curve, k and point.
    /// @returns true with a private key.
    /// @fails   "Unsupported ECC curve..", "Failed to load curve by name.",
    ///          "Failed to generate random private key.", "point multiply failed." (k = 0 or n, or
    ///          above 256 bits on secp256k1). The key is then not private; clear it before reuse.
    /// @timing  constant time in k.
    bool generateNewKey(const StringBuffer& curveName, _vnPrng& prng, LogBase& log);
    /// Makes the private key whose scalar is given as text.
    /// @reads   curveName; kText: k big-endian, as text in encoding ("hex", "base64",
    ///          "base64url"), taken as it is (no reduction or range check but k != 0, n).
    /// @writes  the whole key, as generateNewKey.
    /// @fails   "Failed to decode K." and generateNewKey's lines; the key is then not private.
    /// @timing  constant time in k once decoded; the text decoding is not.
    bool generateNewKey2(const StringBuffer& curveName, const char* kText, const char* encoding, LogBase& log);
    /// Recomputes the public point Q = k*G from m_curve and m_k; m_keyType is not touched.
    /// @writes  m_pubPoint (replaced; affine).
    /// @fails   "point multiply failed." (k = 0 or n), "Private key is larger than 256 bits."
    ///          (secp256k1), "Big integer calculations failed." (no curve).
    /// @timing  constant time in k. On the generic curves k is used modulo n.
    bool genPubKey(LogBase& log);
    /// Rebuilds this key from source's curve name and scalar and checks that the recomputed
    /// point equals source's.
    /// @reads   source.m_curve, source.m_k, source.m_pubPoint (source is not modified).
    /// @writes  the whole key (cleared first).
    /// @fails   "Failed.", with "x is different!", "y is different!" or "z is different!" on
    ///          a mismatch. Unlike the loaders this leaves the key typed private, holding
    ///          source's scalar and the recomputed point: clear it on failure.
    /// @timing  constant time in k.
    bool regeneratePubKey(EccKey& source, LogBase& log);

    /// ECDSA signature of a digest the caller computed.
    /// @reads   hash[0, inlen): the digest, cut to its first fieldBytes bytes when longer
    ///          (curves below 64-byte fields); on secp256k1 it must be at least 32 bytes.
    ///          prng: fieldBytes fresh bytes per nonce (32 on secp256k1). m_k, m_curve.
    /// @writes  sig, REPLACED: DER SEQUENCE { r, s } when bAsn, else r || s, each half
    ///          fieldBytes wide. On the generic curves r and s are drawn again until each has
    ///          a top byte below 0x80; on secp256k1 s is the low one of s and n - s.
    /// @returns true with a signature.
    /// @fails   "Must be a private key.", "Failed to get e" (null hash),
    ///          "Failed to generate point on curve." / "Failed to generate random nonce." (the prng
    ///          failed), "secp256k1 must use SHA256" (digest under 32 bytes). sig is then empty or
    ///          partial; the key is unchanged.
    /// @timing  constant time in k and the nonce.
    bool eccSignHash(const unsigned char* hash, unsigned int inlen, _vnPrng& prng, bool bAsn, DataBuffer& sig,
                     LogBase& log);
    /// ECDSA signature as the body of an SSH signature blob (RFC 5656): string(mpint r),
    /// string(mpint s), without the outer key-type string.
    /// @reads   hash[0, inlen): the whole digest (not cut); prng; m_k, m_curve.
    /// @writes  sig, APPENDED to (unlike eccSignHash). r and s may have any top byte.
    /// @fails   "Must be a private key.", "Failed to get e", "Failed to generate point on curve.",
    ///          "ecc calc error 1". On failure part of the body may have been appended.
    /// @timing  constant time in k and the nonce.
    bool eccSignHash_forSsh(const unsigned char* hash, unsigned int inlen, _vnPrng& prng, DataBuffer& sig,
                            LogBase& log);
    /// Re-encodes a DER or raw r || s signature (raw sizes as eccVerifyHash without rLen) as
    /// DER, with positive INTEGERs; no key is involved.
    /// @writes  derOut, APPENDED to. The unsigned argument is ignored (kept for the interface).
    /// @fails   the signature decoder's lines ("Unexpected size for R,S signature.",
    ///          "Failed to ASN.1 decode DSA signature", ...), "Failed to encode final ASN.1".
    static bool eccWrapSigAsn_forTls(const DataBuffer& sigIn, unsigned int unused, DataBuffer& derOut, LogBase& log);
    /// ECDSA verification of a signature over a digest with the key's public point.
    /// @reads   sig[0, siglen): DER SEQUENCE { r, s }, or raw r || s. A raw signature is split
    ///          at rLen when useRLen is true and rLen != 0, else in halves, which works only
    ///          for 48, 64, 96, 128 and 132 bytes: on secp160r1, brainpoolP160r1, secp224r1,
    ///          brainpoolP224r1 and brainpoolP320r1 pass useRLen with rLen = fieldBytes.
    ///          hash[0, inlen): cut as in eccSignHash (exactly 32 bytes after that on secp256k1).
    ///          m_curve, m_pubPoint; m_k is not used.
    /// @writes  sigValid: whether the signature is valid (false whenever the call fails).
    /// @returns true when verification could be carried out; then sigValid is the verdict.
    /// @fails   "null inputs.", "Failed to unpack ASN.1 DSA/ECDSA signature." (or "DSA/ECC" on
    ///          secp256k1), "hash length must be 32"; a data line "EccVerifyError" with a
    ///          code for r or s outside [1, n-1] (1) and internal steps (2..11).
    /// @timing  variable (all inputs are public).
    /// @warning On the generic engine the public point is not checked against the curve: a
    ///          key loaded from untrusted data must pass isPoint() (or come through
    ///          keyfile::readKey) first. On secp256k1 a point off the curve verifies nothing.
    bool eccVerifyHash(const unsigned char* sig, unsigned int siglen, bool useRLen, const unsigned char* hash,
                       unsigned int inlen, bool& sigValid, LogBase& log, unsigned int rLen);

    /// Internal: the secp256k1 engine's signer, which eccSignHash calls for secp256k1 keys.
    /// It checks neither the key type nor the curve; call eccSignHash. Writes sig as
    /// eccSignHash (REPLACED); inlen must be exactly 32 ("secp256k1 must use SHA256").
    /// @timing  constant time in k and the nonce.
    bool eccSignHashK(const unsigned char* hash, unsigned int inlen, _vnPrng& prng, bool bAsn, DataBuffer& sig,
                      LogBase& log);
    /// Internal: the secp256k1 engine's verifier, which eccVerifyHash calls for secp256k1
    /// keys; call eccVerifyHash. inlen must be exactly 32 ("hash length must be 32").
    bool eccVerifyHashK(const unsigned char* sig, unsigned int siglen, bool useRLen, const unsigned char* hash,
                        unsigned int inlen, bool& sigValid, LogBase& log, unsigned int rLen);

    /// ECDH (SEC 1 ECSVDP-DH): the x-coordinate of k * Q, Q being pubKey's public point.
    /// @reads   m_k, m_curve; pubKey.m_curve (must be the same curve by name) and
    ///          pubKey.m_pubPoint (affine). pubKey is not modified.
    /// @writes  secret, REPLACED: x left-padded to fieldBytes; its secure flag is set.
    /// @fails   "Must be a private key.", "ECC curves are different",
    ///          "Value is larger than 256 bits." (secp256k1), "Point multiply failed."; secret is
    ///          then empty.
    /// @timing  constant time in k.
    /// @warning The peer's point is NOT checked against the curve: a point off the curve can
    ///          leak bits of k to whoever chose it. Call pubKey.isPoint() first, or load the
    ///          peer through keyfile::readKey, which checks it.
    bool sharedSecret(EccKey& pubKey, DataBuffer& secret, LogBase& log);

    /// SubjectPublicKeyInfo DER with the named curve (RFC 5480), of a public or private key.
    /// @writes  out, REPLACED; its secure flag is set (as for every DER export).
    /// @fails   the DER encoder's lines; false for a key without a curve.
    bool toPublicKeyDer_shortFmt(DataBuffer& out, LogBase& log);
    /// SubjectPublicKeyInfo DER with explicit curve parameters, for secp256r1, secp384r1,
    /// secp521r1 and secp256k1; every other curve gets the named-curve form.
    /// @writes  out, REPLACED (secure flag set).
    bool toPublicKeyDer_longFmt(DataBuffer& out, LogBase& log);
    /// SEC1 ECPrivateKey DER (RFC 5915), despite the name: version 1, k padded to the order's
    /// length, [0] the curve, and [1] the public key only when log.m_options contains
    /// "EMIT_ECC_PKCS1_PUBKEY".
    /// @writes  out, REPLACED (secure flag set).
    /// @fails   "k is empty" (no scalar: a public key); m_keyType is not checked.
    bool toEccPkcs1PrivateKeyDer(DataBuffer& out, LogBase& log);
    /// The reduced ECPrivateKey a PKCS#11 token takes: SEQUENCE { 1, k } without curve or point.
    /// @writes  out, REPLACED (secure flag set). @fails "k is empty".
    bool toEccPkcs1PrivateKeyDer_forPkcs11(DataBuffer& out, LogBase& log);
    /// PKCS#8 PrivateKeyInfo DER (RFC 5208) around toEccPkcs1PrivateKeyDer's SEC1 (the same
    /// "EMIT_ECC_PKCS1_PUBKEY" rule), with the PKCS#8 attributes the key was loaded with.
    /// @writes  out, REPLACED (wiped first; secure flag set).
    /// @fails   "Not a private key.", "k is empty", the attribute lines of
    ///          KeyBase::addAttributesToPkcs8. Unencrypted: keyfile::writeKey encrypts.
    bool toEccPkcs8PrivateKeyDer(DataBuffer& out, LogBase& log);

    /// Loads whatever key DER holds: PKCS#8 PrivateKeyInfo, SEC1 ECPrivateKey or
    /// SubjectPublicKeyInfo, told apart by shape.
    /// @reads   der: one DER element; bytes after it are ignored. Explicit curve parameters are
    ///          recognised for secp256r1, secp384r1, secp521r1 and secp256k1 only.
    /// @writes  the whole key (cleared first); PKCS#8 attributes kept in m_pkcs8Attributes.
    ///          der is non-const only because its secure flag is set (it may hold a private
    ///          key); its bytes are not changed.
    /// @fails   "Failed to decode ECC key ASN.1", "Invalid ASN.1 for ECC key.", "Not an ECC key.",
    ///          "Unsupported ECDSA curve.", "K is out of range." (k outside [1, n-1]),
    ///          "Invalid ASN.1 for ECC private key.", "Invalid ANSI X9.63 ECC point.", then a few
    ///          info lines describing the DER. The key is then never private, but may keep a curve
    ///          or point: clear it before reuse.
    /// @warning Lenient: a stored public point is taken as it is, not checked against the
    ///          curve or k (see keyfile::readKey).
    bool loadEccDer(DataBuffer& der, LogBase& log);
    /// Internal: loadEccDer's step over a decoded tree (_vnAsn1 is not a public type); use
    /// loadEccDer. Same contract.
    bool loadAnyEccAsn(_vnAsn1* asn, LogBase& log);
    /// Internal: reads an AlgorithmIdentifier (the name is historical) into its algorithm and
    /// curve identifiers; use loadEccDer. REPLACES algOid and curveOid; no log lines.
    bool parseAldId(_vnAsn1* algId, StringBuffer& algOid, StringBuffer& curveOid, LogBase& log);
    /// Internal: loads a public key from a decoded BIT STRING; use loadEccDer or
    /// loadEcPubKeyByCurveAndPoint.
    bool loadEccPublicAsn(_vnAsn1* bitString, StringBuffer& curveOid, LogBase& log);
    /// Internal: loads a private key from a decoded ECPrivateKey, the curve from
    /// passedInCurveOid when the structure has none; use loadEccDer.
    bool loadEccPrivateAsn(_vnAsn1* ecPrivateKey, StringBuffer& passedInCurveOid, LogBase& log);

    /// PEM of the private key: SEC1 (sec1 true) or PKCS#8 (false) DER, as the DER exports.
    /// Both are written under the label "EC PRIVATE KEY"; for PKCS#8 under "PRIVATE KEY", as
    /// other tools expect it, use keyfile::writeKey with "pkcs8".
    /// @writes  out, REPLACED (LF line endings, 64 characters a line).
    /// @fails   the DER export's lines.
    bool toEccPrivateKeyPem(bool sec1, StringBuffer& out, LogBase& log);
    /// PEM "PUBLIC KEY" of the named-curve (true) or explicit-parameter (false) SPKI DER.
    /// @writes  out, REPLACED.
    bool toEccPublicKeyPem(bool namedCurve, StringBuffer& out, LogBase& log);

    /// Loads a private key from its bare big-endian scalar; the curve follows from the
    /// length: 20 secp160r1, 32 secp256r1 (secp256k1 with preferSecp256k1), 48 secp384r1,
    /// 66 secp521r1. The point is computed.
    /// @writes  the whole key (cleared first).
    /// @fails   "Invalid ECC key size.", "Failed to generate EC public key from private."
    ///          The key is then not private.
    /// @timing  constant time in k once read.
    /// @warning k is not checked against the order: a scalar of n or above is kept as given.
    bool loadEccPrivateRaw(const DataBuffer& raw, bool preferSecp256k1, LogBase& log);
    /// Loads a public key from an uncompressed X9.63 point (04 || x || y); the curve follows
    /// from the length: 65 secp256r1 (never secp256k1), 97 secp384r1, 133 secp521r1.
    /// @reads   x963 (non-const for the point reader's interface; not modified).
    /// @writes  the whole key (cleared first), public-only.
    /// @fails   "Not a raw ECC public key.", "Invalid ECC public key size.",
    ///          "Failed to load ECC point."
    /// @warning The point is not checked against the curve.
    bool loadEccPublicRaw(DataBuffer& x963, LogBase& log);
    /// Loads a public key from a curve name and an X9.63 point (as EccPoint::loadEccPoint:
    /// forms 04, 06, 07; compressed points are refused).
    /// @reads   x963 (not modified).
    /// @writes  the whole key (cleared first), public-only.
    /// @fails   "Unsupported ECC curve..", "Invalid ANSI X9.63 ECC point.",
    ///          "Failed to load ECC point."
    /// @warning The point is not checked against the curve.
    bool loadEcPubKeyByCurveAndPoint(const char* curveName, DataBuffer& x963, LogBase& log);
    /// Lower-case hex of k and of the X9.63 point, each number fieldBytes wide.
    /// @writes  privHex and pubHex, both APPENDED to (privHex gets zeros for a public key).
    /// @returns always true; logs nothing, since the text may be a private key.
    bool toRawHex(StringBuffer& privHex, StringBuffer& pubHex, LogBase& log);

    /// The RFC 5656 public key blob: string "ecdsa-sha2-" + id, string id, string point.
    /// @writes  out, REPLACED.
    /// @warning id is EccCurve::puttyCurveName(), which answers "nistp256" for curves SSH has
    ///          no name for, so the blob of such a curve misnames it: check
    ///          keyfile::sshIdentifierOf() first.
    bool puttyPublicKeyBlob(DataBuffer& out, LogBase& log);
    /// The digest of puttyPublicKeyBlob() with a _vnHash::HashId (SHA256 gives the bytes
    /// behind "SHA256:" fingerprints).
    /// @writes  out, REPLACED; left empty (and true returned) for an unknown hashId.
    bool calc_fingerprint_digest(int hashId, DataBuffer& out, LogBase& log);
    /// The traditional MD5 fingerprint line: "ecdsa-sha2-<id> <bits> aa:bb:...".
    /// @writes  out, REPLACED.
    bool calc_fingerprint(StringBuffer& out, LogBase& log);
    /// Loads a key from a PuTTY private blob (mpint k) or an OpenSSH ECDSA private section
    /// (string type, string curve, string point, mpint k), told apart by shape.
    /// @reads   curveName; x963: the public point, which is the one used (a section's own
    ///          point is skipped); privBlob (its secure flag is set; bytes not changed). An
    ///          empty privBlob loads a public key.
    /// @writes  the whole key (cleared first).
    /// @fails   "Unsupported ECC curve..", "Failed to parse private key mp_int",
    ///          "no private key within ecdsa private key blob", "Private key is zero.",
    ///          "K is out of range.", "Failed to load ECC point". The key is then not private.
    /// @warning k is not checked against the point.
    bool loadPrivateFromPuttySsh(const char* curveName, DataBuffer& x963, DataBuffer& privBlob, LogBase& log);

    /// `<ECCKeyValue curve="name">`, the base64 of toEccPkcs1PrivateKeyDer, `</ECCKeyValue>`.
    /// @writes  out, REPLACED (wiped on failure). @fails "k is empty".
    bool toEccPrivateKeyXml(StringBuffer& out, LogBase& log);
    /// `<ECCPublicKey curve="name" x="..." y="...">` (upper-case hex coordinates) around the base64 of
    /// toPublicKeyDer_longFmt.
    /// @writes  out, REPLACED.
    bool toEccPublicKeyXml(StringBuffer& out, LogBase& log);
    /// The XML Signature 1.1 `<ECKeyValue>` with a NamedCurve URI "urn:oid:..." and the base64
    /// X9.63 point.
    /// @writes  out, REPLACED.
    bool toEccPublicKeyXmlDSig(StringBuffer& out, LogBase& log);
    /// Loads any of the three XML forms; an ECCKeyValue may also hold a bare scalar in hex or
    /// base64 (the curve from its length, as loadEccPrivateRaw, secp256k1 when the curve
    /// attribute says so).
    /// @writes  the whole key (cleared first).
    /// @fails   the DER, raw or point loader's lines; false without a line for content that
    ///          does not decode. The key is then not private.
    bool loadAnyXml(const ClsXml& xml, LogBase& log);

    /// APPENDS the JWK "crv" value: "P-256", "P-384", "P-521", else the curve's canonical name.
    /// @returns false only when memory is exhausted.
    bool getJwkCurveName(StringBuffer& out, LogBase& log);
    /// The private JWK (RFC 7517/7518): kty, crv, x, y, d, no white space; x and y fieldBytes
    /// wide, d the order's length.
    /// @writes  out, REPLACED (wiped first and on failure).
    /// @warning m_keyType is not checked: a public key writes a d of zeros.
    bool toEccPrivateKeyJwk(StringBuffer& out, LogBase& log);
    /// The public JWK: kty, crv, x, y, or with thumbprintOrder the RFC 7638 order crv, kty,
    /// x, y (hash that text for the thumbprint).
    /// @writes  out, REPLACED.
    bool toEccPublicKeyJwk(StringBuffer& out, bool thumbprintOrder, LogBase& log);
    /// Loads a JWK: crv (any name loadCurveByName accepts), x and y, and d when present.
    /// @writes  the whole key (cleared first); x and y are taken as given, not computed from d.
    /// @fails   "JWK crv member in ECC key is missing", "Invalid ECC curve name",
    ///          "JWK member is missing" / "is empty" / "is not valid base64url",
    ///          "Private key is zero.", "K is out of range." The key is then not private.
    /// @warning The point is checked neither against the curve nor against d.
    bool loadAnyJwk(const ClsJsonObject& jwk, LogBase& log);

    /// APPENDS the public point as an uncompressed X9.63 octet string (04 || x || y, each
    /// fieldBytes wide).
    bool exportEccPoint(DataBuffer& out, LogBase& log);
    /// Whether the public point satisfies the curve's equation y^2 = x^3 + ax + b (mod p).
    /// Call it on any key from untrusted data before sharedSecret() or a generic-engine
    /// eccVerifyHash(). It does not check that x and y are below p (keyfile::pointOnCurve
    /// does both).
    /// @returns false for a point off the curve (no line) or a key without a curve
    ///          ("Failed to decode curve prime.").
    /// @timing  variable (the point is public).
    bool isPoint(LogBase& log);

    /// Out = kA*A + kB*B in affine coordinates by Shamir's trick over 2-bit windows, on the
    /// curve of prime modulus and a coefficient ma (null for a = -3). A lower-level tool of
    /// the generic engine; users should not need it.
    /// @reads   A, B: affine points of that curve; kA, kB: at most 256 bytes each.
    /// @writes  Out, replaced (it may be A or B). Logs nothing.
    /// @returns false when both scalars are zero or one is too long.
    /// @timing  variable: for public scalars only.
    bool mul2add(EccPoint& A, mp_int& kA, EccPoint& B, mp_int& kB, EccPoint& Out, mp_int* ma, mp_int& modulus,
                 LogBase& log);

    /// Whether the key's operations run on the secp256k1 engine: true for secp256k1 under any
    /// of its names (the curve record holds the canonical one), false for every other curve
    /// and for a key without a curve, which run on the generic engine.
    bool usesSecp256k1Engine() const { return m_curve.name.equals("secp256k1"); }

    int m_keyType;       ///< 1: private key (m_k and m_pubPoint set); 0: public-only or empty.
    EccCurve m_curve;    ///< The curve; empty (name "") for an empty key.
    EccPoint m_pubPoint; ///< The public point, affine (z = 1) once loaded or computed.
    mp_int m_k;          ///< The private scalar; zero for a public-only key. Wiped when released.
};

}  // namespace vn
