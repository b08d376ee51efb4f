// What `filedb repair` has set aside comes back by `filedb restore`, once a person has corrected it.

#include <gmock/gmock.h>

#include <filesystem>

#include "CheckTestSupport.h"
#include "TracedProgram.h"

namespace Kalt::Vemo::Test {

namespace {

using ::testing::HasSubstr;
namespace fs = std::filesystem;

const std::string kNote = "text~ROWID\n4~1\n\n";
const std::string kItem = "id~name~price\n257~260~2\nid\n";
const std::string kAside = "db_filedb.repair-1/";
const std::string kNothing = "nothing to take back\n";

class RestoreTest : public PlantedDirectoryTest {
protected:
    void plantAndRepair(const Files& files, int status) {
        plant("master_rollback", "0\n");
        plant(files);
        const ProgramResult result = repair();
        ASSERT_EQ(status, result.status) << result.out << result.err;
    }

    /// A person corrects what was set aside.
    void correct(const std::string& name, const std::string& content) {
        writeFile(root() + "/" + kAside + name, content);
    }

    std::string table() const { return readFile(path("t.table")); }
};

}  // namespace

TEST_F(RestoreTest, TakesBackACorrectedLineInItsPlace) {
    ASSERT_NO_FATAL_FAILURE(plantAndRepair({{"t.table", kNote + "'a'~1\n'b~2\n'c'~3\n"}}, 3));
    ASSERT_EQ("5\t'b~2\n", readFile(root() + "/" + kAside + "t.rejects"));
    correct("t.rejects", "5\t'b'~2\n");
    const Files before = database();
    const std::string done = kAside + "t.rejects:1: taken back\n" +
                             "db_filedb/t.table: rewritten: 3 records\n0 tables, 1 row taken back, what ";

    const ProgramResult dry = restore({"--dry-run"});
    EXPECT_EQ(done + "is replaced would be kept in db_filedb.restore-1\n", dry.out);
    EXPECT_EQ(0, dry.status);
    EXPECT_EQ(before, database());

    const ProgramResult result = restore();
    EXPECT_EQ(done + "was replaced is kept in db_filedb.restore-1\n", result.out);
    EXPECT_EQ("", result.err);
    EXPECT_EQ(0, result.status);
    EXPECT_EQ(kNote + "'a'~1\n'b'~2\n'c'~3\n", table());
    EXPECT_EQ((Files{{"t.table", kNote + "'a'~1\n'c'~3\n"}}), filesIn("db_filedb.restore-1"));
    EXPECT_EQ(std::vector<std::string>(), sharedFiles());
    EXPECT_EQ(0, check().status);

    const ProgramResult again = restore();
    EXPECT_EQ(kNothing, again.out);
    EXPECT_EQ(0, again.status);
    EXPECT_EQ((std::vector<std::string>{"db_filedb", "db_filedb.repair-1", "db_filedb.restore-1"}),
              listDirectory(root()));
}

TEST_F(RestoreTest, TellsWhichLinesItDidNotTakeAndWhy) {
    ASSERT_NO_FATAL_FAILURE(plantAndRepair({{"t.table", kItem + "1~'a'~2\n2~'b\n3\n"}}, 3));
    correct("t.rejects", "5\t2~'b'~2.5\n6\t3\n1~'z'~2\n7\t1~'x'~2\n8\t007~'y'~2\n9\t9~'w'~2");
    const ProgramResult result = restore();
    EXPECT_EQ(kAside +
                  "t.rejects:3: not taken: the line does not begin with a number and a tabulator; add "
                  "them there\n" +
                  kAside +
                  "t.rejects:6: not taken: the line has no line feed, so its end may be missing; complete it "
                  "there and "
                  "add the line feed\n" +
                  kAside + "t.rejects:2: not taken: too few fields: 1 for 3 columns; correct it there\n" +
                  kAside +
                  "t.rejects:4: not taken: primary key (id = \"1\") repeats that of line 4; correct it "
                  "there\n" +
                  kAside + "t.rejects:1: taken back\n" + kAside +
                  "t.rejects:5: taken back\ndb_filedb/t.table: rewritten: 3 records\n"
                  "0 tables, 2 rows taken back, what was replaced is kept in db_filedb.restore-1; 4 not "
                  "taken, see above\n",
              result.out);
    EXPECT_EQ(1, result.status);
    EXPECT_EQ(kItem + "1~'a'~2\n2~'b'~2.5\n7~'y'~2\n", table());
    // What is back, also in another form, is no repetition.
    const ProgramResult again = restore();
    EXPECT_EQ(1, again.status);
    EXPECT_THAT(again.out, ::testing::EndsWith("0 tables, 0 rows taken back; 4 not taken, see above\n"));
    EXPECT_EQ(0, check().status);
}

TEST_F(RestoreTest, TakesNoLineThatMayHaveBeenCutBeforeAPersonHasCompletedIt) {
    ASSERT_NO_FATAL_FAILURE(plantAndRepair({{"t.table", kNote + "'a'~1\n'b'~3"}}, 3));
    ASSERT_EQ("5\t'b'~3", readFile(root() + "/" + kAside + "t.rejects"));
    EXPECT_EQ(1, restore().status);
    EXPECT_EQ(kNote + "'a'~1\n", table());
    correct("t.rejects", "5\t'b'~30\n");
    EXPECT_EQ(0, restore().status);
    EXPECT_EQ(kNote + "'a'~1\n'b'~30\n", table());
}

TEST_F(RestoreTest, TakesBackATableWithACorrectedDefinition) {
    const std::string broken = "text~ROWID\n9~1\n\n'a'~1\n";
    ASSERT_NO_FATAL_FAILURE(plantAndRepair({{"t.table", broken}}, 3));
    const ProgramResult refused = restore();
    EXPECT_EQ(kAside +
                  "t.table: not taken: line 2: column \"text\": flag number \"9\" is unknown: 1 (INTEGER), "
                  "2 (REAL) or 4 (TEXT), plus 256 for NOT NULL; correct it there\n"
                  "0 tables, 0 rows taken back; 1 not taken, see above\n",
              refused.out);
    EXPECT_EQ(1, refused.status);
    EXPECT_EQ((Files{{"master_rollback", "0\n"}}), database());

    correct("t.table", kNote + "'a'~1\n");
    const ProgramResult result = restore();
    EXPECT_EQ("db_filedb/t.table: taken back: 1 record\n1 table, 0 rows taken back\n", result.out);
    EXPECT_EQ(0, result.status);
    EXPECT_EQ(kNote + "'a'~1\n", table());
    EXPECT_EQ(std::vector<std::string>(), sharedFiles());
    EXPECT_EQ(kNothing, restore().out);
}

TEST_F(RestoreTest, ReplacesATableThatLosesNothingByItAndKeepsThat) {
    ASSERT_NO_FATAL_FAILURE(plantAndRepair({{"t.table", "text~ROWID\n9~1\n\n'a'~1\n"}}, 3));
    correct("t.table", kNote + "'a'~1\n");
    plant("t.table", kNote);  // the program has made it anew
    const ProgramResult result = restore();
    EXPECT_EQ(
        "db_filedb/t.table: taken back: 1 record\n"
        "1 table, 0 rows taken back, what was replaced is kept in db_filedb.restore-1\n",
        result.out);
    EXPECT_EQ(0, result.status);
    EXPECT_EQ(kNote + "'a'~1\n", table());
    EXPECT_EQ((Files{{"t.table", kNote}}), filesIn("db_filedb.restore-1"));
}

TEST_F(RestoreTest, LeavesATableThatWouldLoseRecords) {
    ASSERT_NO_FATAL_FAILURE(plantAndRepair({{"t.table", "text~ROWID\n9~1\n\n'a'~1\n"}}, 3));
    correct("t.table", kNote + "'a'~1\n");
    plant("t.table", kNote + "'new'~1\n");
    const ProgramResult result = restore();
    EXPECT_EQ(kAside +
                  "t.table: not taken: the table of the database has 1 record that this one lacks; add "
                  "them to it, or bring single lines in t.rejects\n"
                  "0 tables, 0 rows taken back; 1 not taken, see above\n",
              result.out);
    EXPECT_EQ(1, result.status);
    EXPECT_EQ(kNote + "'new'~1\n", table());
}

TEST_F(RestoreTest, UndoesNoCommitThatTheRepairHasFinished) {
    plant({{"master_rollback", "1\n\x02~t\n\x05~u\n"},
           {"t.table", kNote + "'deleted'~1\n"},
           {"t.backup", kNote},
           {"u.table", kNote}});
    ASSERT_EQ(0, repair().status);
    const ProgramResult result = restore();
    EXPECT_EQ(
        kAside + "t.table: left there: it is from before the commit that the repair has finished\n" + kAside +
            "u.table: left there: it is from before the commit that the repair has finished\n" + kNothing,
        result.out);
    EXPECT_EQ(0, result.status);
    EXPECT_EQ((Files{{"master_rollback", "0\n"}, {"t.table", kNote}}), database());
}

TEST_F(RestoreTest, UndoesNoCommitThatWasLeftToTheNextOpening) {
    plant({{"master_rollback", "0\n1~t\n"}, {"t.table", kNote + "'deleted'~1\n"}, {"t.backup", kNote}});
    ASSERT_EQ(0, repair().status);
    EXPECT_EQ(kAside + "t.table: left there: it is from before the commit that the repair has finished\n" +
                  kNothing,
              restore().out);
    EXPECT_EQ(kNote, table());
}

TEST_F(RestoreTest, UndoesNoCommitThatTheRepairHasFinishedWithoutAJournalLine) {
    ASSERT_NO_FATAL_FAILURE(plantAndRepair({{"t.table", ""}, {"t.backup", kNote + "'a'~1\n"}}, 0));
    const ProgramResult result = restore();
    EXPECT_EQ(kAside + "t.table: left there: it is from before the commit that the repair has finished\n" +
                  kNothing,
              result.out);
    EXPECT_EQ(0, result.status);
    EXPECT_EQ(kNote + "'a'~1\n", table());
}

TEST_F(RestoreTest, TellsOfLinesThatNobodyHasCorrectedYet) {
    ASSERT_NO_FATAL_FAILURE(plantAndRepair({{"t.table", kNote + "'a'~1\nzz\n'b~2\n'c'~0\n"}}, 3));
    const ProgramResult result = restore();
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.out, ::testing::StartsWith(kAside + "t.rejects:1: not taken: too few fields"));
    EXPECT_THAT(result.out, ::testing::EndsWith("0 tables, 0 rows taken back; 3 not taken, see above\n"));
}

