#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "FileDatabase.h"
#include "ProgramRun.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::FileDatabase;
using Core::Database::Filedb::Synchronous;

class DiffTest : public ProgramTest {
protected:
    void SetUp() override {
        prepare({"CREATE TABLE rooms (name TEXT NOT NULL, floor INTEGER)",
                 "INSERT INTO rooms VALUES ('attic', 2)", "INSERT INTO rooms VALUES ('cellar', -1)",
                 "CREATE TABLE boxes (id INTEGER PRIMARY KEY, note TEXT, size REAL)",
                 "INSERT INTO boxes VALUES (7, NULL, 0.5)"});
        std::filesystem::copy(directory(), other() + "_filedb");
    }

    std::string other() const { return temporary.file("other"); }

    void prepareOther(const std::vector<std::string>& statements) const {
        for (const std::string& statement : statements) {
            const ProgramResult result = runProgram({"shell", other(), "-c", statement});
            ASSERT_EQ(result.status, 0) << result;
            ASSERT_EQ(result.out, "");
        }
    }
};

TEST_F(DiffTest, EqualDatabasesGiveNothing) {
    EXPECT_EQ(run("diff", {other()}), (ProgramResult{0, "", ""}));
    EXPECT_EQ(run("diff", {other(), "--json"}), (ProgramResult{0, "{\"changes\":[]}\n", ""}));
    // Neither the journal counts, nor a working copy, nor the order of rows, nor any other file.
    writeFile(other() + "_filedb/rooms.table",
              "name~floor~ROWID\n260~1~1\n\n'cellar'~18446744073709551615~2\n'attic'~2~1\n");
    writeFile(other() + "_filedb/master_rollback", "0\n\x01~rooms\n");
    writeFile(other() + "_filedb/rooms.backup", "name~floor~ROWID\n260~1~1\n\n");
    writeFile(other() + "_filedb/README", "notes");
    EXPECT_EQ(run("diff", {other()}), (ProgramResult{0, "", ""}));
}

TEST_F(DiffTest, ShowsRowIdsAsSignedNumbers) {
    prepareOther({"INSERT INTO boxes VALUES (-5, 'five', NULL), (-6, 'six', NULL)"});
    EXPECT_EQ(run("diff", {other()}),
              (ProgramResult{
                  1, "boxes +-6 id=-6 note='six' size=NULL\nboxes +-5 id=-5 note='five' size=NULL\n", ""}));
    const ProgramResult json = run("diff", {other(), "--json"});
    EXPECT_NE(json.out.find("\"rowid\":-5,"), std::string::npos) << json;
    EXPECT_NE(json.out.find("\"rowid\":-6,"), std::string::npos) << json;
}

TEST_F(DiffTest, TellsEveryKindOfDifference) {
    prepareOther({"INSERT INTO rooms VALUES ('hall', 0)", "UPDATE rooms SET floor = 3 WHERE name = 'attic'",
                  "DELETE FROM rooms WHERE name = 'cellar'", "UPDATE boxes SET note = 'red', size = 2",
                  "CREATE TABLE later (a TEXT)", "INSERT INTO later VALUES ('x')"});
    prepare({"CREATE TABLE earlier (a TEXT, b TEXT, PRIMARY KEY (a, b))"});
    EXPECT_EQ(run("diff", {other()}), (ProgramResult{1,
                                                     "boxes ~7 note=NULL → 'red' size=0.5 → 2\n"
                                                     "earlier - (a TEXT, b TEXT, PRIMARY KEY(a, b))\n"
                                                     "later + (a TEXT)\n"
                                                     "later +1 a='x'\n"
                                                     "rooms ~1 floor=2 → 3\n"
                                                     "rooms -2 name='cellar' floor=-1\n"
                                                     "rooms +3 name='hall' floor=0\n",
                                                     ""}));
    EXPECT_EQ(
        run("diff", {other(), "--json"}),
        (ProgramResult{
            1,
            "{\"changes\":[\n"
            R"j({"table":"boxes","change":"changed","rowid":7,"from":{"note":null,"size":0.5},"to":{"note":"red","size":2}},)j"
            "\n"
            R"j({"table":"earlier","change":"dropped","definition":"a TEXT, b TEXT, PRIMARY KEY(a, b)"},)j"
            "\n"
            R"j({"table":"later","change":"created","definition":"a TEXT"},)j"
            "\n"
            R"j({"table":"later","change":"added","rowid":1,"row":{"a":"x"}},)j"
            "\n"
            R"j({"table":"rooms","change":"changed","rowid":1,"from":{"floor":2},"to":{"floor":3}},)j"
            "\n"
            R"j({"table":"rooms","change":"gone","rowid":2,"row":{"name":"cellar","floor":-1}},)j"
            "\n"
            R"j({"table":"rooms","change":"added","rowid":3,"row":{"name":"hall","floor":0}})j"
            "\n]}\n",
            ""}));
    ProgramOptions ascii;
    ascii.environment = {"LC_ALL=C"};
    EXPECT_EQ(run("diff", {other()}, ascii).out.substr(0, 32), "boxes ~7 note=NULL -> 'red' size");
}

