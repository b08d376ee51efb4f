#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "ProgramRun.h"

namespace Kalt::Vemo::Test {
namespace {

/// Statements that only SQLite understands, run by the shell on tables of the engine.
class SqlTest : public ProgramTest {
protected:
    void SetUp() override {
        prepare({"create table rooms (name text not null, floor integer, area real)",
                 "insert into rooms values ('attic', 2, 12.5), ('cellar', -1, null), ('hall', 0, 30)",
                 "create table lamps (id integer primary key, room text, watts integer)",
                 "insert into lamps values (7, 'hall', 60), (-3, 'hall', 5), (9, 'attic', null)"});
    }

    std::string csv(const std::string& statement) const {
        const ProgramResult result = shell({statement}, {"--mode", "csv"});
        EXPECT_EQ(result.status, 0) << result;
        EXPECT_EQ(result.err, "");
        std::string text = result.out;
        text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
        return text;
    }

    std::string records(const std::string& table) const {
        const std::string text = readFile(tableFile(table));
        std::size_t start = 0;
        for (int line = 0; line < 3; ++line) {
            start = text.find('\n', start) + 1;
        }
        return text.substr(start);
    }
};

TEST_F(SqlTest, AnswersWhatSqliteCanAsk) {
    EXPECT_EQ(csv("select r.name, l.watts from rooms r join lamps l on l.room = r.name order by 2 desc"),
              "name,watts\nhall,60\nhall,5\nattic,\n");
    EXPECT_EQ(csv("select name from rooms where name not in (select room from lamps)"), "name\ncellar\n");
    EXPECT_EQ(csv("select count(*), sum(floor), avg(area), min(name) from rooms"),
              "count(*),sum(floor),avg(area),min(name)\n3,1,21.25,attic\n");
    EXPECT_EQ(csv("select room, count(*) n from lamps group by room having n > 1"), "room,n\nhall,2\n");
    EXPECT_EQ(csv("select upper(name) || '!' as loud from rooms order by floor limit 1 offset 1"),
              "loud\nHALL!\n");
    EXPECT_EQ(
        csv("with recursive n(i) as (select 1 union all select i + 1 from n where i < 3) select i from n"),
        "i\n1\n2\n3\n");
    EXPECT_EQ(csv("select name from rooms where name like 'ATT%' or name glob 'c*'"),
              "name\nattic\ncellar\n");
    EXPECT_EQ(csv("select name from rooms where name = 'it''s' or area is not null and not floor > 1"),
              "name\nhall\n");
}

TEST_F(SqlTest, ComparesIntegersAsSignedNumbers) {
    EXPECT_EQ(csv("select id from lamps order by id"), "id\n-3\n7\n9\n");
    EXPECT_EQ(csv("select id from lamps where id < 0"), "id\n-3\n");
    EXPECT_EQ(csv("select id from lamps where id = -3"), "id\n-3\n");
    EXPECT_EQ(csv("select rowid, watts from lamps where rowid = -3"), "rowid,watts\n-3,5\n");
}

TEST_F(SqlTest, PrintsNumbersInTheirFewestDigits) {
    EXPECT_EQ(csv("select 100000.0, 0.1 + 0.2, -2.0, 1e15, 1e-5, 0.0, 9e999, 1234570.0, 0.00025"),
              "100000.0,0.1 + 0.2,-2.0,1e15,1e-5,0.0,9e999,1234570.0,0.00025\n"
              "100000,0.30000000000000004,-2,1e+15,1e-05,0,inf,1234570,0.00025\n");
}

TEST_F(SqlTest, PrintsExpressionsAsJsonOfTheirOwnType) {
    EXPECT_EQ(shell({"select count(*) n, 1.5 x, 'a' s, null z from rooms"}, {"--mode", "json"}).out,
              "[\n{\"n\":3,\"x\":1.5,\"s\":\"a\",\"z\":null}\n]\n");
}

TEST_F(SqlTest, ChangesRowsByExpressionsAndTellsHowMany) {
    EXPECT_EQ(shell({"update rooms set floor = floor * 10, name = name || '!' where floor <> 0",
                     "delete from lamps where watts is null or room = (select min(room) from lamps)",
                     "delete from lamps where id = 77"}),
              (ProgramResult{0, "", "2 rows changed\n1 row deleted\n0 rows deleted\n"}));
    EXPECT_EQ(records("rooms"), "'attic!'~20~12.5~1\n'cellar!'~18446744073709551606~NULL~2\n'hall'~0~30~3\n");
    EXPECT_EQ(records("lamps"), "7~'hall'~60\n18446744073709551613~'hall'~5\n");
}

TEST_F(SqlTest, CopiesRowsFromTableToTable) {
    prepare({"create table copy (floor integer, name text)",
             "insert into copy (name, floor) select name, floor from rooms where floor > -1"});
    EXPECT_EQ(records("copy"), "2~'attic'~1\n0~'hall'~2\n");
}

TEST_F(SqlTest, SetsAKeyByItsColumnAndNotByItsRowId) {
    prepare({"update lamps set id = 8 where id = 7"});
    EXPECT_EQ(records("lamps"), "8~'hall'~60\n18446744073709551613~'hall'~5\n9~'attic'~NULL\n");
    EXPECT_EQ(shell({"update lamps set rowid = 7 where id = 8"}),
              (ProgramResult{1, "", "error: the ROWID of table lamps is its key; set column id instead\n"}));
    EXPECT_EQ(shell({"update lamps set id = 9 where id = 8"}),
              (ProgramResult{1, "", "error: DB Error: PRIMARY KEY must be unique\n"}));
    EXPECT_EQ(shell({"insert into lamps (room) values ('hall')"}),
              (ProgramResult{1, "", "error: column id must not be NULL\n"}));
}

TEST_F(SqlTest, AStatementChangesAllItsRowsOrNone) {
    const std::string before = records("lamps");
    EXPECT_EQ(shell({"update lamps set id = id / 10"}).status, 1);
    EXPECT_EQ(records("lamps"), before);
    EXPECT_EQ(shell({"insert into lamps values (1, 'a', 1), (2, 'b', 2), (7, 'c', 3)"}).status, 1);
    EXPECT_EQ(records("lamps"), before);
}

TEST_F(SqlTest, AFailureTakesTheTransactionWithItOnlyWhenItMust) {
    // Nothing of the statement was sent yet.
    ProgramOptions options;
    options.input = "begin;\ninsert into lamps values (1, 'a', 1);\ninsert into lamps values (1, 'b', 1);\n";
    EXPECT_EQ(run("shell", {}, options),
              (ProgramResult{
                  1, "",
                  "<stdin>:3: error: DB Error: PRIMARY KEY must be unique\n"
                  "filedb shell: the transaction was still open and is rolled back; COMMIT keeps it\n"}));
    const std::string before = records("lamps");
    EXPECT_EQ(shell({"begin", "delete from rooms", "insert into lamps values (1, 'a', 1), (7, 'b', 1)"}),
              (ProgramResult{1, "",
                             "3 rows deleted\n"
                             "error: DB Error: PRIMARY KEY must be unique; the whole transaction is rolled "
                             "back\n"}));
    EXPECT_EQ(records("lamps"), before);
    EXPECT_NE(records("rooms"), "");
}

TEST_F(SqlTest, SaysWhenARealIsStoredWithFewerDigits) {
    EXPECT_EQ(
        shell({"insert into rooms values ('den', 1, 3.14159265)", "select area from rooms where floor=1"}),
        (ProgramResult{0, "   area\n-------\n3.14159\n",
                       "warning: REAL keeps six digits: column area: 3.14159265 is stored as 3.14159\n"}));
    EXPECT_EQ(shell({"update rooms set area = 1.0 / 3"}),
              (ProgramResult{0, "",
                             "warning: REAL keeps six digits: column area: 0.3333333333333333 is stored as "
                             "0.333333 (and 3 more values)\n"
                             "4 rows changed\n"}));
    EXPECT_EQ(shell({"update rooms set area = 0.5"}).err, "4 rows changed\n");
}

TEST_F(SqlTest, GivesNeighbouringRowsTheSameValuesByOneStatement) {
    prepare({"delete from rooms where name = 'cellar'"});
    const std::string log = temporary.file("log");
    prepare({".log " + log, "update rooms set floor = 5", "delete from rooms"});
    const std::string text = readFile(log);
    const auto count = [&text](const std::string& part) {
        std::size_t found = 0;
        for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
            ++found;
        }
        return found;
    };
    EXPECT_EQ(count("passed SQL:'UPDATE rooms SET "), 1U);
    EXPECT_EQ(count("passed SQL:'DELETE FROM rooms "), 1U);
}

TEST_F(SqlTest, FindsTheRowOfARowIdByTheEnginesIndex) {
    const std::string log = temporary.file("log");
    EXPECT_EQ(shell({"update rooms set floor = 4 where rowid = 1", "update lamps set watts = 1 where id = 9",
                     ".log " + log, "update rooms set floor = 3 where rowid = 2",
                     "update lamps set watts = 2 where id = -3"})
                  .status,
              0);
    const std::string text = readFile(log);
    for (const char* statement :
         {"SELECT *, ROWID FROM rooms WHERE ROWID = ?;", "SELECT * FROM lamps WHERE ROWID = ?;"}) {
        EXPECT_NE(text.find(std::string("passed SQL:") + statement), std::string::npos) << text;
    }
    EXPECT_EQ(records("lamps"), "7~'hall'~60\n18446744073709551613~'hall'~2\n9~'attic'~1\n");
}

TEST_F(SqlTest, AKeyInForeignDigitsIsFoundAllTheSame) {
    writeFile(tableFile("lamps"), "id~room~watts\n257~4~1\nid\n007~'hall'~60\n8~'den'~1\n");
    EXPECT_EQ(shell({"select watts from lamps where id = 7", "select watts from lamps where rowid = 7"},
                    {"--mode", "csv"})
                  .out,
              "watts\r\n60\r\nwatts\r\n60\r\n");
}

TEST_F(SqlTest, ARowIdThatIsThereTwiceChangesNothing) {
    const std::string damaged = "name~floor~area~ROWID\n260~1~2~1\n\n'a'~1~1~5\n'b'~2~2~5\n'c'~3~3~6\n";
    writeFile(tableFile("rooms"), damaged);
    const ProgramResult result = shell({"delete from rooms where name = 'b'"}, {"--force"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(
        result.err.find("error: table rooms has more than one row with the ROWID 5, so none of them can "
                        "be changed; run filedb repair\n"),
        std::string::npos)
        << result;
    EXPECT_EQ(readFile(tableFile("rooms")), damaged);
}

TEST_F(SqlTest, ARowWhoseRowIdIsNotPlainDigitsIsNotMetByAChange) {
    struct Case {
        std::string table;
        std::string statement;
    };
    for (const Case& each :
         {Case{"name~ROWID\n4~1\n\n'a'~3\n'b'~4x\n'c'~4\n'd'~5\n",
               "delete from odd where name in ('a', 'c', 'd')"},
          Case{"name~ROWID\n4~1\n\n'a'~ 3\n", "delete from odd"},
          Case{"name~ROWID\n4~1\n\n'a'~NULL\n", "update odd set name = 'b'"},
          Case{"name~ROWID\n4~1\n\n'a'~99999999999999999999999\n", "delete from odd"},
          Case{"id~name\n257~4\nid\n5~'a'\n5.5~'b'\n", "delete from odd where name = 'a'"},
          Case{"id~name\n257~4\nid\n1~'a'\n1e5~'b'\n", "update odd set name = 'c' where id = 1"}}) {
        SCOPED_TRACE(each.table);
        writeFile(tableFile("odd"), each.table);
        EXPECT_EQ(shell({each.statement}, {"--force"}).status, 1);
        EXPECT_EQ(readFile(tableFile("odd")), each.table);
    }
}

TEST_F(SqlTest, OfNamesThatDifferInCaseTheFirstIsShown) {
    prepare({"create table Rooms (Name text, name text)"});
    EXPECT_EQ(
        shell({"select * from rooms"}),
        (ProgramResult{0, "Name\n----\n",
                       "warning: table rooms differs from Rooms in case only; statements mean the latter, "
                       "--raw reaches the former\n"
                       "warning: column name of table Rooms differs from another in case only; statements "
                       "mean the other, --raw reaches it\n"}));
    EXPECT_EQ(shell({"SELECT name FROM rooms WHERE floor = 2;"}, {"--raw"}).out, "name\n-----\nattic\n");
}

TEST_F(SqlTest, ADamagedTableIsNeitherDroppedNorChangedByRawStatements) {
    const std::string damaged = readFile(tableFile("rooms")) + "'cell~1~NULL~9\n";
    for (const auto& [statement, options] :
         {std::pair<std::string, std::vector<std::string>>{"drop table rooms", {}},
          {"DROP TABLE rooms;", {"--raw"}},
          {"DELETE FROM rooms WHERE floor = 2;", {"--raw"}},
          {"UPDATE rooms SET name = 'x' WHERE floor = 2;", {"--raw"}},
          {"INSERT INTO rooms(name, floor) VALUES ('x', 1);", {"--raw"}}}) {
        SCOPED_TRACE(statement);
        writeFile(tableFile("rooms"), damaged);
        const ProgramResult result = shell({statement}, options);
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.err.find("table rooms is damaged, and a change would make that final"),
                  std::string::npos)
            << result.err;
        EXPECT_EQ(readFile(tableFile("rooms")), damaged);
    }
    EXPECT_EQ(shell({"DELETE FROM rooms WHERE floor = 2;"}, {"--raw", "--force"}).status, 0);
    writeFile(tableFile("rooms"), damaged);
    EXPECT_NE(shell({"SELECT name FROM rooms;"}, {"--raw"}).err.find("warning: table rooms is damaged"),
              std::string::npos);
}

TEST_F(SqlTest, WhatAnInterruptedCommitLeftIsNotLostByOpening) {
    const std::string old = readFile(tableFile("rooms"));
    const std::string copy = old + "'shed'~1~NULL~9\n";
    for (const std::string journal : {"1\n\x01~rooms\n", "0\n"}) {
        SCOPED_TRACE(journal);
        writeFile(directory() + "/rooms.backup", copy);
        writeFile(directory() + "/master_rollback", journal);
        const Files before = readFiles(directory());
        const ProgramResult refused = shell({"insert into rooms (name) values ('x')"});
        EXPECT_EQ(refused,
                  (ProgramResult{2, "",
                                 "filedb shell: " + directory() +
                                     "/rooms.backup: a commit was interrupted, and opening the database for "
                                     "changes would lose what it left; run filedb repair first, or give "
                                     "--force\n"}));
        EXPECT_EQ(readFiles(directory()), before);
        const ProgramResult looked = shell({"select count(*) from rooms"}, {"--read-only"});
        EXPECT_EQ(looked.status, 0);
        EXPECT_EQ(
            looked.err,
            "warning: table rooms is damaged: rooms.backup: left by a commit that was interrupted, may hold "
            "newer rows; run filedb check\n");
        EXPECT_EQ(readFiles(directory()), before);
    }
    EXPECT_EQ(shell({"select 1"}, {"--force"}).status, 0);
}

TEST_F(SqlTest, ACommitThatTheOpeningFinishesIsFinished) {
    const std::string copy = readFile(tableFile("rooms")) + "'shed'~1~NULL~9\n";
    writeFile(directory() + "/rooms.backup", copy);
    writeFile(directory() + "/master_rollback", "0\n3~rooms\n");
    EXPECT_EQ(shell({"select count(*) from rooms where name = 'shed'"}, {"--mode", "csv"}).out,
              "count(*)\r\n1\r\n");
    EXPECT_EQ(readFile(tableFile("rooms")), copy);
}

TEST_F(SqlTest, NothingIsPrintedIntoTheDatabaseWhenAStandardStreamIsClosed) {
    const Files before = readFiles(directory());
    for (const auto& [closed, status] :
         {std::pair("<&-", 1), std::pair(">&-", 2), std::pair("2>&-", 1), std::pair("<&- >&- 2>&-", 2)}) {
        SCOPED_TRACE(closed);
        const std::string command = std::string("'") + FILEDB_PROGRAM + "' shell '" + path() +
                                    "' -c 'select 1' -c 'select nope' > /dev/null 2> /dev/null " + closed;
        EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), status);
        EXPECT_EQ(readFiles(directory()), before);
    }
}

