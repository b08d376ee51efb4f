#include <sys/wait.h>

#include <cstdio>
#include <string>
#include <vector>

#include "ProgramRun.h"

namespace Kalt::Vemo::Test {
namespace {

/// Other programs with the extension: `sqlite3`, and Python with its own module of that name.
class ExtensionTest : public ProgramTest {
protected:
    void SetUp() override {
        prepare({"create table rooms (name text not null, floor integer, area real)",
                 "insert into rooms values ('attic', 2, 12.5), ('cellar', -1, null)",
                 "create table lamps (id integer primary key, room text)",
                 "insert into lamps values (7, 'attic'), (9, 'cellar')"});
        sound_ = readFile(tableFile("rooms"));
    }

    /// What a program prints on both outputs when its input is `text`.
    static ProgramResult runWith(const std::string& command, const std::string& text) {
        const TemporaryDirectory files;
        writeFile(files.file("in"), text);
        ProgramResult result;
        FILE* const output = popen((command + " < " + files.file("in") + " 2>&1").c_str(), "r");
        if (output == nullptr) {
            ADD_FAILURE() << command << " cannot be run";
            return result;
        }
        for (int c = 0; (c = std::fgetc(output)) != EOF;) {
            result.out += static_cast<char>(c);
        }
        const int status = pclose(output);
        result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return result;
    }

    static ProgramResult sqlite(const std::string& statements) {
        return runWith("/usr/bin/sqlite3 :memory:", ".load " EXTENSION "\n" + statements);
    }

    /// Runs a script that has a connection `db` with the extension, the path of the database in `path`, the
    /// filedb program in `filedb`, and `fails(action)`, which gives the text of an action's error.
    ProgramResult python(const std::string& script) const {
        return runWith("/usr/bin/python3 -",
                       "import sqlite3, subprocess\n"
                       "path = '" +
                           path() +
                           "'\n"
                           "filedb = '" FILEDB_PROGRAM
                           "'\n"
                           "def connect():\n"
                           "    db = sqlite3.connect(':memory:')\n"
                           "    db.enable_load_extension(True)\n"
                           "    db.load_extension('" EXTENSION
                           "')\n"
                           "    return db\n"
                           "def fails(action):\n"
                           "    try:\n"
                           "        action()\n"
                           "    except sqlite3.Error as error:\n"
                           "        return str(error).replace(path, 'PATH')\n"
                           "db = connect()\n" +
                           script);
    }

    std::string table(const std::string& name, const std::string& access = "") const {
        return "create virtual table temp." + name + " using vemofiledb('" + path() + "', '" + name + "'" +
               (access.empty() ? "" : ", '" + access + "'") + ");\n";
    }

