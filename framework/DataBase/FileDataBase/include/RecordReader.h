#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Kalt::Vemo::Core::Database::Filedb {

class File;

/// The fields of one line, as it was read; setLine() cuts them as far as somebody asks for them. The line
/// ends at its first NUL byte; its last character, meant to be the line feed, is dropped whatever it is; what
/// is left is cut at FIELD_SEPARATOR, and empty pieces vanish.
///
///     "1~'a'\n"     1  'a'
///     "x~~y~\n"     x  y
///     "p~q"         p            (no line feed: the q is taken for it)
///     "\n"          no field
///
/// Lifetime: the fields are views into the line.
class Record {
public:
    Record() = default;
    explicit Record(std::string_view line) { setLine(line); }
    explicit Record(const std::vector<std::string>& fields) : fields_(fields.begin(), fields.end()) {}

    void setLine(std::string_view line);

    /// Whether there is a field at `index`, counted from 0.
    bool has(std::size_t index) {
        while (index >= fields_.size() && !uncut_.empty()) {
            cutNext();
        }
        return index < fields_.size();
    }

    /// Requires: has(index) said yes.
    std::string_view operator[](std::size_t index) const { return fields_[index]; }

    const std::vector<std::string_view>& all() {
        while (!uncut_.empty()) {
            cutNext();
        }
        return fields_;
    }

    /// For a reader that cuts the line itself: leaves no field, then takes one after the other.
    void clear();
    void append(const char* field, const char* end) {
        fields_.emplace_back(field, static_cast<std::size_t>(end - field));
    }

private:
    void cutNext();

    std::string_view uncut_;
    std::vector<std::string_view> fields_;
};

/// Walks the bytes of a text that end a field, FIELD_SEPARATOR, line feed and NUL, and looks at the text in
/// windows of kWindow bytes. What a window holds is kept from one line to the next, so no byte is looked at
/// twice.
class FieldEnds {
public:
    static constexpr int kWindow = 64;

    /// The text to walk begins at `position`.
    void restart(const char* position) {
        unseen_ = position;
        ends_ = 0;
    }

    /// The next such byte, or null when no window in front of `limit` holds one. Requires: what restart() was
    /// given reaches up to `limit`, which never moves back.
    const char* next(const char* limit) {
        while (ends_ == 0) {
            if (limit - unseen_ < kWindow) {
                return nullptr;
            }
            ends_ = inWindow(unseen_);
            unseen_ += kWindow;
        }
        const int position = __builtin_ctzll(ends_);
        ends_ &= ends_ - 1;
        return unseen_ - kWindow + position;
    }

    /// Bit i tells whether byte i of the window ends a field. The second function gives the same on a
    /// processor without an instruction for it.
    static std::uint64_t inWindow(const char* window);
    static std::uint64_t inWindowPortably(const char* window);

private:
    const char* unseen_ = nullptr;  // behind the last window
    std::uint64_t ends_ = 0;        // those of the last window that were not handed out yet
};

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
/// Lifetime: what record(), fields(), line() and stored() show is valid until the next call of next().
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

    /// Reads `text`, which must outlive the reader.
    explicit RecordReader(std::string_view text) : unread_(text) { fieldEnds_.restart(text.data()); }

    /// Moves to the next record; false at the end, and the last record stays.
    /// Throws: as the constructor.
    bool next();

    Record& record() { return record_; }
    const std::vector<std::string_view>& fields() { return record_.all(); }

    /// The bytes of the line as they were read.
    std::string_view line() const { return line_; }

    /// Number of bytes behind the current record.
    std::size_t remaining() const { return unread_.size() + static_cast<std::size_t>(length_ - offset_); }

    /// What comes behind the current record, as far as it was read.
    std::string_view unread() const { return unread_; }

    /// The record's line as a writer would store it, line feed included: the very bytes that were read when
    /// they are well-formed, otherwise the fields joined anew.
    std::string_view stored() { return isSound_ ? line_ : joined(); }

private:
    bool fill();
    bool nextInOnePass();
    bool nextWithCare();
    void moveTo(std::size_t length);
    std::string_view joined();

    const File* file_ = nullptr;
    std::size_t offset_ = 0;
    std::size_t length_ = 0;
    std::size_t blockSize_ = 0;
    std::unique_ptr<char[]> block_;  // not a string, which would be filled with zeros first
    std::string_view unread_;
    std::string_view line_;
    bool isSound_ = false;  // the line is known to be as a writer would store it
    FieldEnds fieldEnds_;   // those of unread_
    Record record_;
    std::string joined_;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
