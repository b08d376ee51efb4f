// A table file of any bytes, through every kind of statement that reads or changes rows.
//
// The input's first byte chooses the statement, the rest is the file. What a query gives and what a change
// leaves is compared with PlainTable.
//
//     q   queries with a condition
//     r   a DELETE that matches no record
//     i   an INSERT
//     u   an UPDATE of a column
//     d   a DELETE with a condition on a column
//
// - the query of all columns, which every input makes, gives the cells of every record, or nothing at all
// when a
//   record has too few;
// - a change that changes no record writes every record as it was read;
// - INSERT adds one record, and the others stay as they were read;
// - DELETE leaves a part of the records, in their order;
// - UPDATE leaves every record, in its order, changed in the one column at most;
// - a refused change leaves the bytes alone.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>

#include "DatabaseException.h"
#include "FileDatabase.h"
#include "FuzzDirectory.h"
#include "FuzzInput.h"
#include "IResultTable.h"
#include "PlainTable.h"
#include "StringConversion.h"

namespace Kalt::Vemo::Fuzz {
namespace {

using Core::Database::DatabaseException;
using Core::Database::IResultTable;
using Core::Database::Filedb::FileDatabase;
using Core::Database::Filedb::Synchronous;
using Rows = std::unique_ptr<IResultTable>;

constexpr const char* kInserted = "7";
constexpr std::size_t kMostValues = 4;

// What the engine stores for kInserted: TEXT is what is neither REAL nor INTEGER.
std::string insertedForm(long flag) {
    return (flag & 3) != 0 ? kInserted : std::string("'") + kInserted + "'";
}

bool isName(const std::string& text) {
    const auto isLetter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; };
    return !text.empty() && isLetter(text.front()) && std::all_of(text.begin(), text.end(), [&](char c) {
        return isLetter(c) || (c >= '0' && c <= '9');
    });
}

class Run {
public:
    Run(std::string directory, std::string content)
        : directory_(std::move(directory)), content_(std::move(content)), before_(content_) {
        const auto name =
            std::find_if(before_.names.begin(), before_.names.end(), [](auto& text) { return isName(text); });
        column_ = static_cast<std::size_t>(name - before_.names.begin());
        hasColumn_ = name != before_.names.end();
        name_ = hasColumn_ ? *name : "none";
        value_ = "7";
        for (const Fields& record : before_.records) {
            if (column_ < record.size()) {
                value_ = plainCell(record[column_]);
            }
        }
        putFiles(directory_, {{"t.table", content_}});
        require(database_.init(directory_.substr(0, directory_.rfind('_'))), "init is false");
    }

    void run(char statement) {
        queryAll();
        switch (statement) {
            case 'q':
                query("SELECT " + name_ + ", ROWID FROM t WHERE " + name_ + " >= '?';");
                query("SELECT ROWID, * FROM t WHERE " + name_ + " LIKE '?' OR ROWID < 3;");
                require(isUnchanged(), "a query has changed the file");
                break;
            case 'r':
                rewrite();
                break;
            case 'i':
                insert();
                break;
            case 'u':
                update();
                break;
            default:
                remove();
                break;
        }
        require(database_.deinit(), "deinit is false");
    }

private:
    std::string fileNow() const { return contentOf(directory_ + "/t.table"); }

    [[noreturn]] void fail(const std::string& what) const {
        finding(what + "\n  before " + shown(content_) + "\n  after  " + shown(fileNow()));
    }

    void queryAll() {
        const Rows rows(database_.executeQuery("SELECT * FROM t;"));
        const std::size_t width = before_.width();
        const bool isPossible =
            before_.isUsable && std::all_of(before_.records.begin(), before_.records.end(),
                                            [&](const Fields& record) { return record.size() >= width; });
        if ((rows != nullptr) != isPossible) {
            fail("SELECT * gives an unexpected error, or none");
        }
        if (rows == nullptr) {
            return;
        }
        if (rows->getCount() != static_cast<int>(before_.records.size())) {
            fail("SELECT * gives another number of rows");
        }
        for (const Fields& record : before_.records) {
            if (!rows->next()) {
                fail("SELECT * gives fewer rows than it counts");
            }
            for (std::size_t column = 0; column < width; ++column) {
                const std::string cell = rows->getString(static_cast<int>(column) + 1);
                if (cell != plainCell(record[column]) || rows->wasNull() != (record[column] == "NULL")) {
                    fail("SELECT * gives another cell, " + shown(cell));
                }
            }
        }
    }

    void query(const std::string& sql) {
        const Rows rows(database_.executeQuery(sql.c_str(), value_.c_str()));
        while (rows != nullptr && rows->next()) {
            for (int column = 0; column <= 3; ++column) {
                readCell(*rows, column);
            }
        }
    }

