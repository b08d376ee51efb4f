#include "RecordReader.h"

#include <algorithm>
#include <cstring>

#include "FileUtils.h"

namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

constexpr std::size_t kBlockSize = 65536;
static_assert(kBlockSize > kMaxLineLength, "a block must hold a whole line");

}  // namespace

void cutIntoFields(std::string_view line, std::vector<std::string_view>& fields) {
    fields.clear();
    line = line.substr(0, line.find('\0'));
    if (!line.empty()) {
        line.remove_suffix(1);
    }
    while (!line.empty()) {
        const std::string_view field = line.substr(0, line.find(FIELD_SEPARATOR));
        if (!field.empty()) {
            fields.push_back(field);
        }
        line.remove_prefix(std::min(field.size() + 1, line.size()));
    }
}

RecordReader::RecordReader(FILE* stream) : stream_(stream), offset_(std::ftell(stream)) {
    FileUtils::requireRegularFile(stream);
    block_.resize(kBlockSize);
}

RecordReader::RecordReader(std::string_view text) : unread_(text) {}

// Moves what is left of the block to its start and reads on behind it; false when nothing more came.
bool RecordReader::fill() {
    if (stream_ == nullptr) {
        return false;
    }
    std::memmove(block_.data(), unread_.data(), unread_.size());
    const std::size_t got =
        FileUtils::readAt(stream_, offset_, block_.data() + unread_.size(), block_.size() - unread_.size());
    offset_ += static_cast<long>(got);
    unread_ = std::string_view(block_.data(), unread_.size() + got);
    return got > 0;
}

bool RecordReader::next() {
    const void* lineFeed = nullptr;
    std::size_t window = 0;
    do {
        window = std::min(unread_.size(), kMaxLineLength);
        lineFeed = window == 0 ? nullptr : std::memchr(unread_.data(), '\n', window);
    } while (lineFeed == nullptr && window < kMaxLineLength && fill());
    if (window == 0) {
        return false;
    }
    const std::size_t length =
        lineFeed == nullptr
            ? window
            : static_cast<std::size_t>(static_cast<const char*>(lineFeed) - unread_.data()) + 1;
    line_ = unread_.substr(0, length);
    unread_.remove_prefix(length);
    cutIntoFields(line_, fields_);
    return true;
}

bool RecordReader::isWellFormed() const {
    std::size_t length = fields_.empty() ? 1 : fields_.size();  // separators and the line feed
    for (const std::string_view field : fields_) {
        length += field.size();
    }
    return line_.back() == '\n' && line_.size() == length;
}

std::string_view RecordReader::stored() {
    if (isWellFormed()) {
        return line_;
    }
    joined_.clear();
    for (const std::string_view field : fields_) {
        if (!joined_.empty()) {
            joined_ += FIELD_SEPARATOR;
        }
        joined_ += field;
    }
    joined_ += '\n';
    return joined_;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