TEST_F(DiffTest, ADifferentDefinitionIsAnotherTable) {
    prepareOther({"DROP TABLE boxes", "CREATE TABLE boxes (id INTEGER PRIMARY KEY, note TEXT)",
                  "INSERT INTO boxes VALUES (7, NULL)"});
    EXPECT_EQ(run("diff", {other()}),
              (ProgramResult{1,
                             "boxes -7 id=7 note=NULL size=0.5\n"
                             "boxes - (id INTEGER PRIMARY KEY, note TEXT, size REAL)\n"
                             "boxes + (id INTEGER PRIMARY KEY, note TEXT)\n"
                             "boxes +7 id=7 note=NULL\n",
                             ""}));
}

TEST_F(DiffTest, ComparesWithAnyDirectoryOfTables) {
    const std::string backup = temporary.file("backup");
    std::filesystem::create_directory(backup);
    std::filesystem::copy(tableFile("rooms"), backup + "/rooms.table");
    EXPECT_EQ(run("diff", {backup}).out,
              "boxes -7 id=7 note=NULL size=0.5\nboxes - (id INTEGER PRIMARY KEY, note TEXT, size REAL)\n");
    EXPECT_EQ(runProgram({"diff", backup, path()}).out,
              "boxes + (id INTEGER PRIMARY KEY, note TEXT, size REAL)\nboxes +7 id=7 note=NULL size=0.5\n");
}

TEST_F(DiffTest, TellsWhatARepairHasSetAside) {
    writeFile(tableFile("rooms"), readFile(tableFile("rooms")) + "'hall'\n'\x1b'~4~2\n");
    const ProgramResult repaired = run("repair");
    ASSERT_NE(repaired.status, 2) << repaired;
    const std::string aside = directory() + ".repair-1";
    ASSERT_TRUE(std::filesystem::is_directory(aside));
    const ProgramResult result = run("diff", {aside});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.out.find("rooms +? \"'hall'\" line 6: 1 field for 3 columns\n"), std::string::npos)
        << result << repaired;
    EXPECT_EQ(result.out.find('\x1b'), std::string::npos) << result;
}

TEST_F(DiffTest, TellsLinesThatAreNoRows) {
    const std::string table = readFile(tableFile("rooms"));
    writeFile(tableFile("rooms"), table + "same\nonly here\n");
    writeFile(other() + "_filedb/rooms.table", table + "same\n'hall'~1~1\nsame\n");
    writeFile(other() + "_filedb/boxes.table", "id~note\n");
    EXPECT_EQ(run("diff", {other()}),
              (ProgramResult{1,
                             "boxes -7 id=7 note=NULL size=0.5\n"
                             "boxes - (id INTEGER PRIMARY KEY, note TEXT, size REAL)\n"
                             "boxes + (not readable)\n"
                             "boxes +? \"id~note\" line 1: the table's definition cannot be read\n"
                             "rooms -? \"only here\" line 7: 1 field for 3 columns\n"
                             "rooms +? \"'hall'~1~1\" line 7: ROWID 1 stands twice\n"
                             "rooms +? \"same\" line 8: 1 field for 3 columns\n",
                             ""}));
}

TEST_F(DiffTest, WhatCannotBeReadIsTrouble) {
    const std::string none = temporary.file("none");
    EXPECT_EQ(run("diff", {none}), (ProgramResult{2, "",
                                                  "filedb diff: no database at " + none + ": " + none +
                                                      "_filedb is not a directory; check the path\n"}));
    ASSERT_EQ(chmod(tableFile("rooms").c_str(), 0), 0);
    ProgramOptions options;
    options.heedsModes = true;
    EXPECT_EQ(run("diff", {other()}, options),
              (ProgramResult{
                  2, "", "filedb diff: " + tableFile("rooms") + ": cannot be read: Permission denied\n"}));
    EXPECT_EQ(runProgram({"diff", path()}).status, 2);
}

TEST_F(DiffTest, WorksBesideAProcessThatHasTheDatabaseOpen) {
    FileDatabase database(Synchronous::off);
    ASSERT_TRUE(database.init(path().c_str()));
    ASSERT_TRUE(database.beginTransaction());
    ASSERT_EQ(database.executeUpdate("DELETE FROM rooms;"), 0);
    EXPECT_EQ(run("diff", {other()}), (ProgramResult{0, "", ""}));
    ASSERT_TRUE(database.commitTransaction());
    EXPECT_EQ(run("diff", {other()}).out, "rooms +1 name='attic' floor=2\nrooms +2 name='cellar' floor=-1\n");
}

}  // namespace
}  // namespace Kalt::Vemo::Test
