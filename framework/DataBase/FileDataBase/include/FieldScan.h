#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "TableFormat.h"

/// Scans the text of a table, many bytes at a time.
namespace Kalt::Vemo::Core::Database::Filedb {

/// Finds the bytes of a text that end a field: FIELD_SEPARATOR, line feed and NUL. It scans the text in
/// windows of kWindow bytes and keeps what a window holds from one line to the next, so each byte is scanned
/// once.
class FieldEnds {
public:
    static constexpr int kWindow = 64;

    /// Begins at `position`.
    void restart(const char* position) {
        unscanned_ = position;
        ends_ = 0;
    }

    /// The next such byte; null when no window before `limit` holds one. Requires: the text that restart()
    /// was given reaches up to `limit`, which never moves back.
    [[nodiscard]] const char* next(const char* limit) {
        while (ends_ == 0) {
            if (limit - unscanned_ < kWindow) {
                return nullptr;
            }
            ends_ = inWindow(unscanned_);
            unscanned_ += kWindow;
        }
        const int position = __builtin_ctzll(ends_);
        ends_ &= ends_ - 1;
        return unscanned_ - kWindow + position;
    }

    /// Bit i tells whether byte i of the window ends a field.
    static std::uint64_t inWindow(const char* window);

    /// The same on a processor without an instruction for it.
    static std::uint64_t inWindowPortably(const char* window);

private:
    const char* unscanned_ = nullptr;  // after the last window
    std::uint64_t ends_ = 0;           // those of the last window that next() has not given yet
};

/// The number of lines of a well-formed text; nothing for any other text. A text is well-formed when a writer
/// would store each of its records as it stands: no empty field, no empty line, no NUL byte, no line over the
/// format's length, a line feed at the end.
[[nodiscard]] std::optional<int> countWellFormedLines(std::string_view text);

// In the header, because a reader calls it for every window of a file.
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