TEST_F(RestoreTest, TakesBackACorrectedTableThatACommitWasNotFinishedFor) {
    const std::string broken = "text~ROWID\n9~1\n\n'a'~1\n";
    plant({{"master_rollback", "1\n\x01~t\n"}, {"t.table", broken}});
    ASSERT_EQ(3, repair().status);
    correct("t.table", kNote + "'a'~1\n");
    EXPECT_EQ(0, restore().status);
    EXPECT_EQ(kNote + "'a'~1\n", table());
}

TEST_F(RestoreTest, TakesNothingFromWhatIsNoFile) {
    plant("master_rollback", "0\n");
    fs::create_symlink("/nowhere/at/all", path("l.table"));
    ASSERT_EQ(3, repair().status);
    fs::create_directory(root() + "/" + kAside + "t.rejects");
    const ProgramResult result = restore();
    EXPECT_EQ(
        kAside + "l.table: not taken: is a symbolic link that leads nowhere\n" + kAside +
            "t.rejects: not taken: is a directory\n0 tables, 0 rows taken back; 2 not taken, see above\n",
        result.out);
    EXPECT_EQ(1, result.status);
}

TEST_F(RestoreTest, LeavesTheOriginalOfATableThatEqualledItsWorkingCopy) {
    ASSERT_NO_FATAL_FAILURE(
        plantAndRepair({{"t.table", kNote + "'a'~1\nzz\n"}, {"t.backup", kNote + "'a'~1\nzz\n"}}, 3));
    const ProgramResult result = restore();
    EXPECT_EQ(kAside +
                  "t.rejects:1: not taken: too few fields: 1 for 2 columns; correct it there\n"
                  "0 tables, 0 rows taken back; 1 not taken, see above\n",
              result.out);
    EXPECT_EQ(1, result.status);
}

