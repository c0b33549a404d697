#pragma once

#include "host/VantorObject.h"

namespace vn {

// Allocates n bytes; null when memory is exhausted (never throws).
unsigned char* vnNewUnsignedChar(unsigned n);
// Copies a NUL-terminated text into dst, which the caller sized to hold it.
void vnStrCpy(char* dst, const char* src);

// Frees an array from vnNewUnsignedChar at scope exit. When told its size it wipes the
// bytes first, for arrays that held secrets.
class ByteArrayOwner {
public:
    ByteArrayOwner() = default;
    explicit ByteArrayOwner(unsigned char* p, unsigned wipeBytes = 0) : m_p(p), m_wipe(wipeBytes) {}
    ~ByteArrayOwner();
    ByteArrayOwner(const ByteArrayOwner&) = delete;
    ByteArrayOwner& operator=(const ByteArrayOwner&) = delete;

    void set(unsigned char* p, unsigned wipeBytes = 0);
    unsigned char* get() const { return m_p; }
    unsigned char* release();

private:
    unsigned char* m_p = nullptr;
    unsigned m_wipe = 0;
};

// Deletes one heap object at scope exit.
class ObjectOwner {
public:
    ObjectOwner() = default;
    explicit ObjectOwner(VantorObject* p) : m_p(p) {}
    ~ObjectOwner() { delete m_p; }
    ObjectOwner(const ObjectOwner&) = delete;
    ObjectOwner& operator=(const ObjectOwner&) = delete;

    void set(VantorObject* p) {
        if (p != m_p) delete m_p;
        m_p = p;
    }
    VantorObject* get() const { return m_p; }
    VantorObject* release() {
        VantorObject* p = m_p;
        m_p = nullptr;
        return p;
    }

private:
    VantorObject* m_p = nullptr;
};

// Holds one reference to a reference-counted object and gives it back at scope exit.
class RefCountedObjectOwner {
public:
    RefCountedObjectOwner() = default;
    explicit RefCountedObjectOwner(RefCountedObject* p) : m_p(p) {}
    ~RefCountedObjectOwner() {
        if (m_p != nullptr) m_p->decRefCount();
    }
    RefCountedObjectOwner(const RefCountedObjectOwner&) = delete;
    RefCountedObjectOwner& operator=(const RefCountedObjectOwner&) = delete;

    void set(RefCountedObject* p) {
        if (m_p != nullptr && m_p != p) m_p->decRefCount();
        m_p = p;
    }
    RefCountedObject* get() const { return m_p; }

private:
    RefCountedObject* m_p = nullptr;
};

}  // namespace vn
