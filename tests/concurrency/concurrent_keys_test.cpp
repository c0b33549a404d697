// Eight threads use the library at once on each curve, each with its own keys and its own
// generator, released together so that anything an engine builds once per curve (precomputed
// tables) is first built under contention. Run under ThreadSanitizer in CI; the results are
// checked everywhere.

#include <gtest/gtest.h>

#include <future>
#include <string>
#include <thread>
#include <vector>

#include "ecc/EccKey.h"
#include "ecc/curves/NamedCurves.h"

namespace vn {
namespace {

constexpr int kThreads = 8;
// Below the order of every curve (160 bits with the top three clear).
constexpr const char* kKnownScalar = "0123456789ABCDEF0123456789ABCDEF01234567";

// Random keys sign, verify and agree; the known scalar's point is the result, or what failed.
std::string exercise(const char* curve, int id) {
    _vnSystemPrng prng;
    LogBase log;
    EccKey a, b, derived;
    if (!a.generateNewKey(StringBuffer(curve), prng, log) || !b.generateNewKey(StringBuffer(curve), prng, log)) {
        return "key generation failed";
    }
    std::vector<unsigned char> digest(32, static_cast<unsigned char>(id));
    DataBuffer sig, ab, ba, point;
    bool valid = false;
    if (!a.eccSignHash(digest.data(), 32, prng, true, sig, log) ||
        !a.eccVerifyHash(sig.getData2(), sig.getSize(), false, digest.data(), 32, valid, log, 0) || !valid) {
        return "own signature does not verify";
    }
    digest[5] ^= 0x10;
    if (!a.eccVerifyHash(sig.getData2(), sig.getSize(), false, digest.data(), 32, valid, log, 0) || valid) {
        return "signature verifies over another digest";
    }
    if (!a.sharedSecret(b, ab, log) || !b.sharedSecret(a, ba, log) || ab.getSize() == 0 || !ab.equals(ba)) {
        return "the two sides of ECDH disagree";
    }
    StringBuffer hex;
    if (!derived.generateNewKey2(StringBuffer(curve), kKnownScalar, "hex", log) || !derived.exportEccPoint(point, log) ||
        !point.encodeDB("hex", hex)) {
        return "derivation failed";
    }
    return hex.getString();
}

TEST(ConcurrentKeys, EveryCurveFromEightThreadsAtOnce) {
    for (int c = 0; c < kNamedCurveCount; ++c) {
        const char* curve = namedCurveAt(c).name;
        std::promise<void> go;
        const std::shared_future<void> start = go.get_future().share();
        std::vector<std::string> results(kThreads);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&, t] {
                start.wait();
                results[static_cast<std::size_t>(t)] = exercise(curve, t);
            });
        }
        go.set_value();
        for (std::thread& th : threads) th.join();
        const std::string alone = exercise(curve, 0);
        EXPECT_EQ(alone.size(), static_cast<std::size_t>(4 * namedCurveAt(c).fieldBytes + 2)) << curve << ": " << alone;
        for (const std::string& r : results) EXPECT_EQ(r, alone) << curve;
    }
}

}  // namespace
}  // namespace vn
