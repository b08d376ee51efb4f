#pragma once

#include <cstddef>
#include <exception>
#include <istream>
#include <string>

#include "rows/RowWriter.h"
#include "shell/ResultView.h"
#include "shell/Session.h"
#include "shell/SqlConnection.h"

namespace Kalt::Vemo::Tool {

/// Runs statements and dot commands, from wherever their text comes, and prints what comes of them: results
/// on standard output, errors on standard error.
class Shell {
public:
    struct Options {
        Mode mode = Mode::kTable;
        bool raw = false;     ///< send statements as they stand
        bool goesOn = false;  ///< after a failed statement; otherwise the text ends there
        ResultView view{false, CellWidth::kFitting};
    };

    Shell(Session& session, Options options) : session_(session), connection_(session), options_(options) {}

    /// Runs one text: with `raw` a single statement, otherwise as many as it holds.
    void runText(const std::string& text);

    /// @param name what stands before the line number of an error
    void runStream(std::istream& input, const std::string& name);

    /// Takes in the next line. `mark` tells where it comes from, for an error.
    void takeLine(const std::string& line, const std::string& mark);

    /// Runs what is left at the end of the input, where a statement needs no ";".
    void endOfInput();

    /// Whether a statement has begun whose ";" has not come yet.
    bool isInsideStatement() const { return !isBlankSoFar_; }

    /// Forgets the statement that has begun.
    void abandonStatement();

    /// Whether no more is to be run: after quit, and after a failure unless the shell goes on.
    bool isOver() const { return quit_ || (failed_ && !options_.goesOn); }

    bool hasFailed() const { return failed_; }
    Session& session() { return session_; }

private:
    void runStatement(const std::string& text);
    bool runRaw(const std::string& text);
    void printWarnings();
    void reportError(const std::string& mark, const std::exception& error);
    void runDotCommand(const std::string& line);
    void readFile(const std::string& name);
    void setMode(const std::string& name);
    void setTimer(const std::string& word);
    void setLog(const std::string& name);
    void setPager(const std::string& word);
    void setWide(const std::string& word);
    void printSchema(const std::string& table);
    void guarded(const std::string& mark, const std::string& text, void (Shell::*action)(const std::string&));

    Session& session_;
    SqlConnection connection_;
    Options options_;
    std::string pending_;      // the statement that has begun
    std::string pendingMark_;  // where it begins
    bool isBlankSoFar_ = true;
    bool timer_ = false;
    bool quit_ = false;
    bool failed_ = false;
    int readDepth_ = 0;
};

}  // namespace Kalt::Vemo::Tool
