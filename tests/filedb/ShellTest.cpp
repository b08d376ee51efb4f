#include <string>
#include <vector>

#include "ProgramRun.h"

namespace Kalt::Vemo::Test {
namespace {

class ShellTest : public ProgramTest {
protected:
    void SetUp() override {
        prepare(
            {"CREATE TABLE rooms (name TEXT NOT NULL, area REAL, floor INTEGER);",
             "INSERT INTO rooms VALUES ('attic', 12.5, 2); INSERT INTO rooms VALUES ('cellar', NULL, -1);"});
    }

    std::string rooms() const { return readFile(tableFile("rooms")); }
};

const std::string kTwoRooms =
    "name~area~floor~ROWID\n"
    "260~2~1~1\n"
    "\n"
    "'attic'~12.5~2~1\n"
    "'cellar'~NULL~18446744073709551615~2\n";

TEST_F(ShellTest, StoresTypedLiteralsInTheFormOfTheFile) {
    EXPECT_EQ(rooms(), kTwoRooms);
}

TEST_F(ShellTest, PrintsEachMode) {
    const std::string query = "SELECT * FROM rooms;";
    EXPECT_EQ(shell({query}), (ProgramResult{0,
                                             "name    area  floor\n"
                                             "------  ----  -----\n"
                                             "attic   12.5      2\n"
                                             "cellar  NULL     -1\n",
                                             ""}));
    EXPECT_EQ(shell({query}, {"--mode", "line"}), (ProgramResult{0,
                                                                 " name = attic\n"
                                                                 " area = 12.5\n"
                                                                 "floor = 2\n"
                                                                 "\n"
                                                                 " name = cellar\n"
                                                                 " area = NULL\n"
                                                                 "floor = -1\n",
                                                                 ""}));
    EXPECT_EQ(shell({query}, {"--mode", "csv"}),
              (ProgramResult{0, "name,area,floor\r\nattic,12.5,2\r\ncellar,,-1\r\n", ""}));
    EXPECT_EQ(shell({query}, {"--mode", "json"}),
              (ProgramResult{0,
                             "[\n"
                             "{\"name\":\"attic\",\"area\":12.5,\"floor\":2},\n"
                             "{\"name\":\"cellar\",\"area\":null,\"floor\":-1}\n"
                             "]\n",
                             ""}));
}

TEST_F(ShellTest, PrintsAnEmptyResultInEachMode) {
    const std::string query = "select name from rooms where floor = 9";
    EXPECT_EQ(shell({query}), (ProgramResult{0, "name\n----\n", ""}));
    EXPECT_EQ(shell({query}, {"--mode", "line"}), (ProgramResult{0, "", ""}));
    EXPECT_EQ(shell({query}, {"--mode", "csv"}), (ProgramResult{0, "name\r\n", ""}));
    EXPECT_EQ(shell({query}, {"--mode", "json"}), (ProgramResult{0, "[]\n", ""}));
}

TEST_F(ShellTest, AlignsByDisplayWidthAndEscapesControlCharacters) {
    prepare({"CREATE TABLE t (a TEXT, b TEXT)", "INSERT INTO t VALUES ('日本', 'x')",
             "INSERT INTO t VALUES ('e\xcc\x81t\xc3\xa9', '\x1b[31m')",
             "INSERT INTO t VALUES ('\xff', 'tab\there')"});
    EXPECT_EQ(shell({"SELECT * FROM t"}), (ProgramResult{0,
                                                         "a     b\n"
                                                         "----  -----------\n"
                                                         "日本  x\n"
                                                         "e\xcc\x81t\xc3\xa9   \\x1b[31m\n"
                                                         "\\xff  tab\\x09here\n",
                                                         ""}));
}

TEST_F(ShellTest, TakesStatementsAsAPersonWritesThem) {
    const std::vector<std::string> statements{
        "select name from rooms where floor=2",
        "SELECT name FROM rooms WHERE floor = 2;",
        "Select\n\tname\nFrom rooms -- all\nWhere(floor=2)  ;",
        "select \"name\" from \"rooms\" where 2=floor",
        "select name/* which */from rooms where name='attic';;",
        "select name from rooms where floor='2'",
        "select name from rooms where floor=+02",
        "select name from rooms where area=1.25e1",
    };
    for (const std::string& statement : statements) {
        SCOPED_TRACE(statement);
        EXPECT_EQ(shell({statement}), (ProgramResult{0, "name\n-----\nattic\n", ""}));
    }
}

TEST_F(ShellTest, RunsEveryKindOfStatement) {
    EXPECT_EQ(
        shell({"create table if not exists t (id integer primary key, a text, b text not null)",
               "create table if not exists t (other text)", "insert into t (b, id) values ('x, (y)', 7)",
               "update t set b = 'z = ;', a = 'NULL' where id = 7", "select * from t",
               "update t set a = null", "select a from t where a is null", "delete from t where id in (7, 8)",
               "select id from t", "drop table t", "drop table if exists t"}),
        (ProgramResult{0,
                       "id  a     b\n"
                       "--  ----  -----\n"
                       " 7  NULL  z = ;\n"
                       "a\n"
                       "----\n"
                       "NULL\n"
                       "id\n"
                       "--\n",
                       "1 row changed\n1 row changed\n1 row deleted\n"}));
    EXPECT_FALSE(fileExists(tableFile("t")));
}

TEST_F(ShellTest, KeepsTheTextNullApartFromNull) {
    prepare({"UPDATE rooms SET name = 'NULL' WHERE floor = 2"});
    EXPECT_EQ(rooms(),
              "name~area~floor~ROWID\n260~2~1~1\n\n'NULL'~12.5~2~1\n'cellar'~NULL~18446744073709551615~2\n");
    EXPECT_EQ(shell({"select name from rooms where name = 'NULL'"}, {"--mode", "json"}).out,
              "[\n{\"name\":\"NULL\"}\n]\n");
}

TEST_F(ShellTest, KeepsQuotesInsideATextAsTheyAre) {
    prepare({"CREATE TABLE t (a TEXT)", "INSERT INTO t VALUES ('it''s')",
             "INSERT INTO t VALUES ('''quoted''')", "INSERT INTO t VALUES ('')"});
    EXPECT_EQ(readFile(tableFile("t")), "a~ROWID\n4~1\n\n'it's'~1\n''quoted''~2\n''~3\n");
    EXPECT_EQ(shell({"SELECT a FROM t"}, {"--mode", "csv"}).out, "a\r\nit's\r\n'quoted'\r\n\"\"\r\n");
}

TEST_F(ShellTest, SetsAnyColumnWhateverTheFirstOnesAre) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"UPDATE rooms SET floor = 3 WHERE name = 'attic'", "'attic'~12.5~3~1\n"},
        {"UPDATE rooms SET name = 'loft' WHERE name = 'attic'", "'loft'~12.5~3~1\n"},
        {"UPDATE rooms SET floor = -4, name = 'den' WHERE floor = 3", "'den'~12.5~18446744073709551612~1\n"},
        {"UPDATE rooms SET area = 2, floor = 1 WHERE name = 'den'", "'den'~2~1~1\n"},
        {"UPDATE rooms SET area = NULL WHERE name = 'den'", "'den'~NULL~1~1\n"},
    };
    for (const auto& [statement, row] : cases) {
        SCOPED_TRACE(statement);
        prepare({statement});
        EXPECT_EQ(rooms(),
                  "name~area~floor~ROWID\n260~2~1~1\n\n" + row + "'cellar'~NULL~18446744073709551615~2\n");
    }
}

