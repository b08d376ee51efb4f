#include "shell/Shell.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <utility>
#include <vector>

#include "console/ExitStatus.h"
#include "console/Printable.h"
#include "console/Terminal.h"
#include "sql/SqlLexer.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr int kMaxReadDepth = 16;

constexpr std::string_view kHelp = R"(.help           this list
.log FILE|off   append the database's log to a file
.mode MODE      print results as table, line, csv or json
.pager on|off   show long results with the pager
.quit           leave; an open transaction is rolled back
.read FILE      run the statements of a file
.schema [TABLE] print CREATE TABLE statements
.tables         list the tables
.timer on|off   print how long each statement takes
.wide on|off    print cells whole that do not fit into the terminal
Statements end with ";". BEGIN; COMMIT; ROLLBACK; drive a transaction.
help, quit and exit need no dot. Control-C abandons a statement; a second time it leaves.
)";

// What people type who do not know of the dot yet.
constexpr std::array<const char*, 3> kDotless{"exit", "help", "quit"};

std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

std::string withoutBlanksAtStart(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    return first == std::string::npos ? "" : text.substr(first);
}

// A dot command for one of its words that stands alone, in any case, also with a ";".
std::string withDot(const std::string& line) {
    std::string word;
    for (const char c : line) {
        word += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    word = withoutBlanksAtStart(word);
    word.erase(word.find_last_not_of("; \t\r\n") + 1);
    const bool isKnown = std::find(kDotless.begin(), kDotless.end(), word) != kDotless.end();
    return isKnown ? "." + word : line;
}

bool isOn(const std::string& command, const std::string& word) {
    if (word != "on" && word != "off") {
        throw Failure(command + " takes on or off");
    }
    return word == "on";
}

// What stands behind the first word that announces a table's name.
std::string tableNamedIn(const std::string& statement) {
    constexpr const char* kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";
    bool isAnnounced = false;
    for (std::size_t begin = 0; (begin = statement.find_first_of(kLetters, begin)) != std::string::npos;) {
        const std::size_t end = std::min(statement.find_first_not_of(kLetters, begin), statement.size());
        std::string word = statement.substr(begin, end - begin);
        if (isAnnounced) {
            return word;
        }
        isAnnounced = word == "UPDATE" || word == "INTO" || word == "FROM" || word == "TABLE";
        begin = end;
    }
    return "";
}

}  // namespace

void Shell::reportError(const std::string& mark, const std::exception& error) {
    failed_ = true;
    requireWritten(std::cout);
    printWarnings();
    std::istringstream lines(error.what());
    for (std::string line; std::getline(lines, line);) {
        std::cerr << mark << Colours(STDERR_FILENO).error("error:") << ' ' << printable(line) << '\n';
    }
}

// Runs `action`, and prints what goes wrong with it behind the mark.
void Shell::guarded(const std::string& mark, const std::string& text,
                    void (Shell::*action)(const std::string&)) {
    const auto start = std::chrono::steady_clock::now();
    try {
        (this->*action)(text);
    } catch (const Failure& error) {
        reportError(mark, error);
    } catch (const NoDatabase& error) {
        if (!options_.goesOn) {
            throw;
        }
        reportError(mark, error);
    }
    requireWritten(std::cout);
    if (timer_) {
        const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
        std::cerr << "time: " << std::fixed << std::setprecision(3) << seconds.count() << " s\n";
    }
}

void Shell::runText(const std::string& text) {
    if (options_.raw && withoutBlanksAtStart(text).rfind('.', 0) != 0) {
        guarded("", text, &Shell::runStatement);
        return;
    }
    std::istringstream input(text);
    runStream(input, "");
}

void Shell::runStream(std::istream& input, const std::string& name) {
    std::string line;
    for (std::size_t number = 1; !isOver() && std::getline(input, line); ++number) {
        takeLine(line, name.empty() ? "" : printable(name) + ":" + std::to_string(number) + ": ");
    }
    if (input.bad()) {
        throw Trouble(name + ": cannot be read to its end");
    }
    endOfInput();
}

void Shell::takeLine(const std::string& line, const std::string& mark) {
    if (isBlankSoFar_) {
        pendingMark_ = mark;
        const std::string command = withDot(line);
        if (command.rfind('.', 0) == 0) {
            guarded(mark, command, &Shell::runDotCommand);
            return;
        }
    }
    pending_ += line + '\n';
    while (!isOver()) {
        const std::size_t end = endOfStatement(pending_);
        if (end == std::string::npos) {
            break;
        }
        const std::string statement = pending_.substr(0, end);
        pending_.erase(0, end);
        guarded(pendingMark_, statement, &Shell::runStatement);
        pendingMark_ = mark;
    }
    isBlankSoFar_ = isBlankStatement(pending_);
    if (isBlankSoFar_) {
        pending_.clear();
    }
}

