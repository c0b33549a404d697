#pragma once
// A random-number generator for tests: hands out scripted bytes, a repeated fill byte, or
// fails on demand, and counts its calls. Test-only.

#include <cstddef>
#include <deque>
#include <utility>
#include <vector>

#include "host/Prng.h"

namespace vn {
namespace testing_support {

class ScriptedPrng : public vn::_vnPrng {
public:
    // Queues one answer. Each call takes the front entry: its first n bytes, zero-padded
    // when it is shorter than n. Queued answers come before the fill byte.
    void push(std::vector<unsigned char> bytes) { m_queue.push_back(std::move(bytes)); }
    // Once the queue is empty, every call returns n copies of b.
    void fillWith(unsigned char b) {
        m_fill = b;
        m_hasFill = true;
    }
    // Calls after the first `calls` ones fail (failAfter(0): every call fails).
    void failAfter(int calls) { m_failAfter = calls; }
    // Number of genRandomBytes calls so far, failed ones included.
    int calls() const { return m_calls; }

    // With nothing queued and no fill byte, real randomness from the system generator.
    bool genRandomBytes(unsigned int n, vn::DataBuffer& out, vn::LogBase& log) override {
        ++m_calls;
        if (m_failAfter >= 0 && m_calls > m_failAfter) return false;
        if (!m_queue.empty()) {
            std::vector<unsigned char> bytes = std::move(m_queue.front());
            m_queue.pop_front();
            bytes.resize(n, 0);
            return out.append(bytes.data(), n);
        }
        if (m_hasFill) {
            std::vector<unsigned char> bytes(n, m_fill);
            return out.append(bytes.data(), n);
        }
        return m_system.genRandomBytes(n, out, log);
    }

private:
    std::deque<std::vector<unsigned char>> m_queue;
    unsigned char m_fill = 0;
    bool m_hasFill = false;
    int m_failAfter = -1;
    int m_calls = 0;
    vn::_vnSystemPrng m_system;
};

}  // namespace testing_support
}  // namespace vn
