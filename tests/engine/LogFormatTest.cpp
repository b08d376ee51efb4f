#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "FileDatabase.h"
#include "FileUtils.h"
#include "IResultTable.h"
#include "Log.h"
#include "TestSupport.h"

// A device's log sees the format of each message, not its text alone, and where it was logged. This program
// takes the log's place to see the same.
namespace Kalt::Vemo::Test {
namespace {

struct Line {
    unsigned int line;
    std::string format;
    std::string text;
};
std::vector<Line> errorLines;

using Core::Database::IResultTable;
using Core::Database::Filedb::FileDatabase;
using Core::Database::Filedb::FileUtils;

class LogFormatTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(database.init(path()));
        exec("CREATE TABLE t (a INTEGER, b TEXT);");
        exec("INSERT INTO t (a, b) VALUES (?, '?');", "1", "one");
        errorLines.clear();
    }

    template <typename... Values>
    void exec(const char* sql, Values... values) {
        static_cast<void>(database.executeUpdate(sql, values...));
    }

    void query(const char* sql) { std::unique_ptr<IResultTable>(database.executeQuery(sql)).reset(); }

    std::string path() const { return temporary.file("db"); }
    std::string file(const std::string& name) const { return path() + "_filedb/" + name; }

    static void putDirectoryInPlaceOf(const std::string& name) {
        std::filesystem::remove(name);
        std::filesystem::create_directory(name);
    }

    /// The one error line of what `work` does, other than the harmless one of each copy.
    static Line errorOf(const std::function<void()>& work) {
        errorLines.clear();
        work();
        Line found{};
        int count = 0;
        for (const Line& line : errorLines) {
            if (line.text != "line is NULL") {
                found = line;
                ++count;
            }
        }
        EXPECT_EQ(count, 1);
        return found;
    }

    /// The source line inside the text "function::LINE ->text".
    static std::string raisedAt(const std::string& text) {
        const std::size_t colons = text.find("::");
        return text.substr(colons + 2, text.find(" ->") - colons - 2);
    }

    TemporaryDirectory temporary;
    FileDatabase database;
};

TEST_F(LogFormatTest, EachExceptionLineHasAFormatOfItsOwnAndIsLoggedByItsOwnFunction) {
    const std::map<std::string, std::function<void()>> failures = {
        {"createTable", [&] { exec("CREATE TABLE t (a INTEGER);"); }},
        {"dropTable", [&] { exec("DROP TABLE missing;"); }},
        {"alterTable", [&] { exec("ALTER TABLE x t ADD COLUMN a TEXT;"); }},
        {"insertTable", [&] { exec("INSERT INTO missing (a) VALUES (?);", "1"); }},
        {"updateTable", [&] { exec("UPDATE missing SET a=?;", "1"); }},
        {"deleteTable", [&] { exec("DELETE FROM missing;"); }},
        {"executeUpdate", [&] { exec("DROP TABLE;"); }},
        {"executeQuery", [&] { query("SELECT * FROM missing;"); }},
        {"commitTransaction",
         [&] {
             database.beginTransaction();
             exec("DELETE FROM t;");
             std::filesystem::remove(file("t.backup"));
             EXPECT_FALSE(database.commitTransaction());
         }},
        {"rollbackTransaction",
         [&] {
             putDirectoryInPlaceOf(file("master_rollback"));
             EXPECT_FALSE(database.rollbackTransaction());
         }},
        {"init", [&] { EXPECT_FALSE(database.init(path())); }},
    };
    std::set<unsigned int> sourceLines;
    for (const char* name :
         {"createTable", "dropTable", "alterTable", "insertTable", "updateTable", "deleteTable",
          "executeUpdate", "executeQuery", "commitTransaction", "rollbackTransaction", "init"}) {
        SCOPED_TRACE(name);
        const Line line = errorOf(failures.at(name));
        EXPECT_EQ(line.format, std::string(name) + " Exception: %s");
        EXPECT_THAT(line.text, ::testing::StartsWith(std::string(name) + " Exception: "));
        EXPECT_TRUE(sourceLines.insert(line.line).second) << "line " << line.line << " logs others, too";
    }
}

// Each pair is raised in one source file.
TEST_F(LogFormatTest, AnErrorCarriesTheLineThatRaisedIt) {
    writeFile(file("short.table"), "a~b~ROWID\n1~4~1\n\n7\n");
    const Line update = errorOf([&] { exec("UPDATE short SET b='?';", "5"); });
    const Line insert = errorOf([&] { exec("INSERT INTO short (a) VALUES (?);", "1"); });
    EXPECT_THAT(update.text, ::testing::HasSubstr("Record has fewer fields"));
    EXPECT_THAT(insert.text, ::testing::HasSubstr("Record has fewer fields"));
    EXPECT_NE(raisedAt(update.text), raisedAt(insert.text));

    std::filesystem::create_directory(file("dir.table"));
    const Line open = errorOf([&] { exec("ALTER TABLE x dir ADD COLUMN c TEXT;"); });
    std::string wrongMode;
    try {
        FileUtils::closeFile(FileUtils::openFile(file("t.table"), "z"));
    } catch (const std::exception& error) {
        wrongMode = error.what();
    }
    EXPECT_THAT(open.text, ::testing::HasSubstr("Couldn't open the corresponding file"));
    EXPECT_THAT(wrongMode, ::testing::HasSubstr("Couldn't open the corresponding file"));
    EXPECT_NE(raisedAt(open.text), raisedAt(wrongMode));
}

}  // namespace

__attribute__((format(printf, 3, 0))) static void record(unsigned int line, int level, const char* format,
                                                         va_list arguments) {
    if (level == -2) {
        char text[4096];
        static_cast<void>(std::vsnprintf(text, sizeof(text), format, arguments));
        errorLines.push_back({line, format, text});
    }
}

}  // namespace Kalt::Vemo::Test

// The names of Log::log and of Log::write, which an inlined Log::log calls, as the compiler makes them,
// behind the prefix that the linker gives a function which takes the place of another.
// NOLINTBEGIN(bugprone-reserved-identifier)
#define TAKE_THE_PLACE_OF(name)                                                             \
    extern "C" __attribute__((format(printf, 6, 7))) void __wrap_##name(                    \
        const char*, unsigned int line, int, const char*, Kalt::Vemo::Log::log_level level, \
        const char* format, ...) {                                                          \
        va_list arguments;                                                                  \
        va_start(arguments, format);                                                        \
        Kalt::Vemo::Test::record(line, static_cast<int>(level), format, arguments);         \
        va_end(arguments);                                                                  \
    }
TAKE_THE_PLACE_OF(_ZN4Kalt4Vemo3Log3Log3logEPKcjiS4_NS1_9log_levelES4_z)
TAKE_THE_PLACE_OF(_ZN4Kalt4Vemo3Log3Log5writeEPKcjiS4_NS1_9log_levelES4_z)
// NOLINTEND(bugprone-reserved-identifier)
