#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "check/Finding.h"

namespace Kalt::Vemo::Tool {

/// Reads the text of a table file, or of a working copy, line by line, tells what is wrong with it and what
/// of it can be kept.
///
/// After a broken definition the records are not looked at. A record is kept when its content is beyond
/// doubt; it is then held in the form in which the engine stores it. Of such records with the same ROWID or
/// the same primary key the first is kept.
class TableExamination {
public:
    /// A line that cannot be kept.
    struct Reject {
        std::size_t line;
        std::string text;  // as it is in the file, without its line feed
        std::string reason;
    };

    /// @param file name of the entry, for the findings
    TableExamination(std::string file, std::string text);
    TableExamination(const TableExamination&) = delete;
    TableExamination& operator=(const TableExamination&) = delete;

    const Findings& findings() const { return findings_; }
    bool isSound() const { return findings_.empty(); }
    bool hasSoundDefinition() const { return hasSoundDefinition_; }

    /// Whether it ends like a file that was written to its end: a sound definition, no NUL byte, a line feed
    /// as the last byte. Records with wrong content may be in it.
    bool isWhole() const;

    /// The first three lines, each with its line feed. Requires: hasSoundDefinition().
    std::string_view definition() const;

    std::size_t recordCount() const { return recordCount_; }
    const std::string& text() const { return text_; }

    /// The lines to set apart, and the findings that mendedText() does away with.
    const std::vector<Reject>& rejects() const { return rejects_; }
    const Findings& mends() const { return mends_; }

    /// The whole file with what can be kept. Requires: hasSoundDefinition().
    std::string mendedText() const;

private:
    struct Line {
        std::size_t number;
        std::string_view text;  // without the line feed
        bool hasLineFeed;
    };
    struct Record {
        std::uint64_t rowId;
        std::string line;
    };

    std::vector<Line> cutIntoLines() const;
    void examineDefinition(const std::vector<Line>& lines);
    bool examineMetaLine(const Line& line);
    void examineColumns();
    void examineKey();
    void examineRecord(const Line& line);
    bool examineShape(const Line& line);
    bool examineValues(const Line& line, std::vector<std::string>& fields);
    bool examineRowId(const Line& line, const std::string& value, std::uint64_t& rowId);
    bool examineKeyOf(const Line& line, const std::vector<std::string>& fields, std::string& key);
    void report(std::size_t line, std::string text);
    std::string labelOf(std::size_t column) const;

    const std::string file_;
    const std::string text_;
    Findings findings_;
    bool hasSoundDefinition_ = false;
    std::size_t recordCount_ = 0;

    std::vector<std::string> names_;
    std::vector<std::string> flagTexts_;
    std::vector<std::string> keyNames_;
    std::vector<long> flags_;
    std::vector<std::size_t> key_;  // positions of the key's columns
    bool hasHiddenRowId_ = false;

    // Of the records that are kept.
    std::unordered_map<std::uint64_t, std::size_t> linesOfRowIds_;
    std::unordered_map<std::string, std::size_t> linesOfKeys_;
    std::uint64_t largestRowId_ = 0;

    std::vector<Record> records_;
    std::vector<Reject> rejects_;
    Findings mends_;
};

}  // namespace Kalt::Vemo::Tool
