#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "DatabaseException.h"
#include "EngineAccess.h"
#include "FileDatabase.h"
#include "IResultTable.h"
#include "TableFormat.h"
#include "TestSupport.h"

// Databases that go through the same steps, each in a directory of its own, and what can be seen of each.
namespace Kalt::Vemo::Test {

/// What a step gave, what it logged and what it left in the directory.
struct Outcome {
    std::string result;
    std::vector<std::string> log;
    Files files;
};

inline bool operator==(const Outcome& left, const Outcome& right) {
    return left.result == right.result && left.log == right.log && left.files == right.files;
}

// Name, kind, mode, number of names and bytes of every file.
inline Files snapshot(const std::string& directory) {
    Files result;
    for (const std::string& name : listDirectory(directory)) {
        const std::string path = directory + "/" + name;
        struct stat status {};
        EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
        std::string text = std::to_string(status.st_mode) + " " + std::to_string(status.st_nlink) + "\n";
        if (S_ISLNK(status.st_mode)) {
            text += std::filesystem::read_symlink(path).string();
        } else {
            text += readFile(path);
        }
        result[name] = std::move(text);
    }
    return result;
}

inline std::string firstDifference(const Outcome& expected, const Outcome& actual) {
    const auto differ = [](const std::string& what, const std::string& one, const std::string& other) {
        return what + ":\n  expected " + ::testing::PrintToString(one) + "\n  actual   " +
               ::testing::PrintToString(other);
    };
    if (expected.result != actual.result) {
        return differ("result", expected.result, actual.result);
    }
    for (std::size_t i = 0; i < std::max(expected.log.size(), actual.log.size()); ++i) {
        const std::string one = i < expected.log.size() ? expected.log[i] : "(the end)";
        const std::string other = i < actual.log.size() ? actual.log[i] : "(the end)";
        if (one != other) {
            return differ("line " + std::to_string(i) + " of the log, after \"" +
                              (i > 0 ? expected.log[i - 1] : "") + "\"",
                          one, other);
        }
    }
    Files all = expected.files;
    all.insert(actual.files.begin(), actual.files.end());
    for (const auto& [name, bytes] : all) {
        const auto one = expected.files.find(name);
        const auto other = actual.files.find(name);
        const std::string none = "(no file)";
        const std::string& oneBytes = one == expected.files.end() ? none : one->second;
        const std::string& otherBytes = other == actual.files.end() ? none : other->second;
        if (oneBytes != otherBytes) {
            return differ("file " + name, oneBytes, otherBytes);
        }
    }
    return "none";
}

/// The values for the "?" of a statement; none: a null pointer.
using Values = std::vector<std::optional<std::string>>;

/// One database of those that are compared, in a directory of its own.
class Side {
public:
    using FileDatabase = Core::Database::Filedb::FileDatabase;
    using Synchronous = Core::Database::Filedb::Synchronous;

    struct Options {
        std::string name;
        std::optional<std::size_t> keptBytes;  ///< none: the bound that the library is built with
        /// Whether every statement outside of a transaction meets an object that was just made: nothing that
        /// was remembered can be used.
        bool isFresh = false;
    };

    Side(Options options, const std::string& path, FileDatabase::LineCheck check, Synchronous level,
         LogCapture& log)
        : options_(std::move(options)), path_(path), check_(check), level_(level), log_(log) {
        open();
    }

    const std::string& name() const { return options_.name; }
    std::string directory() const { return path_ + Core::Database::Filedb::kDirectorySuffix; }
    bool inTransaction() const { return inTransaction_; }

    /// What a step does to this side: what it gives and logs, and how the files are then.
    Outcome observe(const std::function<std::string(Side&)>& step) {
        if (options_.isFresh && !inTransaction_) {
            open();
        }
        const std::unique_ptr<IResultTable> waiting = std::move(waiting_);
        log_.clear();
        Outcome outcome;
        outcome.result = step(*this);
        if (waiting != nullptr) {
            outcome.result += "the rows of before:\n" + rows(*waiting);
        }
        for (const LoggedMessage& message : log_.messages()) {
            outcome.log.push_back(std::to_string(message.module) + " " + std::to_string(message.level) + " " +
                                  message.tag + ": " + withoutDirectory(message.text));
        }
        outcome.files = snapshot(directory());
        return outcome;
    }

    std::string update(const std::string& sql, const Values& values) {
        const auto v = [&](std::size_t i) { return argument(values, i); };
        const int result = database_->executeUpdate(sql.c_str(), v(0), v(1), v(2), v(3), v(4), v(5));
        std::string text = std::to_string(result) + "\n";
        // An object that was just made does not know the id of an earlier INSERT.
        if (sql.rfind("INSERT", 0) == 0 && !log_.hasPart("Exception")) {
            text += std::to_string(database_->getLastInsertRowid()) + "\n";
        }
        return text;
    }

    /// @param isReadLater whether the rows are read after the next step
    std::string query(const std::string& sql, const Values& values, bool isReadLater) {
        const auto v = [&](std::size_t i) { return argument(values, i); };
        std::unique_ptr<IResultTable> result(
            database_->executeQuery(sql.c_str(), v(0), v(1), v(2), v(3), v(4), v(5)));
        if (result == nullptr) {
            return "no result\n";
        }
        if (isReadLater) {
            waiting_ = std::move(result);
            return "a result\n";
        }
        return rows(*result);
    }

    std::string begin() {
        inTransaction_ = true;
        return database_->beginTransaction() ? "done" : "refused";
    }

    std::string end(bool commits) {
        const bool isDone = commits ? database_->commitTransaction() : database_->rollbackTransaction();
        inTransaction_ = inTransaction_ && !isDone;
        return isDone ? "done" : "refused";
    }

    /// Closes and opens the database: the same object, or a new one.
    std::string reopen(bool anew) {
        if (anew) {
            return open();
        }
        inTransaction_ = false;
        const bool isClosed = database_->deinit();
        return std::string(isClosed ? "closed, " : "not closed, ") +
               (database_->init(path_) ? "open" : "not open");
    }

private:
    using IResultTable = Core::Database::IResultTable;

    std::string open() {
        inTransaction_ = false;
        database_ = nullptr;  // it keeps others out
        database_ = std::make_unique<FileDatabase>(check_, level_);
        if (options_.keptBytes) {
            Core::Database::Filedb::EngineAccess::keepBytes(*database_, *options_.keptBytes);
        }
        return database_->init(path_) ? "open" : "not open";
    }

    static const char* argument(const Values& values, std::size_t index) {
        return index < values.size() && values[index] ? values[index]->c_str() : nullptr;
    }

    static std::string rows(IResultTable& result) {
        std::string text = std::to_string(result.getCount()) + " rows\n";
        int width = 100;
        while (result.next()) {
            for (int column = 1; column <= width; ++column) {
                try {
                    text += result.getString(column) + (result.wasNull() ? " (NULL)|" : "|");
                } catch (const Core::Database::DatabaseException&) {
                    width = column - 1;
                }
            }
            text += "\n";
        }
        return text;
    }

    std::string withoutDirectory(std::string text) const {
        const std::string name = directory();
        for (std::size_t found = text.find(name); found != std::string::npos;
             found = text.find(name, found)) {
            text.replace(found, name.size(), "DIRECTORY");
        }
        return text;
    }

    Options options_;
    std::string path_;
    FileDatabase::LineCheck check_;
    Synchronous level_;
    LogCapture& log_;
    std::unique_ptr<FileDatabase> database_;
    std::unique_ptr<IResultTable> waiting_;
    bool inTransaction_ = false;
};

}  // namespace Kalt::Vemo::Test
