// Signs a file's SHA-256 digest with a private key and verifies the signature with the public
// key, as a signer and a verifier who share only the public key would; prints the DER
// signature (what openssl dgst -sha256 -sign writes) in hexadecimal.
//
//   ECCKEY_PASSPHRASE=secret ./sign_verify key.p8 pub.pem message.txt

#include <cstdio>
#include <vector>

#include "host/Hash.h"
#include "key_files.h"

// The digest of a file of any size: fed to the hash 64 KiB at a time, never held whole.
static bool sha256File(const char* path, vn::DataBuffer& digest) {
    std::FILE* f = std::fopen(path, "rb");
    if (f == nullptr) return false;
    vn::_vnHash hash;
    bool ok = hash.start(vn::_vnHash::SHA256);
    std::vector<unsigned char> chunk(65536);
    for (std::size_t n; ok && (n = std::fread(chunk.data(), 1, chunk.size(), f)) > 0;) ok = hash.update(chunk.data(), n);
    ok = ok && !std::ferror(f) && hash.finish(digest);
    std::fclose(f);
    return ok;
}

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s PRIVATE-KEY PUBLIC-KEY FILE\n", argv[0]);
        return 2;
    }
    vn::LogBase log;
    vn::EccKey signer, verifier;
    // readKey has checked the public key's point against its curve: the verifier does not.
    if (!loadKeyFile(argv[1], signer) || !loadKeyFile(argv[2], verifier)) return 1;
    if (signer.m_keyType != 1) {
        std::fprintf(stderr, "%s holds no private key\n", argv[1]);
        return 2;
    }
    vn::DataBuffer digest;
    if (!sha256File(argv[3], digest)) {
        std::fprintf(stderr, "cannot read %s\n", argv[3]);
        return 2;
    }

    // The system generator supplies the nonce; signing runs in constant time in the key and the
    // nonce. true asks for DER; sig is replaced, not appended to.
    vn::_vnSystemPrng prng;
    vn::DataBuffer sig;
    if (!signer.eccSignHash(digest.getData2(), digest.getSize(), prng, true, sig, log)) {
        std::fprintf(stderr, "signing failed\n%s", log.render().c_str());
        return 1;
    }
    vn::StringBuffer hex;
    sig.encodeDB("hex", hex);
    std::printf("%s\n", hex.getString());

    // Two answers: the return value says whether verification could be carried out (a
    // malformed signature, a key without a point), valid whether the signature holds. Only
    // both true means a good signature.
    bool valid = false;
    if (!verifier.eccVerifyHash(sig.getData2(), sig.getSize(), false, digest.getData2(), digest.getSize(), valid,
                                log, 0)) {
        std::fprintf(stderr, "verification could not be carried out\n%s", log.render().c_str());
        return 1;
    }
    std::fprintf(stderr, "signature %s with %s\n", valid ? "verified" : "DOES NOT VERIFY", argv[2]);
    return valid ? 0 : 1;
}
