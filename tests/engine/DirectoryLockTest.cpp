#include "DirectoryLock.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "FaultTest.h"
#include "File.h"
#include "OtherProcess.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::DirectoryInUse;
using Core::Database::Filedb::DirectoryLock;
using Core::Database::Filedb::FileDatabase;
using Core::Database::Filedb::FileIdentity;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A database with the table t, closed.
class DirectoryLockTest : public StatementTest {
protected:
    void SetUp() override {
        StatementTest::SetUp();
        run("CREATE TABLE t (a INTEGER);");
        run("INSERT INTO t (a) VALUES (?);", "1");
        database->deinit();
        log.clear();
    }

    static constexpr const char* kTable = "a~ROWID\n1~1\n\n1~1\n";

    /// What a process of its own answers to an init.
    bool anotherGetsIn() {
        return inOtherProcess([&] { return FileDatabase().init(path()); });
    }

    /// The error line of a call that is kept out.
    std::string refusal(const std::string& call, const std::string& holder) const {
        return failure(call, "lockDirectory",
                       "DB Error: " + directory() + ": " + holder +
                           " has it open; stop that process, or let it close the database, then call init "
                           "again");
    }
    std::string refusal(const std::string& call, const OtherProcess& holder) const {
        return refusal(call, "process " + std::to_string(holder.number()));
    }

    /// The error line of another process's init, as takeErrors gives it.
    std::string anothersRefusal() {
        std::string line;
        const std::string file = temporary.file("refusal");
        inOtherProcess([&] {
            log.clear();
            FileDatabase other;
            const bool isIn = other.init(path());
            const std::vector<std::string> errors = takeErrors();
            writeFile(file, isIn || errors.size() != 1 ? "" : errors.front());
            return isIn;
        });
        return readFile(file);
    }

    std::string ownName() const { return "process " + std::to_string(getpid()); }
};

/// A process that has the database open, in a transaction that has changed t and made u.
class InTransaction : public OtherProcess {
public:
    explicit InTransaction(const std::string& path) : InTransaction(path, std::make_shared<FileDatabase>()) {}

private:
    InTransaction(const std::string& path, const std::shared_ptr<FileDatabase>& database)
        : OtherProcess(
              [=] {
                  return database->init(path) && database->beginTransaction() &&
                         database->executeUpdate("INSERT INTO t (a) VALUES (?);", "2") == 0 &&
                         database->executeUpdate("CREATE TABLE u (b TEXT);") == 0;
              },
              [=] { return database->commitTransaction(); }) {}
};

TEST_F(DirectoryLockTest, InitIsRefusedWhileAnotherProcessHasTheDatabaseOpen) {
    OtherProcess other([&] { return (new FileDatabase)->init(path()); });
    ASSERT_TRUE(other.hasOpened());
    const auto before = wholeDirectory(directory());
    EXPECT_FALSE(database->init(path()));
    EXPECT_THAT(takeErrors(), ElementsAre(refusal("init", other)));
    EXPECT_EQ(wholeDirectory(directory()), before);
    other.leave();
    EXPECT_TRUE(database->init(path()));
    EXPECT_EQ(rows(query("SELECT a FROM t;"), 1), std::vector<std::string>{"1"});
}

TEST_F(DirectoryLockTest, AProcessThatWasKilledKeepsNobodyOut) {
    OtherProcess other([&] { return (new FileDatabase)->init(path()); });
    ASSERT_FALSE(database->init(path()));
    other.kill();
    EXPECT_TRUE(database->init(path()));
}

