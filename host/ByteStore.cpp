#include "host/ByteStore.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "host/SecureWipe.h"

namespace vn {

ByteStore::~ByteStore() { release(); }

bool ByteStore::reserve(std::size_t n) {
    if (n <= m_capacity) return true;
    std::size_t cap = m_capacity < 32 ? 32 : m_capacity;
    while (cap < n) {
        if (cap > (static_cast<std::size_t>(-1) >> 1)) return false;
        cap *= 2;
    }
    auto* block = static_cast<unsigned char*>(std::malloc(cap));
    if (block == nullptr) return false;
    if (m_data != nullptr) {
        std::memcpy(block, m_data, m_capacity);
        if (m_secure) secureWipe(m_data, m_capacity);
        std::free(m_data);
    }
    m_data = block;
    m_capacity = cap;
    return true;
}

void ByteStore::release() {
    if (m_data == nullptr) return;
    if (m_secure) secureWipe(m_data, m_capacity);
    std::free(m_data);
    m_data = nullptr;
    m_capacity = 0;
}

void ByteStore::swap(ByteStore& other) noexcept {
    std::swap(m_data, other.m_data);
    std::swap(m_capacity, other.m_capacity);
    std::swap(m_secure, other.m_secure);
}

}  // namespace vn