TEST_F(RestoreTest, LeavesTheOriginalOfATableThatWasOnlyMended) {
    ASSERT_NO_FATAL_FAILURE(plantAndRepair({{"t.table", kNote + "a~1\n"}}, 0));
    EXPECT_EQ(kNothing, restore().out);
    EXPECT_EQ(kNote + "'a'~1\n", table());
}

TEST_F(RestoreTest, NeedsASettledDatabaseAndADirectoryToTakeFrom) {
    ASSERT_NO_FATAL_FAILURE(plantAndRepair({{"t.table", kNote + "'a\n"}}, 3));
    plant("master_rollback", "0\n\x01~t\n");
    const ProgramResult unsettled = restore();
    EXPECT_EQ(
        "filedb restore: db_filedb/master_rollback: line 2: table \"t\" (INSERT): the next init keeps "
        "the table as it is and discards a working copy; run \"filedb repair\" first\n",
        unsettled.err);
    EXPECT_EQ(1, unsettled.status);
    plant({{"master_rollback", "0\n"}, {"t.table", kNote + "x\n"}});
    const ProgramResult unsound = restore();
    EXPECT_EQ(kAside +
                  "t.rejects: not taken: the table of the database is not sound or has a working copy; run "
                  "\"filedb repair\" first\n"
                  "0 tables, 0 rows taken back; 1 not taken, see above\n",
              unsound.out);
    EXPECT_EQ(1, unsound.status);
    const auto from = [&](const std::string& source) {
        return runProgram(root(), {filedbProgram(), "restore", "db", source});
    };
    EXPECT_EQ(
        "filedb restore: nothing is not a directory; name the directory in which a repair has set "
        "something aside\n",
        from("nothing").err);
    EXPECT_EQ(2, from("nothing").status);
    EXPECT_EQ(2, from("db_filedb").status);
}