TEST_F(ShellTest, ListsAllColumnsForEveryStar) {
    EXPECT_EQ(shell({"select *, rowid, * from rooms where floor = 2"}, {"--mode", "csv"}).out,
              "name,area,floor,rowid,name,area,floor\r\nattic,12.5,2,1,attic,12.5,2\r\n");
}

/// A statement or dot command that fails, and its error.
struct FailingStatement {
    const char* statement;
    const char* error;
};

const std::vector<FailingStatement> kFailingStatements{
    {"selekt * from rooms", "near \"selekt\": syntax error"},
    {"select * from missing", "no such table: missing"},
    {"select age from rooms", "no such column: age"},
    {"select \"age\" from rooms", "no such column: age"},
    {"select * from rooms where name = attic", "no such column: attic"},
    {"select * from rooms where name = ?", "there is no value for the \"?\"; write the value itself"},
    {"select * from rooms where name = 'open", "unrecognized token: \"'open\""},
    {"insert into rooms values ('a')", "table rooms has 3 columns but 1 values were supplied"},
    {"insert into rooms values ('a~b', 1, 1)", "column name: a table file cannot hold \"~\", as in \"a~b\""},
    {"insert into rooms values ('a\nb', 1, 1)",
     "column name: a table file cannot hold a line feed, as in \"a\\x0ab\""},
    {"insert into rooms values ('a' || char(0), 1, 1)",
     "column name: a table file cannot hold a NUL byte, as in \"a\\x00\""},
    {"insert into rooms values (x'6162', 1, 1)",
     "column name: a table file holds no BLOB; CAST it to TEXT, or spell it with hex()"},
    {"insert into rooms values (null, 1, 1)", "column name must not be NULL"},
    {"insert into rooms (area) values (1)", "column name must not be NULL"},
    {"insert into rooms values ('a', 1, 1.5)",
     "column floor is INTEGER: \"1.5\" is not a whole number of 64 bits"},
    {"insert into rooms values ('a', 1, 1e300)",
     "column floor is INTEGER: \"1e+300\" is not a whole number of 64 bits"},
    {"insert into rooms values ('a', 1, '')",
     "column floor is INTEGER: \"\" is not a whole number of 64 bits"},
    {"insert into rooms values ('a', 1e99, 1)",
     "column area is REAL: \"1e+99\" is not a number of single precision"},
    {"insert into rooms values ('a', 1, 1), (null, 2, 2)", "column name must not be NULL"},
    {"insert into rooms (rowid, name) values (9, 'a')",
     "the ROWID of table rooms is given by the engine; it cannot be set"},
    {"insert or replace into rooms values ('a', 1, 1)",
     "the engine has no OR IGNORE, OR REPLACE, OR FAIL and OR ROLLBACK; leave it out, and look first which "
     "rows are there"},
    {"insert into rooms values ('a', 1, 1) returning name, rowid",
     "RETURNING would give the values as they are written in the statement, not as they are stored; leave it "
     "out, "
     "and ask with SELECT"},
    {"update rooms set rowid = 5", "the ROWID of table rooms is given by the engine; it cannot be set"},
    {"update rooms set name = nullif(floor, 2)", "column name must not be NULL"},
    {"delete rooms", "near \"rooms\": syntax error"},
    {"drop table missing", "DB Error: No such Table...(missing)"},
    {"create table rooms (a text)", "DB Error: (rooms) Table is already exists."},
    {"create table t (a blob)", "Un-Supported Data Type for column a"},
    {"create table t (a text default 'x')", "a definition cannot hold \"x\""},
    {"create table t as select 1",
     "CREATE TABLE ... AS names no types; create the table with its columns, then fill it with INSERT INTO t "
     "SELECT ..."},
    {"alter table rooms add column b text",
     "the engine only checks an ALTER TABLE and changes nothing; create a table with the new columns, and "
     "fill it with INSERT INTO ... SELECT"},
    {"create view v as select 1", "the engine has no views; they would be gone with the shell"},
    {"create index i on rooms (name)", "the engine has no indexes; they would be gone with the shell"},
    {"create temp table t (a)", "the engine has no temporary tables; they would be gone with the shell"},
    {"create trigger r after insert on rooms begin select 1; end",
     "the engine has no triggers; they would be gone with the shell"},
    {"attach 'x' as x", "ATTACH, DETACH and VACUUM are for files of SQLite; the shell has one database open"},
    {"vacuum", "ATTACH, DETACH and VACUUM are for files of SQLite; the shell has one database open"},
    {"pragma journal_mode = off", "PRAGMA journal_mode is SQLite's, and the engine has no such setting"},
    {"savepoint s", "the engine has no savepoints; a transaction is kept or dropped as a whole"},
    {"commit", "no transaction is open; BEGIN opens one"},
    {"begin nonsense", "expected the end of the statement after BEGIN"},
    {".nonsense", "no such command: .nonsense; .help lists the commands"},
    {".mode yaml", "no such mode: yaml; there are table, line, csv and json"},
};

