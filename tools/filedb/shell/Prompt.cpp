#include "shell/Prompt.h"

#include <editline/readline.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "console/ExitStatus.h"
#include "sql/SqlLexer.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr const char* kFirstPrompt = "filedb> ";
constexpr const char* kNextPrompt = "   ...> ";
constexpr int kHistoryLength = 1000;

constexpr std::array<const char*, 39> kWords{
    ".help",   ".log",     ".mode",  ".quit",  ".read", ".schema", ".tables", ".timer", "AND",   "BEGIN",
    "BETWEEN", "COMMIT",   "CREATE", "DELETE", "DROP",  "ESCAPE",  "EXISTS",  "FROM",   "IF",    "IN",
    "INSERT",  "INTEGER",  "INTO",   "IS",     "KEY",   "LIKE",    "NOT",     "NULL",   "OR",    "PRIMARY",
    "REAL",    "ROLLBACK", "ROWID",  "SELECT", "SET",   "TABLE",   "TEXT",    "UPDATE", "VALUES"};
constexpr const char* kWhere = "WHERE";

// The line editor calls back without any argument of ours.
Session* completingSession = nullptr;

bool startsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

// Everything that can stand where `start` was typed. Keywords follow the case of what was typed.
std::vector<std::string> candidatesFor(const std::string& start) {
    std::set<std::string> found;
    const bool inLowerCase = !start.empty() && start != upperCase(start);
    std::vector<std::string> words(kWords.begin(), kWords.end());
    words.emplace_back(kWhere);
    for (std::string& word : words) {
        if (startsWith(word, upperCase(start)) || startsWith(word, start)) {
            if (inLowerCase) {
                std::transform(word.begin(), word.end(), word.begin(), [](char c) {
                    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
                });
            }
            found.insert(word);
        }
    }
    try {
        for (const std::string& table : completingSession->tables()) {
            if (startsWith(table, start)) {
                found.insert(table);
            }
            for (const Column& column : completingSession->schemaOf(table).columns) {
                if (startsWith(column.name, start)) {
                    found.insert(column.name);
                }
            }
        }
    } catch (const std::exception&) {
        // A table that cannot be read has nothing to offer.
    }
    return {found.begin(), found.end()};
}

// Called until it gives null; each text is the line editor's to free.
char* nextCandidate(const char* start, int state) {
    static std::vector<std::string> candidates;
    static std::size_t next = 0;
    if (state == 0) {
        candidates = candidatesFor(start);
        next = 0;
    }
    return next < candidates.size() ? strdup(candidates[next++].c_str()) : nullptr;
}

char** complete(const char* start, int /*first*/, int /*end*/) {
    rl_attempted_completion_over = 1;  // no names of files
    return rl_completion_matches(start, nextCandidate);
}

/// The history file, in the user's state directory; empty when there is no such place.
std::filesystem::path historyFile() {
    const char* const state = std::getenv("XDG_STATE_HOME");
    const char* const home = std::getenv("HOME");
    std::filesystem::path directory;
    if (state != nullptr && *state == '/') {
        directory = state;
    } else if (home != nullptr && *home == '/') {
        directory = std::filesystem::path(home) / ".local" / "state";
    } else {
        return {};
    }
    return directory / "filedb" / "history";
}

/// The history of one conversation, read at its start and kept at its end.
class History {
public:
    History() : file_(historyFile()) {
        using_history();
        stifle_history(kHistoryLength);
        if (!file_.empty()) {
            read_history(file_.c_str());
        }
    }

    ~History() {
        if (file_.empty()) {
            return;
        }
        std::error_code ignored;
        std::filesystem::create_directories(file_.parent_path(), ignored);
        write_history(file_.c_str());
        // Statements may hold what is nobody else's business.
        std::filesystem::permissions(
            file_, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write, ignored);
    }

    History(const History&) = delete;
    History& operator=(const History&) = delete;

    static void add(const std::string& line) {
        if (line.find_first_not_of(" \t") != std::string::npos) {
            add_history(line.c_str());
        }
    }

private:
    std::filesystem::path file_;
};

using Line = std::unique_ptr<char, decltype(&std::free)>;

}  // namespace

void runPrompt(Shell& shell) {
    completingSession = &shell.session();
    rl_readline_name = "filedb";
    rl_attempted_completion_function = complete;
    const History history;
    while (!shell.isOver()) {
        const Line line(readline(shell.isInsideStatement() ? kNextPrompt : kFirstPrompt), &std::free);
        if (line == nullptr) {
            std::cout << '\n';
            break;
        }
        History::add(line.get());
        shell.takeLine(line.get(), "");
    }
    shell.endOfInput();
}

}  // namespace Kalt::Vemo::Tool
