#pragma once

#include <string>
#include <vector>

#include "DatabaseTest.h"
#include "Page.h"
#include "SampleOutcome.h"

namespace Kalt::Vemo::Test {

/// A statement of a page and the arguments of its call.
struct SqlSample {
    std::string statement;
    std::vector<std::string> arguments;  ///< NULL for a null pointer: the database sees no difference
};

/// Runs the statements of a page on databases of its own.
class SqlSamples : public DatabaseTest {
protected:
    /// An empty database, or one with these files.
    void startFrom(const Files& content);

    /// The files of tables and working copies and the journal.
    Files files() const { return readFiles(directory()); }

    int update(const SqlSample& sample);
    Result select(const SqlSample& sample);

    /// The texts of the errors since the last call, without the functions that raised them.
    std::vector<std::string> takeErrors();

    /// Whether the errors that were taken came with this message, the number of a source line written as N.
    bool logged(int level, const std::string& text) const;

    /// What a sample really does, told in the terms of `expected`.
    SampleOutcome runSample(const SqlSample& sample, const SampleOutcome& expected);

    /// Runs a block of statements, one a line. Gives what it prints: rows of queries, numbers of calls,
    /// errors.
    std::string runSession(const std::string& block);

    /// The rows of a result, the cells of each between ", ".
    static std::vector<std::string> rowsOf(const Result& result);

private:
    std::string runLine(const std::string& line);
    std::vector<std::string> seenIn(const std::string& statement, const std::string& seen);

    std::vector<LoggedMessage> taken_;  ///< all messages since startFrom
};

}  // namespace Kalt::Vemo::Test