TEST_F(ShellTest, ReportsEveryFailureAndChangesNothing) {
    for (const FailingStatement& each : kFailingStatements) {
        SCOPED_TRACE(each.statement);
        EXPECT_EQ(shell({each.statement}),
                  (ProgramResult{1, "", "error: " + std::string(each.error) + "\n"}));
        EXPECT_EQ(rooms(), kTwoRooms);
    }
    EXPECT_EQ(listDirectory(directory()), (std::vector<std::string>{"master_rollback", "rooms.table"}));
}

TEST_F(ShellTest, RefusesRowsThatDoNotFitIntoALine) {
    // 'x...x'~NULL~NULL~3 and the line feed
    const std::string longest(1023 - 2 - 1 - 5 - 5 - 2, 'x');
    EXPECT_EQ(
        shell({"INSERT INTO rooms (name) VALUES ('" + longest + "x')"}),
        (ProgramResult{1, "",
                       "error: the row would take a line of 1024 bytes; a table file holds lines of at most "
                       "1023\n"}));
    EXPECT_EQ(
        shell({"UPDATE rooms SET name = '" + longest + "xxxx' WHERE floor = 2"}),
        (ProgramResult{1, "",
                       "error: the row would take a line of 1024 bytes; a table file holds lines of at most "
                       "1023\n"}));
    EXPECT_EQ(rooms(), kTwoRooms);
    prepare({"INSERT INTO rooms (name) VALUES ('" + longest + "')"});
    EXPECT_EQ(shell({"SELECT name FROM rooms WHERE rowid = 3"}, {"--mode", "csv"}).out,
              "name\r\n" + longest + "\r\n");
}

