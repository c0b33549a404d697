// The key-file reader with a passphrase: every container it opens (encrypted PKCS#8 PEM and
// DER, traditional encrypted PEM, OpenSSH files with bcrypt, PuTTY v2 and v3) and every plain
// form besides. The first byte picks the curve hint (none, or one of the named curves); the
// rest is the file, tried with the passphrase "pw" the seeds are encrypted under. A private key
// that loads is written encrypted in each passphrase form and must read back as the same key.
#include "FuzzCommon.h"
#include "keyfile/EncryptedPkcs8.h"
#include "keyfile/KeyReader.h"
#include "keyfile/KeyWriter.h"
#include "keyfile/OpenSshFiles.h"
#include "keyfile/PuttyFiles.h"

namespace {

// Salts, IVs and check words from a counter: a crash must reproduce from its input alone.
class CounterPrng : public vn::_vnPrng {
public:
    bool genRandomBytes(unsigned int n, vn::DataBuffer& out, vn::LogBase&) override {
        for (unsigned i = 0; i < n; ++i) {
            if (!out.appendChar(static_cast<unsigned char>(m_next++))) return false;
        }
        return true;
    }

private:
    unsigned m_next = 0x5a;
};

void setPassphrase(vn::DataBuffer& pass) {
    pass.setSecure(true);
    pass.append("pw", 2);
}

void checkReadsBack(vn::EccKey& key, const vn::DataBuffer& written, const vn::DataBuffer& pass, const char* how) {
    vn::keyfile::ReadOptions options;
    options.passphrase = &pass;
    vn::LogNull log;
    vn::EccKey back;
    std::string found;
    if (!vn::keyfile::readKey(written, options, back, found, log)) {
        std::fprintf(stderr, "a key written as %s does not read back\n", how);
        fuzz::fail("an encrypted key we wrote does not load with its passphrase");
    }
    fuzz::checkSameKey(key, back, how);
}

void text(const vn::StringBuffer& s, vn::DataBuffer& out) {
    out.clear();
    out.append(s);
}

// The writers take their cost as a parameter: at the defaults (bcrypt 16 rounds, Argon2id
// 8 MiB, PBKDF2 100000 iterations) one input would take a second, so the fuzzer asks for the
// least. ppk2 has no cost and goes through writeKey as the tool calls it.
void checkWriters(vn::EccKey& key) {
    vn::DataBuffer pass;
    setPassphrase(pass);
    CounterPrng prng;
    vn::LogNull log;
    vn::StringBuffer s;
    vn::DataBuffer out;

    s.clear();
    fuzz::check(vn::keyfile::writeEncryptedPkcs8Pem(key, pass, prng, s, log, 1), "encrypted PKCS#8 write failed");
    text(s, out);
    checkReadsBack(key, out, pass, "encrypted PKCS#8");

    // SSH forms exist only for the curves SSH names.
    if (vn::keyfile::sshIdentifierOf(key) == nullptr) return;
    s.clear();
    fuzz::check(vn::keyfile::writeOpenSshPrivateFile(key, &pass, "fuzz", prng, s, log, 1), "OpenSSH write failed");
    text(s, out);
    checkReadsBack(key, out, pass, "encrypted OpenSSH");

    vn::keyfile::PpkArgon2Cost cost;
    cost.memoryKiB = 8;
    cost.passes = 1;
    s.clear();
    fuzz::check(vn::keyfile::writePuttyPpk(key, 3, &pass, "fuzz", prng, s, log, cost), "ppk v3 write failed");
    text(s, out);
    checkReadsBack(key, out, pass, "encrypted ppk v3");

    vn::keyfile::WriteOptions options;
    options.passphrase = &pass;
    options.prng = &prng;
    std::string message;
    out.clear();
    if (!vn::keyfile::writeKey(key, "ppk2", options, out, message, log)) {
        std::fprintf(stderr, "writeKey ppk2: %s\n", message.c_str());
        fuzz::fail("ppk v2 write failed");
    }
    checkReadsBack(key, out, pass, "encrypted ppk v2");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    const int hintIndex = data[0] % (vn::kNamedCurveCount + 1);
    vn::DataBuffer pass;
    setPassphrase(pass);
    vn::keyfile::ReadOptions options;
    options.curveHint = hintIndex == 0 ? "" : vn::namedCurveAt(hintIndex - 1).name;
    options.passphrase = &pass;
    // A mutated cost field must not make one input run for minutes: the seeds need little.
    options.kdfLimits.pbkdf2Iterations = 4096;
    options.kdfLimits.scryptWork = 1ul << 14;
    options.kdfLimits.bcryptRounds = 4;
    options.kdfLimits.argon2Work = 1ul << 10;
    vn::DataBuffer input;
    fuzz::fill(input, data + 1, size - 1);
    vn::LogNull log;
    vn::EccKey key;
    std::string found;
    if (!vn::keyfile::readKey(input, options, key, found, log)) {
        fuzz::checkFailedLoad(key, "readKey");
        return 0;
    }
    if (!fuzz::checkDerRoundTrip(key)) return 0;
    if (key.m_keyType == 1) checkWriters(key);
    return 0;
}
