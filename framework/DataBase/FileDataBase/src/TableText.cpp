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

Buffer TableVersion::previous() && {
    if (auto* const whole = std::get_if<Buffer>(&*undo)) {
        return std::move(*whole);
    }
    // A buffer keeps its room when it shrinks, so there is room for what was removed.
    const Edit& edit = std::get<Edit>(*undo);
    text.replace(edit.position, edit.length, edit.removed);
    return std::move(text);
}

TableText::TableText(TableVersion version, TableMetaData& metaData)
    : metaData_(metaData),
      text_(std::move(version.text)),
      wellFormedBytes_(version.wellFormedBytes),
      recordCount_(version.wellFormedRecords) {
    RecordReader reader(text_.view());
    metaData.readTableMetaData(reader);
    recordsStart_ = text_.size() - reader.unread().size();
}

void TableText::scan() {
    if (isWellFormed_) {
        return;
    }
    const std::optional<int> lines =
        countWellFormedLines(text_.view().substr(std::max(wellFormedBytes_, recordsStart_)));
    isWellFormed_ = lines.has_value();
    if (lines) {
        recordCount_ += *lines;
        return;
    }
    recordCount_ = 0;
    for (RecordReader reader = records(); reader.next();) {
        ++recordCount_;
    }
}

RecordReader TableText::lastRecord() {
    scan();
    std::string_view text = recordText();
    if (*isWellFormed_) {
        text.remove_prefix(startOfLastLine(text));
    }
    RecordReader reader(text);
    while (reader.next()) {
    }
    return reader;
}

TableVersion TableText::withLineAtEnd(const std::string& line) && {
    scan();
    if (!*isWellFormed_ || !metaData_.wasWellFormed()) {
        return std::move(*this).withLineBefore(recordCount_, line);
    }
    TableVersion version;
    version.difference.begin = text_.size();
    version.wellFormedBytes = text_.size();
    version.wellFormedRecords = recordCount_;
    version.undo = Edit{text_.size(), line.size(), {}};
    text_.append(line);
    version.text = std::move(text_);
    return version;
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

TableText::Rewriter::Rewriter(TableText& old) : old_(old), run_(old.recordText().data()) {
    if (!old.metaData_.wasWellFormed()) {
        startNewText();
    }
}

void TableText::Rewriter::startNewText() {
    inPlace_ = false;
    text_.reserve(old_.text_.size() + kMaxLineLength);
    text_.append(old_.metaData_.text());
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
    change(old_.text_.view().substr(old_.text_.size()), line);
}

void TableText::Rewriter::keep(RecordReader& reader) {
    const std::string_view stored = reader.stored();
    if (stored.data() != reader.line().data()) {
        change(reader.line(), stored);
    }
}

void TableText::Rewriter::replace(const RecordReader& reader, std::string_view line) {
    change(reader.line(), line);
}

// The first change waits: when no other follows it is made in the old text.
void TableText::Rewriter::change(std::string_view old, std::string_view line) {
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
    const std::size_t oldSize = old_.text_.size();
    const bool isChanged = first_.data() != nullptr;
    const std::size_t begin =
        isChanged ? static_cast<std::size_t>(first_.data() - old_.text_.data()) : oldSize;
    std::size_t changeEnd = text_.size();
    TableVersion version;
    if (inPlace_) {
        changeEnd = begin + firstLine_.size();
        version.undo = Edit{begin, firstLine_.size(), std::string(first_)};
        version.text = std::move(old_.text_);
        version.text.replace(begin, first_.size(), firstLine_);
    } else {
        passOn(old_.text_.data() + oldSize);
        version.undo = std::move(old_.text_);
        version.text = std::move(text_);
    }
    if (old_.metaData_.wasWellFormed()) {
        // When the changes left the length as it was, the lines after the last one have not moved.
        version.difference = {begin, version.text.size() == oldSize ? changeEnd : std::string::npos};
    }
    return version;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
