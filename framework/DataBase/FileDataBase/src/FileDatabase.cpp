#include "FileDatabase.h"

#include <cstdarg>
#include <cstddef>

#include "Engine.h"
#include "EngineAccess.h"
#include "EngineLog.h"
#include "IResultTable.h"

#ifndef VEMO_SYNCHRONOUS
#define VEMO_SYNCHRONOUS full
#endif

#ifndef VEMO_KEPT_BYTES
#define VEMO_KEPT_BYTES 1048576
#endif

namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

constexpr const char* kLogTag = "FileDatabase";

// One of the three words: off, normal, full.
constexpr Synchronous kDefaultLevel = Synchronous::VEMO_SYNCHRONOUS;

constexpr std::size_t kKeptBytes = VEMO_KEPT_BYTES;

}  // namespace

FileDatabase::FileDatabase() : FileDatabase(LineCheck{}) {}

FileDatabase::FileDatabase(LineCheck mayStore) : FileDatabase(mayStore, kDefaultLevel) {}

FileDatabase::FileDatabase(Synchronous synchronous) : FileDatabase(nullptr, synchronous) {}

FileDatabase::FileDatabase(LineCheck mayStore, Synchronous synchronous)
    : engine_(std::make_unique<Engine>(mayStore, synchronous, kKeptBytes)) {}

FileDatabase::~FileDatabase() {
    static_cast<void>(FileDatabase::deinit());
}

bool FileDatabase::init(const std::string& path) {
    return engine_->init(path);
}

bool FileDatabase::deinit() {
    engine_->deinit();
    return true;
}

bool FileDatabase::beginTransaction() {
    engine_->beginTransaction();
    return true;
}

bool FileDatabase::commitTransaction() {
    return engine_->commitTransaction();
}

bool FileDatabase::rollbackTransaction() {
    return engine_->rollbackTransaction();
}

std::int64_t FileDatabase::getLastInsertRowid() {
    const std::int64_t rowId = engine_->lastInsertRowId();
    FILEDB_LOG(kLogInfo, "getLastInsertRowid: %lld", static_cast<long long>(rowId));
    return rowId;
}

int FileDatabase::executeUpdate(const char* sql, ...) {
    if (sql == nullptr) {
        FILEDB_LOG(kLogError, "%s", "executeUpdate: the statement text is a null pointer; pass SQL text");
        return 1;
    }
    va_list arguments;
    va_start(arguments, sql);
    const int result = engine_->update(sql, arguments);
    va_end(arguments);
    return result;
}

IResultTable* FileDatabase::executeQuery(const char* sql, ...) {
    if (sql == nullptr) {
        FILEDB_LOG(kLogError, "%s", "executeQuery: the statement text is a null pointer; pass SQL text");
        return nullptr;
    }
    va_list arguments;
    va_start(arguments, sql);
    std::unique_ptr<IResultTable> result = engine_->query(sql, arguments);
    va_end(arguments);
    return result.release();
}

Synchronous EngineAccess::defaultSynchronous() {
    return kDefaultLevel;
}

void EngineAccess::keepBytes(IDatabase& database, std::size_t bytes) {
    static_cast<FileDatabase&>(database).engine_->keepBytes(bytes);
}

void EngineAccess::endTransaction(IDatabase& database) {
    static_cast<FileDatabase&>(database).engine_->abandonTransaction();
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
