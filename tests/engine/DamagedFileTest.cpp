#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "FileModel.h"
#include "StatementTest.h"

// Table files that this engine did not write, or not to their end.
namespace Kalt::Vemo::Test {
namespace {

using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::PrintToString;
using ::testing::SizeIs;

constexpr const char* kOpenError = "DataBase Error: Couldn't open the corresponding file";
constexpr const char* kReadError = "DB Error: Error occurred during file reading";

class DamagedFileTest : public StatementTest {
protected:
    /// What a statement that changes no row writes back: the three metadata lines and every record that was
    /// read.
    static std::string rewritten(const std::string& text) {
        Lines lines = linesOf(text);
        if (lines.size() < 3) {
            lines.resize(3);
        }
        return textOf(lines);
    }

    static int recordsOf(const std::string& text) {
        return std::max(static_cast<int>(linesOf(text).size()) - 3, 0);
    }

    /// No statement may do more to the file "t" than fail, or than what the readable part of it allows.
    void expectDefined(const std::string& damaged) {
        SCOPED_TRACE("file " + PrintToString(damaged.substr(0, 200)));
        writeFile(tableFile("t"), damaged);
        log.clear();

        for (const char* sql :
             {"SELECT * FROM t;", "SELECT a, b, ROWID FROM t;", "SELECT a FROM t WHERE b = 'y';"}) {
            SCOPED_TRACE(sql);
            const Result result = query(sql);
            EXPECT_THAT(takeErrors(), SizeIs(result ? 0 : 1));
            if (result && std::string(sql).find("WHERE") == std::string::npos) {
                EXPECT_EQ(result->getCount(), recordsOf(damaged));
            }
            while (result && std::string(sql) != "SELECT * FROM t;" && result->next()) {
                EXPECT_NO_THROW(result->getString(1)) << sql;
            }
            EXPECT_EQ(table("t"), damaged);
        }

        for (const char* sql :
             {"DELETE FROM t WHERE a = 12345;", "UPDATE t SET a=?, b='?' WHERE a = 12345;"}) {
            SCOPED_TRACE(sql);
            writeFile(tableFile("t"), damaged);
            EXPECT_EQ(exec(sql, "7", "word"), 0);
            EXPECT_EQ(table("t"), takeErrors().empty() ? rewritten(damaged) : damaged);
        }

        writeFile(tableFile("t"), damaged);
        EXPECT_EQ(exec("INSERT INTO t (a, b) VALUES (?, '?');", "7", "word"), 0);
        if (takeErrors().empty()) {
            const std::string text = table("t");
            const std::string old = rewritten(damaged);
            ASSERT_EQ(text.substr(0, old.size()), old);
            EXPECT_EQ(text.find('\n', old.size()), text.size() - 1) << text;
        } else {
            EXPECT_EQ(table("t"), damaged);
        }
        EXPECT_THAT(listDirectory(directory()), ElementsAre("master_rollback", "t.table"));
        EXPECT_EQ(journal(), "0\n");
    }
};

const std::string kPlain = "a~b~ROWID\n1~260~1\n\n1~'x'~1\n2~'y'~2\n";
const std::string kKeyed = "a~b\n257~4\na\n1~'x'\n2~'y'\n";
const std::string kTwoKeys = "a~b~ROWID\n257~260~1\na~b\n1~'x'~1\n2~'y'~2\n";

TEST_F(DamagedFileTest, TheUndamagedTablesWork) {
    for (const std::string& text : {kPlain, kKeyed, kTwoKeys}) {
        writeFile(tableFile("t"), text);
        EXPECT_THAT(rows(query("SELECT a, b, ROWID FROM t;"), 2), ElementsAre("1|x", "2|y"));
        expectDefined(text);
        EXPECT_NE(table("t"), text);
        run("DELETE FROM t WHERE b = 'word';");
        EXPECT_EQ(table("t"), text);
    }
}

TEST_F(DamagedFileTest, CutAtEveryByte) {
    for (const std::string& text : {kPlain, kKeyed, kTwoKeys}) {
        for (std::size_t length = 0; length < text.size(); ++length) {
            expectDefined(text.substr(0, length));
        }
    }
}

TEST_F(DamagedFileTest, EachByteRemoved) {
    for (const std::string& text : {kPlain, kKeyed, kTwoKeys}) {
        for (std::size_t at = 0; at < text.size(); ++at) {
            expectDefined(text.substr(0, at) + text.substr(at + 1));
        }
    }
}

TEST_F(DamagedFileTest, EachByteReplaced) {
    for (const std::string& text : {kPlain, kKeyed}) {
        for (std::size_t at = 0; at < text.size(); ++at) {
            for (const char c : "~\n'9x\xff"s + '\0') {
                std::string damaged = text;
                damaged[at] = c;
                expectDefined(damaged);
            }
        }
    }
}

TEST_F(DamagedFileTest, AByteTooManyAtEveryPlace) {
    for (std::size_t at = 0; at <= kTwoKeys.size(); ++at) {
        for (const char c : "~\n'"s + '\0') {
            expectDefined(kTwoKeys.substr(0, at) + c + kTwoKeys.substr(at));
        }
    }
}

TEST_F(DamagedFileTest, LongLinesAnywhere) {
    const std::string mega(1U << 20U, 'm');
    const std::string large(20000, 'l');
    const std::string files[] = {mega,
                                 kPlain + mega + "\n",
                                 large + "\n",
                                 kPlain + large,
                                 kPlain + "3~'" + large + "'~3\n",
                                 large + "\n1\n\n",
                                 "a~b\n" + large + "\n\n",
                                 "a~b\n1~4\n" + large + "\n",
                                 std::string(20000, '~'),
                                 std::string(5000, '\n'),
                                 std::string(5000, '\0'),
                                 kPlain + std::string(5000, '\0') + "\n"};
    for (const std::string& damaged : files) {
        expectDefined(damaged);
    }
    for (std::size_t length = 1018; length <= 1026; ++length) {
        expectDefined(kPlain + "3~'" + std::string(length, 'l') + "'~3\n");
        expectDefined(kPlain + std::string(length, 'l'));
    }
}

TEST_F(DamagedFileTest, RandomBytes) {
    for (unsigned int seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        std::string damaged = seed % 2 == 0 ? kPlain : "";
        for (std::size_t length = damaged.size() + random() % 3000; damaged.size() < length;) {
            damaged += seed % 3 == 0 ? static_cast<char>(random() & 0xFFU) : "1~'\nab"[random() % 6];
        }
        expectDefined(damaged);
    }
}

TEST_F(DamagedFileTest, ARecordWithTooFewFieldsIsRefusedWhereItsFieldsAreNeeded) {
    const std::string damaged = "a~b~ROWID\n1~4~1\n\n1~'x'~1\n2\n";
    writeFile(tableFile("t"), damaged);
    expectNoResult({{"SELECT * FROM t;", "executeQuery", kShortRecord},
                    {"SELECT b FROM t;", "executeQuery", kShortRecord},
                    {"SELECT a, ROWID FROM t;", "executeQuery", kShortRecord}});
    EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("1", "2"));
    EXPECT_EQ(query("SELECT a FROM t WHERE b = 'x';"), nullptr);
    takeErrors();

    EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", "3"), 0);
    expectOneError("insertTable", kShortRecord);
    EXPECT_EQ(exec("UPDATE t SET a=?, b='?';", "3", "z"), 0);
    expectOneError("updateTable", kShortRecord);
    EXPECT_EQ(exec("DELETE FROM t WHERE ROWID = 1;"), 0);
    expectOneError("deleteTable", kShortRecord);
    EXPECT_EQ(table("t"), damaged);

    run("DELETE FROM t WHERE a = 2;");
    EXPECT_EQ(table("t"), "a~b~ROWID\n1~4~1\n\n1~'x'~1\n");
}

TEST_F(DamagedFileTest, AFailedStatementInATransactionLeavesDamagedFilesToo) {
    const std::string damaged = "a~b~ROWID\n1~4~1\n\n1~'x'~1\n2\n";
    writeFile(tableFile("t"), damaged);
    EXPECT_TRUE(database->beginTransaction());
    EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", "3"), 0);
    EXPECT_TRUE(database->commitTransaction());
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}, {"t.table", damaged}}));
}

TEST_F(DamagedFileTest, ExtraFieldsAreCarriedAlong) {
    writeFile(tableFile("t"), "a~ROWID\n1~1\n\n1~1~more~and more\n");
    run("INSERT INTO t (a) VALUES (?);", "2");
    run("UPDATE t SET a=? WHERE a = 1;", "9");
    run("DELETE FROM t WHERE a = 2;");
    EXPECT_EQ(table("t"), "a~ROWID\n1~1\n\n9~1~more~and more\n");
}

// What is no regular file

struct Special {
    const char* name;
    std::function<void(const std::string& file)> make;
};

