#include <sys/stat.h>

#include <string>
#include <vector>

#include "ProgramRun.h"

namespace Kalt::Vemo::Test {
namespace {

class TablesTest : public ProgramTest {
protected:
    void SetUp() override {
        prepare({"CREATE TABLE plain (a TEXT, b REAL NOT NULL)", "INSERT INTO plain VALUES ('x', 1)",
                 "CREATE TABLE keyed (id INTEGER PRIMARY KEY, name TEXT NOT NULL)",
                 "CREATE TABLE pairs (x TEXT, y INTEGER, z REAL, PRIMARY KEY (x, y))"});
    }
};

TEST_F(TablesTest, TablesTellsRowsBytesColumnsAndKey) {
    EXPECT_EQ(run("tables"), (ProgramResult{0,
                                            "table  rows  bytes  columns                         key\n"
                                            "-----  ----  -----  ------------------------------  ----\n"
                                            "keyed     0     19  id INTEGER, name TEXT NOT NULL  id\n"
                                            "pairs     0     28  x TEXT, y INTEGER, z REAL       x, y\n"
                                            "plain     1     27  a TEXT, b REAL NOT NULL\n",
                                            ""}));
    EXPECT_EQ(run("tables", {"--mode", "json"}).out.substr(0, 2), "[\n");
}

TEST_F(TablesTest, SchemaPrintsStatementsThatMakeTheSameTables) {
    const ProgramResult all = run("schema");
    EXPECT_EQ(all, (ProgramResult{0,
                                  "CREATE TABLE keyed (id INTEGER PRIMARY KEY, name TEXT NOT NULL);\n"
                                  "CREATE TABLE pairs (x TEXT, y INTEGER, z REAL, PRIMARY KEY(x, y));\n"
                                  "CREATE TABLE plain (a TEXT, b REAL NOT NULL);\n",
                                  ""}));
    EXPECT_EQ(run("schema", {"plain"}).out, "CREATE TABLE plain (a TEXT, b REAL NOT NULL);\n");

    const std::string copy = temporary.file("copy");
    for (const bool raw : {false, true}) {
        SCOPED_TRACE(raw);
        ProgramOptions options;
        options.input = all.out;
        std::vector<std::string> arguments{"shell", copy + (raw ? "raw" : "")};
        if (raw) {
            arguments.emplace_back("--raw");
        }
        EXPECT_EQ(runProgram(arguments, options), (ProgramResult{0, "", ""}));
        for (const char* table : {"keyed", "pairs"}) {
            EXPECT_EQ(readFile(arguments[1] + "_filedb/" + table + ".table"), readFile(tableFile(table)));
        }
    }
}

TEST_F(TablesTest, NamesWhatIsNotThere) {
    EXPECT_EQ(run("schema", {"missing"}), (ProgramResult{1, "", "filedb schema: no such table: missing\n"}));
    EXPECT_EQ(run("schema", {"../db_filedb/plain"}),
              (ProgramResult{1, "", "filedb schema: no such table: ../db_filedb/plain\n"}));
    EXPECT_EQ(runProgram({"tables", temporary.file("none")}),
              (ProgramResult{2, "",
                             "filedb tables: no database at " + temporary.file("none") + ": " +
                                 temporary.file("none") + "_filedb is not a directory; check the path\n"}));
}

TEST_F(TablesTest, ListsWhatItCanOfADamagedDatabase) {
    writeFile(tableFile("broken"), "a~b\n");
    writeFile(tableFile("empty"), "");
    ASSERT_EQ(mkfifo(tableFile("pipe").c_str(), 0600), 0);
    const ProgramResult result = run("tables", {"--mode", "csv"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out,
              "table,rows,bytes,columns,key\r\n"
              "keyed,0,19,\"id INTEGER, name TEXT NOT NULL\",id\r\n"
              "pairs,0,28,\"x TEXT, y INTEGER, z REAL\",\"x, y\"\r\n"
              "plain,1,27,\"a TEXT, b REAL NOT NULL\",\"\"\r\n");
    EXPECT_EQ(result.err,
              "filedb tables: table broken: its definition cannot be read; run filedb check\n"
              "filedb tables: table empty: its definition cannot be read; run filedb check\n");
    EXPECT_EQ(run("schema").out,
              "CREATE TABLE keyed (id INTEGER PRIMARY KEY, name TEXT NOT NULL);\n"
              "CREATE TABLE pairs (x TEXT, y INTEGER, z REAL, PRIMARY KEY(x, y));\n"
              "CREATE TABLE plain (a TEXT, b REAL NOT NULL);\n");
}

TEST_F(TablesTest, WarnsOfATableThatItReadsAndThatIsDamaged) {
    const std::string damaged = "a~b~ROWID\n4~258~1\n\n'x'~1~1\n'y'~two~2\n";
    writeFile(tableFile("plain"), damaged);
    const std::string warning = "warning: table plain is damaged: " + tableFile("plain") +
                                ":5: column \"b\": value \"two\" is not in the stored form of REAL, a number "
                                "with six significant digits; "
                                "run filedb check\n";
    for (const std::vector<std::string>& words : {std::vector<std::string>{"tables"},
                                                  {"schema"},
                                                  {"schema", "plain"},
                                                  {"export", "plain"},
                                                  {"export", "plain", "--format", "json"}}) {
        SCOPED_TRACE(words.front());
        const ProgramResult result = run(words.front(), {words.begin() + 1, words.end()});
        EXPECT_EQ(result.status, 0);
        EXPECT_NE(result.out, "");
        EXPECT_EQ(result.err, warning);
    }
    EXPECT_EQ(run("schema", {"keyed"}).err, "");
    EXPECT_EQ(readFile(tableFile("plain")), damaged);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
