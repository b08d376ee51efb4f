#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace Kalt::Vemo::Core::Database::Filedb {

/// Cuts one line, as it was read, into its fields. The line ends at its first NUL byte; its last character,
/// meant to be the line feed, is dropped whatever it is; what is left is cut at FIELD_SEPARATOR, and empty
/// pieces vanish.
///
///     "1~'a'\n"     1  'a'
///     "x~~y~\n"     x  y
///     "p~q"         p            (no line feed: the q is taken for it)
///     "\n"          no field
///
/// @param fields receives views into `line`
void cutIntoFields(std::string_view line, std::vector<std::string_view>& fields);

/// Whether every line of `text` is in the very form in which a writer would store its record: no empty field,
/// no NUL byte, no line over the format's length, a line feed at the end. An empty line counts as damage,
/// too.
///
/// @param lines receives the number of lines, when the answer is yes
bool isWellFormed(std::string_view text, int& lines);

/// Walks the records of a table file in one buffered pass, without an allocation per record.
///
/// A line is what a line read of at most kMaxLineLength bytes gives: longer lines come in pieces, each of
/// which is taken for a record.
///
/// Lifetime: what fields(), line() and stored() show is valid until the next call of next().
///
///     RecordReader records(stream);
///     while (records.next()) {
///         use(records.fields());
///     }
class RecordReader {
public:
    /// Reads the file of `stream` from its start, past the stream's own buffer. The stream must outlive the
    /// reader. Throws: DatabaseException "DB Error: Error occurred during file reading" for what is no
    /// regular file.
    explicit RecordReader(FILE* stream);

    /// Reads `text`, which must outlive the reader.
    explicit RecordReader(std::string_view text) : unread_(text) {}

    /// Moves to the next record; false at the end, and the last record stays.
    /// Throws: as the constructor.
    bool next();

    const std::vector<std::string_view>& fields();

    /// The bytes of the line as they were read.
    std::string_view line() const { return line_; }

    /// What comes behind the current record.
    std::string_view unread() const { return unread_; }

    /// The record's line as a writer would store it, line feed included: the very bytes that were read when
    /// they are well-formed, otherwise the fields joined anew.
    std::string_view stored();

private:
    bool fill();

    FILE* stream_ = nullptr;
    long offset_ = 0;
    long length_ = 0;
    std::string block_;
    std::string_view unread_;
    std::string_view line_;
    bool cut_ = false;  // whether fields_ are those of line_
    std::vector<std::string_view> fields_;
    std::string joined_;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
