#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

namespace Kalt::Vemo::Core::Database::Filedb {

/// The bytes of a file in memory. Unlike a string it leaves new room uninitialised: filling a table's buffer
/// with zeros costs as much as reading the table.
///
///     Buffer buffer;
///     buffer.reserve(size);
///     buffer.extend(read(buffer.end(), buffer.room()));
class Buffer {
public:
    Buffer() = default;
    explicit Buffer(std::string_view content) { append(content); }
    Buffer(Buffer&& other) noexcept { swap(other); }
    Buffer& operator=(Buffer&& other) noexcept;
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    ~Buffer() = default;

    std::string_view view() const { return {bytes_.get(), size_}; }
    const char* data() const { return bytes_.get(); }
    std::size_t size() const { return size_; }

    /// Makes room for `size` bytes in all.
    void reserve(std::size_t size);

    /// The end of the content; the next room() bytes are free. Both change with every other call.
    char* end() { return bytes_.get() + size_; }
    std::size_t room() const { return capacity_ - size_; }

    /// Makes the first `count` bytes from end() on part of the content. Requires: count <= room().
    void extend(std::size_t count) { size_ += count; }

    /// @param more must not be part of this buffer
    void append(std::string_view more);

    /// Puts `other`, which must not be part of this buffer, in the place of `length` bytes at `position`.
    void replace(std::size_t position, std::size_t length, std::string_view other);

private:
    void swap(Buffer& other) noexcept;
    void makeRoom(std::size_t more);

    std::unique_ptr<char[]> bytes_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