    // Which getters take which cell is not looked at here.
    static void readCell(IResultTable& rows, int column) {
        try {
            static_cast<void>(rows.getByte(column));
            static_cast<void>(rows.getShort(column));
            static_cast<void>(rows.getInt(column));
            static_cast<void>(rows.getLong(column));
            static_cast<void>(rows.getDouble(column));
            static_cast<void>(rows.getBoolean(column));
        } catch (const DatabaseException&) {
        }
    }

    // The table after a change.
    template <typename... Values>
    PlainTable change(const std::string& sql, Values... values) {
        static_cast<void>(database_.executeUpdate(sql.c_str(), values...));
        const Files files = filesOf(directory_);
        if (files.size() != 2 || files.at("master_rollback") != "0\n") {
            finding(sql + " leaves more than the table and a journal at rest:" + shown(files));
        }
        return PlainTable(files.at("t.table"));
    }

    bool isUnchanged() const { return fileNow() == content_; }

    void rewrite() {
        static_cast<void>(change("DELETE FROM t WHERE 0 = 1;"));
        if (fileNow() != (before_.isUsable ? before_.text() : content_)) {
            fail("a DELETE that matches no record has changed one");
        }
    }

    void insert() {
        std::string list;
        std::string values;
        Fields record(before_.width(), "NULL");
        for (std::size_t column = 0; column < std::min(before_.width(), kMostValues); ++column) {
            if (isName(before_.names[column]) && column < before_.flags.size()) {
                list += (list.empty() ? "" : ",") + before_.names[column];
                values += values.empty() ? "'?'" : ",'?'";
                // Of columns with the same name the first one takes the value.
                const auto first =
                    std::find(before_.names.begin(), before_.names.end(), before_.names[column]);
                const auto target = static_cast<std::size_t>(first - before_.names.begin());
                record[target] = insertedForm(before_.flagOf(target));
            }
        }
        static_cast<void>(change("INSERT INTO t (" + list + ") VALUES (" + values + ");", kInserted,
                                 kInserted, kInserted, kInserted));
        if (isUnchanged()) {
            return;
        }
        PlainTable expected = before_;
        std::size_t position = before_.records.size();
        if (!before_.hasAlias) {
            record.push_back(nextRowId(position));
        }
        expected.records.insert(expected.records.begin() + static_cast<std::ptrdiff_t>(position), record);
        if (fileNow() != expected.text()) {
            fail("INSERT gives another table than " + shown(expected.text()));
        }
    }

    // The next row's id, and its place when that is not the end.
    std::string nextRowId(std::size_t& position) const {
        const auto idOf = [&](std::size_t row) {
            return Platform::StringConversion::stringTouint64(before_.records[row].at(before_.width()));
        };
        std::uint64_t id = before_.records.empty() ? 1 : idOf(before_.records.size() - 1) + 1;
        if (id == static_cast<std::uint64_t>(INT64_MAX) + 1) {
            position = 0;
            for (id = 1; position < before_.records.size() && idOf(position) == id; ++id) {
                ++position;
            }
        }
        return std::to_string(static_cast<std::int64_t>(id));
    }

    void update() {
        const PlainTable after =
            change("UPDATE t SET " + name_ + " = '?' WHERE " + name_ + " <= '?';", kInserted, value_.c_str());
        if (isUnchanged()) {
            return;
        }
        bool isExpected = hasColumn_ && after.records.size() == before_.records.size() &&
                          after.names == before_.names && after.flags == before_.flags &&
                          after.key == before_.key;
        for (std::size_t row = 0; isExpected && row < after.records.size(); ++row) {
            Fields changed = before_.records[row];
            if (column_ < changed.size()) {
                changed[column_] = after.records[row].at(column_);
                isExpected = changed[column_] == before_.records[row][column_] ||
                             plainCell(changed[column_]) == kInserted;
            }
            isExpected = isExpected && after.records[row] == changed;
        }
        if (!isExpected) {
            fail("UPDATE has changed more than its column");
        }
    }

    void remove() {
        const PlainTable after = change("DELETE FROM t WHERE " + name_ + " != '?';", value_.c_str());
        auto rest = before_.records.begin();
        for (const Fields& record : after.records) {
            rest = std::find(rest, before_.records.end(), record);
            if (rest == before_.records.end()) {
                fail("DELETE has changed a record that it leaves");
            }
            ++rest;
        }
    }

    const std::string directory_;
    const std::string content_;
    const PlainTable before_;
    FileDatabase database_{[](std::size_t bytes) { return bytes <= 1023; }, Synchronous::off};
    std::string name_;  // of a column that statements can name
    std::string value_;
    std::size_t column_ = 0;
    bool hasColumn_ = false;
};

}  // namespace
}  // namespace Kalt::Vemo::Fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Kalt::Vemo::Fuzz;
    const std::string input(textOf(data, size));
    if (input.empty()) {
        return -1;
    }
    silenceLog();
    const std::string directory = FuzzDirectory::emptied().path() + "/db_filedb";
    Run(directory, input.substr(1)).run(input.front());
    return 0;
}
