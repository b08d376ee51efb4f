#include "TableText.h"

#include <utility>

#include "FileUtils.h"
#include "TableMetaData.h"

namespace Kalt::Vemo::Core::Database::Filedb {

TableText::TableText(std::string text, TableMetaData& metaData) : text_(std::move(text)) {
    RecordReader reader{std::string_view(text_)};
    metaData.readTableMetaData(reader);
    recordsStart_ = text_.size() - reader.unread().size();
    metaDataText_ = metaData.text();
    wellFormed_ = isWellFormed(recordText(), recordCount_);
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

std::string TableText::withLineAtEnd(const std::string& line) && {
    if (wellFormed_ && text_.compare(0, recordsStart_, metaDataText_) == 0) {
        return std::move(text_ += line);
    }
    RecordReader reader = records();
    Rewriter rewriter(*this);
    while (reader.next()) {
        rewriter.keep(reader);
    }
    return rewriter.take() + line;
}

std::string TableText::withLineBefore(int position, const std::string& line) const {
    RecordReader reader = records();
    Rewriter rewriter(*this);
    for (int index = 0; reader.next(); ++index) {
        if (index == position) {
            rewriter.insert(reader, line);
        }
        rewriter.keep(reader);
    }
    return rewriter.take();
}

TableText::Rewriter::Rewriter(const TableText& old)
    : old_(old), text_(old.metaDataText_), run_(old.recordText().data()) {
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

std::string TableText::Rewriter::take() {
    passOn(old_.text_.data() + old_.text_.size());
    return std::move(text_);
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
