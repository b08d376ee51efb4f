#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "EngineAccess.h"
#include "FileDatabase.h"
#include "IResultTable.h"
#include "TableFormat.h"
#include "TestSupport.h"

namespace Kalt::Vemo::Test {

/// A database in a directory of its own, with the log captured. Reads like a script: open, exec, query,
/// reopen.
class DatabaseTest : public ::testing::Test {
protected:
    using FileDatabase = Core::Database::Filedb::FileDatabase;
    using Result = std::unique_ptr<Core::Database::IResultTable>;

    using Synchronous = Core::Database::Filedb::Synchronous;

    /// From now on databases have this level, instead of the one that the library is built with.
    void useLevel(Synchronous level) {
        level_ = level;
        database = std::make_unique<FileDatabase>(level_);
    }
    Synchronous level() const { return level_; }

    /// Opens the database; the files live in directory().
    void open() { ASSERT_TRUE(database->init(path())) << log.dump(); }

    /// Closes the database as a clean stop would, and opens it again.
    void reopen() {
        database = std::make_unique<FileDatabase>(level_);
        open();
    }

    template <typename... Values>
    int exec(const char* sql, Values... values) {
        return database->executeUpdate(sql, values...);
    }

    template <typename... Values>
    Result query(const char* sql, Values... values) {
        return Result(database->executeQuery(sql, values...));
    }

    std::string path() const { return temporary.file("db"); }
    std::string directory() const { return path() + Core::Database::Filedb::kDirectorySuffix; }
    std::string tableFile(const std::string& table) const {
        return directory() + "/" + table + Core::Database::Filedb::kTableSuffix;
    }
    std::string backupFile(const std::string& table) const {
        return directory() + "/" + table + Core::Database::Filedb::kBackupSuffix;
    }
    std::string journalFile() const { return directory() + "/" + Core::Database::Filedb::kJournalName; }

    std::string table(const std::string& name) const { return readFile(tableFile(name)); }
    std::string backup(const std::string& name) const { return readFile(backupFile(name)); }
    std::string journal() const { return readFile(journalFile()); }

    TemporaryDirectory temporary;
    LogCapture log;
    std::unique_ptr<FileDatabase> database = std::make_unique<FileDatabase>();

private:
    Synchronous level_ = Core::Database::Filedb::EngineAccess::defaultSynchronous();
};

/// The names of test cases for each level.
inline std::string levelName(const ::testing::TestParamInfo<Core::Database::Filedb::Synchronous>& level) {
    constexpr const char* kNames[] = {"off", "normal", "full"};
    return kNames[static_cast<int>(level.param)];
}

}  // namespace Kalt::Vemo::Test
