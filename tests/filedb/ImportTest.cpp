// What an import makes of a table's file, and which tables it leaves alone.

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "ProgramRun.h"

namespace Kalt::Vemo::Test {
namespace {

const std::string kHead = "a~n~ROWID\n4~1~1\n\n";

class ImportTest : public ProgramTest {
protected:
    void SetUp() override { prepare({"CREATE TABLE t (a TEXT, n INTEGER)"}); }

    std::string given(const std::string& content, const std::string& name = "rows.csv") const {
        writeFile(temporary.file(name), content);
        return temporary.file(name);
    }

    void plant(const std::string& records) const { writeFile(tableFile("t"), kHead + records); }
    std::string records() const { return readFile(tableFile("t")).substr(kHead.size()); }
};

TEST_F(ImportTest, HiddenRowIdsGoOnAsTheEngineCountsThem) {
    struct Case {
        const char* name;
        const char* before;
        const char* after;
    };
    const std::vector<Case> cases{
        {"an empty table", "", "'x'~1~1\n'y'~2~2\n"},
        {"after the last, whatever gaps there are", "'k'~0~7\n", "'k'~0~7\n'x'~1~8\n'y'~2~9\n"},
        {"the lowest that are free when the last is taken", "'k'~0~1\n'k'~0~3\n'k'~0~9223372036854775807\n",
         "'k'~0~1\n'x'~1~2\n'k'~0~3\n'y'~2~4\n'k'~0~9223372036854775807\n"},
        {"the last one, then the lowest", "'k'~0~9223372036854775806\n",
         "'y'~2~1\n'k'~0~9223372036854775806\n'x'~1~9223372036854775807\n"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        plant(each.before);
        EXPECT_EQ(run("import", {"t", given("a,n\nx,1\ny,2\n")}),
                  (ProgramResult{0, "imported 2 rows into t\n", ""}));
        EXPECT_EQ(records(), each.after);
        plant(each.before);
        prepare({"INSERT INTO t VALUES ('x', 1)", "INSERT INTO t VALUES ('y', 2)"});
        EXPECT_EQ(records(), each.after) << "the engine does otherwise";
    }
}

TEST_F(ImportTest, RowIdsAreTakenFromTheFileOnRequest) {
    plant("'k'~0~5\n");
    EXPECT_EQ(run("import", {"t", given("ROWID,a,n\n7,x,1\n2,y,2\n,z,3\n"), "--rowid"}),
              (ProgramResult{0, "imported 3 rows into t\n", ""}));
    EXPECT_EQ(records(), "'y'~2~2\n'k'~0~5\n'x'~1~7\n'z'~3~8\n");
    EXPECT_EQ(run("import", {"t", given("[{\"ROWID\": 1, \"n\": 4}, {\"n\": 5}]", "rows.json"), "--rowid"}),
              (ProgramResult{0, "imported 2 rows into t\n", ""}));
    EXPECT_EQ(records(), "NULL~4~1\n'y'~2~2\n'k'~0~5\n'x'~1~7\n'z'~3~8\nNULL~5~9\n");
}

TEST_F(ImportTest, ARowIdThatCannotBeIsTold) {
    plant("'k'~0~5\n");
    struct Case {
        const char* content;
        const char* error;
    };
    const std::vector<Case> cases{
        {"ROWID,n\n5,1\n", "2: error: ROWID 5 is there already; without it the row gets the next one"},
        {"ROWID,n\n6,1\n6,1\n", "3: error: ROWID 6 is there already; without it the row gets the next one"},
        {"ROWID,n\n0,1\n", "2: error: a ROWID is a whole number from 1 to 9223372036854775807"},
        {"ROWID,n\n-1,1\n", "2: error: a ROWID is a whole number from 1 to 9223372036854775807"},
        {"ROWID,n\nx,1\n", "2: error: column ROWID is INTEGER: \"x\" is not a whole number of 64 bits"},
        {"ROWID,ROWID\n", "1: error: column \"ROWID\" is named twice"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.error);
        EXPECT_EQ(run("import", {"t", given(each.content), "--rowid"}),
                  (ProgramResult{1, "", temporary.file("rows.csv") + ":" + each.error + "\n"}));
        EXPECT_EQ(records(), "'k'~0~5\n");
    }
}

TEST_F(ImportTest, AColumnRowIdOfTheTablesOwnIsNotTakenForTheHiddenOne) {
    writeFile(tableFile("own"), "ROWID~ROWID\n4~1\n\n'x'~1\n");
    const std::string refusal =
        "table own has a column ROWID of its own; leave out --rowid, or use filedb dump\n";
    EXPECT_EQ(run("import", {"own", given("ROWID\n9\n"), "--rowid"}),
              (ProgramResult{1, "", "filedb import: " + refusal}));
    EXPECT_EQ(run("export", {"own", "--rowid"}), (ProgramResult{1, "", "filedb export: " + refusal}));
    EXPECT_EQ(run("import", {"own", given("ROWID\n9\n")}).status, 0);
    EXPECT_EQ(readFile(tableFile("own")), "ROWID~ROWID\n4~1\n\n'x'~1\n'9'~2\n");
}

TEST_F(ImportTest, AnIntegerKeyIsTheRowIdAndNeedsNoOther) {
    prepare({"CREATE TABLE k (id INTEGER PRIMARY KEY)"});
    EXPECT_EQ(run("import", {"k", given("id\n4\n2\n"), "--rowid"}),
              (ProgramResult{0, "imported 2 rows into k\n", ""}));
    EXPECT_EQ(run("export", {"k", "--rowid"}), (ProgramResult{0, "id\r\n4\r\n2\r\n", ""}));
    for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"--rowid"}}) {
        std::vector<std::string> rest{"k", given("ROWID\n9\n")};
        rest.insert(rest.end(), options.begin(), options.end());
        EXPECT_EQ(run("import", rest),
                  (ProgramResult{
                      1, "", temporary.file("rows.csv") + ":1: error: table k has no column \"ROWID\"\n"}));
    }
}

