// Eight threads use the library at once on every curve, each with its own keys and its own
// generator. A barrier before each curve makes all of them reach the curve's first use
// together, so that anything an engine builds once per curve (precomputed tables) is built
// under contention. Run under ThreadSanitizer in CI; the results are checked everywhere.

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
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

class Barrier {
public:
    explicit Barrier(int count) : m_count(count) {}
    void wait() {
        std::unique_lock<std::mutex> lock(m_mutex);
        const unsigned long round = m_round;
        if (++m_arrived == m_count) {
            m_arrived = 0;
            ++m_round;
            m_cv.notify_all();
        } else {
            m_cv.wait(lock, [&] { return m_round != round; });
        }
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cv;
    int m_count;
    int m_arrived = 0;
    unsigned long m_round = 0;
};

struct ThreadResult {
    std::vector<std::string> failures;
    std::vector<std::string> derivedPoints;  // per curve, hex of the X9.63 point
};

std::string pointHex(EccKey& key, LogBase& log) {
    DataBuffer point;
    StringBuffer hex;
    if (!key.exportEccPoint(point, log) || !point.encodeDB("hex", hex)) return "";
    return hex.getString();
}

void exercise(const char* curve, int id, ThreadResult& out) {
    const auto fail = [&](const std::string& what) {
        out.failures.push_back(std::string(curve) + " thread " + std::to_string(id) + ": " + what);
    };
    _vnSystemPrng prng;
    LogBase log;
    EccKey a, b, derived;
    if (!a.generateNewKey(StringBuffer(curve), prng, log) || !b.generateNewKey(StringBuffer(curve), prng, log)) {
        return fail("key generation");
    }
    std::vector<unsigned char> digest(32);
    for (std::size_t i = 0; i < digest.size(); ++i) digest[i] = static_cast<unsigned char>(i * 7 + unsigned(id));
    DataBuffer sig;
    bool valid = false;
    if (!a.eccSignHash(digest.data(), 32, prng, true, sig, log)) return fail("signing");
    if (!a.eccVerifyHash(sig.getData2(), sig.getSize(), false, digest.data(), 32, valid, log, 0) || !valid) {
        fail("own signature does not verify");
    }
    digest[5] ^= 0x10;
    if (!a.eccVerifyHash(sig.getData2(), sig.getSize(), false, digest.data(), 32, valid, log, 0) || valid) {
        fail("signature verifies over another digest");
    }
    if (!derived.generateNewKey2(StringBuffer(curve), kKnownScalar, "hex", log)) return fail("derivation");
    out.derivedPoints.push_back(pointHex(derived, log));
    DataBuffer ab, ba;
    if (!a.sharedSecret(b, ab, log) || !b.sharedSecret(a, ba, log) || ab.getSize() == 0 || !ab.equals(ba)) {
        fail("the two sides of ECDH disagree");
    }
}

TEST(ConcurrentKeys, EveryCurveFromEightThreadsAtOnce) {
    Barrier barrier(kThreads);
    std::vector<ThreadResult> results(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int c = 0; c < kNamedCurveCount; ++c) {
                barrier.wait();
                exercise(namedCurveAt(c).name, t, results[static_cast<std::size_t>(t)]);
            }
        });
    }
    for (std::thread& th : threads) th.join();

    for (const ThreadResult& r : results) {
        for (const std::string& f : r.failures) ADD_FAILURE() << f;
    }
    for (int c = 0; c < kNamedCurveCount; ++c) {
        const char* curve = namedCurveAt(c).name;
        EccKey key;
        LogBase log;
        ASSERT_TRUE(key.generateNewKey2(StringBuffer(curve), kKnownScalar, "hex", log)) << curve;
        const std::string expected = pointHex(key, log);
        ASSERT_FALSE(expected.empty()) << curve;
        for (const ThreadResult& r : results) {
            ASSERT_EQ(r.derivedPoints.size(), std::size_t(kNamedCurveCount));
            EXPECT_EQ(r.derivedPoints[static_cast<std::size_t>(c)], expected) << curve;
        }
    }
}

}  // namespace
}  // namespace vn