TEST_F(SqlTest, ATableIsDroppedByTheNameThatMeansItElsewhere) {
    prepare({"create table Rooms (Name text)"});
    EXPECT_EQ(
        shell({"drop table rooms"}),
        (ProgramResult{1, "",
                       "error: table rooms differs from Rooms in case only, and statements mean the latter; "
                       "name that one, or drop this one with --raw\n"}));
    EXPECT_EQ(shell({"drop table Rooms"}).status, 0);
    EXPECT_EQ(shell({"drop table rooms"}).status, 0);
}

TEST_F(SqlTest, ANumberBeyondAllIntegersIsRefused) {
    prepare({"create table big (x integer)", "insert into big values (9223372036854775807)"});
    EXPECT_EQ(
        shell({"update big set x = x + 1"}),
        (ProgramResult{1, "",
                       "error: column x is INTEGER: \"9223372036854775808\" is not a whole number of 64 "
                       "bits\n"}));
    EXPECT_EQ(shell({"create table temp (a text)", "create table \"index\" (a text)"}).status, 0);
}

TEST_F(SqlTest, ANameThatSqliteKeepsForItselfIsReachedByRawStatements) {
    prepare({"create table sqlite_rooms (name text)"});
    EXPECT_EQ(shell({"select * from sqlite_rooms"}),
              (ProgramResult{1, "",
                             "error: table sqlite_rooms: names that begin with sqlite_ are SQLite's own; "
                             "statements with --raw reach it\n"}));
    EXPECT_EQ(shell({"SELECT name FROM sqlite_rooms;"}, {"--raw"}), (ProgramResult{0, "name\n----\n", ""}));
}

