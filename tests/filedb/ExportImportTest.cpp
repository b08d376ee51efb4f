#include <string>
#include <vector>

#include "ProgramRun.h"

namespace Kalt::Vemo::Test {
namespace {

class ExportImportTest : public ProgramTest {
protected:
    void SetUp() override { prepare({"CREATE TABLE t (a TEXT, n INTEGER, r REAL)"}); }

    ProgramResult import(const std::string& content, const std::string& name = "rows.csv") const {
        writeFile(temporary.file(name), content);
        return run("import", {"t", temporary.file(name)});
    }

    std::string rows() const {
        const std::string text = readFile(tableFile("t"));
        return text.substr(std::string("a~n~r~ROWID\n4~1~2~1\n\n").size());
    }
};

TEST_F(ExportImportTest, EveryFormatGivesBackTheSameTable) {
    prepare({"INSERT INTO t VALUES ('plain', 1, 1.5)", "INSERT INTO t VALUES ('a,b \"c\" ''d''', -7, 1e20)",
             "INSERT INTO t VALUES ('', NULL, NULL)", "INSERT INTO t VALUES (NULL, 0, -0.25)",
             "INSERT INTO t VALUES ('NULL', 9223372036854775807, 0)",
             "INSERT INTO t VALUES (' \t日本\r', 3, 123456)"});
    const std::string original = readFile(tableFile("t"));
    for (const std::string format : {"csv", "json", "sql"}) {
        SCOPED_TRACE(format);
        const ProgramResult exported = run("export", {"t", "--format", format});
        EXPECT_EQ(exported.status, 0);
        const std::string file = temporary.file("rows." + format);
        writeFile(file, exported.out);
        if (format == "sql") {
            EXPECT_EQ(shell({"DROP TABLE t"}, {}), (ProgramResult{0, "", ""}));
            EXPECT_EQ(run("shell", {"-f", file}), (ProgramResult{0, "", ""}));
        } else {
            prepare({"DELETE FROM t"});
            EXPECT_EQ(run("import", {"t", file}), (ProgramResult{0, "imported 6 rows into t\n", ""}));
        }
        EXPECT_EQ(readFile(tableFile("t")), original);
    }
}

TEST_F(ExportImportTest, ExportsExactly) {
    prepare({"INSERT INTO t VALUES ('it''s \"1,2\"', -7, 0.5)", "INSERT INTO t VALUES ('', NULL, 2)"});
    EXPECT_EQ(run("export", {"t"}),
              (ProgramResult{0, "a,n,r\r\n\"it's \"\"1,2\"\"\",-7,0.5\r\n\"\",,2\r\n", ""}));
    EXPECT_EQ(
        run("export", {"t", "--format", "json"}),
        (ProgramResult{
            0, "[\n{\"a\":\"it's \\\"1,2\\\"\",\"n\":-7,\"r\":0.5},\n{\"a\":\"\",\"n\":null,\"r\":2}\n]\n",
            ""}));
    EXPECT_EQ(run("export", {"t", "--format", "sql"}),
              (ProgramResult{0,
                             "BEGIN;\n"
                             "CREATE TABLE t (a TEXT, n INTEGER, r REAL);\n"
                             "INSERT INTO t VALUES ('it''s \"1,2\"', -7, 0.5);\n"
                             "INSERT INTO t VALUES ('', NULL, 2);\n"
                             "COMMIT;\n",
                             ""}));
    EXPECT_EQ(run("export", {"missing"}), (ProgramResult{1, "", "filedb export: no such table: missing\n"}));
}

TEST_F(ExportImportTest, ReadsCsvAsOtherProgramsWriteIt) {
    struct Case {
        const char* name;
        const char* content;
        const char* rows;
    };
    const std::vector<Case> cases{
        {"line feeds only", "a,n,r\nx,1,2\n", "'x'~1~2~1\n"},
        {"no last line feed", "a,n,r\r\nx,1,2", "'x'~1~2~1\n"},
        {"byte order mark",
         "\xEF\xBB\xBF"
         "a,n\nx,1\n",
         "'x'~1~NULL~1\n"},
        {"another order of columns", "r,a\n2,x\n", "'x'~NULL~2~1\n"},
        {"quoted fields", "\"a\",\"n\"\n\"x, \"\"y\"\"\",\"1\"\n", "'x, \"y\"'~1~NULL~1\n"},
        {"one column with NULL", "n\n\n5\n", "NULL~NULL~NULL~1\nNULL~5~NULL~2\n"},
        {"the word NULL", "a\nNULL\n", "'NULL'~NULL~NULL~1\n"},
        {"heading only", "a,n\n", ""},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        prepare({"DELETE FROM t"});
        EXPECT_EQ(import(each.content).status, 0);
        EXPECT_EQ(rows(), each.rows);
    }
}

TEST_F(ExportImportTest, ReadsJson) {
    EXPECT_EQ(import("[ {\"a\": \"x\", \"n\": 1, \"r\": 2.5},\n {\"n\": true}, {\"a\": null, \"r\": 1e3} ]\n",
                     "rows.json"),
              (ProgramResult{0, "imported 3 rows into t\n", ""}));
    EXPECT_EQ(rows(), "'x'~1~2.5~1\nNULL~1~NULL~2\nNULL~NULL~1000~3\n");
    ProgramOptions options;
    options.input = "[{\"a\":\"piped\"}]";
    EXPECT_EQ(run("import", {"t", "-", "--format", "json"}, options),
              (ProgramResult{0, "imported 1 row into t\n", ""}));
}

TEST_F(ExportImportTest, AnErrorNamesItsLineAndLeavesTheTableAsItWas) {
    prepare({"INSERT INTO t VALUES ('kept', 1, 1)"});
    const std::string before = readFile(tableFile("t"));
    struct Case {
        const char* file;
        std::string content;
        const char* line;
        std::string error;
    };
    const std::vector<Case> cases{
        {"r.csv", "a,n\nok,1\nx~y,2\n", "3", "column a: a table file cannot hold \"~\", as in \"x~y\""},
        {"r.csv", "a,n\nok,1\n\"x\ny\",2\n", "3",
         "column a: a table file cannot hold a line feed, as in \"x\\x0ay\""},
        {"r.csv", std::string("a,n\nok,1\nx\0y,2\n", 14), "3",
         "column a: a table file cannot hold a NUL byte, as in \"x\\x00y\""},
        {"r.csv", "a,n\nok,1\n" + std::string(1100, 'x') + ",2\n", "3",
         "the row would take a line of 1112 bytes; a table file holds lines of at most 1023"},
        {"r.csv", "a,n\nok,1\n\"two\rlines\",z\n", "3",
         "column n is INTEGER: \"z\" is not a whole number of 64 bits"},
        {"r.csv", "a,n\nok,1\n\nx\n", "3", "1 field where the heading has 2"},
        {"r.csv", "a,n\nok,1\nx,2,3\n", "3", "3 fields where the heading has 2"},
        {"r.csv", "a,n\nok,1\n\"x,2\n\n", "3", "the quote that opens here is not closed"},
        {"r.csv", "a,n\nok,1\n\"x\"y,2\n", "3", "a comma or the end of the line must follow a closing quote"},
        {"r.csv", "a,n\nok,1\nx\"y,2\n", "3",
         "a quote inside a field without quotes; put the field in quotes and double the quote"},
        {"r.csv", "a,b\nok,1\n", "1", "table t has no column \"b\""},
        {"r.csv", "a,a\nok,1\n", "1", "column \"a\" is named twice"},
        {"r.csv", "a,ROWID\nok,1\n", "1", "table t has no column \"ROWID\"; --rowid takes the hidden one"},
        {"r.csv", "a,b\n", "1", "table t has no column \"b\""},
        {"r.csv", "\n", "1", "table t has no column \"\""},
        {"r.csv", "", "1", "the file is empty; its first line names the columns"},
        {"r.json", "[{\"a\":\"ok\"},\n{\"a\":\"x\",\n\"n\":\"z\"}]", "3",
         "column n is INTEGER: \"z\" is not a whole number of 64 bits"},
        {"r.json", "[{\"a\":\"ok\"},\n{\"a\":[1]}]", "2",
         "a table is an array of objects that hold numbers, texts and null; this is something else"},
        {"r.json", "{\"a\":\"ok\"}", "1",
         "a table is an array of objects that hold numbers, texts and null; this is something else"},
        {"r.json", "[{}]", "1", "the row names no column"},
        {"r.json", std::string("[{\"a\":\"ok\"}]\n\0 [1]", 18), "2", "not valid JSON: a NUL byte; remove it"},
        {"r.json", std::string("[{\"a\":\"ok\"}]\n\0", 14), "2", "not valid JSON: a NUL byte; remove it"},
        {"r.json", std::string("[{\"a\":\"o\0k\"}]", 13), "1", "not valid JSON: a NUL byte; remove it"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.error);
        EXPECT_EQ(import(each.content, each.file),
                  (ProgramResult{
                      1, "", temporary.file(each.file) + ":" + each.line + ": error: " + each.error + "\n"}));
        EXPECT_EQ(readFile(tableFile("t")), before);
        EXPECT_EQ(listDirectory(directory()), (std::vector<std::string>{"master_rollback", "t.table"}));
    }
    const ProgramResult damaged = import("[{\"a\":\"ok\"},\n{\"a\":}]", "r.json");
    EXPECT_EQ(damaged.status, 1);
    EXPECT_EQ(damaged.err.rfind(temporary.file("r.json") + ":2: error: not valid JSON: syntax error", 0), 0U)
        << damaged;
}

TEST_F(ExportImportTest, ARepeatedKeyLeavesTheTableAsItWas) {
    prepare({"CREATE TABLE k (id INTEGER PRIMARY KEY)", "INSERT INTO k VALUES (1)"});
    const std::string before = readFile(tableFile("k"));
    writeFile(temporary.file("k.csv"), "id\n2\n1\n");
    EXPECT_EQ(run("import", {"k", temporary.file("k.csv")}),
              (ProgramResult{1, "",
                             temporary.file("k.csv") + ":3: error: DB Error: PRIMARY KEY must be unique\n"}));
    EXPECT_EQ(readFile(tableFile("k")), before);
}

TEST_F(ExportImportTest, FilesThatCannotBeReadAreTrouble) {
    EXPECT_EQ(run("import", {"t", temporary.file("none.csv")}),
              (ProgramResult{2, "",
                             "filedb import: " + temporary.file("none.csv") +
                                 ": cannot be read; name a CSV or JSON file\n"}));
    EXPECT_EQ(run("import", {"t", temporary.path()}).status, 2);
    EXPECT_EQ(run("import", {"missing", "/dev/null"}),
              (ProgramResult{1, "", "filedb import: no such table: missing\n"}));
}

}  // namespace
}  // namespace Kalt::Vemo::Test
