#pragma once

#include <cstdint>
#include <string_view>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "TableFormat.h"

/// Finds what ends fields and lines, many bytes at a time.
namespace Kalt::Vemo::Core::Database::Filedb {

/// Walks the bytes of a text that end a field, FIELD_SEPARATOR, line feed and NUL, and looks at the text in
/// windows of kWindow bytes. What a window holds is kept from one line to the next, so no byte is looked at
/// twice.
class FieldEnds {
public:
    static constexpr int kWindow = 64;

    /// The text to walk begins at `position`.
    void restart(const char* position) {
        unseen_ = position;
        ends_ = 0;
    }

    /// The next such byte, or null when no window in front of `limit` holds one. Requires: what restart() was
    /// given reaches up to `limit`, which never moves back.
    const char* next(const char* limit) {
        while (ends_ == 0) {
            if (limit - unseen_ < kWindow) {
                return nullptr;
            }
            ends_ = inWindow(unseen_);
            unseen_ += kWindow;
        }
        const int position = __builtin_ctzll(ends_);
        ends_ &= ends_ - 1;
        return unseen_ - kWindow + position;
    }

    /// Bit i tells whether byte i of the window ends a field. The second function gives the same on a
    /// processor without an instruction for it.
    static std::uint64_t inWindow(const char* window);
    static std::uint64_t inWindowPortably(const char* window);

private:
    const char* unseen_ = nullptr;  // behind the last window
    std::uint64_t ends_ = 0;        // those of the last window that were not handed out yet
};

/// Whether every line of `text` is in the very form in which a writer would store its record: no empty field,
/// no NUL byte, no line over the format's length, a line feed at the end. An empty line counts as damage,
/// too.
///
/// @param lines receives the number of lines, when the answer is yes
bool isWellFormed(std::string_view text, int& lines);

// In the header, because a reader asks for every window of a file.
inline std::uint64_t FieldEnds::inWindow(const char* window) {
#ifdef __SSE2__
    constexpr int kBlock = sizeof(__m128i);
    std::uint64_t ends = 0;
    for (int i = 0; i < kWindow; i += kBlock) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(window + i));
        const __m128i separators = _mm_cmpeq_epi8(block, _mm_set1_epi8(FIELD_SEPARATOR));
        const __m128i lineFeeds = _mm_cmpeq_epi8(block, _mm_set1_epi8('\n'));
        const __m128i zeros = _mm_cmpeq_epi8(block, _mm_setzero_si128());
        const int bits = _mm_movemask_epi8(_mm_or_si128(_mm_or_si128(separators, lineFeeds), zeros));
        ends |= static_cast<std::uint64_t>(static_cast<unsigned>(bits)) << i;
    }
    return ends;
#else
    return inWindowPortably(window);
#endif
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