TEST_F(SqlTest, ATransactionSeesItsOwnTables) {
    EXPECT_EQ(shell({"begin", "create table t (a integer)", "insert into t values (1), (2)",
                     "select sum(a) from t", "drop table rooms", "rollback", "select count(*) from rooms"},
                    {"--mode", "csv"}),
              (ProgramResult{0, "sum(a)\r\n3\r\ncount(*)\r\n3\r\n", ""}));
    EXPECT_EQ(shell({"select * from t"}), (ProgramResult{1, "", "error: no such table: t\n"}));
}

TEST_F(SqlTest, ATableThatIsMadeAnewHasItsNewColumns) {
    EXPECT_EQ(shell({"select count(*) from rooms", "drop table rooms", "create table rooms (b integer)",
                     "insert into rooms values (5)", "select * from rooms"},
                    {"--mode", "csv"})
                  .out,
              "count(*)\r\n3\r\nb\r\n5\r\n");
}

TEST_F(SqlTest, OnlyCreateTableMakesADatabase) {
    const std::string missing = temporary.file("missing");
    const std::string error =
        "no database at " + missing + "_filedb; check the path, or make one with CREATE TABLE\n";
    for (const std::string statement :
         {"select 1", "insert into t values (1)", "drop table t", ".tables", ".schema"}) {
        SCOPED_TRACE(statement);
        EXPECT_EQ(runProgram({"shell", missing, "-c", statement}),
                  (ProgramResult{2, "", "filedb shell: " + error}));
        EXPECT_FALSE(fileExists(missing + "_filedb"));
    }
    ProgramOptions options;
    options.input = "begin;\ncreate table t (a integer);\ninsert into t values (1);\ncommit;\n";
    EXPECT_EQ(runProgram({"shell", missing}, options), (ProgramResult{0, "", ""}));
    EXPECT_EQ(readFile(missing + "_filedb/t.table"), "a~ROWID\n1~1\n\n1~1\n");
}

