#include "keyfile/KeyTypes.h"

#include <cstring>

#include "host/Asn1.h"
#include "host/JsonObject.h"
#include "host/Pem.h"
#include "host/ScopedOwners.h"
#include "host/SshMessage.h"

namespace vn {
namespace keyfile {

namespace {

struct Name {
    const char* key;
    const char* name;
};

// Algorithm identifiers of PKCS#8 and SubjectPublicKeyInfo that are not id-ecPublicKey.
const Name kAlgorithmOids[] = {
    {"1.2.840.113549.1.1.1", "RSA"},  {"1.2.840.113549.1.1.10", "RSASSA-PSS"}, {"1.2.840.10040.4.1", "DSA"},
    {"1.3.101.110", "X25519"},        {"1.3.101.111", "X448"},                 {"1.3.101.112", "Ed25519"},
    {"1.3.101.113", "Ed448"},         {"1.2.840.113549.1.3.1", "DH"},          {"1.2.840.10046.2.1", "DH"},
};

// Traditional (PKCS#1, OpenSSL's DSA) PEM labels, named without opening the body: it may be
// encrypted.
const Name kPemLabels[] = {{"RSA PRIVATE KEY", "RSA"}, {"RSA PUBLIC KEY", "RSA"}, {"DSA PRIVATE KEY", "DSA"}};

const char* const kSshTypes[] = {"ssh-ed25519",
                                 "ssh-rsa",
                                 "ssh-dss",
                                 "ssh-ed448",
                                 "sk-ecdsa-sha2-nistp256@openssh.com",
                                 "sk-ssh-ed25519@openssh.com"};

const char* const kOkpCurves[] = {"Ed25519", "X25519", "Ed448", "X448"};

bool name(const std::string& what, std::string& line) {
    // "a DSA key", "an RSA key": the article follows how the name is spoken.
    const char* article = (what[0] == 'D') ? "a " : "an ";
    line = "this is " + std::string(article) + what + " key; ecckey reads ECDSA keys on prime curves only";
    return true;
}

bool nameSshType(const std::string& type, std::string& line) {
    for (const char* t : kSshTypes) {
        if (type == t) return name(type, line);
    }
    return false;
}

bool nameOid(const StringBuffer& oid, std::string& line) {
    for (const Name& row : kAlgorithmOids) {
        if (oid.equals(row.key)) return name(row.name, line);
    }
    return false;
}

// openssh-key-v1 as decoded from its PEM: the public key blob, readable even when the
// private section is encrypted, starts with the key type.
bool fromOpenSshFile(const DataBuffer& file, std::string& line) {
    static const char kMagic[] = "openssh-key-v1";  // with its NUL, as in the file
    if (file.getSize() < sizeof kMagic || std::memcmp(file.getData2(), kMagic, sizeof kMagic) != 0) return false;
    unsigned offset = sizeof kMagic, count = 0;
    StringBuffer cipher, kdf, type;
    DataBuffer kdfOptions, blob;
    LogNull quiet;
    unsigned blobOffset = 0;
    if (!SshMessage::parseString(file, offset, cipher) || !SshMessage::parseString(file, offset, kdf) ||
        !SshMessage::parseBinaryString(file, offset, kdfOptions, quiet) ||
        !SshMessage::parseUint32(file, offset, count) || !SshMessage::parseBinaryString(file, offset, blob, quiet) ||
        !SshMessage::parseString(blob, blobOffset, type)) {
        return false;
    }
    return nameSshType(type.getString(), line);
}

bool fromDer(const DataBuffer& der, std::string& line) {
    if (fromOpenSshFile(der, line)) return true;
    unsigned consumed = 0;
    LogNull quiet;
    _vnAsn1* root = _vnAsn1::DecodeToAsn(der.getData2(), der.getSize(), consumed, quiet);
    RefCountedObjectOwner owner(root);
    if (root == nullptr || !root->isSequence() || root->numAsnParts() < 2) return false;
    _vnAsn1* first = root->getAsnPart(0);
    _vnAsn1* second = root->getAsnPart(1);
    // SubjectPublicKeyInfo starts with the AlgorithmIdentifier, PrivateKeyInfo has it second.
    _vnAsn1* algId = first->isSequence() ? first : (first->isInteger() && second->isSequence()) ? second : nullptr;
    StringBuffer oid;
    if (algId != nullptr) {
        _vnAsn1* alg = algId->getAsnPart(0);
        return alg != nullptr && alg->GetOid(oid) && nameOid(oid, line);
    }
    // PKCS#1 RSAPrivateKey (version and eight integers), RSAPublicKey (n, e) and OpenSSL's DSA
    // private key (version, p, q, g, y, x) are bare sequences of integers; SEC1 is not.
    const int n = root->numAsnParts();
    for (int i = 0; i < n; ++i) {
        if (!root->getAsnPart(i)->isInteger()) return false;
    }
    if (n == 9 || n == 2) return name("RSA", line);
    if (n == 6) return name("DSA", line);
    return false;
}

// The first key block of a PEM text decides; an "EC PARAMETERS" block in front is skipped.
bool fromPem(const char* text, std::string& line) {
    static const char kBegin[] = "-----BEGIN ";
    for (const char* at = std::strstr(text, kBegin); at != nullptr; at = std::strstr(at + 1, kBegin)) {
        const char* labelStart = at + std::strlen(kBegin);
        const char* labelEnd = std::strstr(labelStart, "-----");
        if (labelEnd == nullptr) return false;
        const std::string label(labelStart, static_cast<size_t>(labelEnd - labelStart));
        if (label == "EC PARAMETERS") continue;
        for (const Name& row : kPemLabels) {
            if (label == row.key) return name(row.name, line);
        }
        if (label != "OPENSSH PRIVATE KEY" && label != "PRIVATE KEY" && label != "PUBLIC KEY") return false;
        StringBuffer readLabel;
        DataBuffer der;
        LogNull quiet;
        return PemReader::readFirst(at, readLabel, der, quiet) && fromDer(der, line);
    }
    return false;
}

bool fromJwk(const char* text, std::string& line) {
    ClsJsonObject jwk;
    LogNull quiet;
    StringBuffer kty, crv;
    if (!jwk.load(text) || !jwk.sbOfPathUtf8("kty", kty, quiet)) return false;
    if (kty.equals("RSA")) return name("RSA", line);
    if (!kty.equals("OKP") || !jwk.sbOfPathUtf8("crv", crv, quiet)) return false;
    for (const char* c : kOkpCurves) {
        if (crv.equals(c)) return name(c, line);
    }
    return false;
}

}  // namespace

bool nameOtherKeyType(const DataBuffer& input, std::string& line) {
    const unsigned size = input.getSize();
    const char* bytes = reinterpret_cast<const char*>(input.getData2());
    if (size == 0) return false;
    if (std::memchr(bytes, 0, size) != nullptr || bytes[0] == 0x30) return fromDer(input, line);

    // A terminated copy for the text readers, in a wiping buffer: it may be a private key.
    DataBuffer copy;
    copy.setSecure(true);
    if (!copy.append(input) || !copy.appendChar(0)) return false;
    const char* text = reinterpret_cast<const char*>(copy.getData2());
    text += std::strspn(text, " \t\r\n");
    static const char kPutty[] = "PuTTY-User-Key-File-";
    if (std::strncmp(text, kPutty, std::strlen(kPutty)) == 0) {
        const char* type = std::strstr(text, ": ");
        const size_t eol = std::strcspn(text, "\r\n");
        if (type == nullptr || type > text + eol) return false;
        type += 2;
        return nameSshType(std::string(type, static_cast<size_t>(text + eol - type)), line);
    }
    if (text[0] == '{') return fromJwk(text, line);
    if (std::strstr(text, "-----BEGIN ") != nullptr) return fromPem(text, line);
    // An OpenSSH public key line names its type in the first word.
    return nameSshType(std::string(text, std::strcspn(text, " \t\r\n")), line);
}

}  // namespace keyfile
}  // namespace vn