TEST_F(DirectoryLockTest, ALockedOutDatabaseTouchesNothingWhateverIsCalled) {
    InTransaction other(path());
    ASSERT_TRUE(other.hasOpened());
    const auto before = wholeDirectory(directory());
    ASSERT_THAT(listDirectory(directory()),
                ElementsAre("master_rollback", "t.backup", "t.table", "u.backup"));
    ASSERT_FALSE(database->init(path()));
    takeErrors();

    const auto callAll = [&] {
        for (const char* statement :
             {"INSERT INTO t (a) VALUES (9);", "UPDATE t SET a=9;", "DELETE FROM t;", "DROP TABLE t;",
              "CREATE TABLE v (a INTEGER);", "CREATE TABLE IF NOT EXISTS t (a INTEGER);",
              "ALTER TABLE t ADD COLUMN b TEXT;", "ALTER TABLE x t ADD COLUMN b TEXT;", "no statement", ""}) {
            SCOPED_TRACE(statement);
            EXPECT_EQ(exec(statement), 1);
            EXPECT_THAT(takeErrors(), ElementsAre(refusal("executeUpdate", other)));
        }
        for (const char* statement : {"SELECT * FROM t;", "SELECT * FROM missing;", "no query"}) {
            SCOPED_TRACE(statement);
            EXPECT_EQ(query(statement), nullptr);
            EXPECT_THAT(takeErrors(), ElementsAre(refusal("executeQuery", other)));
        }
        EXPECT_TRUE(database->beginTransaction());
        EXPECT_EQ(exec("DELETE FROM t;"), 1);
        EXPECT_FALSE(database->commitTransaction());
        EXPECT_THAT(takeErrors(),
                    ElementsAre(refusal("executeUpdate", other), refusal("commitTransaction", other)));
        EXPECT_TRUE(database->beginTransaction());
        EXPECT_FALSE(database->rollbackTransaction());
        EXPECT_THAT(takeErrors(), ElementsAre(refusal("rollbackTransaction", other)));
        EXPECT_EQ(database->getLastInsertRowid(), 1);
        mustEnd("another thread's call", [&] { EXPECT_TRUE(database->beginTransaction()); });
        mustEnd("a call after another thread's", [&] { EXPECT_FALSE(database->commitTransaction()); });
        takeErrors();
    };
    callAll();
    EXPECT_TRUE(database->deinit());
    callAll();
    EXPECT_FALSE(database->init(path()));
    takeErrors();
    callAll();
    database = std::make_unique<FileDatabase>();
    EXPECT_EQ(wholeDirectory(directory()), before);

    EXPECT_TRUE(other.leave()) << "its transaction can be committed";
    open();
    EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("1", "2"));
    EXPECT_THAT(rows(query("SELECT b FROM u;"), 1), IsEmpty());
}

TEST_F(DirectoryLockTest, AnInitThatIsRefusedGivesUpTheDirectoryThatWasOpen) {
    const std::string elsewhere = temporary.file("elsewhere");
    OtherProcess other([&] { return (new FileDatabase)->init(elsewhere); });
    open();
    EXPECT_FALSE(anotherGetsIn());
    EXPECT_FALSE(database->init(elsewhere));
    EXPECT_TRUE(anotherGetsIn());
    EXPECT_EQ(exec("DELETE FROM t;"), 1);
    EXPECT_EQ(table("t"), kTable);
}

TEST_F(DirectoryLockTest, ASecondInitKeepsTheLockAndAnotherDirectorysGoesWithIt) {
    open();
    open();
    EXPECT_EQ(anothersRefusal(), refusal("init", ownName()));
    ASSERT_TRUE(database->init(temporary.file("elsewhere")));
    EXPECT_TRUE(anotherGetsIn());
    database->deinit();
    EXPECT_TRUE(inOtherProcess([&] { return FileDatabase().init(temporary.file("elsewhere")); }));
}

TEST_F(DirectoryLockTest, ObjectsOfOneProcessAreNotKeptApartAndShareTheLock) {
    open();
    auto second = std::make_unique<FileDatabase>();
    ASSERT_TRUE(second->init(path()));
    EXPECT_EQ(anothersRefusal(), refusal("init", ownName()));
    database->deinit();
    EXPECT_EQ(anothersRefusal(), refusal("init", ownName()));
    open();
    second.reset();
    EXPECT_EQ(anothersRefusal(), refusal("init", ownName()));
    database.reset();
    EXPECT_TRUE(anotherGetsIn());
}

TEST_F(DirectoryLockTest, AnotherNameOfTheDirectoryIsNoWayIn) {
    std::filesystem::create_directory_symlink(directory(), temporary.file("alias_filedb"));
    open();
    EXPECT_FALSE(inOtherProcess([&] { return FileDatabase().init(temporary.file("alias")); }));
    FileDatabase own;
    EXPECT_TRUE(own.init(temporary.file("alias")));
    database->deinit();
    EXPECT_FALSE(anotherGetsIn());
    own.deinit();
    EXPECT_TRUE(anotherGetsIn());
}

// ---- Fork ----