TEST_F(ShellTest, UpdateLeavesARecordAloneThatLacksFields) {
    const std::string damaged = kTwoRooms + "'hall'~3\n";
    writeFile(tableFile("rooms"), damaged);
    EXPECT_EQ(shell({"UPDATE rooms SET name = 'yard' WHERE name = 'hall'"}, {"--force"}),
              (ProgramResult{1, "",
                             "warning: table rooms is damaged: " + tableFile("rooms") +
                                 ":6: too few fields: 2 for 4 columns; run filedb check\n"
                                 "error: DB Error: Record has fewer fields than Table Definition\n"}));
    EXPECT_EQ(rooms(), damaged);
}

// A row of 210 NULLs takes more than a line, the names and flags of the columns do not.
TEST_F(ShellTest, RawStatementsStoreRowsOfAnyLength) {
    std::string definitions;
    std::string nulls;
    for (int column = 0; column < 210; ++column) {
        definitions += column == 0 ? "" : ", ";
        definitions += static_cast<char>('a' + column / 10) + std::to_string(column % 10) + " INTEGER";
        nulls += "NULL~";
    }
    prepare({"CREATE TABLE wide (" + definitions + ")"});
    EXPECT_EQ(
        shell({"INSERT INTO wide (a0) VALUES (NULL)"}),
        (ProgramResult{1, "",
                       "error: the row would take a line of 1052 bytes; a table file holds lines of at most "
                       "1023\n"}));
    EXPECT_EQ(shell({"INSERT INTO wide VALUES (1);"}, {"--raw"}), (ProgramResult{0, "", ""}));
    const std::string stored = readFile(tableFile("wide"));
    EXPECT_EQ(stored.substr(stored.find("\n\n") + 2), nulls + "1\n");
}

