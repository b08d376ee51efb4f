#include "RecordReader.h"

#include <algorithm>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "EngineErrors.h"
#include "File.h"
#include "FileUtils.h"

namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

constexpr std::size_t kBlockSize = 65536;
static_assert(kBlockSize > kMaxLineLength, "a block must hold a whole line");

// How a block is handed from function to function depends on the processor. It never leaves this file.
#pragma GCC diagnostic ignored "-Wpsabi"

// A block of bytes that is looked at in one go, and what a comparison makes of it: 0xFF for yes, 0 for no.
using Bytes = unsigned char __attribute__((vector_size(16)));
constexpr std::size_t kBlock = sizeof(Bytes);

// Bytes whose line feeds are counted in one block of counters, none of which can overflow.
constexpr std::size_t kStep = 256;
static_assert(kStep / kBlock <= 255, "a counter must hold the line feeds of its column of a step");

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

// Counts the line feeds of `Count` bytes and looks at one byte more. `damage` becomes other than 0 for a NUL,
// and for a byte that ends a field and is followed by a byte that ends the next: an empty field.
template <std::size_t Count>
inline std::size_t countLineFeeds(const char* bytes, Bytes& damage) {
    Bytes lineFeeds = {};
    for (std::size_t i = 0; i < Count; i += kBlock) {
        const Bytes block = load(bytes + i);
        damage |= (endsField(block) & endsField(load(bytes + i + 1))) | isEqual(block, '\0');
        lineFeeds -= isEqual(block, '\n');
    }
    return sum(lineFeeds);
}

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

void Record::clear() {
    constexpr std::size_t kUsualFields = 16;
    uncut_ = {};
    fields_.clear();
    fields_.reserve(kUsualFields);
}

void Record::setLine(std::string_view line) {
    clear();
    uncut_ = line.substr(0, line.find('\0'));
    if (!uncut_.empty()) {
        uncut_.remove_suffix(1);
    }
}

void Record::cutNext() {
    const char* const start = uncut_.data();
    const char* const stop = start + uncut_.size();
    const void* const separator = std::memchr(start, FIELD_SEPARATOR, uncut_.size());
    const char* const end = separator == nullptr ? stop : static_cast<const char*>(separator);
    if (end != start) {
        fields_.emplace_back(start, static_cast<std::size_t>(end - start));
    }
    const char* const next = end == stop ? stop : end + 1;
    uncut_ = std::string_view(next, static_cast<std::size_t>(stop - next));
}

bool isWellFormed(std::string_view text, int& lines) {
    lines = 0;
    if (text.empty()) {
        return true;
    }
    if (endsField(text.front()) || text.back() != '\n') {
        return false;
    }
    Bytes damage = {};
    std::size_t count = 1;  // the last byte's line feed
    std::size_t quiet = 0;
    bool mayHaveLongLine = false;
    std::size_t position = 0;
    for (; position + kStep < text.size(); position += kStep) {
        const std::size_t lineFeeds = countLineFeeds<kStep>(text.data() + position, damage);
        count += lineFeeds;
        quiet = lineFeeds == 0 ? quiet + 1 : 0;
        mayHaveLongLine = mayHaveLongLine || quiet >= kQuietSteps;
    }
    for (; position + kBlock < text.size(); position += kBlock) {
        count += countLineFeeds<kBlock>(text.data() + position, damage);
    }
    bool isDamaged = sum(damage & 1) != 0;
    for (; position + 1 < text.size(); ++position) {
        const char c = text[position];
        isDamaged = isDamaged || c == '\0' || (endsField(c) && endsField(text[position + 1]));
        count += c == '\n' ? 1 : 0;
    }
    lines = static_cast<int>(count);
    return !isDamaged && !(mayHaveLongLine && hasLongLine(text));
}

std::uint64_t FieldEnds::inWindow(const char* window) {
#ifdef __SSE2__
    std::uint64_t ends = 0;
    for (std::size_t i = 0; i < kWindow; i += kBlock) {
        const auto block = reinterpret_cast<__m128i>(endsFieldOrText(load(window + i)));
        ends |= static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(block))) << i;
    }
    return ends;
#else
    return inWindowPortably(window);
#endif
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

RecordReader::RecordReader(const File& file)
    : file_(&file),
      length_(static_cast<std::size_t>(file.identity().size)),
      blockSize_(std::min(length_, kBlockSize)),
      block_(new char[blockSize_]) {}

// Moves what is left of the block to its start and reads on behind it; false at the end of the file.
bool RecordReader::fill() {
    if (offset_ >= length_) {
        return false;
    }
    char* const end = std::copy(unread_.begin(), unread_.end(), block_.get());
    const std::size_t got = file_->readAt(offset_, end, blockSize_ - unread_.size());
    if (got == 0) {
        throw readError();  // rows may be missing
    }
    offset_ += got;
    unread_ = std::string_view(block_.get(), unread_.size() + got);
    return true;
}

bool RecordReader::next() {
    return nextInOnePass() || nextWithCare();
}

// Finds the line's end and cuts its fields in one pass over its bytes. False, for nextWithCare, when the line
// holds a NUL byte, may be longer than a line read gives, or ends too near to the end of what was read.
bool RecordReader::nextInOnePass() {
    if (unread_.empty() && fill()) {
        fieldEnds_.restart(unread_.data());
    }
    if (unread_.empty()) {
        return false;
    }
    const char* field = unread_.data();
    const char* const limit = field + std::min(unread_.size(), kMaxLineLength);
    record_.clear();
    bool isSound = true;
    FieldEnds fieldEnds = fieldEnds_;  // a copy can stay in registers
    while (const char* const end = fieldEnds.next(limit)) {
        if (end != field) {
            record_.append(field, end);
        } else {
            isSound = false;
        }
        field = end + 1;
        if (*end == '\n') {
            fieldEnds_ = fieldEnds;
            moveTo(static_cast<std::size_t>(field - unread_.data()));
            isSound_ = isSound;
            return true;
        }
        if (*end == '\0') {
            return false;
        }
    }
    return false;
}

bool RecordReader::nextWithCare() {
    const void* lineFeed = nullptr;
    std::size_t window = 0;
    do {
        window = std::min(unread_.size(), kMaxLineLength);
        lineFeed = window == 0 ? nullptr : std::memchr(unread_.data(), '\n', window);
    } while (lineFeed == nullptr && window < kMaxLineLength && fill());
    if (window == 0) {
        return false;
    }
    moveTo(lineFeed == nullptr
               ? window
               : static_cast<std::size_t>(static_cast<const char*>(lineFeed) - unread_.data()) + 1);
    fieldEnds_.restart(unread_.data());
    record_.setLine(line_);
    isSound_ = false;
    return true;
}

void RecordReader::moveTo(std::size_t length) {
    line_ = unread_.substr(0, length);
    unread_.remove_prefix(length);
}

std::string_view RecordReader::joined() {
    std::size_t length = std::max<std::size_t>(fields().size(), 1);  // separators and the line feed
    for (const std::string_view field : fields()) {
        length += field.size();
    }
    if (line_.back() == '\n' && line_.size() == length) {
        return line_;
    }
    joined_.clear();
    for (const std::string_view field : fields()) {
        if (!joined_.empty()) {
            joined_ += FIELD_SEPARATOR;
        }
        joined_ += field;
    }
    joined_ += '\n';
    return joined_;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
