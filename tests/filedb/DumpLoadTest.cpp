// A database as text, and back.

#include <string>
#include <vector>

#include "ProgramRun.h"

namespace Kalt::Vemo::Test {
namespace {

/// A database of tables of every kind, and what `dump` writes of it.
const Files kTables{{"empty.table", "a~ROWID\n4~1\n\n"},
                    {"key.table", "id~r\n257~2\nid\n7~NULL\n18446744073709551615~1e+20\n2~-0\n3~inf\n"},
                    {"pair.table", "a~b~ROWID\n260~257~1\nb~a\n'x'~1~1\n'x'~2~9223372036854775807\n"},
                    {"text.table",
                     "ROWID~note~ROWID\n4~4~1\n\n'it's "
                     "\"q\"'~''~2\n''a''~'NULL'~3\nNULL~'\xE6\x97\xA5\x1B[2J\x7F\xE2\x80\xAE'~5\n"
                     "'x\xFF'~'\\n'~8\n"}};

class DumpLoadTest : public ProgramTest {
protected:
    void SetUp() override { prepare({"CREATE TABLE empty (a TEXT)"}); }

    void plantTables() const {
        for (const auto& [name, content] : kTables) {
            writeFile(directory() + "/" + name, content);
        }
    }

    static std::string dumpOfTables() {
        return R"({"filedb":"dump","version":1}
{"table":"empty","columns":["a TEXT","ROWID INTEGER"],"key":[]}
{"table":"key","columns":["id INTEGER NOT NULL","r REAL"],"key":["id"]}
[7,null]
[-1,1e+20]
[2,"-0"]
[3,"inf"]
{"table":"pair","columns":["a TEXT NOT NULL","b INTEGER NOT NULL","ROWID INTEGER"],"key":["b","a"]}
["x",1,1]
["x",2,9223372036854775807]
{"table":"text","columns":["ROWID TEXT","note TEXT","ROWID INTEGER"],"key":[]}
["it's \"q\"","",2]
["'a'","NULL",3]
[null,"日\u001b[2J\u007f\u202e",5]
[{"hex":"78ff"},"\\n",8]
{"end":{"tables":4,"rows":10}}
)";
    }

    ProgramResult load(const std::string& dump, const std::vector<std::string>& options = {}) const {
        writeFile(temporary.file("db.dump"), dump);
        std::vector<std::string> rest{temporary.file("db.dump")};
        rest.insert(rest.end(), options.begin(), options.end());
        return run("load", rest);
    }