    std::string sound_;
};

TEST_F(ExtensionTest, ReadsOneTable) {
    EXPECT_EQ(sqlite(table("rooms") + "select rowid, *, typeof(floor), typeof(area) from rooms;"),
              (ProgramResult{0, "1|attic|2|12.5|integer|real\n2|cellar|-1||integer|null\n", ""}));
}

TEST_F(ExtensionTest, AttachesAllTablesByOneCall) {
    EXPECT_EQ(sqlite("select vemofiledb_attach('" + directory() +
                     "');\nselect r.floor, l.id from rooms r join lamps l on l.room = r.name order by 2;"),
              (ProgramResult{0, "2\n2|7\n-1|9\n", ""}));
}

TEST_F(ExtensionTest, IsForReadingUnlessWritingIsAskedFor) {
    for (const std::string statement :
         {"insert into rooms values ('x', 1, 1);", "update rooms set floor = 0;", "delete from rooms;"}) {
        SCOPED_TRACE(statement);
        const ProgramResult result = sqlite(table("rooms") + statement);
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.out.find("the tables of " + directory() +
                                  " are for reading only; name 'write' behind the table to change them"),
                  std::string::npos)
            << result;
    }
    EXPECT_EQ(readFile(tableFile("rooms")), sound_);
}

TEST_F(ExtensionTest, ReadingLeavesTheDirectoryAlone) {
    const std::vector<std::string> before = listDirectory(directory());
    EXPECT_EQ(sqlite(table("rooms") +
                     "begin;\nselect count(*) from rooms;\n.shell " FILEDB_PROGRAM " shell " + path() +
                     " -c \"insert into rooms values ('hall', 0, 1)\"\nselect count(*) from rooms;\ncommit;"),
              (ProgramResult{0, "2\n3\n", ""}));
    EXPECT_EQ(listDirectory(directory()), before);
}

TEST_F(ExtensionTest, ChangesRowsWhenAsked) {
    EXPECT_EQ(
        sqlite(table("rooms", "write") + "insert into rooms values ('hall', 0, 3.25), ('den', 1, null);\n"
                                         "select last_insert_rowid(), changes();\n"
                                         "update rooms set floor = floor + 10 where area is not null;\n"
                                         "delete from rooms where name = 'cellar';\nselect changes();"),
        (ProgramResult{0, "4|2\n1\n", ""}));
    EXPECT_EQ(readFile(tableFile("rooms")),
              "name~floor~area~ROWID\n260~1~2~1\n\n'attic'~12~12.5~1\n'hall'~10~3.25~3\n'den'~1~NULL~4\n");
    EXPECT_EQ(run("check").status, 0);
}

TEST_F(ExtensionTest, DroppingAVirtualTableLeavesTheTable) {
    EXPECT_EQ(sqlite(table("rooms", "write") + "drop table rooms;").status, 0);
    EXPECT_EQ(readFile(tableFile("rooms")), sound_);
}

TEST_F(ExtensionTest, NamesWhatItCannotAttach) {
    const std::string usage =
        "vemofiledb takes the path of a database and the name of a table, as in vemofiledb('/data/home', "
        "'rooms'), "
        "and 'write' behind them to change it";
    const std::vector<std::pair<std::string, std::string>> cases{
        {"create virtual table temp.t using vemofiledb;", usage},
        {"create virtual table temp.t using vemofiledb('" + path() + "');", usage},
        {"create virtual table temp.t using vemofiledb('" + path() + "', 'rooms', 'wright');",
         "expected 'read' or 'write', found 'wright'; " + usage},
        {"create virtual table temp.t using vemofiledb('" + path() + "', 'halls');",
         "no such table: halls in " + directory()},
        {"create virtual table temp.t using vemofiledb('/nowhere', 'halls');",
         "no database at /nowhere: /nowhere_filedb is not a directory; check the path"},
        {"select vemofiledb_attach('/nowhere');",
         "no database at /nowhere: /nowhere_filedb is not a directory; check the path"},
    };
    for (const auto& [statement, error] : cases) {
        SCOPED_TRACE(statement);
        const ProgramResult result = sqlite(statement);
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.out.find(error + "\n"), std::string::npos) << result;
    }
}

TEST_F(ExtensionTest, SkipsTablesThatSqliteCannotHave) {
    prepare({"create table Rooms (a text)", "create table Sqlite_x (a text)"});
    writeFile(tableFile("broken"), "a~b\n");
    const ProgramResult result =
        sqlite(".log stderr\nselect vemofiledb_attach('" + path() + "');\nselect * from rooms;");
    EXPECT_NE(result.out.find("table rooms differs from Rooms in case only and is not shown"),
              std::string::npos)
        << result;
    EXPECT_NE(result.out.find("table Sqlite_x is not shown: names that begin with sqlite_ are SQLite's own"),
              std::string::npos);
    EXPECT_NE(result.out.find("table broken: its definition cannot be read; run filedb check"),
              std::string::npos);
    EXPECT_EQ(result.out.substr(result.out.size() - 3), "\n2\n") << result;
}

TEST_F(ExtensionTest, PythonCommitsAndRollsBack) {
    EXPECT_EQ(python("db.execute(\"select vemofiledb_attach(?, 'write')\", (path,))\n"
                     "with db:\n"
                     "    db.executemany('insert into rooms values (?, ?, ?)', [('hall', -7, 0.5), "
                     "(\"it's\", None, None)])\n"
                     "    db.execute('delete from lamps')\n"
                     "try:\n"
                     "    with db:\n"
                     "        db.execute('delete from rooms')\n"
                     "        print(db.execute('select count(*) from rooms').fetchall())\n"
                     "        raise KeyError\n"
                     "except KeyError:\n"
                     "    pass\n"
                     "print(db.execute('select * from rooms where rowid > 2').fetchall())\n"
                     "print(db.execute('select count(*) from lamps').fetchall())\n"),
              (ProgramResult{0, "[(0,)]\n[('hall', -7, 0.5), (\"it's\", None, None)]\n[(0,)]\n", ""}));
    EXPECT_EQ(readFile(tableFile("rooms")),
              sound_ + "'hall'~18446744073709551609~0.5~3\n'it's'~NULL~NULL~4\n");
}