TEST_F(DirectoryLockTest, AChildIsKeptOutAndTheLockStaysWhenItClosesWhatItHasInherited) {
    open();
    const std::string wanted = refusal("init", ownName());
    EXPECT_EQ(anothersRefusal(), wanted);
    EXPECT_TRUE(inOtherProcess([&] { return database->deinit(); }));
    EXPECT_EQ(anothersRefusal(), wanted);
    EXPECT_TRUE(inOtherProcess([&] {
        database.reset();
        return !FileDatabase().init(path());
    }));
    EXPECT_EQ(anothersRefusal(), wanted);
    EXPECT_FALSE(inOtherProcess([&] { return database->init(path()); }));
    EXPECT_EQ(anothersRefusal(), wanted);
    EXPECT_EQ(exec("DELETE FROM t WHERE a = 1;"), 0);
    EXPECT_EQ(table("t"), "a~ROWID\n1~1\n\n");
}

TEST_F(DirectoryLockTest, AChildThatLivesOnDoesNotKeepTheParentsLock) {
    open();
    const OtherProcess child([] { return true; });
    EXPECT_FALSE(anotherGetsIn());
    database->deinit();
    EXPECT_TRUE(anotherGetsIn());
    open();
    EXPECT_FALSE(anotherGetsIn());
}

TEST_F(DirectoryLockTest, AChildThatOutlivesItsParentGoesOnAndKeepsOthersOut) {
    // As a program that becomes a daemon: the parent ends, and closes nothing.
    const auto becomeDaemon = [] {
        const pid_t parent = getpid();
        const pid_t child = fork();
        if (child != 0) {
            _exit(child > 0 ? 0 : 1);
        }
        while (getppid() == parent) {
        }
    };
    for (const bool opensAgain : {false, true}) {
        SCOPED_TRACE(opensAgain);
        OtherProcess daemon([&] {
            const bool isOpen = database->init(path());
            becomeDaemon();
            return isOpen && exec("INSERT INTO t (a) VALUES (?);", "2") == 0 &&
                   (!opensAgain || database->init(path()));
        });
        EXPECT_TRUE(daemon.hasOpened());
        EXPECT_FALSE(anotherGetsIn());
        daemon.leave();
        // Nobody tells when it has ended.
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!anotherGetsIn() && std::chrono::steady_clock::now() < end) {
        }
        EXPECT_TRUE(anotherGetsIn());
    }
    EXPECT_EQ(table("t"), "a~ROWID\n1~1\n\n1~1\n2~2\n2~3\n");
}

// ---- The journal ----

TEST_F(DirectoryLockTest, AJournalThatIsMadeAnewIsLockedBeforeTheOldOneIsGivenUp) {
    open();
    const auto expectLocked = [&] {
        run("INSERT INTO t (a) VALUES (?);", "5");
        EXPECT_EQ(anothersRefusal(), refusal("init", ownName()));
        EXPECT_EQ(journal(), "0\n");
    };
    std::filesystem::remove(journalFile());
    expectLocked();
    writeFile(temporary.file("new"), "0\n");
    std::filesystem::rename(temporary.file("new"), journalFile());
    expectLocked();
}

TEST_F(DirectoryLockTest, AJournalThatCouldNotBeSyncedIsReplacedByOneThatIsLocked) {
    useLevel(Synchronous::full);
    open();
    database->beginTransaction();
    run("INSERT INTO t (a) VALUES (?);", "2");
    run("DROP TABLE t;");
    {
        const FaultLayer faults(Fault::kIoError, callsOn("master_rollback", Call::kSync));
        EXPECT_FALSE(database->rollbackTransaction());
        EXPECT_EQ(FaultLayer::hits(), 1);
    }
    takeErrors();
    const FileIdentity spoilt = FileIdentity::of(journalFile());
    std::vector<std::string> calls;
    {
        const FaultLayer watching(Fault::kNone, [&](const FileCall& call) {
            if (call.call == Call::kLock || call.call == Call::kRename) {
                calls.push_back((call.call == Call::kLock ? "lock " : "rename ") + call.file);
            }
            return false;
        });
        EXPECT_TRUE(database->rollbackTransaction());
    }
    EXPECT_THAT(calls, ElementsAre("lock master_rollback.new", "lock master_rollback.new",
                                   "rename master_rollback", "lock master_rollback"));
    EXPECT_FALSE(spoilt.sameFile(FileIdentity::of(journalFile())));
    EXPECT_EQ(anothersRefusal(), refusal("init", ownName()));
    EXPECT_THAT(listDirectory(directory()), ElementsAre("master_rollback", "t.table"));
    EXPECT_EQ(journal(), "0\n");
}