TEST_F(SqlTest, WordsThatOtherProgramsKnowNeedNoDot) {
    ProgramOptions options;
    options.input = "help\nquit;\nselect 1;\n";
    const ProgramResult help = shell({".help"});
    EXPECT_EQ(run("shell", {}, options), (ProgramResult{0, help.out, ""}));
    EXPECT_EQ(shell({"exit", "select 1"}), (ProgramResult{0, "", ""}));
}

// ---- Damaged tables

const char* const kDamaged = "name~floor~area~ROWID\n260~1~2~1\n\n'a'~1~1~1\n'b'~two~2~2\n";
const char* const kFinding =
    ":5: column \"floor\": value \"two\" is not in the stored form of INTEGER, decimal digits of an unsigned "
    "64-bit number";

TEST_F(SqlTest, ReadsADamagedTableWithAWarning) {
    writeFile(tableFile("rooms"), kDamaged);
    const std::string warning =
        "warning: table rooms is damaged: " + tableFile("rooms") + kFinding + "; run filedb check\n";
    EXPECT_EQ(
        shell({"select count(*) from rooms", "select count(*) from rooms", "select count(*) from lamps"},
              {"--mode", "csv"}),
        (ProgramResult{0, "count(*)\r\n2\r\ncount(*)\r\n2\r\ncount(*)\r\n3\r\n", warning}));
    EXPECT_EQ(shell({"select count(*) from lamps"}).err, "");
}