TEST_F(ExtensionTest, ACursorKeepsTheRowsThatItBeganWith) {
    EXPECT_EQ(
        python("db.execute('select vemofiledb_attach(?)', (path,))\n"
               "cursor = db.execute('select name from rooms')\n"
               "print(cursor.fetchone())\n"
               "subprocess.run([filedb, 'shell', path, '-c', \"insert into rooms values ('hall', 0, 0)\"])\n"
               "print(db.execute('select count(*) from rooms').fetchone())\n"
               "print(cursor.fetchall())\n"
               "print(db.execute('select count(*) from rooms').fetchone())\n"),
        (ProgramResult{0, "('attic',)\n(2,)\n[('cellar',)]\n(3,)\n", ""}));
}

TEST_F(ExtensionTest, HoldsTheLockFromTheFirstChangeToTheEndOfTheTransaction) {
    EXPECT_EQ(
        python("db.execute(\"select vemofiledb_attach(?, 'write')\", (path,))\n"
               "def other():\n"
               "    return subprocess.run([filedb, 'shell', path, '-c', \"insert into lamps values (1, "
               "'x')\"],\n"
               "                          stderr=subprocess.DEVNULL).returncode\n"
               "print(db.execute('select count(*) from rooms').fetchone())\n"
               "db.execute('update rooms set floor = 5')\n"
               "print(other())\n"
               "second = connect()\n"
               "second.execute(\"select vemofiledb_attach(?, 'write')\", (path,))\n"
               "print(second.execute('select min(floor) from rooms').fetchone())\n"
               "print(fails(lambda: second.execute('delete from rooms')))\n"
               "db.commit()\n"
               "print(other())\n"
               "second.execute('delete from rooms where name = ?', ('attic',))\n"
               "second.commit()\n"),
        (ProgramResult{
            0,
            "(2,)\n2\n(-1,)\n"
            "PATH_filedb: another connection of this program is changing it; end its transaction first\n"
            "0\n",
            ""}));
    EXPECT_EQ(readFile(tableFile("rooms")), "name~floor~area~ROWID\n260~1~2~1\n\n'cellar'~5~NULL~2\n");
}

TEST_F(ExtensionTest, AFailureThatCannotBeTakenBackEndsTheTransaction) {
    EXPECT_EQ(python("db.execute(\"select vemofiledb_attach(?, 'write')\", (path,))\n"
                     "db.execute('delete from rooms')\n"
                     "print(fails(lambda: db.execute(\"insert into lamps values (1, 'a'), (7, 'b')\")))\n"
                     "print(fails(lambda: db.execute('select count(*) from rooms').fetchone()))\n"
                     "print(fails(lambda: db.commit()))\n"
                     "db.rollback()\n"
                     "print(db.execute('select count(*) from rooms').fetchone())\n"
                     "db.execute(\"insert into lamps values (2, 'b')\")\n"
                     "print(fails(lambda: db.execute(\"insert into lamps values (2, 'c')\")))\n"
                     "db.execute(\"insert into lamps values (3, 'd')\")\n"
                     "db.commit()\n"
                     "print(db.execute('select id from lamps').fetchall())\n"),
              (ProgramResult{0,
                             "DB Error: PRIMARY KEY must be unique; the whole transaction is rolled back\n"
                             "None\nNone\n(2,)\n"
                             "DB Error: PRIMARY KEY must be unique\n"
                             "[(7,), (9,), (2,), (3,)]\n",
                             ""}));
    EXPECT_EQ(readFile(tableFile("rooms")), sound_);
}