TEST_F(ShellTest, TransactionsKeepOrDropTheirChanges) {
    prepare({"BEGIN; DELETE FROM rooms; CREATE TABLE t (a TEXT); INSERT INTO t VALUES ('x'); ROLLBACK;"});
    EXPECT_EQ(rooms(), kTwoRooms);
    EXPECT_FALSE(fileExists(tableFile("t")));
    EXPECT_EQ(shell({"begin", "create table t (a text)", ".tables", "drop table rooms", ".tables",
                     ".schema t", "select * from t", "rollback", ".tables"},
                    {"--mode", "csv"}),
              (ProgramResult{0, "rooms\nt\nt\nCREATE TABLE t (a TEXT);\na\r\nrooms\n", ""}));
    prepare({"begin transaction", "create table t (a text)", "insert into t values ('x')", "commit"});
    EXPECT_EQ(readFile(tableFile("t")), "a~ROWID\n4~1\n\n'x'~1\n");
}

TEST_F(ShellTest, RollsBackWhatIsLeftOpen) {
    EXPECT_EQ(shell({"begin", "delete from rooms"}),
              (ProgramResult{
                  1, "",
                  "2 rows deleted\n"
                  "filedb shell: the transaction was still open and is rolled back; COMMIT keeps it\n"}));
    EXPECT_EQ(rooms(), kTwoRooms);
}

TEST_F(ShellTest, StopsAtTheFirstFailureOfAFile) {
    writeFile(temporary.file("statements.sql"),
              "-- two floors\n"
              "begin;\n"
              "insert into rooms values ('den', 1, 0);\n"
              "\n"
              "insert into rooms\n"
              "  values ('hall', 1, 'ground');\n"
              "commit;\n");
    const std::string file = temporary.file("statements.sql");
    EXPECT_EQ(run("shell", {"-f", file}),
              (ProgramResult{
                  1, "",
                  file + ":5: error: column floor is INTEGER: \"ground\" is not a whole number of 64 bits\n"
                         "filedb shell: the transaction was still open and is rolled back; COMMIT keeps "
                         "it\n"}));
    EXPECT_EQ(rooms(), kTwoRooms);
}

TEST_F(ShellTest, ReadsStatementsFromAPipe) {
    ProgramOptions options;
    options.input = "select name from rooms;select floor\nfrom rooms;\n.mode csv\nselect area from rooms";
    EXPECT_EQ(run("shell", {}, options), (ProgramResult{0,
                                                        "name\n------\nattic\ncellar\n"
                                                        "floor\n-----\n    2\n   -1\n"
                                                        "area\r\n12.5\r\n\r\n",
                                                        ""}));
    options.input =
        "select name\nfrom rooms where floor=2;\nselect oops from rooms;\nselect name from rooms;\n";
    EXPECT_EQ(run("shell", {}, options),
              (ProgramResult{1, "name\n-----\nattic\n", "<stdin>:3: error: no such column: oops\n"}));
}