namespace {

/// Every path that a restore may touch.
std::vector<std::string> pathsBelow(const std::string& root) {
    std::vector<std::string> all = {root};
    for (const char* directory : {"/db_filedb", "/db_filedb.restore-1"}) {
        all.push_back(root + directory);
        for (const char* name : {"/master_rollback", "/t.table", "/u.table", "/filedb.repair-tmp"}) {
            all.push_back(root + directory + name);
        }
    }
    return all;
}

}  // namespace

TEST_F(RestoreTest, EndsTheSameWayWhereverAnEarlierRunStopped) {
    const auto prepare = [&] {
        clear();
        ASSERT_NO_FATAL_FAILURE(plantAndRepair(
            {{"t.table", kNote + "'a'~1\n'b~2\n'c'~3\n"}, {"u.table", "text~ROWID\n9~1\n\n'a'~1\n"}}, 3));
        correct("t.rejects", "5\t'b'~2\n");
        correct("u.table", kNote + "'a'~1\n");
        plant("u.table", kNote);
    };
    const auto command = [&] {
        return std::vector<std::string>{filedbProgram(), "restore", root() + "/db", root() + "/" + kAside};
    };
    const Files restored = {{"master_rollback", "0\n"},
                            {"t.table", kNote + "'a'~1\n'b'~2\n'c'~3\n"},
                            {"u.table", kNote + "'a'~1\n"}};
    ASSERT_NO_FATAL_FAILURE(prepare());
    const std::vector<Call> calls = callsOf(root(), pathsBelow(root()), command());
    ASSERT_EQ(restored, database());
    int stops = 0;
    for (const Call& call : calls) {
        if (!call.isChange) {
            continue;
        }
        ++stops;
        SCOPED_TRACE(call.name + " number " + std::to_string(call.ordinal));
        ASSERT_NO_FATAL_FAILURE(prepare());
        const Files set = filesIn("db_filedb.repair-1");
        ASSERT_EQ(-9, trace(root(), "/dev/null", pathsBelow(root()), stopAt(call), command()).status);
        const ProgramResult again = restore();
        ASSERT_EQ(0, again.status) << again.out << again.err;
        ASSERT_EQ(restored, database()) << again.out;
        ASSERT_EQ(std::vector<std::string>(), sharedFiles());
        ASSERT_EQ(set, filesIn("db_filedb.repair-1"));
    }
    EXPECT_GT(stops, 10);
}

}  // namespace Kalt::Vemo::Test
