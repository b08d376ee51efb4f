#pragma once

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "IDatabase.h"

class Tokenizer;

namespace Kalt::Vemo::Core::Database::Filedb {

class CountedLock;
class FileResultTable;
class TableMetaData;
class TableStore;
class TableText;
struct OpenTable;
struct TablePlace;
namespace SqlText {
struct Insert;
struct Select;
}  // namespace SqlText

/// A database kept in plain text files: one directory, one file for each table, one journal.
///
/// `IDatabase` tells what each call does and who may call it when. Lifetime: the object may go at any time
/// that no call is under way; its destructor calls `deinit`. An open transaction is then left as a crash
/// would leave it, and the next `init` drops it.
///
/// What an application should know beyond `IDatabase`:
/// - Keywords are upper case, and a condition's words are set apart by blanks: `WHERE a = 1`.
/// - `executeUpdate` gives 0 also for statements that failed while they ran. Read the log.
/// - A value must not hold "~" or a line feed, and a stored line must fit in 1023 bytes; the engine
///   stores what it is given, and such a record does not read back as written. A LineCheck keeps long
///   lines out.
///
/// docs/sql.md describes the statements, docs/file-format.md the files.
class VEMO_DATABASE_EXPORT FileDatabase : public IDatabase {
public:
    /// Says whether a line of so many bytes, line feed included, may be stored. Called in the thread of the
    /// statement, under the database's lock; it must not use the database.
    using LineCheck = bool (*)(std::size_t bytes);

    /// Stores every line that INSERT and UPDATE make.
    FileDatabase();

    /// Asks `mayStore`, unless it is null, about each line that INSERT and UPDATE are about to store: when
    /// the answer is no the statement fails as a whole, with a line in the log.
    explicit FileDatabase(LineCheck mayStore);

    ~FileDatabase() override;
    FileDatabase(const FileDatabase&) = delete;
    FileDatabase& operator=(const FileDatabase&) = delete;

    bool init(const std::string& path) override;
    bool deinit() override;
    bool beginTransaction() override;
    bool commitTransaction() override;
    bool rollbackTransaction() override;
    std::int64_t getLastInsertRowid() override;
    IResultTable* executeQuery(const char* sql, ...) override;
    int executeUpdate(const char* sql, ...) override;

private:
    friend class EngineAccess;

    using Values = std::vector<std::string>;

    /// One assignment of a SET list, ready to be stored.
    struct NewValue {
        std::size_t column;
        std::string value;
    };

    /// What a select list asks for. Every "*" stands for the first `starWidth` columns.
    struct Selection {
        struct Item {
            bool isStar;
            std::size_t column;
        };
        std::vector<Item> items;
        std::size_t starWidth = 0;
    };

    // Statement intake.
    int runUpdate(const std::string& sql, va_list arguments);
    int dispatch(const std::string& statement, const Values& values);
    void dispatchChange(const std::vector<std::string>& head, Tokenizer& words, const Values& values);
    int dispatchAlter(Tokenizer& words);
    void createTableIfMissing(Tokenizer& words);
    static void populateValueVec(const std::string& sql, va_list arguments, Values& values);
    static std::string checkRemoveSemiColon(const std::string& statement);
    static std::string validateValuePlaceHolder(const std::string& holder, const Values& values,
                                                unsigned int index);

    // One handler for each statement: 0 (ALTER: 1) on success, -1 on failure, which is logged.
    int createTable(const std::string& tableName, const std::string& remainder);
    int dropTable(const std::string& tableName, const std::string& remainder);
    int alterTable(const std::string& tableName, const std::string& columnName, const std::string& type);
    int insertTable(const std::string& tableName, const std::string& sql, const Values& values);
    int updateTable(const std::string& tableName, const std::string& sql, const Values& values);
    int deleteTable(const std::string& tableName, const std::string& sql, const Values& values);

    // Steps of the handlers.
    TablePlace existingTable(const char* handler, const std::string& tableName);
    OpenTable openExistingTable(const char* handler, const TablePlace& place);
    std::string storableLine(const char* handler, const std::vector<std::string>& record) const;
    static void addColumn(const char* handler, TableMetaData& metaData, std::vector<std::string>& words);
    static std::vector<std::string> newRecord(TableMetaData& metaData, const SqlText::Insert& insert,
                                              const Values& values);
    static std::int64_t getROWID(TableText& table, std::size_t rowidColPos, int& newRowPos);
    static void checkPrimaryKey(TableMetaData& metaData, const TableText& table,
                                const std::vector<std::string>& record);
    static std::vector<NewValue> parseSetList(TableMetaData& metaData, const std::vector<std::string>& pieces,
                                              const Values& values);
    static std::vector<std::vector<std::string>> keyedRecords(const TableMetaData& metaData,
                                                              const TableText& table);

    // Queries.
    IResultTable* runQuery(const std::string& sql, va_list arguments);
    std::unique_ptr<FileResultTable> selectRows(const std::string& statement, const SqlText::Select& select,
                                                const Values& values);
    static void logResult(const FileResultTable& result);
    static Selection parseSelection(TableMetaData& metaData, const std::vector<std::string>& pieces,
                                    FileResultTable& result);

    // Transactions and the lock.
    void transactionEnded();
    void abandonTransaction();
    void lock();
    void unlock();

    LineCheck mayStore_ = nullptr;
    bool transactionActive_ = false;
    std::size_t countsBeforeTransaction_ = 0;       // of the lock, held by the thread of the transaction
    std::atomic<std::int64_t> lastInsertRowid_{0};  // read without the lock
    std::unique_ptr<TableStore> store_;
    std::unique_ptr<CountedLock> lock_;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
