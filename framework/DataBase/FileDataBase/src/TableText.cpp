#include "TableText.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "FileUtils.h"
#include "TableMetaData.h"

namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

// memrchr scans many bytes at once, rfind one at a time. Requires: the text ends with a line feed.
std::size_t startOfLastLine(std::string_view text) {
    const void* const lineFeed = memrchr(text.data(), '\n', text.size() - 1);
    return lineFeed == nullptr
               ? 0
               : static_cast<std::size_t>(static_cast<const char*>(lineFeed) - text.data()) + 1;
}

}  // namespace

TableText::TableText(TableVersion version) : old_(std::move(version)) {
    old_.readMetaData();
}

void TableText::scan() {
    if (recordCount_) {
        return;
    }
    if (!old_.wellFormedRecords) {
        old_.wellFormedRecords = countWellFormedLines(old_.recordText());
    }
    recordCount_ = old_.wellFormedRecords;
    if (recordCount_) {
        return;
    }
    recordCount_ = 0;
    for (RecordReader reader = records(); reader.next();) {
        ++*recordCount_;
    }
}

RecordReader TableText::lastRecord() {
    scan();
    std::string_view text = old_.recordText();
    if (old_.wellFormedRecords) {
        text.remove_prefix(startOfLastLine(text));
    }
    RecordReader reader(text);
    while (reader.next()) {
    }
    return reader;
}

TableVersion TableText::withLineAtEnd(const std::string& line) && {
    scan();
    if (!old_.wellFormedRecords || !metaData().wasWellFormed()) {
        return std::move(*this).withLineBefore(*recordCount_, line);
    }
    return withEdit(old_.text.size(), {}, line, countWellFormedLines(line));
}

// Makes one change in the old text. Requires: well-formed metadata.
TableVersion TableText::withEdit(std::size_t position, std::string_view removed, std::string_view line,
                                 std::optional<int> newLines) {
    const std::size_t oldSize = old_.text.size();
    const std::size_t removedSize = removed.size();
    TableVersion version;
    version.undo = Edit{position, line.size(), std::string(removed)};
    version.text = std::move(old_.text);
    version.text.replace(position, removedSize, line);
    // When the length is as it was, the lines after the change have not moved.
    const bool isMoved = version.text.size() != oldSize;
    version.difference = {position, isMoved ? std::string::npos : position + line.size()};
    if (old_.rows && newLines && old_.rows->follow(version.text.view(), position, removedSize, line.size())) {
        version.rows = std::move(old_.rows);
    }
    passKnowledgeTo(version, newLines);
    return version;
}

// What the changes leave of what was known of the old version.
void TableText::passKnowledgeTo(TableVersion& version, std::optional<int> newLines) const {
    version.indexRoom = old_.indexRoom;
    if (!metaData().wasWellFormed()) {
        return;
    }
    version.metaData = old_.metaData;
    version.recordsStart = old_.recordsStart;
    if (old_.wellFormedRecords && newLines) {
        version.wellFormedRecords = *old_.wellFormedRecords + *newLines;
    }
}

TableVersion TableText::withLineBefore(int position, const std::string& line) && {
    RecordReader reader = records();
    Rewriter rewriter(*this);
    for (int index = 0; reader.next(); ++index) {
        if (index == position) {
            rewriter.insert(reader, line);
        }
        rewriter.keep(reader);
    }
    if (position == recordCount()) {
        rewriter.append(line);
    }
    return rewriter.finish();
}

TableText::Rewriter::Rewriter(TableText& table)
    : table_(table), old_(table.old_.text), run_(table.old_.recordText().data()) {
    if (!table.metaData().wasWellFormed()) {
        startNewText();
    }
}

void TableText::Rewriter::startNewText() {
    inPlace_ = false;
    text_.reserve(old_.size() + kMaxLineLength);
    text_.append(table_.metaData().text());
}

// Copies the lines from the start of the run up to `end`, byte for byte.
void TableText::Rewriter::passOn(const char* end) {
    text_.append({run_, static_cast<std::size_t>(end - run_)});
    run_ = end;
}

void TableText::Rewriter::insert(const RecordReader& reader, std::string_view line) {
    change(reader.line().substr(0, 0), line);
}

void TableText::Rewriter::append(std::string_view line) {
    change(old_.view().substr(old_.size()), line);
}

void TableText::Rewriter::keep(RecordReader& reader) {
    if (!reader.isWellFormed()) {
        change(reader.line(), reader.stored());
    }
}

void TableText::Rewriter::replace(const RecordReader& reader, std::string_view line) {
    change(reader.line(), line);
}

// The first change waits: when no other follows it is made in the old text.
void TableText::Rewriter::change(std::string_view old, std::string_view line) {
    const std::optional<int> lines = countWellFormedLines(line);
    newLines_ =
        newLines_ && lines ? std::make_optional(*newLines_ + *lines - (old.empty() ? 0 : 1)) : std::nullopt;
    if (inPlace_ && first_.data() == nullptr) {
        first_ = old;
        firstLine_ = line;
        return;
    }
    if (inPlace_) {
        startNewText();
        put(first_, firstLine_);
    }
    put(old, line);
}

void TableText::Rewriter::put(std::string_view old, std::string_view line) {
    passOn(old.data());
    text_.append(line);
    run_ = old.data() + old.size();
}

TableVersion TableText::Rewriter::finish() {
    const std::size_t oldSize = old_.size();
    const bool isChanged = first_.data() != nullptr;
    const std::size_t begin = isChanged ? static_cast<std::size_t>(first_.data() - old_.data()) : oldSize;
    if (inPlace_) {
        return table_.withEdit(begin, first_, firstLine_, newLines_);
    }
    const std::size_t changeEnd = text_.size();
    passOn(old_.data() + oldSize);
    TableVersion version(std::move(text_));
    version.undo = std::move(old_);
    if (table_.metaData().wasWellFormed()) {
        // As for one change: without it the lines after the last one have moved.
        version.difference = {begin, version.text.size() == oldSize ? changeEnd : std::string::npos};
    }
    table_.passKnowledgeTo(version, newLines_);
    return version;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
