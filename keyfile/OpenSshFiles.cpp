// OpenSSH's own files: the one-line public key ("ecdsa-sha2-nistp256 AAAA... comment") and
// the unencrypted "openssh-key-v1" private key file (PROTOCOL.key in OpenSSH's sources).

#include <cstring>

#include "host/SshMessage.h"
#include "keyfile/KeyReader.h"

namespace vn {
namespace keyfile {

std::string curveNameForSshId(const std::string& sshId) { return sshId == "nistk256" ? "secp256k1" : sshId; }

namespace {

// Splits an RFC 5656 public key blob into its curve identifier and X9.63 point, checking that
// the key type names the same curve.
bool splitPublicBlob(const DataBuffer& blob, std::string& curveId, DataBuffer& x963, LogBase& log) {
    unsigned offset = 0;
    StringBuffer keyType, id;
    if (!SshMessage::parseString(blob, offset, keyType) || !SshMessage::parseString(blob, offset, id) ||
        !SshMessage::parseBinaryString(blob, offset, x963, log)) {
        log.LogError("The SSH public key blob is truncated.");
        return false;
    }
    if (!keyType.beginsWith("ecdsa-sha2-") || std::strcmp(keyType.getString() + 11, id.getString()) != 0) {
        log.LogError("Not an ECDSA SSH public key.");
        log.LogDataSb("keyType", keyType);
        return false;
    }
    curveId = id.getString();
    return true;
}

}  // namespace

bool loadOpenSshPublicLine(const std::string& line, EccKey& key, LogBase& log) {
    LogContextExitor ctx(log, "loadOpenSshPublicLine");
    size_t space = line.find(' ');
    if (space == std::string::npos) {
        log.LogError("An OpenSSH public key line needs a key type and a base64 blob.");
        return false;
    }
    size_t end = line.find_first_of(" \t\r\n", space + 1);
    std::string b64 = line.substr(space + 1, end == std::string::npos ? std::string::npos : end - space - 1);
    DataBuffer blob;
    if (!blob.appendEncoded(b64.c_str(), "base64")) {
        log.LogError("The OpenSSH public key is not valid base64.");
        return false;
    }
    std::string curveId;
    DataBuffer x963;
    if (!splitPublicBlob(blob, curveId, x963, log)) return false;
    if (line.compare(0, space, "ecdsa-sha2-" + curveId) != 0) {
        log.LogError("The key type before the blob differs from the one inside it.");
        return false;
    }
    return key.loadEcPubKeyByCurveAndPoint(curveNameForSshId(curveId).c_str(), x963, log);
}

bool loadOpenSshPrivateFile(const DataBuffer& file, EccKey& key, LogBase& log) {
    LogContextExitor ctx(log, "loadOpenSshPrivateFile");
    static const char kMagic[] = "openssh-key-v1";  // with its NUL, as in the file
    if (file.getSize() < sizeof kMagic || std::memcmp(file.getData2(), kMagic, sizeof kMagic) != 0) {
        log.LogError("Not an openssh-key-v1 file.");
        return false;
    }
    unsigned offset = sizeof kMagic;
    StringBuffer cipher, kdf, kdfOptions;
    unsigned keyCount = 0;
    DataBuffer publicBlob, section;
    section.setSecure(true);
    if (!SshMessage::parseString(file, offset, cipher) || !SshMessage::parseString(file, offset, kdf) ||
        !SshMessage::parseString(file, offset, kdfOptions) || !SshMessage::parseUint32(file, offset, keyCount)) {
        log.LogError("The openssh-key-v1 header is truncated.");
        return false;
    }
    if (!cipher.equals("none") || !kdf.equals("none")) {
        log.LogError("Encrypted OpenSSH private keys are not supported; decrypt it first (ssh-keygen -p).");
        log.LogDataSb("cipher", cipher);
        return false;
    }
    if (keyCount != 1) {
        log.LogError("Only OpenSSH files holding one key are supported.");
        return false;
    }
    if (!SshMessage::parseBinaryString(file, offset, publicBlob, log) ||
        !SshMessage::parseBinaryString(file, offset, section, log)) {
        log.LogError("The openssh-key-v1 key sections are truncated.");
        return false;
    }
    std::string curveId;
    DataBuffer x963;
    if (!splitPublicBlob(publicBlob, curveId, x963, log)) return false;

    // Two equal check words open the private section; unequal ones mean a wrong passphrase
    // or a damaged file.
    unsigned sectionOffset = 0, check1 = 0, check2 = 0;
    if (!SshMessage::parseUint32(section, sectionOffset, check1) ||
        !SshMessage::parseUint32(section, sectionOffset, check2) || check1 != check2) {
        log.LogError("The private section's check words do not match.");
        return false;
    }
    DataBuffer privBlob;
    privBlob.setSecure(true);
    privBlob.append(section.getData2() + sectionOffset, section.getSize() - sectionOffset);
    if (!key.loadPrivateFromPuttySsh(curveNameForSshId(curveId).c_str(), x963, privBlob, log)) return false;
    return scalarMatchesPoint(key, log);
}

}  // namespace keyfile
}  // namespace vn