void Shell::endOfInput() {
    std::string statement = std::exchange(pending_, {});
    statement.erase(statement.find_last_not_of('\n') + 1);
    const bool isBlank = std::exchange(isBlankSoFar_, true);
    if (!isOver() && !isBlank) {
        guarded(pendingMark_, statement, &Shell::runStatement);
    }
}

void Shell::abandonStatement() {
    pending_.clear();
    isBlankSoFar_ = true;
}

void Shell::printWarnings() {
    for (const std::string& warning : connection_.takeWarnings()) {
        std::cerr << "warning: " << printable(warning) << '\n';
    }
}

// Runs what is not for SQLite when statements are sent as they stand.
bool Shell::runRaw(const std::string& text) {
    const std::vector<std::string> words = leadingWords(text, 1);
    const std::string word = words.empty() ? "" : words.front();
    // Transactions are no statements of the engine.
    if (word == "BEGIN" || word == "COMMIT" || word == "ROLLBACK") {
        return false;
    }
    session_.requireOpen(word == "CREATE");
    const std::string table = tableNamedIn(text);
    if (session_.exists(table) && word == "SELECT") {
        connection_.warn(session_.damageWarning(table));
        printWarnings();
    } else if (session_.exists(table) && word != "CREATE") {
        session_.requireChangeable(table);
    }
    const ResultSet result = session_.runRaw(withoutBlanksAtStart(text));
    connection_.forget();
    if (!result.columns.empty()) {
        options_.view.show(result, options_.mode);
    }
    return true;
}

void Shell::runStatement(const std::string& text) {
    if (isBlankStatement(text) || (options_.raw && runRaw(text))) {
        return;
    }
    const StatementOutcome outcome = connection_.run(text);
    printWarnings();
    if (outcome.isQuery) {
        options_.view.show(outcome.result, options_.mode);
    } else if (!outcome.changes.empty() && (options_.goesOn || !outcome.isInsert)) {
        // Not between the rows that another program reads.
        std::cerr << outcome.changes << '\n';
    }
}

void Shell::runDotCommand(const std::string& line) {
    const std::vector<std::string> words = wordsOf(line);
    const std::string argument = words.size() > 1 ? words[1] : "";
    struct DotCommand {
        const char* name;
        bool takesArgument;
        bool needsArgument;
        void (Shell::*run)(const std::string&);
    };
    static constexpr DotCommand kCommands[] = {
        {".log", true, true, &Shell::setLog},          {".mode", true, true, &Shell::setMode},
        {".pager", true, true, &Shell::setPager},      {".read", true, true, &Shell::readFile},
        {".schema", true, false, &Shell::printSchema}, {".timer", true, true, &Shell::setTimer},
        {".wide", true, true, &Shell::setWide}};
    if (words.size() > 2) {
        throw Failure(words[0] + " takes one word; .help lists the commands");
    }
    for (const DotCommand& command : kCommands) {
        if (words[0] == command.name) {
            if (argument.empty() && command.needsArgument) {
                throw Failure(words[0] + " needs a word; .help lists the commands");
            }
            (this->*command.run)(argument);
            return;
        }
    }
    if (words.size() == 1 && (words[0] == ".quit" || words[0] == ".exit")) {
        quit_ = true;
    } else if (words.size() == 1 && words[0] == ".help") {
        std::cout << kHelp;
    } else if (words.size() == 1 && words[0] == ".tables") {
        session_.requireOpen();
        for (const std::string& table : session_.tables()) {
            std::cout << table << '\n';
        }
    } else {
        throw Failure("no such command: " + line + "; .help lists the commands");
    }
}

void Shell::readFile(const std::string& name) {
    std::ifstream file(name);
    if (!file || std::filesystem::is_directory(name)) {
        throw Failure(name + ": cannot be read");
    }
    if (readDepth_ == kMaxReadDepth) {
        throw Failure(name + ": more than " + std::to_string(kMaxReadDepth) + " files read each other");
    }
    ++readDepth_;
    runStream(file, name);
    --readDepth_;
}

void Shell::setMode(const std::string& name) {
    options_.mode = modeOf(name);
}

void Shell::setTimer(const std::string& word) {
    timer_ = isOn(".timer", word);
}

void Shell::setPager(const std::string& word) {
    options_.view.setPaging(isOn(".pager", word));
}

void Shell::setWide(const std::string& word) {
    options_.view.setCellWidth(isOn(".wide", word) ? CellWidth::kWhole : CellWidth::kFitting);
}

void Shell::setLog(const std::string& name) {
    if (name == "off") {
        session_.log().stopCopying();
        return;
    }
    try {
        session_.log().copyTo(name);
    } catch (const Trouble& error) {
        throw Failure(error.what());
    }
}

void Shell::printSchema(const std::string& table) {
    session_.requireOpen();
    std::cout << session_.createStatements(table);
}

}  // namespace Kalt::Vemo::Tool