TEST_F(DirectoryLockTest, AJournalThatAnotherProcessHasMadeAnewAndOpenedIsItsOwn) {
    open();
    std::filesystem::remove(journalFile());
    OtherProcess other([&] { return (new FileDatabase)->init(path()); });
    ASSERT_TRUE(other.hasOpened());
    EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", "5"), 0);
    takeErrors();
    const auto before = wholeDirectory(directory());
    EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", "6"), 1);
    const std::vector<std::string> errors = takeErrors();
    ASSERT_FALSE(errors.empty());
    EXPECT_EQ(errors.front(), refusal("finishEarlierWork", other));
    EXPECT_EQ(wholeDirectory(directory()), before);
    other.leave();
    EXPECT_EQ(exec("INSERT INTO t (a) VALUES (?);", "7"), 0);
    EXPECT_THAT(takeErrors(), IsEmpty());
    EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("1", "5", "7"));
    EXPECT_FALSE(anotherGetsIn());
}

TEST_F(DirectoryLockTest, AProgramThatReadsTheJournalItselfKeepsTheLock) {
    open();
    EXPECT_EQ(readFile(journalFile()), "0\n");
    EXPECT_EQ(anothersRefusal(), refusal("init", "another process"));
    run("INSERT INTO t (a) VALUES (?);", "2");
    EXPECT_EQ(anothersRefusal(), refusal("init", "another process"));
    FileDatabase second;  // says once more who it is
    ASSERT_TRUE(second.init(path()));
    EXPECT_EQ(anothersRefusal(), refusal("init", ownName()));
}

TEST_F(DirectoryLockTest, OnlyTheFileThatTheNameLeadsToIsLocked) {
    DirectoryLock lock;
    const FileIdentity old = FileIdentity::of(journalFile());
    writeFile(temporary.file("new"), "0\n");
    std::filesystem::rename(temporary.file("new"), journalFile());
    EXPECT_FALSE(lock.moveTo(journalFile(), old));
    EXPECT_TRUE(anotherGetsIn());
    const FileIdentity current = FileIdentity::of(journalFile());
    EXPECT_TRUE(lock.moveTo(journalFile(), current));
    EXPECT_FALSE(anotherGetsIn());
    std::filesystem::remove(journalFile());
    DirectoryLock second;
    EXPECT_FALSE(second.moveTo(journalFile(), current));
    EXPECT_FALSE(lock.moveTo(journalFile(), current));
    EXPECT_TRUE(anotherGetsIn());
}

TEST_F(DirectoryLockTest, WhoMayOnlyReadTheJournalIsKeptOutAndKeepsOthersOut) {
    constexpr uid_t kNobody = 65534;  // root may write everything, so it becomes somebody else
    ASSERT_EQ(chmod(temporary.path().c_str(), 0755), 0);
    ASSERT_EQ(chmod(journalFile().c_str(), 0444), 0);
    DirectoryLock lock;
    const auto lockAsReader = [&] {
        return (geteuid() != 0 || setuid(kNobody) == 0) &&
               lock.moveTo(journalFile(), FileIdentity::of(journalFile()));
    };
    OtherProcess reader(lockAsReader);
    EXPECT_TRUE(reader.hasOpened());
    DirectoryLock own;
    EXPECT_THROW(static_cast<void>(own.moveTo(journalFile(), FileIdentity::of(journalFile()))),
                 DirectoryInUse);
    reader.leave();
    ASSERT_EQ(chmod(journalFile().c_str(), 0644), 0);
    open();
    ASSERT_EQ(chmod(journalFile().c_str(), 0444), 0);
    EXPECT_TRUE(inOtherProcess([&] {
        try {
            return !lockAsReader();
        } catch (const DirectoryInUse& error) {
            return error.holder() == getppid();
        }
    }));
}

// ---- Refusals of the system ----

TEST_F(DirectoryLockTest, AFileSystemWithoutLocksKeepsNobodyOutAndSaysSo) {
    for (const int error : {EIO, EACCES, EINTR, ENOLCK}) {
        SCOPED_TRACE(error);
        log.clear();
        {
            const FaultLayer faults(Fault::refusal(error), callsOn("master_rollback", Call::kLock));
            open();
        }
        EXPECT_EQ(log.count("Cannot lock '" + journalFile() + "': "), 1) << log.dump();
        EXPECT_THAT(takeErrors(), IsEmpty());
        run("UPDATE t SET a=?;", "1");
        EXPECT_TRUE(anotherGetsIn());
        database->deinit();
    }
}