    std::string fresh() const { return temporary.file("fresh"); }
};

TEST_F(DumpLoadTest, ADumpGivesBackEqualFiles) {
    plantTables();
    const ProgramResult dumped = run("dump");
    EXPECT_EQ(dumped, (ProgramResult{0, dumpOfTables(), ""}));
    ProgramOptions options;
    options.input = dumped.out;
    EXPECT_EQ(runProgram({"load", fresh(), "-"}, options),
              (ProgramResult{0, "loaded 4 tables with 10 rows\n", ""}));
    EXPECT_EQ(readFiles(fresh() + "_filedb"), readFiles(directory()));
    EXPECT_EQ(runProgram({"check", fresh()}).status, 0);
    EXPECT_EQ(runProgram({"dump", fresh()}), dumped);
}

TEST_F(DumpLoadTest, TablesThatAreThereAreReplacedOnRequestOnly) {
    plantTables();
    prepare({"CREATE TABLE other (a TEXT)"});
    writeFile(tableFile("empty"), "a~ROWID\n4~1\n\n'mine'~1\n");
    const Files before = readFiles(directory());
    EXPECT_EQ(load(dumpOfTables()),
              (ProgramResult{
                  1, "",
                  "filedb load: table empty is there already and differs from the dump; --replace replaces "
                  "it, nothing was changed\n"}));
    EXPECT_EQ(readFiles(directory()), before);
    EXPECT_EQ(load(dumpOfTables(), {"--replace"}),
              (ProgramResult{0, "loaded 1 table with 0 rows; as in the dump already: 3 tables\n", ""}));
    Files after = before;
    after["empty.table"] = kTables.at("empty.table");
    EXPECT_EQ(readFiles(directory()), after);
    EXPECT_EQ(load(dumpOfTables()),
              (ProgramResult{0, "loaded 0 tables with 0 rows; as in the dump already: 4 tables\n", ""}));
}

TEST_F(DumpLoadTest, WhatIsNoDumpIsToldWithItsLineAndChangesNothing) {
    const std::string head = "{\"filedb\":\"dump\",\"version\":1}\n";
    const std::string table =
        head + "{\"table\":\"t\",\"columns\":[\"id INTEGER NOT NULL\",\"a TEXT\"],\"key\":[\"id\"]}\n";
    const std::string end = "{\"end\":{\"tables\":1,\"rows\":1}}\n";
    const std::string noDefinition =
        R"(expected the definition of a table, as {"table":"t","columns":["a TEXT NOT NULL","ROWID INTEGER"],"key":[]})";
    const std::string noValue =
        R"(column a: a value is a number, a text, null, or {"hex":"..."} with the bytes of a text)";
    const std::vector<std::pair<std::string, std::string>> cases{
        {"", "1: error: this is no dump of a database; filedb dump makes one"},
        {"a,n\r\n", "1: error: this is no dump of a database; filedb dump makes one"},
        {"[]\n", "1: error: this is no dump of a database; filedb dump makes one"},
        {"{\"filedb\":\"dump\",\"version\":2}\n",
         "1: error: this dump has another version than 1; a newer filedb reads it"},
        {head, "2: error: the dump ends early: its last line, {\"end\":...}, is missing; make it anew"},
        {table + "[1,\"x\"]\n",
         "4: error: the dump ends early: its last line, {\"end\":...}, is missing; make it anew"},
        {head + "[1]\n", "2: error: " + noDefinition},
        {head + "{}\n", "2: error: " + noDefinition},
        {head + "{\"table\":\"../t\",\"columns\":[],\"key\":[]}\n",
         "2: error: \"../t\" is no name of a table"},
        {head + "{\"table\":\"t\",\"columns\":[\"a BLOB\"],\"key\":[]}\n",
         "2: error: column \"a BLOB\" has no definition as \"name TYPE\" or \"name TYPE NOT NULL\", with "
         "INTEGER, REAL "
         "or TEXT"},
        {head + "{\"table\":\"t\",\"columns\":[\"a TEXT\"],\"key\":[\"b\"]}\n",
         "2: error: key column \"b\" is not a column of the table"},
        {head + "{\"table\":\"t\",\"columns\":[\"a TEXT\"],\"key\":[]}\n[\"x\"]\n" + end,
         "2: error: table t: last column is not ROWID with flag number 1, as in every table without a single "
         "INTEGER "
         "primary key"},
        {table + "[1]\n" + end, "3: error: 1 value for 2 columns of table t"},
        {table + "[1,[]]\n" + end, "3: error: " + noValue},
        {table + "[1,{\"hex\":\"7\"}]\n" + end, "3: error: " + noValue},
        {table + "[1,\"x~y\"]\n" + end, "3: error: column a: a table file cannot hold \"~\", as in \"x~y\""},
        {table + "[1,{\"hex\":\"0a\"}]\n" + end,
         "3: error: column a: a table file cannot hold a line feed, as in \"\\x0a\""},
        {table + "[null,\"x\"]\n" + end, "3: error: column id must not be NULL"},
        {table + "[1.5,\"x\"]\n" + end,
         "3: error: column id is INTEGER: \"1.5\" is not a whole number of 64 bits"},
        {table + "[1,\"x\"]\n[2,\"y\"]\n[1,\"z\"]\n" + end,
         "5: error: table t: primary key (id = \"1\") repeats that of line 4"},
        {table + "[1,\"" + std::string(1100, 'x') + "\"]\n" + end,
         "3: error: table t: line is 1105 bytes long with its line feed, the format's limit is 1023"},
        {table + "[1,\"x\"]\nrubbish\n",
         "4: error: not a line of a dump: neither a JSON object nor an array"},
        {table + "\n", "3: error: not a line of a dump: neither a JSON object nor an array"},
        {table + std::string("[1,\"x\"]\0\n", 9) + end,
         "3: error: not a line of a dump: neither a JSON object nor an array"},
        {table + "[1,\"x\"]\n" + table.substr(head.size()) + end, "4: error: table t is there twice"},
        {table + end,
         "3: error: the dump has 1 table and 0 rows, its last line tells of others; the line of a whole dump "
         "is "
         "{\"end\":{\"rows\":0,\"tables\":1}}"},
        {table + "[1,\"x\"]\n" + end + "\n", "5: error: something follows the end of the dump; remove it"},
    };
    const Files before = readFiles(directory());
    for (const auto& [dump, error] : cases) {
        SCOPED_TRACE(error);
        EXPECT_EQ(load(dump, {"--replace"}),
                  (ProgramResult{1, "", temporary.file("db.dump") + ":" + error + "\n"}));
        EXPECT_EQ(readFiles(directory()), before);
    }
    EXPECT_EQ(load(table + "[1,\"x\"]\n" + end), (ProgramResult{0, "loaded 1 table with 1 row\n", ""}));
}

TEST_F(DumpLoadTest, ADumpThatAPersonHasWrittenIsPutIntoTheStoredForm) {
    EXPECT_EQ(load("{\"filedb\":\"dump\",\"version\":1}\n"
                   "{\"table\":\"t\",\"columns\":[\"i INTEGER\",\"r REAL\",\"a TEXT\",\"ROWID "
                   "INTEGER\"],\"key\":[]}\n"
                   "[\"007\", 0.10, 5, 1]\n[-1, \"1.23456789\", \"5\", 4]\n"
                   "{\"end\": {\"rows\": 2, \"tables\": 1}}\n"),
              (ProgramResult{0, "loaded 1 table with 2 rows\n", ""}));
    EXPECT_EQ(readFile(tableFile("t")),
              "i~r~a~ROWID\n1~2~4~1\n\n7~0.1~'5'~1\n18446744073709551615~1.23457~'5'~4\n");
}

TEST_F(DumpLoadTest, AnUnsoundTableIsNotDumped) {
    writeFile(tableFile("empty"), "a~ROWID\n4~1\n\n'x'~1\n'y'~1\n");
    EXPECT_EQ(run("dump"),
              (ProgramResult{
                  1, "",
                  "filedb dump: table empty is not sound: empty.table:5: ROWID 1 repeats that of line 4; "
                  "filedb repair mends it\n"}));
}

TEST_F(DumpLoadTest, WhatIsMissingIsTrouble) {
    EXPECT_EQ(runProgram({"dump", fresh()}).status, 2);
    EXPECT_EQ(run("load", {temporary.file("none")}),
              (ProgramResult{2, "",
                             "filedb load: " + temporary.file("none") +
                                 ": cannot be read; name a file that filedb dump has made\n"}));
    EXPECT_FALSE(fileExists(fresh() + "_filedb"));
    writeFile(temporary.file("bad"), "bad");
    EXPECT_EQ(runProgram({"load", fresh(), temporary.file("bad")}).status, 1);
    EXPECT_FALSE(fileExists(fresh() + "_filedb"));
}

}  // namespace
}  // namespace Kalt::Vemo::Test