TEST_F(ImportTest, KeysAreComparedAsTheEngineComparesThem) {
    prepare({"CREATE TABLE k (a TEXT, r REAL, PRIMARY KEY(a, r))", "INSERT INTO k VALUES ('it''s', 0)",
             "INSERT INTO k VALUES ('x', 1)", "INSERT INTO k VALUES ('x', 0.0001231)"});
    const std::string before = readFile(tableFile("k"));
    struct Case {
        const char* row;
        const char* values;
        bool isNew;
    };
    const std::vector<Case> cases{
        {"it's,1", "'it''s', 1", true},
        {"it's,0", "'it''s', 0", false},
        {"it's,-0", "'it''s', -0", false},
        {"it'x,0", "'it''x', 0", false},  // a lone quote hides the character after it
        {"x,1.00000001", "'x', 1.00000001", false},
        {"x,0.0001234", "'x', 0.0001234", true},
        {"x,0.0001231", "'x', 0.0001231", false},
        {"X,1", "'X', 1", true},
        {"x,10", "'x', 10", true},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.row);
        writeFile(tableFile("k"), before);
        const ProgramResult result = run("import", {"k", given(std::string("a,r\n") + each.row + "\n")});
        EXPECT_EQ(result.status, each.isNew ? 0 : 1);
        EXPECT_EQ(result.err, each.isNew ? ""
                                         : temporary.file("rows.csv") +
                                               ":2: error: DB Error: PRIMARY KEY must be unique\n");
        const std::string imported = readFile(tableFile("k"));
        writeFile(tableFile("k"), before);
        const ProgramResult inserted = shell({std::string("INSERT INTO k VALUES (") + each.values + ")"});
        EXPECT_EQ(inserted.status, result.status) << "the engine does otherwise: " << inserted;
        EXPECT_EQ(readFile(tableFile("k")), imported);
    }
    EXPECT_EQ(run("import", {"k", given("a,r\ny,1\ny,2\ny,1\n")}).err,
              temporary.file("rows.csv") + ":4: error: DB Error: PRIMARY KEY must be unique\n");
}

TEST_F(ImportTest, AColumnThatMustNotBeNullIsToldWhetherNamedOrNot) {
    prepare({"CREATE TABLE k (id INTEGER PRIMARY KEY, a TEXT NOT NULL)"});
    EXPECT_EQ(run("import", {"k", given("id\n1\n")}).err,
              temporary.file("rows.csv") + ":2: error: DB Error: NULL Value is not allowed\n");
    EXPECT_EQ(run("import", {"k", given("id,a\n1,\n")}).err,
              temporary.file("rows.csv") + ":2: error: column a must not be NULL\n");
    EXPECT_EQ(readFile(tableFile("k")), "id~a\n257~260\nid\n");
}

