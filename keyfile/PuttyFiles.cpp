// PuTTY's .ppk private key files, versions 2 and 3, unencrypted: text headers, base64 public
// and private blobs, and a MAC over both that tells a damaged file from a good one.

#include <cstring>
#include <string>
#include <vector>

#include "host/Hash.h"
#include "host/SshMessage.h"
#include "keyfile/KeyReader.h"

namespace vn {
namespace keyfile {

namespace {

// HMAC (RFC 2104) over the host's digests; both digests used here have 64-byte blocks.
void hmac(int hashId, const DataBuffer& key, const DataBuffer& message, DataBuffer& out) {
    const unsigned kBlock = 64;
    unsigned char k0[kBlock] = {0};
    DataBuffer hashedKey;
    const unsigned char* keyBytes = key.getData2();
    unsigned keyLen = key.getSize();
    if (keyLen > kBlock) {
        _vnHash::doHash(keyBytes, keyLen, hashId, hashedKey);
        keyBytes = hashedKey.getData2();
        keyLen = hashedKey.getSize();
    }
    if (keyLen > 0) std::memcpy(k0, keyBytes, keyLen);
    DataBuffer inner, outer, innerDigest;
    inner.setSecure(true);
    outer.setSecure(true);
    for (unsigned i = 0; i < kBlock; ++i) inner.appendChar(static_cast<unsigned char>(k0[i] ^ 0x36));
    inner.append(message);
    _vnHash::doHash(inner.getData2(), inner.getSize(), hashId, innerDigest);
    for (unsigned i = 0; i < kBlock; ++i) outer.appendChar(static_cast<unsigned char>(k0[i] ^ 0x5c));
    outer.append(innerDigest);
    _vnHash::doHash(outer.getData2(), outer.getSize(), hashId, out);
}

struct PpkFile {
    int version = 0;
    std::string algorithm, encryption, comment, mac;
    std::string publicB64, privateB64;
};

// Lines without their CR/LF endings.
std::vector<std::string> splitLines(const char* text) {
    std::vector<std::string> lines;
    std::string current;
    for (const char* p = text; *p != '\0'; ++p) {
        if (*p == '\n') {
            lines.push_back(current);
            current.clear();
        } else if (*p != '\r') {
            current += *p;
        }
    }
    if (!current.empty()) lines.push_back(current);
    return lines;
}

bool header(const std::string& line, const char* name, std::string& value) {
    size_t n = std::strlen(name);
    if (line.compare(0, n, name) != 0 || line.compare(n, 2, ": ") != 0) return false;
    value = line.substr(n + 2);
    return true;
}

bool parsePpk(const char* text, PpkFile& ppk, LogBase& log) {
    std::vector<std::string> lines = splitLines(text);
    size_t i = 0;
    auto next = [&](const char* name, std::string& value) {
        if (i < lines.size() && header(lines[i], name, value)) {
            ++i;
            return true;
        }
        log.LogError("The PuTTY key file lacks a header line.");
        log.LogDataStr("expected", name);
        return false;
    };
    auto blobLines = [&](const char* name, std::string& b64) {
        std::string countText;
        if (!next(name, countText)) return false;
        char* end = nullptr;
        unsigned long count = std::strtoul(countText.c_str(), &end, 10);
        if (countText.empty() || *end != '\0' || count > lines.size() - i) {
            log.LogError("The PuTTY key file's line count is wrong.");
            return false;
        }
        for (unsigned long k = 0; k < count; ++k) b64 += lines[i++];
        return true;
    };
    std::string first;
    if (lines.empty()) return false;
    if (header(lines[0], "PuTTY-User-Key-File-2", first)) {
        ppk.version = 2;
    } else if (header(lines[0], "PuTTY-User-Key-File-3", first)) {
        ppk.version = 3;
    } else {
        log.LogError("Not a PuTTY key file of version 2 or 3.");
        return false;
    }
    ppk.algorithm = first;
    ++i;
    if (!next("Encryption", ppk.encryption)) return false;
    if (ppk.encryption != "none") {
        log.LogError("Encrypted PuTTY key files are not supported; save it without a passphrase first.");
        return false;
    }
    return next("Comment", ppk.comment) && blobLines("Public-Lines", ppk.publicB64) &&
           blobLines("Private-Lines", ppk.privateB64) && next("Private-MAC", ppk.mac);
}

void appendSshString(DataBuffer& out, const std::string& s) {
    out.appendUint32_be(static_cast<unsigned>(s.size()));
    out.append(s.data(), static_cast<unsigned>(s.size()));
}

}  // namespace

bool loadPuttyPpk(const char* text, EccKey& key, LogBase& log) {
    LogContextExitor ctx(log, "loadPuttyPpk");
    PpkFile ppk;
    if (!parsePpk(text, ppk, log)) return false;
    DataBuffer publicBlob, privateBlob;
    privateBlob.setSecure(true);
    if (!publicBlob.appendEncoded(ppk.publicB64.c_str(), "base64") ||
        !privateBlob.appendEncoded(ppk.privateB64.c_str(), "base64")) {
        log.LogError("The PuTTY key file's blobs are not valid base64.");
        return false;
    }

    // The MAC covers the algorithm, encryption, comment and both blobs. Unencrypted files use
    // a fixed key: SHA-1 of a fixed text in version 2, the empty key in version 3.
    DataBuffer macInput, macKey, mac;
    macInput.setSecure(true);
    appendSshString(macInput, ppk.algorithm);
    appendSshString(macInput, ppk.encryption);
    appendSshString(macInput, ppk.comment);
    SshMessage::pack_db(publicBlob, macInput);
    SshMessage::pack_db(privateBlob, macInput);
    int macHash = _vnHash::SHA256;
    if (ppk.version == 2) {
        static const char kMacKeyText[] = "putty-private-key-file-mac-key";
        _vnHash::doHash(kMacKeyText, sizeof kMacKeyText - 1, _vnHash::SHA1, macKey);
        macHash = _vnHash::SHA1;
    }
    hmac(macHash, macKey, macInput, mac);
    StringBuffer macHex;
    mac.encodeDB("hex", macHex);
    if (!macHex.equalsIgnoreCase(ppk.mac.c_str())) {
        log.LogError("The PuTTY key file's MAC does not match: the file is damaged or was altered.");
        return false;
    }

    unsigned offset = 0;
    StringBuffer keyType, curveId;
    DataBuffer x963;
    if (!SshMessage::parseString(publicBlob, offset, keyType) || !SshMessage::parseString(publicBlob, offset, curveId) ||
        !SshMessage::parseBinaryString(publicBlob, offset, x963, log) || !keyType.equals(ppk.algorithm.c_str()) ||
        !keyType.beginsWith("ecdsa-sha2-")) {
        log.LogError("The PuTTY key file does not hold an ECDSA key.");
        log.LogDataStr("algorithm", ppk.algorithm.c_str());
        return false;
    }
    if (!key.loadPrivateFromPuttySsh(curveNameForSshId(curveId.getString()).c_str(), x963, privateBlob, log)) {
        return false;
    }
    return scalarMatchesPoint(key, log);
}

}  // namespace keyfile
}  // namespace vn
