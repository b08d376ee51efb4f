#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Journal.h"
#include "check/Finding.h"
#include "files/RawFile.h"

namespace Kalt::Vemo::Tool {

/// Reads the journal and tells what the next start of the engine makes of it; docs/file-format.md draws it.
class JournalExamination {
public:
    /// A table's line: what was done to the table.
    struct Entry {
        std::size_t line;
        Core::Database::Filedb::Operation operation;
        bool isCopiedAtInit;  // whether the next start copies the working copy over the table
    };

    explicit JournalExamination(const RawFile& file);

    const Findings& findings() const { return findings_; }

    /// Whether working copies were being copied over their tables: every one of them is complete, and every
    /// change that the journal names was decided.
    bool isCopying() const { return isCopying_; }

    /// What is to be said of the journal when it is reset: what it stands for, or why it cannot be read.
    const std::string& state() const { return state_; }

    /// The tables that the journal names, each with its first line. Lines that no statement could have
    /// written are not among them.
    const std::map<std::string, Entry>& entries() const { return entries_; }

private:
    void report(std::size_t line, Finding::Severity severity, std::string text);
    void examineLines(const std::string& text);
    void examineForm(std::size_t line, std::string_view text, bool isWellFormed);
    void examineStateLine(std::size_t line, const std::vector<std::string>& fields, std::string_view text,
                          bool isWellFormed);
    void examineTableLine(std::size_t line, const std::string& codeField,
                          const Core::Database::Filedb::JournalReader::Entry& entry, bool isStateLine);

    Findings findings_;
    bool isCopying_ = false;
    std::string state_;
    std::map<std::string, Entry> entries_;
    std::map<std::string, std::size_t> loaded_;  // the tables that the next start goes by, with their lines
};

}  // namespace Kalt::Vemo::Tool
