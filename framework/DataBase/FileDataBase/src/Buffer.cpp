#include "Buffer.h"

#include <algorithm>
#include <utility>

namespace Kalt::Vemo::Core::Database::Filedb {

Buffer& Buffer::operator=(Buffer&& other) noexcept {
    Buffer taken(std::move(other));
    swap(taken);
    return *this;
}

void Buffer::swap(Buffer& other) noexcept {
    std::swap(bytes_, other.bytes_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
}

void Buffer::reserve(std::size_t size) {
    if (size <= capacity_) {
        return;
    }
    std::unique_ptr<char[]> bytes(new char[size]);
    std::copy_n(bytes_.get(), size_, bytes.get());
    bytes_ = std::move(bytes);
    capacity_ = size;
}

// Room that runs out grows by an eighth: small additions seldom move the content, and a text that stays in
// memory wastes little of it.
void Buffer::makeRoom(std::size_t more) {
    if (more > room()) {
        reserve(std::max(size_ + more, capacity_ + capacity_ / 8));
    }
}

void Buffer::append(std::string_view more) {
    makeRoom(more.size());
    std::copy(more.begin(), more.end(), end());
    size_ += more.size();
}

void Buffer::replace(std::size_t position, std::size_t length, std::string_view other) {
    if (other.size() > length) {
        makeRoom(other.size() - length);
    }
    char* const place = bytes_.get() + position;
    const char* const rest = place + length;
    char* const newRest = place + other.size();
    if (newRest <= rest) {
        std::copy(rest, static_cast<const char*>(end()), newRest);
    } else {
        std::copy_backward(rest, static_cast<const char*>(end()), newRest + (end() - rest));
    }
    std::copy(other.begin(), other.end(), place);
    size_ += other.size();
    size_ -= length;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