TEST_F(ShellTest, DotCommandsDoWhatHelpSays) {
    writeFile(temporary.file("more.sql"), "select name from rooms where floor=2;\n.mode json\n");
    writeFile(temporary.file("loop.sql"), ".read " + temporary.file("loop.sql") + "\n");
    EXPECT_EQ(shell({".tables", ".schema", ".schema rooms", ".read " + temporary.file("more.sql"),
                     "select floor from rooms where floor=2", ".quit", "select name from rooms"}),
              (ProgramResult{0,
                             "rooms\n"
                             "CREATE TABLE rooms (name TEXT NOT NULL, area REAL, floor INTEGER);\n"
                             "CREATE TABLE rooms (name TEXT NOT NULL, area REAL, floor INTEGER);\n"
                             "name\n-----\nattic\n"
                             "[\n{\"floor\":2}\n]\n",
                             ""}));
    const ProgramResult help = shell({".help"});
    EXPECT_EQ(help.status, 0);
    for (const char* command : {".help", ".tables", ".schema", ".mode", ".read", ".timer", ".log", ".quit"}) {
        EXPECT_NE(help.out.find(command), std::string::npos) << command;
    }
    const ProgramResult loop = shell({".read " + temporary.file("loop.sql")});
    EXPECT_EQ(loop.status, 1);
    EXPECT_NE(loop.err.find("more than 16 files read each other"), std::string::npos) << loop;
}

