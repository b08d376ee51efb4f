#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "FieldScan.h"

namespace Kalt::Vemo::Core::Database::Filedb {

class File;

/// The fields of one line. setLine() splits the line on demand: as far as the fields that are asked for. The
/// line ends at its first NUL byte; its last character, meant to be the line feed, is dropped whatever it is;
/// the rest is split at FIELD_SEPARATOR, and empty fields vanish.
///
///     "1~'a'\n"     1  'a'
///     "x~~y~\n"     x  y
///     "p~q"         p            (no line feed: the q is dropped in its place)
///     "\n"          no field
///
/// Lifetime: the fields are views into the line.
class Record {
public:
    Record() = default;
    explicit Record(std::string_view line) { setLine(line); }
    explicit Record(const std::vector<std::string>& fields) : fields_(fields.begin(), fields.end()) {}
    explicit Record(std::string&& line) = delete;
    explicit Record(std::vector<std::string>&& fields) = delete;

    void setLine(std::string_view line);
    void setLine(std::string&& line) = delete;

    /// Whether there is a field at `index`, counted from 0.
    [[nodiscard]] bool has(std::size_t index) {
        while (index >= fields_.size() && !unsplit_.empty()) {
            splitNext();
        }
        return index < fields_.size();
    }

    /// Requires: has(index) said yes.
    std::string_view operator[](std::size_t index) const { return fields_[index]; }

    const std::vector<std::string_view>& all() {
        while (!unsplit_.empty()) {
            splitNext();
        }
        return fields_;
    }

    /// For a reader that splits the line itself: clear() leaves no field, append() adds one.
    void clear();
    void append(const char* field, const char* end) {
        fields_.emplace_back(field, static_cast<std::size_t>(end - field));
    }

private:
    void splitNext();

    std::string_view unsplit_;
    std::vector<std::string_view> fields_;
};

/// Reads the records of a table file in one buffered pass, without an allocation per record.
///
/// A line has at most kMaxLineLength bytes: a longer one comes in pieces, and each piece counts as a record.
///
/// Lifetime: record(), fields(), line() and stored() are valid until the next call of next().
///
///     RecordReader records(file);
///     while (records.next()) {
///         use(records.fields());
///     }
class RecordReader {
public:
    /// Reads `file` from its start. The file must outlive the reader. Throws: DatabaseException "DB Error:
    /// Error occurred during file reading" for what is no regular file.
    explicit RecordReader(const File& file);
    explicit RecordReader(File&& file) = delete;

    /// The same for a file whose size is known.
    RecordReader(const File& file, std::size_t size);
    RecordReader(File&& file, std::size_t size) = delete;

    /// Reads `text`, which must outlive the reader.
    explicit RecordReader(std::string_view text) : unread_(text) { fieldEnds_.restart(text.data()); }
    explicit RecordReader(std::string&& text) = delete;

    /// Moves to the next record; false at the end, and the last record stays.
    /// Throws: as the constructor.
    [[nodiscard]] bool next();

    Record& record() { return record_; }
    const std::vector<std::string_view>& fields() { return record_.all(); }

    /// The bytes of the line as they were read.
    std::string_view line() const { return line_; }

    /// Number of bytes after the current record.
    std::size_t remaining() const { return unread_.size() + static_cast<std::size_t>(length_ - offset_); }

    /// The bytes after the current record, as far as they were read.
    std::string_view unread() const { return unread_; }

    /// The record's line as a writer would store it, line feed included: line() itself when that is
    /// well-formed, otherwise the fields joined anew.
    std::string_view stored() { return isWellFormed_ ? line_ : joined(); }

    /// Whether stored() is line().
    [[nodiscard]] bool isWellFormed() { return stored().data() == line_.data(); }

private:
    bool fill();
    bool nextOnFastPath();
    bool nextOnSlowPath();
    void moveTo(std::size_t length);
    std::string_view joined();

    const File* file_ = nullptr;
    std::size_t offset_ = 0;
    std::size_t length_ = 0;
    std::size_t blockSize_ = 0;
    std::unique_ptr<char[]> block_;  // a string would be filled with zeros first
    std::string_view unread_;
    std::string_view line_;
    bool isWellFormed_ = false;  // whether the line is known to be as a writer would store it
    FieldEnds fieldEnds_;        // those of unread_
    Record record_;
    std::string joined_;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
