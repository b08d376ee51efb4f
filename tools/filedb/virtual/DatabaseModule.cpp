#include "virtual/DatabaseModule.h"

#include <exception>
#include <new>
#include <utility>

#include "console/ExitStatus.h"
#include "sql/SqlLexer.h"

namespace Kalt::Vemo::Tool {

namespace {

// SQLite hands its own structures back, which stand at the start of these.
struct Table : sqlite3_vtab {
    sqlite3* database;
    std::unique_ptr<VirtualTable> table;
};
struct OpenCursor : sqlite3_vtab_cursor {
    std::unique_ptr<Cursor> cursor;
};

Table& tableOf(sqlite3_vtab* table) {
    return *static_cast<Table*>(table);
}
VirtualTable& virtualTableOf(sqlite3_vtab* table) {
    return *tableOf(table).table;
}
Cursor& cursorOf(sqlite3_vtab_cursor* cursor) {
    return *static_cast<OpenCursor*>(cursor)->cursor;
}

void setError(char*& place, const char* text) {
    sqlite3_free(place);
    place = sqlite3_mprintf("%s", text);
}

// No exception may reach SQLite.
template <typename Action>
int guarded(char*& error, Action action) noexcept {
    try {
        action();
        return SQLITE_OK;
    } catch (const std::bad_alloc&) {
        return SQLITE_NOMEM;
    } catch (const std::exception& exception) {
        setError(error, exception.what());
        return SQLITE_ERROR;
    }
}

enum Plan : int { kAllRows, kOneRow };

// ---- Tables

int connect(sqlite3* database, void* data, int count, const char* const* words, sqlite3_vtab** result,
            char** error) {
    // Before the arguments stand the names of the module, of the schema and of the table.
    constexpr int kFirstArgument = 3;
    return guarded(*error, [&] {
        const std::vector<std::string> arguments(words + std::min(kFirstArgument, count), words + count);
        auto table = std::make_unique<Table>();
        table->database = database;
        table->table = (*static_cast<DatabaseModule::Connect*>(data))(database, arguments);
        if (sqlite3_declare_vtab(database, table->table->declaration().c_str()) != SQLITE_OK) {
            throw Failure(sqlite3_errmsg(database));
        }
        *result = table.release();
    });
}

int disconnect(sqlite3_vtab* table) {
    delete &tableOf(table);
    return SQLITE_OK;
}

// An equality on the ROWID, or on the key that stands in for it, is handed down; SQLite looks at it again.
int bestIndex(sqlite3_vtab* table, sqlite3_index_info* info) {
    constexpr double kCostOfAll = 1e5;
    info->idxNum = kAllRows;
    info->estimatedCost = kCostOfAll;
    info->estimatedRows = static_cast<sqlite3_int64>(kCostOfAll);
    for (int i = 0; i < info->nConstraint; ++i) {
        const auto& constraint = info->aConstraint[i];
        if (constraint.usable != 0 && constraint.op == SQLITE_INDEX_CONSTRAINT_EQ &&
            virtualTableOf(table).isRowId(constraint.iColumn)) {
            info->aConstraintUsage[i].argvIndex = 1;
            info->idxNum = kOneRow;
            info->estimatedCost = 1;
            info->estimatedRows = 1;
            break;
        }
    }
    return SQLITE_OK;
}

// ---- Cursors

int open(sqlite3_vtab* table, sqlite3_vtab_cursor** result) {
    return guarded(table->zErrMsg, [&] {
        auto cursor = std::make_unique<OpenCursor>();
        cursor->cursor = std::make_unique<Cursor>(virtualTableOf(table));
        *result = cursor.release();
    });
}

int close(sqlite3_vtab_cursor* cursor) {
    delete static_cast<OpenCursor*>(cursor);
    return SQLITE_OK;
}

int filter(sqlite3_vtab_cursor* cursor, int plan, const char* /*name*/, int /*count*/,
           sqlite3_value** arguments) {
    return guarded(cursor->pVtab->zErrMsg, [&] {
        if (plan == kOneRow && sqlite3_value_type(arguments[0]) == SQLITE_INTEGER) {
            cursorOf(cursor).readRow(static_cast<std::uint64_t>(sqlite3_value_int64(arguments[0])));
        } else {
            cursorOf(cursor).readAll();
        }
    });
}

int next(sqlite3_vtab_cursor* cursor) {
    cursorOf(cursor).next();
    return SQLITE_OK;
}

int isAtEnd(sqlite3_vtab_cursor* cursor) {
    return cursorOf(cursor).isAtEnd() ? 1 : 0;
}

int column(sqlite3_vtab_cursor* cursor, sqlite3_context* context, int declared) {
    if (sqlite3_vtab_nochange(context) != 0) {
        return SQLITE_OK;  // an UPDATE leaves it alone
    }
    const SqlValue& value = cursorOf(cursor).value(declared);
    if (const auto* const whole = std::get_if<std::int64_t>(&value)) {
        sqlite3_result_int64(context, *whole);
    } else if (const auto* const real = std::get_if<double>(&value)) {
        sqlite3_result_double(context, *real);
    } else if (const auto* const text = std::get_if<std::string>(&value)) {
        sqlite3_result_text64(context, text->data(), text->size(), SQLITE_TRANSIENT, SQLITE_UTF8);
    } else {
        sqlite3_result_null(context);
    }
    return SQLITE_OK;
}

int rowId(sqlite3_vtab_cursor* cursor, sqlite3_int64* result) {
    *result = static_cast<sqlite3_int64>(cursorOf(cursor).rowId());
    return SQLITE_OK;
}

// ---- Changes

int update(sqlite3_vtab* table, int count, sqlite3_value** arguments, sqlite3_int64* newRowId) {
    return guarded(table->zErrMsg, [&] {
        VirtualTable& changed = virtualTableOf(table);
        try {
            changed.change(tableOf(table).database, count, arguments, *newRowId);
        } catch (const Failure& error) {
            changed.space().failed(error.what());
        }
    });
}

int begin(sqlite3_vtab* table) {
    return guarded(table->zErrMsg,
                   [&] { virtualTableOf(table).space().begin(virtualTableOf(table).schema()); });
}

// The last step that can fail, so it is the commit.
int sync(sqlite3_vtab* table) {
    return guarded(table->zErrMsg, [&] { virtualTableOf(table).space().commit(); });
}

int commit(sqlite3_vtab* table) {
    virtualTableOf(table).space().end();
    return SQLITE_OK;
}

int rollback(sqlite3_vtab* table) {
    return guarded(table->zErrMsg, [&] {
        virtualTableOf(table).space().rollback();
        virtualTableOf(table).space().end();
    });
}

int savepoint(sqlite3_vtab* table, int number) {
    return guarded(table->zErrMsg, [&] { virtualTableOf(table).space().setSavepoint(number); });
}

int release(sqlite3_vtab* table, int number) {
    return guarded(table->zErrMsg, [&] { virtualTableOf(table).space().release(number); });
}

int rollbackTo(sqlite3_vtab* table, int number) {
    return guarded(table->zErrMsg, [&] { virtualTableOf(table).space().rollbackTo(number); });
}

int rename(sqlite3_vtab* table, const char* /*name*/) {
    setError(table->zErrMsg, "the engine cannot rename a table; create a new one and copy the rows");
    return SQLITE_ERROR;
}

sqlite3_module module() {
    sqlite3_module result{};
    result.iVersion = 2;
    result.xCreate = connect;
    result.xConnect = connect;
    result.xBestIndex = bestIndex;
    result.xDisconnect = disconnect;
    result.xDestroy = disconnect;
    result.xOpen = open;
    result.xClose = close;
    result.xFilter = filter;
    result.xNext = next;
    result.xEof = isAtEnd;
    result.xColumn = column;
    result.xRowid = rowId;
    result.xUpdate = update;
    result.xBegin = begin;
    result.xSync = sync;
    result.xCommit = commit;
    result.xRollback = rollback;
    result.xRename = rename;
    result.xSavepoint = savepoint;
    result.xRelease = release;
    result.xRollbackTo = rollbackTo;
    return result;
}

}  // namespace

int DatabaseModule::add(sqlite3* database, const char* name, Connect connect) {
    static const sqlite3_module kModule = module();
    return sqlite3_create_module_v2(database, name, &kModule, new Connect(std::move(connect)),
                                    [](void* data) { delete static_cast<Connect*>(data); });
}

bool DatabaseModule::isSqlitesOwn(const std::string& table) {
    return upperCase(table).rfind("SQLITE_", 0) == 0;
}

}  // namespace Kalt::Vemo::Tool
