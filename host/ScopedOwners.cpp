#include "host/ScopedOwners.h"

#include <cstring>
#include <new>

#include "host/SecureWipe.h"

namespace vn {

unsigned char* vnNewUnsignedChar(unsigned n) { return new (std::nothrow) unsigned char[n == 0 ? 1 : n]; }

void vnStrCpy(char* dst, const char* src) {
    if (dst == nullptr) return;
    if (src == nullptr) {
        *dst = '\0';
        return;
    }
    std::strcpy(dst, src);
}

ByteArrayOwner::~ByteArrayOwner() { set(nullptr); }

void ByteArrayOwner::set(unsigned char* p, unsigned wipeBytes) {
    if (m_p != nullptr && m_p != p) {
        secureWipe(m_p, m_wipe);
        delete[] m_p;
    }
    m_p = p;
    m_wipe = wipeBytes;
}

unsigned char* ByteArrayOwner::release() {
    unsigned char* p = m_p;
    m_p = nullptr;
    m_wipe = 0;
    return p;
}

}  // namespace vn
