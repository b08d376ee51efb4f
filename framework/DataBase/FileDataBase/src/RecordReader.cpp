#include "RecordReader.h"

#include <algorithm>
#include <cstring>

#include "EngineErrors.h"
#include "File.h"
#include "TableFormat.h"

namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

constexpr std::size_t kBlockSize = 65536;
static_assert(kBlockSize > kMaxLineLength, "a block must hold a whole line");

}  // namespace

void Record::clear() {
    constexpr std::size_t kUsualFields = 16;
    unsplit_ = {};
    fields_.clear();
    fields_.reserve(kUsualFields);
}

void Record::setLine(std::string_view line) {
    clear();
    unsplit_ = line.substr(0, line.find('\0'));
    if (!unsplit_.empty()) {
        unsplit_.remove_suffix(1);
    }
}

void Record::splitNext() {
    const char* const start = unsplit_.data();
    const char* const stop = start + unsplit_.size();
    const void* const separator = std::memchr(start, FIELD_SEPARATOR, unsplit_.size());
    const char* const end = separator == nullptr ? stop : static_cast<const char*>(separator);
    if (end != start) {
        fields_.emplace_back(start, static_cast<std::size_t>(end - start));
    }
    const char* const next = end == stop ? stop : end + 1;
    unsplit_ = std::string_view(next, static_cast<std::size_t>(stop - next));
}

RecordReader::RecordReader(const File& file)
    : RecordReader(file, static_cast<std::size_t>(file.identity().size)) {}

RecordReader::RecordReader(const File& file, std::size_t size)
    : file_(&file), length_(size), blockSize_(std::min(length_, kBlockSize)), block_(new char[blockSize_]) {}

// Moves the rest of the block to its start and reads on after it; false at the end of the file.
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
    return nextOnFastPath() || nextOnSlowPath();
}

// Finds the line's end and splits its fields in one pass over its bytes. False when the line holds a NUL
// byte, may be too long, or ends too near to the end of the block: such a line is for the slow path.
bool RecordReader::nextOnFastPath() {
    if (unread_.empty() && fill()) {
        fieldEnds_.restart(unread_.data());
    }
    if (unread_.empty()) {
        return false;
    }
    const char* field = unread_.data();
    const char* const limit = field + std::min(unread_.size(), kMaxLineLength);
    record_.clear();
    bool isWellFormed = true;
    FieldEnds fieldEnds = fieldEnds_;  // a copy can stay in registers
    while (const char* const end = fieldEnds.next(limit)) {
        if (end != field) {
            record_.append(field, end);
        } else {
            isWellFormed = false;
        }
        field = end + 1;
        if (*end == '\n') {
            fieldEnds_ = fieldEnds;
            moveTo(static_cast<std::size_t>(field - unread_.data()));
            isWellFormed_ = isWellFormed;
            return true;
        }
        if (*end == '\0') {
            return false;
        }
    }
    return false;
}

bool RecordReader::nextOnSlowPath() {
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
    isWellFormed_ = false;
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
