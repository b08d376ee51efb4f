#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>

#include "FaultTest.h"
#include "LogSink.h"

// Files that cannot be opened or read, or only in part: never is less taken for the whole.
namespace Kalt::Vemo::Test {
namespace {

using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr const char* kReadError = "DB Error: Error occurred during file reading";
constexpr const char* kOpenError = "DataBase Error: Couldn't open the corresponding file";

class UnreadableFileTest : public FaultTest {
protected:
    std::vector<std::string> errors_;
};

// Whether a table is there cannot be told

TEST_F(UnreadableFileTest, ATableThatCannotBeProbedKeepsAllRows) {
    const Files before = files();
    for (const int error : {EMFILE, EINTR, EIO, EACCES, ENOSPC}) {
        for (const bool inTransaction : {false, true}) {
            SCOPED_TRACE(std::string(std::strerror(error)) + (inTransaction ? ", in a transaction" : ""));
            if (inTransaction) {
                database->beginTransaction();
            }
            FaultLayer faults(Fault::refusal(error), callsOn("t.table", Call::kOpen));
            EXPECT_EQ(exec("CREATE TABLE t (a INTEGER);"), 0);
            EXPECT_THAT(takeErrors(), SizeIs(1));
            EXPECT_EQ(files(), before);
            EXPECT_EQ(exec("CREATE TABLE IF NOT EXISTS t (a INTEGER);"), 1);
            EXPECT_THAT(takeErrors(), SizeIs(1));
            EXPECT_EQ(files(), before);
            EXPECT_GT(FaultLayer::hits(), 1);
            faults.lift();
            run("CREATE TABLE IF NOT EXISTS t (a INTEGER);");
            EXPECT_EQ(rowsOf("t"), (Rows{"1|one|1", "2|two|2"}));
            if (inTransaction) {
                EXPECT_TRUE(database->commitTransaction());
            }
            EXPECT_EQ(files(), before);
            mustEnd("another thread's query", [&] { rowsOf("t"); });
        }
    }
}

// Half of a file

TEST_F(UnreadableFileTest, AMediumThatCannotBeReadFromAByteOnCostsNoRows) {
    constexpr std::size_t kReadable = 1228800;
    std::string text = "name~ROWID\n4~1\n\n";
    for (int row = 0; row < 100000; ++row) {
        std::string number = std::to_string(row);
        number.insert(0, 5 - number.size(), '0');
        text += "'row" + number + "'~" + std::to_string(row + 1) + "\n";
    }
    ASSERT_GT(text.size(), kReadable);
    writeFile(tableFile("big"), text);
    Log::setLogSink([this](const Log::LogMessage& message) { errors_.emplace_back(message.text); }, -2);

    FaultLayer faults(Fault::unreadableFrom(kReadable), callsOn("big.table", Call::kRead));
    for (const char* sql :
         {"DELETE FROM big WHERE name = 'row00005';", "UPDATE big SET name='?' WHERE name = 'row00005';",
          "INSERT INTO big (name) VALUES ('?');"}) {
        SCOPED_TRACE(sql);
        errors_.clear();
        EXPECT_EQ(exec(sql, "new"), 0);
        EXPECT_THAT(errors_, Contains(HasSubstr(kReadError)));
        EXPECT_TRUE(table("big") == text) << "the file was changed";
        EXPECT_FALSE(fileExists(backupFile("big")));
        EXPECT_EQ(journal(), "0\n");
    }
    errors_.clear();
    EXPECT_EQ(query("SELECT name FROM big;"), nullptr);
    EXPECT_THAT(errors_, Contains(HasSubstr(kReadError)));
    EXPECT_GT(FaultLayer::hits(), 3);
    faults.lift();
    EXPECT_EQ(exec("DELETE FROM big WHERE name = 'row00005';"), 0);
    text.erase(text.find("'row00005'"), std::string("'row00005'~6\n").size());
    EXPECT_TRUE(table("big") == text);
    Log::setLogSink({}, 0);
}

TEST_F(UnreadableFileTest, ALineOverTheEdgeOfABlockReadsWhole) {
    constexpr std::size_t kBlock = 65536;
    constexpr std::size_t kLongest = 1023;
    const std::string head = "a~ROWID\n4~1\n\n";
    for (const std::size_t before : {1U, 2U, 511U, 1021U, 1022U, 1023U, 0U}) {
        for (const std::size_t blocks : {1U, 2U}) {
            SCOPED_TRACE(std::to_string(before) + " bytes before the edge of block " +
                         std::to_string(blocks));
            Rows wanted;
            std::string text = head;
            const auto add = [&](std::size_t bytes) {
                const std::string rowId = std::to_string(wanted.size() + 1);
                const std::string cell(bytes - rowId.size() - 4, static_cast<char>('a' + wanted.size() % 26));
                text += "'" + cell + "'~" + rowId + "\n";
                wanted.push_back(cell + "|" + rowId);
            };
            const std::size_t edge = blocks * kBlock - before;
            while (edge - text.size() > 200) {
                add(100);
            }
            add(edge - text.size());
            ASSERT_EQ(text.size(), edge);
            add(kLongest);
            add(kLongest);
            add(50);
            writeFile(tableFile("t"), text);
            for (const bool shortReads : {false, true}) {
                FaultLayer faults(shortReads ? Fault::kShort : Fault::kNone, 1, true);
                EXPECT_EQ(rows(query("SELECT *, ROWID FROM t;"), 2), wanted);
                EXPECT_THAT(takeErrors(), IsEmpty());
                EXPECT_EQ(exec("DELETE FROM t WHERE a = 'missing';"), 0);
                EXPECT_THAT(takeErrors(), IsEmpty());
                EXPECT_TRUE(table("t") == text) << "the file was changed";
            }
        }
    }
}

// What is no regular file

struct Special {
    const char* name;
    std::function<void(const std::string& file)> make;
};

void makeSocket(const std::string& file) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(file.size(), sizeof address.sun_path);
    std::copy(file.begin(), file.end(), address.sun_path);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(descriptor, 0);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): how addresses are passed
    EXPECT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ::close(descriptor);
}

