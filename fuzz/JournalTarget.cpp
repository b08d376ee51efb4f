// Working copies, tables and a journal of any bytes, through the opening of the database.
//
// The input is the files, see databaseFilesOf. What an opening leaves is told by the journal alone, and is
// the same at every level; a second one changes nothing.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "FileDatabase.h"
#include "FuzzDirectory.h"
#include "FuzzInput.h"
#include "IResultTable.h"
#include "PlainTable.h"

namespace Kalt::Vemo::Fuzz {
namespace {

using Core::Database::Filedb::FileDatabase;
using Core::Database::Filedb::Synchronous;

constexpr const char* kJournal = "master_rollback";
constexpr const char* kAtRest = "0\n";

// What an opening is to make of the files.
struct Expected {
    bool isOpen = true;
    Files files;
};

using Codes = std::map<std::string, signed char>;

Codes codesIn(const std::string& journal) {
    Codes codes;
    bool isState = true;
    for (const Fields& line : plainLines(journal)) {
        if (isState) {
            isState = !line.empty() && line[0] == "1";
        } else if (line.size() == 2) {
            codes.try_emplace(line[1], static_cast<signed char>(std::strtoll(line[0].c_str(), nullptr, 10)));
        }
    }
    return codes;
}

// The file that a name leads to: "./t" is "t".
std::string fileOf(std::string table, const char* suffix) {
    table += suffix;
    while (table.rfind("./", 0) == 0 || table.rfind('/', 0) == 0) {
        table.erase(0, table.front() == '/' ? 1 : 2);
    }
    return table;
}

// What a copy-over writes: pieces of lines, each up to its first NUL byte.
std::string copyOf(std::string_view text) {
    constexpr std::size_t kLongestPiece = 1022;
    std::string result;
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, std::min(text.find('\n'), kLongestPiece - 1) + 1);
        result += piece.substr(0, piece.find('\0'));
        text.remove_prefix(piece.size());
    }
    return result;
}

// Copying over happens for each name. A replacement is done for all names of a working copy at the first one.
Expected expectedOf(const Files& before, Synchronous level) {
    std::set<std::string> done;
    Expected expected{true, before};
    Files& files = expected.files;
    const auto journal = before.find(kJournal);
    const Codes codes = journal == before.end() ? Codes() : codesIn(journal->second);
    for (const auto& [table, code] : codes) {
        const std::string copy = fileOf(table, ".backup");
        if (code == 5) {
            files.erase(fileOf(table, ".table"));
        } else if (code >= 1 && code <= 4 && files.count(copy) == 0) {
            expected.isOpen = false;
            return expected;
        } else if (code >= 1 && code <= 4 && (level == Synchronous::off || done.insert(copy).second)) {
            files[fileOf(table, ".table")] = copyOf(files[copy]);
        }
    }
    for (const auto& [table, code] : codes) {
        files.erase(fileOf(table, ".backup"));
    }
    files[kJournal] = kAtRest;
    return expected;
}

class Opening {
public:
    Opening(const std::string& base, Synchronous level, const Files& before)
        : base_(base),
          directory_(base + "_filedb"),
          level_(level),
          before_(before),
          expected_(expectedOf(before, level)) {}

    void run() const {
        putFiles(directory_, before_);
        open(expected_.isOpen);
        const Files after = filesOf(directory_);
        if (!expected_.isOpen) {
            requireNothingNew(after);
            return;
        }
        if (after != expected_.files) {
            fail("init leaves" + shown(after) + "\n  in the place of" + shown(expected_.files));
        }
        open(true);
        if (filesOf(directory_) != after) {
            fail("a second init has changed the files");
        }
    }

private:
    [[noreturn]] void fail(const std::string& what) const {
        finding(what + "\n  at level " + (level_ == Synchronous::off ? "off" : "full") + " of the files" +
                shown(before_));
    }

    void open(bool isExpected) const {
        FileDatabase database(level_);
        if (database.init(base_) != isExpected) {
            fail(isExpected ? "init is false" : "init is true");
        }
        const std::unique_ptr<Core::Database::IResultTable> rows(database.executeQuery("SELECT * FROM t;"));
    }

    // Which tables were done before the missing working copy was met depends on the level.
    void requireNothingNew(const Files& after) const {
        for (const auto& [name, content] : after) {
            const auto was = before_.find(name);
            const auto copy = before_.find(name.substr(0, name.find('.')) + ".backup");
            const bool isOld = was != before_.end() && was->second == content;
            const bool isCopied = copy != before_.end() && copyOf(copy->second) == content;
            if (name != kJournal && !isOld && !isCopied) {
                fail("an init that fails leaves what never was," + shown(after));
            }
        }
    }

    const std::string base_;
    const std::string directory_;
    const Synchronous level_;
    const Files& before_;
    const Expected expected_;
};

}  // namespace
}  // namespace Kalt::Vemo::Fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Kalt::Vemo::Fuzz;
    using Kalt::Vemo::Core::Database::Filedb::Synchronous;
    const std::string_view input = textOf(data, size);
    if (leadsElsewhere(input)) {
        return -1;
    }
    silenceLog();
    const std::string base = FuzzDirectory::emptied().path() + "/db";
    const Files files = databaseFilesOf(input);
    Opening(base, Synchronous::off, files).run();
    Opening(base, Synchronous::full, files).run();
    return 0;
}
