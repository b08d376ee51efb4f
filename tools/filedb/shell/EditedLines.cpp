#include <editline/readline.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <set>
#include <vector>

#include "console/Printable.h"
#include "shell/InterruptKey.h"
#include "shell/LineInput.h"
#include "sql/SqlLexer.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr int kHistoryLength = 1000;

constexpr std::array<const char*, 41> kWords{
    ".help",  ".log",  ".mode", ".pager",  ".quit",   ".read",   ".schema",  ".tables", ".timer",
    ".wide",  "AND",   "BEGIN", "BETWEEN", "COMMIT",  "CREATE",  "DELETE",   "DROP",    "ESCAPE",
    "EXISTS", "FROM",  "IF",    "IN",      "INSERT",  "INTEGER", "INTO",     "IS",      "KEY",
    "LIKE",   "NOT",   "NULL",  "OR",      "PRIMARY", "REAL",    "ROLLBACK", "ROWID",   "SELECT",
    "SET",    "TABLE", "TEXT",  "UPDATE",  "VALUES"};
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

// A tabulator inside of a text is part of it; it may have been pasted.
int completeOrInsert(int /*count*/, int key) {
    const std::string before(rl_line_buffer, static_cast<std::size_t>(rl_point));
    if (std::count(before.begin(), before.end(), '\'') % 2 == 0) {
        return rl_complete(0, key);
    }
    rl_insert_text("\t");
    return 0;
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
        std::error_code ignored;
        const bool isThere = !file_.empty() && std::filesystem::file_size(file_, ignored) > 0 && !ignored;
        if (isThere && read_history(file_.c_str()) != 0) {
            std::cerr << "warning: the history in " << printable(file_.string())
                      << " cannot be read; it is left as it is, and nothing is added to it\n";
            file_.clear();
        }
    }

    ~History() {
        if (file_.empty()) {
            return;
        }
        std::error_code ignored;
        std::filesystem::create_directories(file_.parent_path(), ignored);
        // Statements may hold what is nobody else's business.
        constexpr mode_t kOthers = 077;
        const mode_t before = umask(kOthers);
        write_history(file_.c_str());
        umask(before);
        std::filesystem::permissions(
            file_, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write, ignored);
    }

    History(const History&) = delete;
    History& operator=(const History&) = delete;

private:
    std::filesystem::path file_;
};

// Set by the key; the line editor asks for nothing but that.
bool isInterrupted = false;
std::string interruptedLine;

int interrupt(int /*count*/, int /*key*/) {
    isInterrupted = true;
    interruptedLine.assign(rl_line_buffer, static_cast<std::size_t>(rl_end));
    rl_done = 1;
    return 0;
}

class EditedLines : public LineInput {
public:
    explicit EditedLines(Session& session) {
        completingSession = &session;
        rl_readline_name = "filedb";
        rl_attempted_completion_function = complete;
        // The line editor takes over how the terminal is set, now and whenever a line begins.
        const InterruptKey key(InterruptKey::Ends::kNothing);
        rl_initialize();
        rl_add_defun("filedb-interrupt", interrupt, InterruptKey::kCharacter);
        rl_add_defun("filedb-complete", completeOrInsert, '\t');
        history_.emplace();
    }

    Line read(const char* prompt) override {
        const InterruptKey key(InterruptKey::Ends::kNothing);
        isInterrupted = false;
        rl_done = 0;
        const std::unique_ptr<char, decltype(&std::free)> line(readline(prompt), &std::free);
        if (line != nullptr) {
            return {End::kLine, line.get()};
        }
        std::cout << (isInterrupted ? "^C\n" : "\n") << std::flush;
        return isInterrupted ? Line{End::kInterrupted, interruptedLine} : Line{End::kEndOfInput, ""};
    }

    void remember(const std::string& statement) override { add_history(statement.c_str()); }

private:
    std::optional<History> history_;
};

}  // namespace

std::unique_ptr<LineInput> makeEditedLines(Session& session) {
    return std::make_unique<EditedLines>(session);
}

}  // namespace Kalt::Vemo::Tool
