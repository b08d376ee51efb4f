#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>

#include "EngineAccess.h"
#include "LogSink.h"
#include "StatementTest.h"

// What is kept of a table is a convenience: where its memory is refused, statements read the file.
namespace {

// Requests of these sizes are refused.
std::atomic<std::size_t> refusedFrom{1};
std::atomic<std::size_t> refusedTo{0};
std::atomic<int> refusals{0};

void* take(std::size_t size) {
    if (size >= refusedFrom && size <= refusedTo) {
        ++refusals;
        throw std::bad_alloc();
    }
    if (void* const memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) {
    return take(size);
}
void* operator new[](std::size_t size) {
    return take(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::EngineAccess;

constexpr int kErrors = -2;
constexpr std::size_t kMegabyte = 1024 * 1024;
constexpr int kRows = 10000;
constexpr std::size_t kIndexBytes = 8 * kRows;
constexpr std::size_t kTextBytes = 25 * kRows;  // and some more

class RefusedMemory {
public:
    RefusedMemory(std::size_t from, std::size_t to) {
        refusals = 0;
        refusedFrom = from;
        refusedTo = to;
    }
    ~RefusedMemory() { refusedTo = 0; }
    RefusedMemory(const RefusedMemory&) = delete;
    RefusedMemory& operator=(const RefusedMemory&) = delete;

    static int count() { return refusals; }
};

class RefusedMemoryTest : public StatementTest {
protected:
    void SetUp() override {
        StatementTest::SetUp();
        database = nullptr;
        database = std::make_unique<FileDatabase>(level());
        EngineAccess::keepBytes(*database, kMegabyte);
        open();
        std::string text = "a~b~ROWID\n1~4~1\n\n";
        for (int row = 1; row <= kRows; ++row) {
            const std::string number = std::to_string(100000 + row);
            text += number + "~'sixteen letters'~" + std::to_string(row) + "\n";
        }
        ASSERT_GT(text.size(), kTextBytes);
        writeFile(tableFile("t"), text);
        letFilesAge();
        // A list of all messages would need more memory than the table.
        Log::setLogSink([](const Log::LogMessage&) {}, kErrors);
    }

    void change(const char* statement) { EXPECT_EQ(database->executeUpdate(statement, "7"), 0); }

    void expectFound(int row) {
        const std::string number = std::to_string(row);
        const Result result = query("SELECT a FROM t WHERE ROWID = ?;", number.c_str());
        ASSERT_NE(result, nullptr);
        ASSERT_EQ(result->getCount(), 1);
        ASSERT_TRUE(result->next());
        EXPECT_EQ(result->getInt(1), 100000 + row);
    }
};

TEST_F(RefusedMemoryTest, AQueryStreamsATableWhoseTextCannotBeKept) {
    const RefusedMemory refused(kTextBytes, kMegabyte);
    expectFound(kRows);
    EXPECT_GT(RefusedMemory::count(), 0);
}

TEST_F(RefusedMemoryTest, AQueryScansATextWhoseIndexCannotBeMade) {
    const RefusedMemory refused(kIndexBytes / 2, kTextBytes - 1);
    expectFound(kRows);
    expectFound(1);
    EXPECT_GT(RefusedMemory::count(), 0);
}

TEST_F(RefusedMemoryTest, AChangeScansATextWhoseIndexCannotBeMade) {
    std::string expected = table("t");
    expected.replace(expected.find("100005~"), 6, "7");
    {
        const RefusedMemory refused(kIndexBytes / 2, kTextBytes - 1);
        change("UPDATE t SET a=? WHERE ROWID = 5;");
        EXPECT_GT(RefusedMemory::count(), 0);
    }
    EXPECT_TRUE(table("t") == expected);
}

TEST_F(RefusedMemoryTest, AChangeThatIsRefusedItsMemoryChangesNothingAndTheNextOneWorks) {
    expectFound(3);  // the text is kept now
    const Files before = files();
    {
        const RefusedMemory refused(kTextBytes, kMegabyte);
        change("UPDATE t SET a=?;");
        EXPECT_GT(RefusedMemory::count(), 0);
    }
    EXPECT_TRUE(files() == before);
    expectFound(3);
    std::string expected = table("t");
    expected.replace(expected.find("100005~"), 6, "7");
    change("UPDATE t SET a=? WHERE ROWID = 5;");
    EXPECT_TRUE(table("t") == expected);
    expectFound(kRows);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
