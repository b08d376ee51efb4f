#include "TableText.h"

#include <algorithm>
#include <utility>

#include "FileUtils.h"
#include "TableMetaData.h"

namespace Kalt::Vemo::Core::Database::Filedb {

TableText::TableText(TableVersion version, TableMetaData& metaData) : text_(std::move(version.text)) {
    RecordReader reader{std::string_view(text_)};
    metaData.readTableMetaData(reader);
    recordsStart_ = text_.size() - reader.unread().size();
    metaDataText_ = metaData.text();
    metaDataIsSound_ = text_.compare(0, recordsStart_, metaDataText_) == 0;
    recordCount_ = version.recordCount.value_or(0);
    wellFormed_ = version.recordCount.has_value() || isWellFormed(recordText(), recordCount_);
    if (!wellFormed_) {
        recordCount_ = 0;
        for (RecordReader counted = records(); counted.next();) {
            ++recordCount_;
        }
    }
}

RecordReader TableText::lastRecord() const {
    std::string_view text = recordText();
    if (wellFormed_) {
        text.remove_prefix(text.rfind('\n', text.size() - 2) + 1);
    }
    RecordReader reader(text);
    while (reader.next()) {
    }
    return reader;
}

TableVersion TableText::withLineAtEnd(const std::string& line) && {
    if (!passesOn()) {
        return withLineBefore(recordCount_, line);
    }
    TableVersion version;
    version.difference.begin = text_.size();
    int lines = 0;
    if (isWellFormed(line, lines)) {
        version.recordCount = recordCount_ + lines;
    }
    version.text = std::move(text_ += line);
    return version;
}

TableVersion TableText::withLineBefore(int position, const std::string& line) const {
    RecordReader reader = records();
    Rewriter rewriter(*this);
    for (int index = 0; reader.next(); ++index) {
        if (index == position) {
            rewriter.insert(reader, line);
        }
        rewriter.keep(reader);
    }
    if (position == recordCount_) {
        rewriter.append(line);
    }
    return rewriter.take();
}

TableText::Rewriter::Rewriter(const TableText& old)
    : old_(old),
      text_(old.metaDataText_),
      firstChange_(old.passesOn() ? std::string::npos : 0),
      run_(old.recordText().data()) {
    text_.reserve(old.text_.size() + kMaxLineLength);
}

// Takes over the lines from the start of the run up to `end`, byte for byte.
void TableText::Rewriter::passOn(const char* end) {
    if (old_.wellFormed_) {
        text_.append(run_, end);
        run_ = end;
    }
}

void TableText::Rewriter::insert(const RecordReader& reader, std::string_view line) {
    passOn(reader.line().data());
    change(line);
}

void TableText::Rewriter::append(std::string_view line) {
    passOn(old_.text_.data() + old_.text_.size());
    change(line);
}

void TableText::Rewriter::change(std::string_view line) {
    firstChange_ = std::min(firstChange_, text_.size());
    text_ += line;
}

void TableText::Rewriter::keep(RecordReader& reader) {
    if (!old_.wellFormed_) {
        text_ += reader.stored();
    }
}

void TableText::Rewriter::replace(const RecordReader& reader, std::string_view line) {
    insert(reader, line);
    run_ = reader.unread().data();
}

TableVersion TableText::Rewriter::take() {
    const std::size_t lastChangeEnd = text_.size();
    passOn(old_.text_.data() + old_.text_.size());
    TableVersion version(std::move(text_));
    if (old_.passesOn()) {
        // The lines behind the last change are where they were when the changes left the length as it was.
        const bool inPlace = version.text.size() == old_.text_.size();
        version.difference = {firstChange_, inPlace ? lastChangeEnd : std::string::npos};
    }
    return version;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
