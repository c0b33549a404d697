#pragma once
#include <cstdint>

#include "ecc/secp256k1/Unsigned256.h"

namespace vn {

// An integer modulo the secp256k1 prime p = 2^256 - 2^32 - 977, always kept in [0, p).
// Every operation works in place, in constant time, without allocating. The plain integer
// operations of _vnUnsigned256 are hidden: only modular arithmetic is offered.
class _vnFieldElement {
public:
    constexpr _vnFieldElement() : m_value() {}

    // 64 hexadecimal digits as for _vnUnsigned256; not reduced (constants only).
    constexpr explicit _vnFieldElement(const char* text) : m_value(text) {}

    // Reduces once: every 256-bit value is below 2p.
    explicit _vnFieldElement(const _vnUnsigned256& v);

    void add(const _vnFieldElement& other);
    void subtract(const _vnFieldElement& other);
    void multiply2();
    void multiply(const _vnFieldElement& other);  // other may be *this
    void square() { multiply(*this); }
    // 512 fixed rounds of the binary inverse; 0 stays 0.
    void reciprocal();
    void replace(const _vnFieldElement& other, std::uint32_t flag) {
        m_value.replace(other.m_value, flag);
    }

    // Branch-free comparisons as 0/1 words, for use as flags.
    std::uint32_t equalFlag(const _vnFieldElement& o) const { return m_value.equalFlag(o.m_value); }
    std::uint32_t isZeroFlag() const { return m_value.isZeroFlag(); }
    // Low bit of the value (its parity).
    std::uint32_t lowBit() const { return m_value.words[0] & 1u; }

    bool operator==(const _vnFieldElement& o) const { return m_value == o.m_value; }
    bool operator!=(const _vnFieldElement& o) const { return m_value != o.m_value; }
    bool operator<(const _vnFieldElement& o) const { return m_value < o.m_value; }
    bool operator<=(const _vnFieldElement& o) const { return m_value <= o.m_value; }
    bool operator>(const _vnFieldElement& o) const { return m_value > o.m_value; }
    bool operator>=(const _vnFieldElement& o) const { return m_value >= o.m_value; }
    bool operator<(const _vnUnsigned256& o) const { return m_value < o; }
    bool operator>=(const _vnUnsigned256& o) const { return m_value >= o; }

    // The field prime p.
    static const _vnUnsigned256 m_Modulus;

private:
    friend class _vnUnsigned256;

    // Subtracts p when the value, with carry bit cy above it, is at least p.
    void reduceOnce(std::uint32_t cy);

    _vnUnsigned256 m_value;
};

}  // namespace vn
