#pragma once

#include <cstddef>
#include <istream>
#include <string>

namespace Kalt::Vemo::Tool {

/// Hands out the bytes of a stream one by one and counts lines and bytes.
class CountedInput {
public:
    static constexpr int kEnd = -1;

    explicit CountedInput(std::istream& stream) : stream_(stream) {}

    int get() {
        const int c = stream_.get();
        if (c == std::istream::traits_type::eof()) {
            return kEnd;
        }
        ++bytes_;
        line_ += c == '\n' ? 1U : 0U;
        return c;
    }

    int peek() {
        const int c = stream_.peek();
        return c == std::istream::traits_type::eof() ? kEnd : c;
    }

    /// The rest of the line, without its line feed.
    std::string getLine() {
        std::string line;
        for (int c = get(); c != kEnd && c != '\n'; c = get()) {
            line += static_cast<char>(c);
        }
        return line;
    }

    /// Line of the byte that comes next, counted from 1, and number of bytes before it.
    std::size_t line() const { return line_; }
    std::size_t bytes() const { return bytes_; }

    /// Whether reading ended for another reason than the end of the stream.
    bool isBad() const { return stream_.bad(); }

private:
    std::istream& stream_;
    std::size_t line_ = 1;
    std::size_t bytes_ = 0;
};

}  // namespace Kalt::Vemo::Tool