TEST_F(ExtensionTest, ChangesThatFailAtTheNextReadEndTheTransaction) {
    EXPECT_EQ(
        python("db.execute(\"select vemofiledb_attach(?, 'write')\", (path,))\n"
               "db.execute('delete from rooms')\n"
               "db.execute('update lamps set id = 7')\n"
               "print(fails(lambda: db.execute('select count(*) from lamps').fetchone()))\n"
               "print(fails(lambda: db.execute(\"insert into lamps values (1, 'a')\")))\n"
               "print(fails(lambda: db.commit()))\n"
               "print(db.execute('select count(*) from rooms').fetchone())\n"
               "db.execute('update lamps set id = 7')\n"
               "print(fails(lambda: db.commit()))\n"
               "print(db.execute('select id from lamps').fetchall())\n"),
        (ProgramResult{0,
                       "DB Error: PRIMARY KEY must be unique; the whole transaction is rolled back\n"
                       "the transaction was rolled back because of an error, end it with ROLLBACK: DB Error: "
                       "PRIMARY KEY must be unique\n"
                       "the transaction was rolled back because of an error, end it with ROLLBACK: DB Error: "
                       "PRIMARY KEY must be unique\n"
                       "(2,)\n"
                       "DB Error: PRIMARY KEY must be unique; the whole transaction is rolled back\n"
                       "[(7,), (9,)]\n",
                       ""}));
    EXPECT_EQ(readFile(tableFile("rooms")), sound_);
}

TEST_F(ExtensionTest, SavepointsTakeBackWhatWasNotSent) {
    EXPECT_EQ(python("db.isolation_level = None\n"
                     "db.execute(\"select vemofiledb_attach(?, 'write')\", (path,))\n"
                     "db.execute('begin')\n"
                     "db.execute('update rooms set floor = 1')\n"
                     "db.execute('savepoint s')\n"
                     "db.execute('delete from lamps')\n"
                     "db.execute('rollback to s')\n"
                     "db.execute('commit')\n"
                     "print(db.execute('select count(*), sum(floor) from rooms, lamps').fetchone())\n"),
              (ProgramResult{0, "(4, 4)\n", ""}));
}

TEST_F(ExtensionTest, ARollbackToASavepointFromBeforeTheFirstChangeKeepsNoChange) {
    for (const std::string statements :
         {"savepoint a; insert into rooms values ('x', 1, 1); update rooms set floor = 7; rollback to a; "
          "release a;",
          "savepoint a; update rooms set floor = 7; rollback to a; release a;",
          "begin; savepoint a; savepoint b; insert into rooms values ('x', 1, 1); release b; rollback to a; "
          "commit;",
          "begin; savepoint a; insert into rooms values ('x', 1, 1); savepoint b; update rooms set floor = "
          "7; "
          "rollback to a; commit;",
          "begin; savepoint a; update rooms set floor = 7; select * from rooms; rollback to a; commit;"}) {
        sqlite("select vemofiledb_attach('" + path() + "', 'write');\n" + statements + "\n");
        EXPECT_EQ(readFile(tableFile("rooms")), sound_) << statements;
    }
}

TEST_F(ExtensionTest, AnAttachedDirectoryStaysTheSameInAnotherWorkingDirectory) {
    EXPECT_EQ(python("import os\n"
                     "os.chdir(os.path.dirname(path))\n"
                     "db.execute(\"select vemofiledb_attach(?, 'write')\", (os.path.basename(path),))\n"
                     "os.chdir('/')\n"
                     "db.execute('update rooms set floor = 3')\n"
                     "db.commit()\n"
                     "print(db.execute('select sum(floor) from rooms').fetchone())\n"),
              (ProgramResult{0, "(6,)\n", ""}));
    EXPECT_NE(readFile(tableFile("rooms")), sound_);
}

TEST_F(ExtensionTest, RefusesToChangeADamagedTable) {
    writeFile(tableFile("rooms"), sound_ + "'x'~two~NULL~3\n");
    const ProgramResult result =
        sqlite(table("rooms", "write") + "select count(*) from rooms;\ndelete from rooms;");
    EXPECT_EQ(result.out.substr(0, 2), "3\n");
    EXPECT_NE(result.out.find("table rooms is damaged, and a change would make that final: "),
              std::string::npos)
        << result;
    EXPECT_EQ(readFile(tableFile("rooms")), sound_ + "'x'~two~NULL~3\n");
}

TEST_F(ExtensionTest, SaysWhenATableWasMadeAnew) {
    const ProgramResult result =
        sqlite(table("rooms") + ".shell " FILEDB_PROGRAM " shell " + path() +
               " -c \"drop table rooms\" -c \"create table rooms (b integer)\"\nselect * from rooms;");
    EXPECT_NE(result.out.find(
                  "table rooms has been made anew with other columns; DROP the virtual table and create "
                  "it again"),
              std::string::npos)
        << result;
}

}  // namespace
}  // namespace Kalt::Vemo::Test