TEST_F(ImportTest, AnUnsoundTableIsChangedOnlyByForceAndKeepsItsRecords) {
    struct Case {
        const char* before;
        std::string finding;
        const char* after;
    };
    const std::vector<Case> cases{
        {"'k'~x~1\n",
         "t.table:4: column \"n\": value \"x\" is not in the stored form of INTEGER, decimal digits of an "
         "unsigned "
         "64-bit number",
         "'k'~x~1\n'new'~1~2\n"},
        {"'k'~0~9\n'k'~0~2\n", "t.table:5: ROWID 2 is out of order: it follows 9",
         "'k'~0~9\n'k'~0~2\n'new'~1~10\n"},
        {"'k'~0~1\nshort", "t.table:5: too few fields: 1 for 3 columns, and 1 finding more",
         "'k'~0~1\nshort\n'new'~1~2\n"},
    };
    const std::string rows = given("a,n\nnew,1\n");
    for (const Case& each : cases) {
        SCOPED_TRACE(each.finding);
        plant(each.before);
        EXPECT_EQ(run("import", {"t", rows}),
                  (ProgramResult{1, "",
                                 "filedb import: table t is not sound: " + each.finding +
                                     "; filedb repair mends it, --force imports all the same\n"}));
        EXPECT_EQ(records(), each.before);
        EXPECT_EQ(run("import", {"t", rows, "--force"}), (ProgramResult{0, "imported 1 row into t\n", ""}));
        EXPECT_EQ(records(), each.after);
    }
}

TEST_F(ImportTest, ABrokenDefinitionIsNotForced) {
    writeFile(tableFile("t"), "a~n~ROWID\n4~9~1\n\n");
    EXPECT_EQ(run("import", {"t", given("a\nx\n"), "--force"}),
              (ProgramResult{
                  1, "",
                  "filedb import: table t is not sound: t.table:2: column \"n\": flag number \"9\" is "
                  "unknown: 1 (INTEGER), 2 (REAL) or 4 (TEXT), plus 256 for NOT NULL; filedb repair sets it "
                  "aside\n"}));
    EXPECT_EQ(readFile(tableFile("t")), "a~n~ROWID\n4~9~1\n\n");
}

TEST_F(ImportTest, ACommitThatACrashHasInterruptedIsFinishedFirst) {
    plant("'old'~1~1\n");
    writeFile(directory() + "/t.backup", kHead + "'old'~1~1\n'committed'~2~2\n");
    writeFile(directory() + "/master_rollback", "0\n1~t\n");
    EXPECT_EQ(run("import", {"t", given("a,n\nnew,3\n")}), (ProgramResult{0, "imported 1 row into t\n", ""}));
    EXPECT_EQ(records(), "'old'~1~1\n'committed'~2~2\n'new'~3~3\n");
    EXPECT_EQ(listDirectory(directory()), (std::vector<std::string>{"master_rollback", "t.table"}));
}

TEST_F(ImportTest, AWorkingCopyThatMayHoldNewerRowsIsNotRunOver) {
    plant("'old'~1~1\n");
    writeFile(directory() + "/t.backup", kHead + "'old'~1~1\n'newer'~2~2\n");
    const std::string rows = given("a,n\nx,3\n");
    EXPECT_EQ(run("import", {"t", rows}),
              (ProgramResult{2, "",
                             "filedb import: " + directory() +
                                 "/t.backup: a commit was interrupted, and opening the database for changes "
                                 "would lose what it "
                                 "left; run filedb repair first, or give --force\n"}));
    EXPECT_EQ(records(), "'old'~1~1\n");
    EXPECT_EQ(listDirectory(directory()),
              (std::vector<std::string>{"master_rollback", "t.backup", "t.table"}));
    EXPECT_EQ(run("import", {"t", rows, "--force"}).status, 0);
    EXPECT_EQ(records(), "'old'~1~1\n'x'~3~2\n");
    EXPECT_EQ(listDirectory(directory()), (std::vector<std::string>{"master_rollback", "t.table"}));
}

