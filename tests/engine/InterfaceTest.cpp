// The layout of the two public interfaces, which programs built against an earlier library rely on, and the
// way in which failures of the engine reach the log.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "DatabaseException.h"
#include "DatabaseTest.h"
#include "IDatabase.h"
#include "IResultTable.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::IDatabase;
using Core::Database::IResultTable;
using Label = const std::string&;

static_assert(std::is_abstract_v<IDatabase> && std::has_virtual_destructor_v<IDatabase>);
static_assert(std::is_abstract_v<IResultTable> && std::has_virtual_destructor_v<IResultTable>);
static_assert(std::is_base_of_v<IDatabase, Core::Database::Filedb::FileDatabase>);
static_assert(sizeof(IDatabase) == sizeof(void*) && sizeof(IResultTable) == sizeof(void*), "no data");

/// Offset of a virtual function in the table of its class, give or take a constant.
template <typename Method>
std::ptrdiff_t slot(Method method) {
    std::ptrdiff_t offset = 0;
    static_assert(sizeof(method) >= sizeof(offset));
    std::memcpy(&offset, &method, sizeof(offset));
    return offset / static_cast<std::ptrdiff_t>(sizeof(void*));
}

void expectConsecutive(const std::vector<std::ptrdiff_t>& slots) {
    // The destructor takes the first two places.
    for (std::size_t i = 0; i < slots.size(); ++i) {
        EXPECT_EQ(slots[i], static_cast<std::ptrdiff_t>(i) + 2) << "operation " << i;
    }
}

TEST(InterfaceTest, OperationsOfTheDatabaseKeepTheirPlaces) {
    expectConsecutive({slot(&IDatabase::init), slot(&IDatabase::deinit), slot(&IDatabase::beginTransaction),
                       slot(&IDatabase::commitTransaction), slot(&IDatabase::rollbackTransaction),
                       slot(&IDatabase::getLastInsertRowid), slot(&IDatabase::executeQuery),
                       slot(&IDatabase::executeUpdate)});
}

template <typename Result>
std::ptrdiff_t byIndex(Result (IResultTable::*method)(int)) {
    return slot(method);
}

template <typename Result>
std::ptrdiff_t byLabel(Result (IResultTable::*method)(Label)) {
    return slot(method);
}

TEST(InterfaceTest, OperationsOfTheResultTableKeepTheirPlacesAndTypes) {
    expectConsecutive({
        slot<int (IResultTable::*)()>(&IResultTable::getCount),
        slot<bool (IResultTable::*)()>(&IResultTable::next),
        slot<bool (IResultTable::*)()>(&IResultTable::wasNull),
        byIndex<std::string>(&IResultTable::getString),
        byLabel<std::string>(&IResultTable::getString),
        byIndex<bool>(&IResultTable::getBoolean),
        byLabel<bool>(&IResultTable::getBoolean),
        byIndex<signed char>(&IResultTable::getByte),
        byLabel<signed char>(&IResultTable::getByte),
        byIndex<short>(&IResultTable::getShort),
        byLabel<short>(&IResultTable::getShort),
        byIndex<int>(&IResultTable::getInt),
        byLabel<int>(&IResultTable::getInt),
        byIndex<std::int64_t>(&IResultTable::getLong),
        byLabel<std::int64_t>(&IResultTable::getLong),
        byIndex<float>(&IResultTable::getDouble),
        byLabel<float>(&IResultTable::getDouble),
    });
}

class FailureLogTest : public DatabaseTest {
protected:
    void SetUp() override { open(); }

    /// Expects one error line "<who> Exception: <function>::<line> -><text>" and a line feed.
    void expectLogged(const std::string& who, const std::string& function, const std::string& text) {
        const std::string prefix = who + " Exception: " + function + "::";
        int found = 0;
        for (const LoggedMessage& message : log.messages()) {
            if (message.text.rfind(prefix, 0) != 0) {
                continue;
            }
            ++found;
            EXPECT_EQ(message.module, 24);
            EXPECT_EQ(message.tag, "FileDatabase");
            EXPECT_EQ(message.level, -2);
            const std::size_t arrow = message.text.find(" ->");
            ASSERT_NE(arrow, std::string::npos) << message.text;
            EXPECT_EQ(message.text.substr(arrow), " ->" + text + "\n");
        }
        EXPECT_EQ(found, 1) << log.dump();
    }
};

TEST_F(FailureLogTest, QueryLogsTheMessageWithItsLineFeedAndGivesNull) {
    EXPECT_EQ(query("SELECT * FROM missing;"), nullptr);
    expectLogged("executeQuery", "executeQuery", "DB Error: Table does not exists...");
}

TEST_F(FailureLogTest, UpdateLogsTheMessageWithItsLineFeedAndGivesOne) {
    EXPECT_EQ(exec("INSERT INTO t (a) VALUES (1)"), 1);
    expectLogged("executeUpdate", "checkRemoveSemiColon", "Syntax Error: No ; found at end of Statement");
}

TEST_F(FailureLogTest, HandlerLogsUnderItsOwnName) {
    exec("CREATE TABLE t (a TEXT, 1b TEXT);");
    expectLogged("createTable", "validateColumnName",
                 "Syntax Error: Start Char is invalid for Column Name: 1b");
}

TEST_F(FailureLogTest, EveryMessageOfTheEngineCarriesItsModuleAndAKnownTagAndLevel) {
    exec("CREATE TABLE t (a TEXT, b INTEGER);");
    exec("INSERT INTO t (a, b) VALUES ('?', ?);", "x", "1");
    exec("UPDATE t SET a = '?' WHERE b = 1;", "y");
    query("SELECT * FROM t WHERE a = 'y';");
    exec("DELETE FROM t WHERE a = 'y';");
    exec("DROP TABLE t;");
    EXPECT_FALSE(log.messages().empty());
    const std::vector<std::string> tags = {"FileDatabase", "FileResultTable", "Utils", "WhereClause"};
    for (const LoggedMessage& message : log.messages()) {
        SCOPED_TRACE(message.text);
        EXPECT_EQ(message.module, 24);
        EXPECT_NE(std::find(tags.begin(), tags.end(), message.tag), tags.end()) << message.tag;
        EXPECT_TRUE(message.level == -2 || message.level == 0 || message.level == 1) << message.level;
    }
}

TEST_F(FailureLogTest, NullPointerStandsForNull) {
    const char* const null = nullptr;
    exec("CREATE TABLE t (a TEXT, b INTEGER);");
    EXPECT_EQ(exec("INSERT INTO t (a, b) VALUES ('?', ?);", null, null), 0);
    EXPECT_EQ(table("t"), "a~b~ROWID\n4~1~1\n\nNULL~NULL~1\n");
    EXPECT_EQ(query("SELECT * FROM t WHERE a = '?';", null), nullptr);
    expectLogged("executeQuery", "getColumnNameIndex", "Column NULL not found in Table Definition");
}

}  // namespace
}  // namespace Kalt::Vemo::Test
