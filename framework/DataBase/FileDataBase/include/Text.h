#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

namespace Kalt::Vemo::Core::Database::Filedb {

/// The bytes of a file in memory. Unlike a string it does not fill new room with zeros, which for a table
/// that is read anew by every statement would be as much work as reading it.
///
///     Text text;
///     text.reserve(size);
///     text.extend(read(text.end(), text.room()));
class Text {
public:
    Text() = default;
    explicit Text(std::string_view content) { append(content); }
    Text(Text&& other) noexcept { swap(other); }
    Text& operator=(Text&& other) noexcept;
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    ~Text() = default;

    std::string_view view() const { return {bytes_.get(), size_}; }
    const char* data() const { return bytes_.get(); }
    std::size_t size() const { return size_; }

    /// Makes room for `size` bytes in all.
    void reserve(std::size_t size);

    /// Where the text goes on; the next room() bytes are free. Both change with every other call.
    char* end() { return bytes_.get() + size_; }
    std::size_t room() const { return capacity_ - size_; }

    /// Takes in the first `count` bytes from end() on. Requires: count <= room().
    void extend(std::size_t count) { size_ += count; }

    /// @param more must not be part of this text
    void append(std::string_view more);

    /// Puts `other`, which must not be part of this text, in the place of `length` bytes at `position`.
    void replace(std::size_t position, std::size_t length, std::string_view other);

private:
    void swap(Text& other) noexcept;
    void makeRoom(std::size_t more);

    std::unique_ptr<char[]> bytes_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
