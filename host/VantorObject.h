#pragma once

namespace vn {

/// Root of the host class tree: every heap object of the library can be owned and deleted
/// through a pointer to this class.
class VantorObject {
public:
    VantorObject() = default;
    /// Virtual, so that deleting through this class is right.
    virtual ~VantorObject() = default;
    VantorObject(const VantorObject&) = delete;
    VantorObject& operator=(const VantorObject&) = delete;

    /// Bytes of heap the object holds beyond its own size. The base answers 0; classes
    /// that care about their footprint say more.
    virtual unsigned heapUsage() const { return 0; }
};

/// A heap object shared by reference count; it deletes itself when the last reference goes.
/// The count is not atomic: share such an object within one thread.
class RefCountedObject : public VantorObject {
public:
    /// Takes one more reference.
    void incRefCount() { ++m_refCount; }
    /// Drops a reference; the last one deletes the object.
    void decRefCount() {
        if (--m_refCount <= 0) delete this;
    }
    /// References held now.
    int getRefCount() const { return m_refCount; }

protected:
    /// The creator holds the first reference.
    RefCountedObject() = default;
    /// Only decRefCount() deletes.
    ~RefCountedObject() override = default;

private:
    int m_refCount = 1;  // the creator holds the first reference
};

}  // namespace vn