TEST_F(SqlTest, ChangesADamagedTableOnlyByForce) {
    writeFile(tableFile("rooms"), kDamaged);
    const std::string finding = tableFile("rooms") + kFinding;
    for (const std::string statement :
         {"insert into rooms values ('c', 1, 1)", "update rooms set floor = 3", "delete from rooms"}) {
        SCOPED_TRACE(statement);
        const ProgramResult result = shell({statement});
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.err.find("error: table rooms is damaged, and a change would make that final: " +
                                  finding + "; run filedb repair first, or give --force\n"),
                  std::string::npos)
            << result;
        EXPECT_EQ(readFile(tableFile("rooms")), kDamaged);
    }
    prepare({"insert into lamps values (1, 'a', 1)"});
    EXPECT_EQ(shell({"delete from rooms where floor = 1"}, {"--force"}).status, 0);
    EXPECT_EQ(records("rooms"), "'b'~two~2~2\n");
}

TEST_F(SqlTest, SaysWhyATableCannotBeAsked) {
    writeFile(tableFile("broken"), "a~b\n");
    EXPECT_EQ(
        shell({"select * from broken"}),
        (ProgramResult{1, "", "error: table broken: its definition cannot be read; run filedb check\n"}));
    EXPECT_EQ(shell({"select count(*) from rooms"}).status, 0);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
