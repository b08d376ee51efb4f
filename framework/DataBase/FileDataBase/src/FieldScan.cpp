#include "FieldScan.h"

#include <cstddef>
#include <cstring>

#include "TableFormat.h"

namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

// The processor decides how a block is passed to a function. No such function is called from another file.
#pragma GCC diagnostic ignored "-Wpsabi"

// A block of bytes that is scanned at once, and the result of a comparison: 0xFF for yes, 0 for no.
using Bytes = unsigned char __attribute__((vector_size(16)));
constexpr std::size_t kBlock = sizeof(Bytes);

// Bytes whose line feeds are counted in one block of counters, none of which can overflow.
constexpr std::size_t kStep = 256;
static_assert(kStep / kBlock <= 127, "sum() must be able to add the counters of a step");

// A line over the format's length holds at least so many whole steps without a line feed.
constexpr std::size_t kQuietSteps = (kMaxLineLength - (kStep - 1)) / kStep;

inline Bytes load(const char* bytes) {
    Bytes block;
    std::memcpy(&block, bytes, sizeof(block));
    return block;
}

inline Bytes isEqual(Bytes block, char c) {
    return reinterpret_cast<Bytes>(block == static_cast<unsigned char>(c));
}

inline Bytes endsField(Bytes block) {
    return isEqual(block, FIELD_SEPARATOR) | isEqual(block, '\n');
}

inline Bytes endsFieldOrText(Bytes block) {
    return endsField(block) | isEqual(block, '\0');
}

inline bool endsField(char c) {
    return c == FIELD_SEPARATOR || c == '\n';
}

// The sum of counters of at most 127 each.
inline std::size_t sum(Bytes counters) {
    constexpr std::uint64_t kEvenBytes = 0x00FF00FF00FF00FF;
    constexpr std::uint64_t kOnes = 0x0001000100010001;
    std::uint64_t halves[2];
    std::memcpy(halves, &counters, sizeof(halves));
    const std::uint64_t bytes = halves[0] + halves[1];
    const std::uint64_t pairs = (bytes & kEvenBytes) + (bytes >> 8 & kEvenBytes);
    return static_cast<std::size_t>(pairs * kOnes >> 48);
}

// Scans a text block by block, and reads one byte more at a time. Damage is a NUL, and a byte that ends a
// field and is followed by a byte that ends the next: an empty field.
class BlockScan {
public:
    template <std::size_t Count>
    std::size_t countLineFeeds(const char* bytes) {
        Bytes lineFeeds = {};
        for (std::size_t i = 0; i < Count; i += kBlock) {
            const Bytes block = load(bytes + i);
            damage_ |= (endsField(block) & endsField(load(bytes + i + 1))) | isEqual(block, '\0');
            lineFeeds -= isEqual(block, '\n');
        }
        return sum(lineFeeds);
    }

    bool foundDamage() const { return sum(damage_ & 1) != 0; }

private:
    Bytes damage_ = {};  // other than 0 where there was any
};

bool hasLongLine(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = text.find('\n') + 1;
        if (length > kMaxLineLength) {
            return true;
        }
        text.remove_prefix(length);
    }
    return false;
}

}  // namespace

std::optional<int> countWellFormedLines(std::string_view text) {
    if (text.empty()) {
        return 0;
    }
    if (endsField(text.front()) || text.back() != '\n') {
        return std::nullopt;
    }
    BlockScan scan;
    std::size_t count = 1;  // the last byte's line feed
    std::size_t quiet = 0;
    bool mayHaveLongLine = false;
    std::size_t position = 0;
    for (; position + kStep < text.size(); position += kStep) {
        const std::size_t lineFeeds = scan.countLineFeeds<kStep>(text.data() + position);
        count += lineFeeds;
        quiet = lineFeeds == 0 ? quiet + 1 : 0;
        mayHaveLongLine = mayHaveLongLine || quiet >= kQuietSteps;
    }
    for (; position + kBlock < text.size(); position += kBlock) {
        count += scan.countLineFeeds<kBlock>(text.data() + position);
    }
    bool isDamaged = scan.foundDamage();
    for (; position + 1 < text.size(); ++position) {
        const char c = text[position];
        isDamaged = isDamaged || c == '\0' || (endsField(c) && endsField(text[position + 1]));
        count += c == '\n' ? 1 : 0;
    }
    if (isDamaged || (mayHaveLongLine && hasLongLine(text))) {
        return std::nullopt;
    }
    return static_cast<int>(count);
}

std::uint64_t FieldEnds::inWindowPortably(const char* window) {
    constexpr Bytes kBits = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    std::uint64_t ends = 0;
    for (std::size_t i = 0; i < kWindow; i += kBlock) {
        const Bytes bits = endsFieldOrText(load(window + i)) & kBits;
        std::uint64_t halves[2];
        std::memcpy(halves, &bits, sizeof(halves));
        // The product's highest byte is the sum of all eight: the bits side by side.
        ends |= (halves[0] * kOnes >> 56) << i;
        ends |= (halves[1] * kOnes >> 56) << (i + 8);
    }
    return ends;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