TEST_F(ImportTest, TheTablesFileKeepsItsModeAndAttributesAndALinkIsFollowed) {
    const std::string target = directory() + "/elsewhere";
    ASSERT_EQ(rename(tableFile("t").c_str(), target.c_str()), 0);
    ASSERT_EQ(symlink("elsewhere", tableFile("t").c_str()), 0);
    ASSERT_EQ(chmod(target.c_str(), 0640), 0);
    const bool hasAttributes = setxattr(target.c_str(), "user.note", "kept", 4, 0) == 0;
    EXPECT_TRUE(hasAttributes || errno == ENOTSUP);
    EXPECT_EQ(run("import", {"t", given("a,n\nx,1\n")}).status, 0);
    EXPECT_EQ(readFile(target), kHead + "'x'~1~1\n");
    struct stat status {};
    ASSERT_EQ(lstat(tableFile("t").c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    ASSERT_EQ(stat(target.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
    char note[5] = {};
    EXPECT_EQ(getxattr(target.c_str(), "user.note", note, 4), hasAttributes ? 4 : -1);
    EXPECT_STREQ(note, hasAttributes ? "kept" : "");
}

TEST_F(ImportTest, ATableThatMayNotBeWrittenIsTrouble) {
    ASSERT_EQ(chmod(tableFile("t").c_str(), 0444), 0);
    ProgramOptions options;
    options.heedsModes = true;
    EXPECT_EQ(run("import", {"t", given("a\nx\n")}, options),
              (ProgramResult{2, "",
                             "filedb import: " + tableFile("t") +
                                 ": cannot be written: DataBase Error: Couldn't open the corresponding file: "
                                 "Permission denied\n"}));
    EXPECT_EQ(records(), "");
    EXPECT_EQ(listDirectory(directory()), (std::vector<std::string>{"master_rollback", "t.table"}));
}

TEST_F(ImportTest, ReadsJsonLines) {
    const std::string content = "{\"a\": \"x\", \"n\": 1}\r\n\n  \n{\"n\": true}\n{\"a\": null, \"n\": -2}";
    for (const std::string name : {"rows.jsonl", "rows.ndjson"}) {
        plant("");
        EXPECT_EQ(run("import", {"t", given(content, name)}),
                  (ProgramResult{0, "imported 3 rows into t\n", ""}));
        EXPECT_EQ(records(), "'x'~1~1\nNULL~1~2\nNULL~18446744073709551614~3\n");
    }
    ProgramOptions options;
    options.input = "{\"n\":8}\n";
    plant("");
    EXPECT_EQ(run("import", {"t", "-", "--format", "jsonl"}, options).status, 0);
    EXPECT_EQ(records(), "NULL~8~1\n");
}

TEST_F(ImportTest, WhatAnInterruptedCommitLeftIsNotLost) {
    plant("'a'~1~1\n");
    writeFile(directory() + "/u.backup", "a~ROWID\n4~1\n\n'x'~1\n");
    writeFile(directory() + "/master_rollback", "1\n\x04~u\n");
    const Files before = readFiles(directory());
    const std::string refusal =
        directory() +
        "/u.backup: a commit was interrupted, and opening the database for changes would lose "
        "what it left; run filedb repair first";
    EXPECT_EQ(run("import", {"t", given("n\n1\n")}),
              (ProgramResult{2, "", "filedb import: " + refusal + ", or give --force\n"}));
    const ProgramResult dump = run("dump", {});
    EXPECT_EQ(run("load", {given(dump.out, "rows.dump")}),
              (ProgramResult{2, "", "filedb load: " + refusal + "\n"}));
    EXPECT_EQ(run("subs", {"save", "--uri", "u", "--device", "d", "--resource", "r"}).status, 2);
    EXPECT_EQ(readFiles(directory()), before);
    EXPECT_EQ(run("import", {"t", given("n\n1\n"), "--force"}).status, 0);
}

TEST_F(ImportTest, AnErrorInJsonLinesNamesItsLine) {
    const std::string nothingElse =
        "a line is an object that holds numbers, texts and null; this is something else";
    const std::vector<std::pair<std::string, std::string>> cases{
        {"{\"n\":1}\n[1]\n", "2: error: " + nothingElse},
        {"{\"n\":1}\n\n7\n", "3: error: " + nothingElse},
        {"{\"n\":{}}\n", "1: error: " + nothingElse},
        {"{\"n\":1e400}\n", "1: error: the number 1e400 is too large for any column"},
        {"{\"n\":1}\n{\"b\":1}\n", "2: error: table t has no column \"b\""},
        {"{\"n\":1}\n{}\n", "2: error: the row names no column"},
        {std::string("{\"n\":1}\n{\"a\":\"\0\"}\n", 19), "2: error: not valid JSON: a NUL byte; remove it"},
    };
    for (const auto& [content, error] : cases) {
        SCOPED_TRACE(error);
        EXPECT_EQ(run("import", {"t", given(content, "rows.jsonl")}),
                  (ProgramResult{1, "", temporary.file("rows.jsonl") + ":" + error + "\n"}));
        EXPECT_EQ(records(), "");
    }
    const ProgramResult damaged = run("import", {"t", given("{\"n\":1}\n{\"n\":1\n}\n", "rows.jsonl")});
    EXPECT_EQ(damaged.err.rfind(temporary.file("rows.jsonl") + ":2: error: not valid JSON: syntax error", 0),
              0U)
        << damaged;
}

TEST_F(ImportTest, TakesAnotherDelimiterAndGivesItBack) {
    plant("'a;b\t\"c\"'~1~1\nNULL~NULL~2\n''~2~3\n");
    const std::string before = records();
    struct Case {
        const char* delimiter;
        const char* content;
    };
    const std::vector<Case> cases{
        {";", "a;n\n\"a;b\t\"\"c\"\"\";1\n;\n\"\";2\n"},
        {"\\t", "a\tn\n\"a;b\t\"\"c\"\"\"\t1\n\t\n\"\"\t2\n"},
        {"|", "a|n\n\"a;b\t\"\"c\"\"\"|1\n|\n\"\"|2\n"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.delimiter);
        EXPECT_EQ(run("export", {"t", "--delimiter", each.delimiter, "--newline", "lf"}),
                  (ProgramResult{0, each.content, ""}));
        plant("");
        EXPECT_EQ(run("import", {"t", given(each.content), "--delimiter", each.delimiter}).status, 0);
        EXPECT_EQ(records(), before);
    }
}

TEST_F(ImportTest, OptionsThatCannotBeAreWrongUsage) {
    const std::string rows = given("a\nx\n");
    for (const char* delimiter : {"\"", "\r", "\n", ",,", "\xC3\xA4", "\xFF"}) {
        SCOPED_TRACE(delimiter);
        EXPECT_EQ(run("import", {"t", rows, "--delimiter", delimiter}).status, 2);
        EXPECT_EQ(run("export", {"t", "--delimiter", delimiter}).status, 2);
    }
    EXPECT_EQ(run("export", {"t", "--delimiter", "xy"}).err,
              "filedb export: --delimiter: \"xy\" cannot stand between fields; name one character of ASCII, "
              "or \\t for "
              "a tabulator, but no quote and no end of a line\n");
    EXPECT_EQ(
        run("export", {"t", "--delimiter", ";", "--format", "json"}),
        (ProgramResult{2, "", "filedb export: --delimiter: only csv has one; leave it out for json\n"}));
    EXPECT_EQ(
        run("export", {"t", "--newline", "lf", "--format", "sql"}),
        (ProgramResult{2, "", "filedb export: --newline: only csv has a choice; leave it out for sql\n"}));
    EXPECT_EQ(
        run("export", {"t", "--rowid", "--format", "sql"}),
        (ProgramResult{2, "",
                       "filedb export: --rowid: an INSERT cannot set a ROWID; take csv or json, or filedb "
                       "dump\n"}));
    EXPECT_EQ(records(), "");
}

TEST_F(ImportTest, EveryFormatThatHasRowIdsGivesBackTheSameFile) {
    plant("'x'~1~3\nNULL~NULL~9\n''~18446744073709551615~9223372036854775807\n");
    const std::string before = readFile(tableFile("t"));
    for (const std::string format : {"csv", "json", "jsonl"}) {
        SCOPED_TRACE(format);
        writeFile(tableFile("t"), before);
        const ProgramResult exported = run("export", {"t", "--rowid", "--format", format});
        EXPECT_EQ(exported.status, 0);
        plant("");
        EXPECT_EQ(run("import", {"t", given(exported.out, "rows." + format), "--rowid"}),
                  (ProgramResult{0, "imported 3 rows into t\n", ""}));
        EXPECT_EQ(readFile(tableFile("t")), before);
    }
}

TEST_F(ImportTest, JsonRefusesWhatIsNotUtf8BeforeItWritesAnything) {
    plant("'good'~1~1\n'x\xFF'~2~2\n");
    const std::string refusal =
        "row 2, column a: \"x\\xff\" is not valid UTF-8, which JSON has to be; write it as csv instead\n";
    for (const char* format : {"json", "jsonl"}) {
        EXPECT_EQ(run("export", {"t", "--format", format}),
                  (ProgramResult{1, "", "filedb export: " + refusal}));
    }
    EXPECT_EQ(shell({"select * from t"}, {"--mode", "json"}), (ProgramResult{1, "", "error: " + refusal}));
    EXPECT_EQ(run("export", {"t"}), (ProgramResult{0, "a,n\r\ngood,1\r\nx\xFF,2\r\n", ""}));
}

TEST_F(ImportTest, NothingToImportLeavesTheFileAlone) {
    struct stat before {};
    ASSERT_EQ(stat(tableFile("t").c_str(), &before), 0);
    EXPECT_EQ(run("import", {"t", given("a,n\n")}), (ProgramResult{0, "imported 0 rows into t\n", ""}));
    struct stat after {};
    ASSERT_EQ(stat(tableFile("t").c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