std::vector<Special> specials() {
    const auto linkTo = [](const std::string& target) {
        return [target](const std::string& file) { std::filesystem::create_symlink(target, file); };
    };
    return {
        {"directory", [](const std::string& file) { std::filesystem::create_directory(file); }},
        {"pipe", [](const std::string& file) { ASSERT_EQ(mkfifo(file.c_str(), 0600), 0); }},
        {"/dev/full", linkTo("/dev/full")},
        {"/dev/zero", linkTo("/dev/zero")},
        {"/dev/null", linkTo("/dev/null")},
        {"a link to a directory", linkTo("/proc")},
        {"a broken link", linkTo("/nowhere/at/all")},
        {"a link to itself", linkTo("t.table")},
    };
}

TEST_F(DamagedFileTest, ATableThatIsNoFileRefusesEveryStatement) {
    for (const Special& special : specials()) {
        SCOPED_TRACE(special.name);
        special.make(tableFile("t"));
        const auto before = std::filesystem::symlink_status(tableFile("t")).type();
        takeErrors();
        for (const bool inTransaction : {false, true}) {
            if (inTransaction) {
                EXPECT_TRUE(database->beginTransaction());
            }
            EXPECT_EQ(query("SELECT * FROM t;"), nullptr);
            EXPECT_THAT(takeErrors(), SizeIs(1));
            for (const char* sql : {"INSERT INTO t (a) VALUES (?);", "UPDATE t SET a=?;", "DELETE FROM t;"}) {
                SCOPED_TRACE(sql);
                EXPECT_EQ(exec(sql, "1"), 0);
                EXPECT_THAT(takeErrors(), SizeIs(1));
            }
            if (inTransaction) {
                EXPECT_TRUE(database->rollbackTransaction());
            }
            EXPECT_EQ(std::filesystem::symlink_status(tableFile("t")).type(), before);
            EXPECT_THAT(listDirectory(directory()), ElementsAre("master_rollback", "t.table"));
            EXPECT_EQ(journal(), "0\n");
        }
        std::filesystem::remove(tableFile("t"));
    }
}

TEST_F(DamagedFileTest, ADirectoryUnderATablesNameIsReportedAsTheSystemReportsIt) {
    std::filesystem::create_directory(tableFile("t"));
    EXPECT_EQ(query("SELECT * FROM t;"), nullptr);
    expectOneError("executeQuery", kReadError);
    EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", "1"), 0);
    expectOneError("insertTable", kOpenError);
    EXPECT_EQ(exec("CREATE TABLE t (a INTEGER);"), 0);
    expectOneError("createTable", "DB Error: (t) Table is already exists.");
    EXPECT_EQ(exec("ALTER TABLE x t ADD COLUMN a TEXT;"), -1);
    expectOneError("alterTable", kOpenError);
    EXPECT_TRUE(std::filesystem::is_directory(tableFile("t")));
}

TEST_F(DamagedFileTest, AWorkingCopyThatIsNoFileCostsNoRows) {
    useLevel(Synchronous::off);
    open();
    const std::string text = "a~ROWID\n1~1\n\n1~1\n";
    for (const Special& special : specials()) {
        if (special.name == "a link to itself"s) {
            continue;  // under this name it leads to the table
        }
        SCOPED_TRACE(special.name);
        writeFile(tableFile("t"), text);
        special.make(backupFile("t"));
        takeErrors();
        EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", "2"), 0);
        EXPECT_THAT(takeErrors(), SizeIs(1));
        EXPECT_EQ(table("t"), text);
        EXPECT_EQ(journal(), "0\n");
        std::filesystem::remove(backupFile("t"));
        run("INSERT INTO t (a) VALUES (?);", "2");
        EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}, {"t.table", text + "2~2\n"}}));
    }
}

TEST_F(DamagedFileTest, ADeviceUnderAWorkingCopysNameIsNeverCopiedOverTheTable) {
    const std::string text = "a~ROWID\n1~1\n\n1~1\n";
    for (const char* device : {"/dev/null", "/dev/zero"}) {
        SCOPED_TRACE(device);
        writeFile(tableFile("t"), text);
        std::filesystem::create_symlink(device, backupFile("t"));
        takeErrors();
        EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", "2"), 0);
        if (takeErrors().empty()) {
            EXPECT_EQ(table("t"), text + "2~2\n");
        } else {
            EXPECT_EQ(table("t"), text);
        }
        std::filesystem::remove(backupFile("t"));
    }
}

}  // namespace
}  // namespace Kalt::Vemo::Test