TEST_F(ShellTest, TimerAndLogLeaveStandardOutputAlone) {
    const std::string logFile = temporary.file("log");
    const ProgramResult result =
        shell({".log " + logFile, ".timer on", "select name from rooms", ".log off"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "name\n------\nattic\ncellar\n");
    EXPECT_EQ(result.err.rfind("time: 0.", 0), 0U) << result;
    EXPECT_NE(readFile(logFile).find("1 FileDatabase: passed SQL:SELECT *, ROWID FROM rooms;\n"),
              std::string::npos)
        << readFile(logFile);
}

TEST_F(ShellTest, RawSendsTheTextAsItStands) {
    EXPECT_EQ(shell({"SELECT * FROM rooms WHERE floor = 2;"}, {"--raw", "--mode", "csv"}),
              (ProgramResult{0, "name,area,floor\r\nattic,12.5,2\r\n", ""}));
    EXPECT_EQ(shell({"SELECT *, ROWID, * FROM rooms;"}, {"--raw"}),
              (ProgramResult{1, "", "error: ResultSet Error: Wrong column Index or rowset is not set\n"}));
    EXPECT_EQ(shell({"INSERT INTO rooms VALUES ('x');"}, {"--raw"}),
              (ProgramResult{1, "", "error: DB Error: NULL Value is not allowed\n"}));
    EXPECT_EQ(shell({"select * from rooms;"}, {"--raw"}),
              (ProgramResult{1, "", "error: DB Syntax Error: Error at SELECT or FROM clause\n"}));
    EXPECT_EQ(shell({"SELECT * FROM rooms"}, {"--raw"}),
              (ProgramResult{1, "", "error: Syntax Error: No ; found at end of Statement\n"}));
    EXPECT_EQ(shell({"vacuum it now;"}, {"--raw"}),
              (ProgramResult{1, "", "error: Syntax Error: unsupported Error\n"}));
    EXPECT_EQ(
        shell({"ALTER TABLE rooms ADD COLUMN b TEXT;"}, {"--raw"}),
        (ProgramResult{1, "", "error: the engine did nothing: ALTER TABLE rooms ADD COLUMN b TEXT;\n"}));
    EXPECT_EQ(
        shell({"SELECT * FROM rooms WHERE name = '?';"}, {"--raw"}),
        (ProgramResult{
            1, "",
            "error: DatabaseClient: 0 values for 1 \"?\" in: SELECT * FROM rooms WHERE name = '?';\n"}));
    EXPECT_EQ(shell({"BEGIN;", "CREATE TABLE t (a TEXT);", "SELECT * FROM t;", "ROLLBACK;"}, {"--raw"}),
              (ProgramResult{0, "a\n-\n", ""}));
    EXPECT_EQ(shell({"BEGIN;", "DELETE FROM rooms;", "ROLLBACK;", "ALTER TABLE t rooms ADD COLUMN b TEXT;"},
                    {"--raw"}),
              (ProgramResult{0, "", ""}));
    EXPECT_EQ(rooms(), kTwoRooms);
}

TEST_F(ShellTest, ReadOnlyRefusesChanges) {
    for (const char* statement :
         {"delete from rooms", "insert into rooms values ('a', 1, 1)", "update rooms set floor = 1",
          "create table t (a text)", "drop table rooms", "begin"}) {
        SCOPED_TRACE(statement);
        const ProgramResult expected{
            1, "", "error: the database is open for looking only; leave out --read-only to change it\n"};
        EXPECT_EQ(shell({statement}, {"--read-only"}), expected);
    }
    EXPECT_EQ(shell({"DELETE FROM rooms;"}, {"--read-only", "--raw"}).status, 1);
    EXPECT_EQ(rooms(), kTwoRooms);
    EXPECT_EQ(shell({"select name from rooms"}, {"--read-only"}).out, "name\n------\nattic\ncellar\n");
}

TEST_F(ShellTest, FailsWhenItsOutputCannotBeWritten) {
    ProgramOptions options;
    options.outputFile = "/dev/full";
    EXPECT_EQ(run("shell", {"-c", "select * from rooms"}, options),
              (ProgramResult{2, "", "filedb shell: standard output could not be written\n"}));
    EXPECT_EQ(run("tables", {}, options),
              (ProgramResult{2, "", "filedb tables: standard output could not be written\n"}));
    EXPECT_EQ(run("export", {"rooms"}, options),
              (ProgramResult{2, "", "filedb export: standard output could not be written\n"}));
}

TEST_F(ShellTest, MakesADatabaseOnlyWhereOneCanBe) {
    const std::string fresh = temporary.file("fresh");
    EXPECT_EQ(runProgram({"shell", fresh, "--read-only", "-c", "select * from t"}),
              (ProgramResult{2, "",
                             "filedb shell: no database at " + fresh + ": " + fresh +
                                 "_filedb is not a directory; check the path\n"}));
    EXPECT_EQ(runProgram({"shell", fresh, "-c", "create table t (a text)"}), (ProgramResult{0, "", ""}));
    EXPECT_EQ(readFile(fresh + "_filedb/t.table"), "a~ROWID\n4~1\n\n");
    EXPECT_EQ(runProgram({"shell", temporary.file("none/fresh"), "-c", "create table t (a text)"}).status, 2);
}

TEST_F(ShellTest, TakesTheDirectoryItselfAsPath) {
    for (const std::string& named : {directory(), directory() + "/", directory() + "/.", path()}) {
        SCOPED_TRACE(named);
        EXPECT_EQ(runProgram({"shell", named, "-c", "select name from rooms where floor=2"}),
                  (ProgramResult{0, "name\n-----\nattic\n", ""}));
    }
}

TEST_F(ShellTest, WrongUsageEndsWithStatusTwo) {
    EXPECT_EQ(runProgram({}).status, 2);
    EXPECT_EQ(runProgram({"shell"}).status, 2);
    EXPECT_EQ(runProgram({"sing", path()}).status, 2);
    EXPECT_EQ(run("shell", {"--mode", "yaml"}).status, 2);
    EXPECT_EQ(run("shell", {"-f", temporary.file("missing.sql")}),
              (ProgramResult{2, "",
                             "filedb shell: " + temporary.file("missing.sql") +
                                 ": cannot be read; name a file of statements\n"}));
    for (const char* command :
         {"shell", "tables", "schema", "export", "import", "dump", "load", "check", "repair", "subs"}) {
        SCOPED_TRACE(command);
        const ProgramResult help = runProgram({command, "--help"});
        EXPECT_EQ(help.status, 0);
        EXPECT_NE(help.out.find("Examples:\n  filedb " + std::string(command)), std::string::npos) << help;
    }
}

}  // namespace
}  // namespace Kalt::Vemo::Test
