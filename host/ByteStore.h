#pragma once
#include <cstddef>

namespace vn {

/// The storage under StringBuffer and DataBuffer: a growable byte array that never lets go
/// of memory without wiping it first when asked to be secure. Growth copies into a new block
/// and wipes the old one, which is why this is not built on realloc or std::vector.
class ByteStore {
public:
    ByteStore() = default;
    /// Frees the block, wiping it when secure.
    ~ByteStore();
    ByteStore(const ByteStore&) = delete;
    ByteStore& operator=(const ByteStore&) = delete;

    /// Makes room for at least n bytes in total, keeping the content; false when memory is
    /// exhausted.
    bool reserve(std::size_t n);
    /// Frees the block (wiping it when secure); afterwards data() is null again.
    void release();
    /// Swaps storage with another store, secure flags included.
    void swap(ByteStore& other) noexcept;

    /// The block; null before the first reserve() and after release().
    unsigned char* data() { return m_data; }
    /// The block; null before the first reserve() and after release().
    const unsigned char* data() const { return m_data; }
    /// Bytes the block holds.
    std::size_t capacity() const { return m_capacity; }

    bool m_secure = false;  ///< Wipe the bytes before the block is freed or outgrown.

private:
    unsigned char* m_data = nullptr;
    std::size_t m_capacity = 0;
};

}  // namespace vn
