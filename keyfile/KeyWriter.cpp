#include "keyfile/KeyWriter.h"

#include <cstring>

#include "host/Hash.h"
#include "host/Pem.h"
#include "keyfile/EncryptedPkcs8.h"
#include "keyfile/OpenSshFiles.h"
#include "keyfile/PointCompression.h"
#include "keyfile/PuttyFiles.h"

namespace vn {
namespace keyfile {

const std::vector<OutputForm>& outputForms() {
    static const std::vector<OutputForm> forms = {
        {"sec1", "SEC1 ECPrivateKey, PEM \"EC PRIVATE KEY\" (with the public key)", true},
        {"pkcs8", "PKCS#8 PrivateKeyInfo, PEM \"PRIVATE KEY\"", true},
        {"spki", "SubjectPublicKeyInfo with a named curve, PEM \"PUBLIC KEY\"", false},
        {"spki-explicit", "SubjectPublicKeyInfo with explicit parameters where known, PEM", false},
        {"sec1-der", "SEC1 ECPrivateKey, DER", true},
        {"pkcs8-der", "PKCS#8 PrivateKeyInfo, DER", true},
        {"spki-der", "SubjectPublicKeyInfo with a named curve, DER", false},
        {"spki-explicit-der", "SubjectPublicKeyInfo with explicit parameters where known, DER", false},
        {"jwk", "JSON Web Key (private when the key is)", false},
        {"jwk-public", "JSON Web Key, public members only", false},
        {"jwk-thumbprint", "RFC 7638 thumbprint: SHA-256 of the canonical public JWK, base64url", false},
        {"xml", "<ECCKeyValue> (private) or <ECCPublicKey> (public)", false},
        {"xml-dsig", "XML Signature 1.1 <ECKeyValue>", false},
        {"raw-hex", "the scalar (private) or the X9.63 point (public) in hexadecimal", false},
        {"ssh", "OpenSSH public key line", false},
        {"openssh", "OpenSSH private key file (encrypted with --passout: bcrypt, aes256-ctr)", true},
        {"ppk", "PuTTY .ppk file, version 3 (encrypted with --passout: Argon2id, aes256-cbc)", true},
        {"ppk2", "PuTTY .ppk file, version 2 (encrypted with --passout: aes256-cbc)", true},
        {"fingerprint", "SSH MD5 fingerprint, as ssh-keygen -l -E md5 shows it", false},
        {"fingerprint-sha256", "SSH SHA-256 fingerprint (the SHA256:... field of ssh-keygen -l)", false},
    };
    return forms;
}

const OutputForm* findOutputForm(const std::string& name) {
    for (const OutputForm& f : outputForms()) {
        if (name == f.name) return &f;
    }
    return nullptr;
}

const char* sshIdentifierOf(const EccKey& key) {
    static const char* const kOwnNames[][2] = {
        {"secp256r1", "nistp256"}, {"secp384r1", "nistp384"}, {"secp521r1", "nistp521"}, {"secp256k1", "nistk256"}};
    for (const auto& row : kOwnNames) {
        if (key.m_curve.name.equals(row[0])) return row[1];
    }
    return nullptr;
}

namespace {

bool appendText(DataBuffer& out, const StringBuffer& text, bool newline) {
    return out.append(text) && (!newline || out.appendChar('\n'));
}

bool pem(const char* label, DataBuffer& der, DataBuffer& out, LogBase& log) {
    StringBuffer text;
    return _vnPublicKey::derToPem(label, der, text, log) && appendText(out, text, false);
}

bool sshLine(EccKey& key, DataBuffer& out, LogBase& log) {
    DataBuffer blob;
    StringBuffer line, b64;
    if (!key.puttyPublicKeyBlob(blob, log) || !blob.encodeDB("base64", b64)) return false;
    line.append2("ecdsa-sha2-", sshIdentifierOf(key));
    line.append(" ");
    line.append(b64);
    return appendText(out, line, true);
}

bool sha256Fingerprint(EccKey& key, DataBuffer& out, LogBase& log) {
    DataBuffer digest;
    StringBuffer b64, line;
    if (!key.calc_fingerprint_digest(_vnHash::SHA256, digest, log) || !digest.encodeDB("base64", b64)) return false;
    // ssh-keygen leaves the padding off.
    while (b64.getSize() > 0 && b64.getString()[b64.getSize() - 1] == '=') {
        StringBuffer cut;
        cut.appendN(b64.getString(), b64.getSize() - 1);
        b64.setString(cut);
    }
    line.append("SHA256:");
    line.append(b64);
    return appendText(out, line, true);
}

bool jwkThumbprint(EccKey& key, DataBuffer& out, LogBase& log) {
    StringBuffer canonical, b64;
    DataBuffer digest;
    if (!key.toEccPublicKeyJwk(canonical, true, log)) return false;
    _vnHash::doHash(canonical.getString(), canonical.getSize(), _vnHash::SHA256, digest);
    return digest.encodeDB("base64url", b64) && appendText(out, b64, true);
}

// The key's DER in one of the structures that carry a point, compressed on request.
template <typename Write>
bool pointDer(const WriteOptions& options, DataBuffer& der, Write write) {
    LogNull quiet;
    return write() && (!options.compressedPoint || compressInDer(der, quiet));
}

}  // namespace

bool writeKey(EccKey& key, const std::string& formName, const WriteOptions& options, DataBuffer& out,
              std::string& message, LogBase& log) {
    out.clear();
    out.setSecure(true);
    const OutputForm* form = findOutputForm(formName);
    if (form == nullptr) {
        message = "unknown output form '" + formName + "' (see --help)";
        return false;
    }
    if (form->needsPrivate && key.m_keyType != 1) {
        message = "the form '" + formName + "' needs a private key, and this key is public";
        return false;
    }
    const std::string f = form->name;
    const bool isSsh = f.compare(0, 3, "ssh") == 0 || f.compare(0, 11, "fingerprint") == 0 || f.compare(0, 3, "ppk") == 0 ||
                       f == "openssh";
    if (isSsh && sshIdentifierOf(key) == nullptr) {
        message = std::string("SSH has no name for the curve ") + key.m_curve.name.getString() +
                  "; its blob would read back as secp256r1";
        return false;
    }
    const bool isDer = f.size() > 4 && f.compare(f.size() - 4, 4, "-der") == 0;
    if (options.passphrase != nullptr && f != "pkcs8" && f != "pkcs8-der" && f != "ppk" && f != "ppk2" &&
        f != "openssh") {
        message = "the form '" + formName + "' cannot be encrypted (pkcs8, pkcs8-der, openssh, ppk and ppk2 can)";
        return false;
    }
    if (options.compressedPoint && f != "sec1" && f != "sec1-der" && f != "pkcs8" && f != "pkcs8-der" && f != "spki" &&
        f != "spki-der" && !(f == "raw-hex" && key.m_keyType != 1)) {
        message = "the form '" + formName + "' has no compressed point (sec1, pkcs8, spki and a public raw-hex have)";
        return false;
    }
    _vnSystemPrng system;
    _vnPrng& prng = options.prng ? *options.prng : system;
    DataBuffer der;
    der.setSecure(true);
    StringBuffer text, extra;
    if (f == "openssh") {
        return writeOpenSshPrivateFile(key, options.passphrase, options.comment, prng, text, log) &&
               appendText(out, text, false);
    }
    if (f == "ppk" || f == "ppk2") {
        return writePuttyPpk(key, f == "ppk" ? 3 : 2, options.passphrase, options.comment, prng, text, log) &&
               appendText(out, text, false);
    }
    if (f == "sec1" || f == "sec1-der") {
        if (!pointDer(options, der, [&] { return key.toEccPkcs1PrivateKeyDer(der, log); })) return false;
        return isDer ? out.append(der) : pem("EC PRIVATE KEY", der, out, log);
    }
    if (f == "pkcs8" || f == "pkcs8-der") {
        if (!pointDer(options, der, [&] { return key.toEccPkcs8PrivateKeyDer(der, log); })) return false;
        if (options.passphrase != nullptr) {
            DataBuffer encrypted;
            if (!encryptPkcs8(der, *options.passphrase, prng, encrypted, log)) return false;
            return isDer ? out.append(encrypted) : pem("ENCRYPTED PRIVATE KEY", encrypted, out, log);
        }
        return isDer ? out.append(der) : pem("PRIVATE KEY", der, out, log);
    }
    if (f == "spki" || f == "spki-der") {
        if (!pointDer(options, der, [&] { return key.toPublicKeyDer_shortFmt(der, log); })) return false;
        return isDer ? out.append(der) : pem("PUBLIC KEY", der, out, log);
    }
    if (f == "spki-explicit" || f == "spki-explicit-der") {
        if (!key.toPublicKeyDer_longFmt(der, log)) return false;
        return f == "spki-explicit-der" ? out.append(der) : pem("PUBLIC KEY", der, out, log);
    }
    if (f == "jwk") {
        bool ok = key.m_keyType == 1 ? key.toEccPrivateKeyJwk(text, log) : key.toEccPublicKeyJwk(text, false, log);
        return ok && appendText(out, text, true);
    }
    if (f == "jwk-public") return key.toEccPublicKeyJwk(text, false, log) && appendText(out, text, true);
    if (f == "jwk-thumbprint") return jwkThumbprint(key, out, log);
    if (f == "xml") {
        bool ok = key.m_keyType == 1 ? key.toEccPrivateKeyXml(text, log) : key.toEccPublicKeyXml(text, log);
        return ok && appendText(out, text, true);
    }
    if (f == "xml-dsig") return key.toEccPublicKeyXmlDSig(text, log) && appendText(out, text, true);
    if (f == "raw-hex") {
        if (options.compressedPoint) {
            DataBuffer point;
            return compressPoint(key, point) && point.encodeDB("hex", text) && appendText(out, text, true);
        }
        if (!key.toRawHex(text, extra, log)) return false;
        return appendText(out, key.m_keyType == 1 ? text : extra, true);
    }
    if (f == "ssh") return sshLine(key, out, log);
    if (f == "fingerprint") return key.calc_fingerprint(text, log) && appendText(out, text, true);
    return sha256Fingerprint(key, out, log);
}

}  // namespace keyfile
}  // namespace vn
