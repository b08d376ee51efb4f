#pragma once

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "BoundValues.h"
#include "CountedLock.h"
#include "Statements.h"
#include "TableStore.h"

class Tokenizer;

namespace Kalt::Vemo::Core::Database {
class IResultTable;
}

namespace Kalt::Vemo::Core::Database::Filedb {

enum class Synchronous;

/// The implementation of FileDatabase: receives statements, holds the lock, sends each statement to its
/// handler and decides what the calls return. IDatabase tells what each call does.
class Engine {
public:
    Engine(Statements::LineCheck mayStore, Synchronous synchronous, std::size_t keptBytes);

    /// See EngineAccess::keepBytes.
    void keepBytes(std::size_t bytes) { store_.setKeptBytes(bytes); }

    [[nodiscard]] bool init(const std::string& path);
    void deinit();

    void beginTransaction();
    [[nodiscard]] bool commitTransaction();
    [[nodiscard]] bool rollbackTransaction();

    /// See EngineAccess::endTransaction.
    void abandonTransaction();

    std::int64_t lastInsertRowId() const { return lastInsertRowId_; }

    /// @param arguments one `const char*` for each "?" of the text
    [[nodiscard]] int update(const std::string& sql, va_list arguments);

    /// @return null on any failure
    [[nodiscard]] std::unique_ptr<IResultTable> query(const std::string& sql, va_list arguments);

private:
    int dispatch(const std::string& statement, const Values& values);
    int dispatchAlter(Tokenizer& words);
    void dispatchChange(const std::vector<std::string>& head, Tokenizer& words, const Values& values);
    void createTableIfMissing(Tokenizer& words);
    [[nodiscard]] bool isLockedOut(const char* call) const;
    [[nodiscard]] bool refuseToEndTransaction();
    void transactionEnded();
    void lock();
    void unlock();

    TableStore store_;
    Statements statements_;
    std::unique_ptr<CountedLock> lock_;  // from init to deinit
    bool transactionActive_ = false;
    std::size_t countsBeforeTransaction_ = 0;       // of the lock, held by the transaction's thread
    std::atomic<std::int64_t> lastInsertRowId_{0};  // read without the lock
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