std::vector<Special> specials() {
    return {
        {"FIFO", [](const std::string& file) { ASSERT_EQ(mkfifo(file.c_str(), 0600), 0); }},
        {"socket", makeSocket},
        {"directory", [](const std::string& file) { std::filesystem::create_directory(file); }},
        {"link to /dev/null",
         [](const std::string& file) { std::filesystem::create_symlink("/dev/null", file); }},
    };
}

TEST_F(UnreadableFileTest, ATableThatIsNoRegularFileIsRefusedAndNothingBlocks) {
    for (const Special& special : specials()) {
        SCOPED_TRACE(special.name);
        std::filesystem::remove(tableFile("t"));
        special.make(tableFile("t"));
        const auto type = std::filesystem::symlink_status(tableFile("t")).type();
        for (const char* sql :
             {"INSERT INTO t (a, b) VALUES (?, '?');", "UPDATE t SET a=?, b='?';", "DELETE FROM t;"}) {
            SCOPED_TRACE(sql);
            mustEnd(sql, [&] { exec(sql, "9", "nine"); });
            EXPECT_THAT(takeErrors(), Contains(AnyOf(HasSubstr(kReadError), HasSubstr(kOpenError))));
        }
        mustEnd("a query", [&] { EXPECT_EQ(query("SELECT * FROM t;"), nullptr); });
        EXPECT_THAT(takeErrors(), Contains(AnyOf(HasSubstr(kReadError), HasSubstr(kOpenError))));
        EXPECT_EQ(std::filesystem::symlink_status(tableFile("t")).type(), type);
        EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}, {"u.table", kTable}}));
        std::filesystem::remove(tableFile("t"));
        writeFile(tableFile("t"), kTable);
        expectWorksOn("t");
    }
}

TEST_F(UnreadableFileTest, AJournalThatIsNoRegularFileIsRefusedAndNothingBlocks) {
    for (const Special& special : specials()) {
        SCOPED_TRACE(special.name);
        database = std::make_unique<FileDatabase>();
        std::filesystem::remove(journalFile());
        special.make(journalFile());
        takeErrors();
        mustEnd("init", [&] { EXPECT_FALSE(database->init(path())); });
        EXPECT_THAT(takeErrors(), Contains(AnyOf(HasSubstr(kReadError), HasSubstr(kOpenError))));
        EXPECT_EQ(table("t"), kTable);
        std::filesystem::remove(journalFile());
        EXPECT_TRUE(database->init(path()));
        EXPECT_EQ(rowsOf("t"), (Rows{"1|one|1", "2|two|2"}));
    }
    expectWorksOn("t");
}

TEST_F(UnreadableFileTest, AJournalThatIsReplacedByNoRegularFileStopsNoOneForGood) {
    for (const Special& special : specials()) {
        SCOPED_TRACE(special.name);
        restoreFiles(directory(), {{"t.table", kTable}, {"u.table", kTable}, {"master_rollback", "0\n"}});
        reopen();
        takeErrors();
        std::filesystem::remove(journalFile());
        special.make(journalFile());
        mustEnd("a statement", [&] { EXPECT_THAT(insertInto("t"), AnyOf(0, 1)); });
        EXPECT_THAT(takeErrors(), Contains(AnyOf(HasSubstr(kReadError), HasSubstr(kOpenError))));
        std::filesystem::remove(journalFile());
        EXPECT_THAT(rowsOf("t").size(), AnyOf(2U, 3U));
        expectWorksOn("t");
    }
}

TEST_F(UnreadableFileTest, AWorkingCopyThatIsNoRegularFileIsNeverTakenForOne) {
    for (const Special& special : specials()) {
        SCOPED_TRACE(special.name);
        restoreFiles(directory(), {{"t.table", kTable}, {"u.table", kTable}, {"master_rollback", "0\n"}});
        reopen();
        takeErrors();
        special.make(backupFile("t"));
        mustEnd("a statement", [&] { EXPECT_EQ(insertInto("t"), 0); });
        const bool refused = !takeErrors().empty();
        EXPECT_EQ(rowsOf("t").size(), refused ? 2U : 3U);
        std::filesystem::remove(backupFile("t"));
        expectWorksOn("t");
    }
}

}  // namespace
}  // namespace Kalt::Vemo::Test