TEST_F(DirectoryLockTest, ALockThatIsHeldIsToldFromALockThatIsForbidden) {
    OtherProcess other([&] { return (new FileDatabase)->init(path()); });
    for (const int error : {EAGAIN, EACCES}) {
        SCOPED_TRACE(error);
        const FaultLayer faults(Fault::refusal(error), callsOn("master_rollback", Call::kLock));
        EXPECT_FALSE(database->init(path()));
        EXPECT_THAT(takeErrors(), ElementsAre(refusal("init", other)));
    }
    other.leave();
    const FaultLayer faults(Fault::refusal(EAGAIN), callsOn("master_rollback", Call::kLock));
    EXPECT_FALSE(database->init(path()));
    EXPECT_THAT(takeErrors(), ElementsAre(refusal("init", "another process")));
}

TEST_F(DirectoryLockTest, WithoutADescriptorForTheLockTheOpeningFailsAndIsMadeGoodLater) {
    {
        const FaultLayer faults(Fault::refusal(EMFILE), 2, true, callsOn("master_rollback", Call::kOpen));
        EXPECT_FALSE(database->init(path()));
    }
    expectOneError("init", "DataBase Error: Couldn't open the corresponding file");
    EXPECT_TRUE(anotherGetsIn());
    run("UPDATE t SET a=?;", "4");
    EXPECT_FALSE(anotherGetsIn());
}

TEST_F(DirectoryLockTest, AnOpeningThatIsMadeGoodTooLateTouchesNothing) {
    const auto failToOpen = [&] {
        const FaultLayer faults(Fault::kIoError, callsOn("master_rollback", Call::kOpen));
        EXPECT_FALSE(database->init(path()));
        takeErrors();
    };
    failToOpen();
    InTransaction other(path());
    const auto before = wholeDirectory(directory());
    EXPECT_EQ(exec("DELETE FROM t;"), 1);
    EXPECT_THAT(takeErrors(), ElementsAre(refusal("executeUpdate", other)));
    EXPECT_EQ(exec("DELETE FROM t;"), 1);
    EXPECT_THAT(takeErrors(), ElementsAre(refusal("executeUpdate", other)));

    for (const bool commits : {true, false}) {
        failToOpen();
        EXPECT_TRUE(database->beginTransaction());
        EXPECT_EQ(query("SELECT a FROM t;"), nullptr);
        EXPECT_FALSE(commits ? database->commitTransaction() : database->rollbackTransaction());
        mustEnd("another thread's call", [&] { EXPECT_EQ(exec("DELETE FROM t;"), 1); });
        takeErrors();
    }
    EXPECT_EQ(wholeDirectory(directory()), before);
    EXPECT_TRUE(other.leave());
    open();
    EXPECT_THAT(rows(query("SELECT a FROM t;"), 1), ElementsAre("1", "2"));
}

TEST_F(DirectoryLockTest, ADatabaseThatWasClosedInATransactionTouchesNothingOfTheNextOnes) {
    for (const Synchronous level : {Synchronous::off, Synchronous::full}) {
        for (const bool commits : {true, false}) {
            useLevel(level);
            open();
            database->beginTransaction();
            run("INSERT INTO t (a) VALUES (?);", "7");
            run("CREATE TABLE u (b TEXT);");
            database->deinit();
            InTransaction other(path());
            ASSERT_TRUE(other.hasOpened());
            const auto before = wholeDirectory(directory());
            for (const char* statement :
                 {"INSERT INTO t (a) VALUES (?);", "UPDATE t SET a=?;", "DELETE FROM t WHERE a=?;",
                  "DROP TABLE t;", "DELETE FROM u;", "CREATE TABLE v (a INTEGER);"}) {
                exec(statement, "7");
                EXPECT_EQ(wholeDirectory(directory()), before) << statement;
            }
            EXPECT_FALSE(commits ? database->commitTransaction() : database->rollbackTransaction());
            database->deinit();
            EXPECT_EQ(wholeDirectory(directory()), before);
            other.kill();
            takeErrors();
        }
    }
}

// ---- Threads ----

TEST_F(DirectoryLockTest, ThreadsThatOpenAndCloseDatabasesShareTheLocks) {
    open();
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&, number] {
            const std::string own = temporary.file("own" + std::to_string(number));
            for (int round = 0; round < 25; ++round) {
                DirectoryLock shared;
                EXPECT_TRUE(shared.moveTo(journalFile(), FileIdentity::of(journalFile())));
                FileDatabase other;
                EXPECT_TRUE(other.init(own));
                shared.announce();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(anothersRefusal(), refusal("init", ownName()));
    EXPECT_TRUE(inOtherProcess([&] { return FileDatabase().init(temporary.file("own1")); }));
}

}  // namespace
}  // namespace Kalt::Vemo::Test
