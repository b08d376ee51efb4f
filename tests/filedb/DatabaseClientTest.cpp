#include "DatabaseClient.h"

#include <clocale>
#include <cstdarg>
#include <cstdint>
#include <limits>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "DatabaseTest.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::DatabaseClient;
using Core::Database::DatabaseException;
using Core::Database::IDatabase;
using Core::Database::IResultTable;
using Core::Database::kMaxStatementValues;
using Core::Database::Row;
using Core::Database::Rows;
using Core::Database::Transaction;
using Core::Database::Value;

/// Notes which values reach it, as an implementation sees them: one argument for each "?".
class RecordingDatabase : public IDatabase {
public:
    bool init(const std::string&) override { return true; }
    bool deinit() override { return true; }
    bool beginTransaction() override {
        calls.emplace_back("begin");
        return true;
    }
    bool commitTransaction() override {
        calls.emplace_back("commit");
        return commitSucceeds;
    }
    bool rollbackTransaction() override {
        calls.emplace_back("rollback");
        return true;
    }
    std::int64_t getLastInsertRowid() override { return 0; }
    IResultTable* executeQuery(const char* sql, ...) override {
        va_list arguments;
        va_start(arguments, sql);
        note(sql, arguments);
        va_end(arguments);
        return nullptr;
    }
    int executeUpdate(const char* sql, ...) override {
        va_list arguments;
        va_start(arguments, sql);
        note(sql, arguments);
        va_end(arguments);
        return 7;
    }

    std::vector<std::string> values;
    std::vector<std::string> calls;
    bool commitSucceeds = true;

private:
    void note(std::string_view sql, va_list arguments) {
        calls.emplace_back(sql);
        for (const char c : sql) {
            if (c == '?') {
                const char* value = va_arg(arguments, const char*);
                values.emplace_back(value == nullptr ? "(null)" : value);
            }
        }
    }
};

class DatabaseClientCalls : public ::testing::Test {
protected:
    template <typename Bound>
    std::string bound(Bound&& value) {
        recorder.values.clear();
        client.execute("?;", std::forward<Bound>(value));
        return recorder.values.at(0);
    }

    RecordingDatabase recorder;
    DatabaseClient client{recorder};
};

TEST_F(DatabaseClientCalls, BindsEveryKindOfValueAsText) {
    const std::string text = "text";
    const char* const missing = nullptr;
    EXPECT_EQ(bound(text), "text");
    EXPECT_EQ(bound(std::string("moved")), "moved");
    EXPECT_EQ(bound(std::string_view("a view of more", 6)), "a view");
    EXPECT_EQ(bound("literal"), "literal");
    EXPECT_EQ(bound(missing), "(null)");
    EXPECT_EQ(bound(nullptr), "(null)");
    EXPECT_EQ(bound(std::nullopt), "(null)");
    EXPECT_EQ(bound(std::optional<int>()), "(null)");
    EXPECT_EQ(bound(std::optional<int>(5)), "5");
    EXPECT_EQ(bound(std::optional<std::string>("here")), "here");
    EXPECT_EQ(bound(true), "1");
    EXPECT_EQ(bound(false), "0");
    EXPECT_EQ(bound(-7), "-7");
    EXPECT_EQ(bound(static_cast<signed char>(65)), "65");
    EXPECT_EQ(bound(static_cast<unsigned short>(65535)), "65535");
    EXPECT_EQ(bound(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(bound(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
    EXPECT_EQ(bound(2.5), "2.5");
    EXPECT_EQ(bound(0.1F), "0.1");
    EXPECT_EQ(bound(0.1), "0.1");
    EXPECT_EQ(bound(1e21), "1000000000000000000000");
    EXPECT_EQ(bound(1e-7), "0.0000001");
    EXPECT_EQ(bound(static_cast<long double>(1.5)), "1.5");
    EXPECT_EQ(std::stod(bound(std::numeric_limits<double>::max())), std::numeric_limits<double>::max());
    EXPECT_EQ(std::stod(bound(std::numeric_limits<double>::min())), std::numeric_limits<double>::min());
    static_assert(!std::is_constructible_v<Value, char>);
}

TEST_F(DatabaseClientCalls, WritesNumbersTheSameInEveryLocale) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    for (const char* name : {"de_DE.UTF-8", "C.UTF-8", "C"}) {
        SCOPED_TRACE(name);
        static_cast<void>(
            std::setlocale(LC_ALL, name));  // one that is not installed leaves the locale as it was
        EXPECT_EQ(bound(1234567.25), "1234567.25");
        EXPECT_EQ(bound(1234567), "1234567");
    }
    static_cast<void>(std::setlocale(LC_ALL, before.c_str()));
}

TEST_F(DatabaseClientCalls, RefusesValuesThatCannotBeBound) {
    EXPECT_THROW(bound(std::string("a\0b", 3)), std::invalid_argument);
    EXPECT_THROW(bound(std::string_view("a\0b", 3)), std::invalid_argument);
    EXPECT_THROW(bound(std::numeric_limits<double>::infinity()), std::invalid_argument);
    EXPECT_THROW(bound(std::numeric_limits<float>::quiet_NaN()), std::invalid_argument);
    EXPECT_TRUE(recorder.calls.empty());
}

TEST_F(DatabaseClientCalls, RefusesAWrongNumberOfValuesBeforeTheCall) {
    EXPECT_THROW(client.execute("a = ?;"), std::invalid_argument);
    EXPECT_THROW(client.execute("a = ?;", 1, 2), std::invalid_argument);
    EXPECT_THROW(client.execute("no value;", 1), std::invalid_argument);
    EXPECT_THROW(client.query("'?' ?;", "one"), std::invalid_argument);
    EXPECT_THROW(client.execute(nullptr), std::invalid_argument);
    EXPECT_TRUE(recorder.calls.empty());
    try {
        client.execute("a = ? AND b = '?';", 1);
        FAIL() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "DatabaseClient: 1 values for 2 \"?\" in: a = ? AND b = '?';");
    }
}

TEST_F(DatabaseClientCalls, PassesAnyNumberOfValuesInOrder) {
    for (const std::size_t count : {std::size_t{0}, std::size_t{1}, std::size_t{8}, std::size_t{9},
                                    std::size_t{64}, std::size_t{65}, kMaxStatementValues}) {
        SCOPED_TRACE(count);
        recorder.values.clear();
        std::vector<Value> values;
        std::vector<std::string> expected;
        for (std::size_t i = 0; i < count; ++i) {
            values.emplace_back(i);
            expected.push_back(std::to_string(i));
        }
        EXPECT_EQ(client.executeWith(std::string(count, '?').c_str(), values), 7);
        EXPECT_EQ(recorder.values, expected);
    }
    const std::vector<Value> tooMany(kMaxStatementValues + 1, Value(0));
    EXPECT_THROW(client.executeWith(std::string(tooMany.size(), '?').c_str(), tooMany),
                 std::invalid_argument);
}

TEST_F(DatabaseClientCalls, ThrowsForARefusedQuery) {
    EXPECT_THROW(client.query("SELECT * FROM missing;"), DatabaseException);
}

TEST_F(DatabaseClientCalls, TransactionEndsExactlyOnce) {
    { Transaction dropped(recorder); }
    EXPECT_EQ(recorder.calls, (std::vector<std::string>{"begin", "rollback"}));

    recorder.calls.clear();
    {
        Transaction kept(recorder);
        EXPECT_TRUE(kept.commit());
        EXPECT_FALSE(kept.isOpen());
        EXPECT_FALSE(kept.commit());
    }
    EXPECT_EQ(recorder.calls, (std::vector<std::string>{"begin", "commit"}));

    recorder.calls.clear();
    recorder.commitSucceeds = false;
    {
        Transaction failing(recorder);
        EXPECT_FALSE(failing.commit());
        EXPECT_TRUE(failing.isOpen());
    }
    EXPECT_EQ(recorder.calls, (std::vector<std::string>{"begin", "commit", "rollback"}));
}

class DatabaseClientTest : public DatabaseTest {
protected:
    void SetUp() override {
        open();
        client.execute("CREATE TABLE files (name TEXT, size INTEGER, rate REAL);");
    }

    void insert(const Value& name, const Value& size, const Value& rate) {
        client.executeWith("INSERT INTO files (name, size, rate) VALUES ('?', ?, ?);", {name, size, rate});
    }

    DatabaseClient client{*database};
};

TEST_F(DatabaseClientTest, ReadsCellsByLabelAndByIndex) {
    insert("a.txt", 42, 2.5);
    Rows rows = client.query("SELECT name, size, rate FROM files WHERE name = '?';", "a.txt");
    EXPECT_EQ(rows.count(), 1);
    const Row row = *rows.begin();
    EXPECT_EQ(row.get<std::string>("name"), "a.txt");
    EXPECT_EQ(row.get<std::string>(1), "a.txt");
    EXPECT_EQ(row.get<int>("size"), 42);
    EXPECT_EQ(row.get<std::uint8_t>(2), 42);
    EXPECT_EQ(row.get<std::int64_t>(std::string("size")), 42);
    EXPECT_EQ(row.get<float>("rate"), 2.5F);
    EXPECT_EQ(row.get<double>(3), 2.5);
    EXPECT_THROW(row.get<int>(0), DatabaseException);
    EXPECT_THROW(row.get<int>(4), DatabaseException);
    EXPECT_THROW(row.get<int>("absent"), DatabaseException);
}

TEST_F(DatabaseClientTest, TellsNullApart) {
    insert(nullptr, std::nullopt, std::optional<double>());
    insert("", 0, 0.0);
    std::vector<bool> present;
    for (const Row row : client.query("SELECT name, size, rate FROM files;")) {
        present.push_back(row.get<std::optional<std::string>>("name").has_value());
        present.push_back(row.get<std::optional<int>>("size").has_value());
        present.push_back(row.get<std::optional<float>>(3).has_value());
        EXPECT_EQ(row.get<std::string>("name"), "");
        EXPECT_EQ(row.get<int>("size"), 0);
    }
    EXPECT_EQ(present, (std::vector<bool>{false, false, false, true, true, true}));
}

TEST_F(DatabaseClientTest, IntegersThatDoNotFitAreRefused) {
    insert("large", 300, 0);
    insert("negative", -1, 0);
    Rows rows = client.query("SELECT size FROM files;");
    Rows::Iterator row = rows.begin();
    EXPECT_EQ((*row).get<short>(1), 300);
    EXPECT_THROW((*row).get<signed char>(1), std::out_of_range);
    EXPECT_THROW((*row).get<std::uint8_t>(1), std::out_of_range);
    ++row;
    EXPECT_EQ((*row).get<int>(1), -1);
    EXPECT_EQ((*row).get<std::uint64_t>(1), std::numeric_limits<std::uint64_t>::max());
    EXPECT_THROW((*row).get<unsigned int>(1), std::out_of_range);
    ++row;
    EXPECT_TRUE(row == rows.end());
}

TEST_F(DatabaseClientTest, IteratesOverNoRowsAtAll) {
    int count = 0;
    for (const Row row : client.query("SELECT name FROM files;")) {
        static_cast<void>(row);
        ++count;
    }
    EXPECT_EQ(count, 0);
}

TEST_F(DatabaseClientTest, BoundNumbersReadBackAsTheSameSinglePrecisionNumber) {
    for (const float number : {0.5F, -0.25F, 123456.0F, 1.5e-20F, 1e21F}) {
        SCOPED_TRACE(number);
        client.execute("DELETE FROM files;");
        insert("n", 0, number);
        Rows rows = client.query("SELECT rate FROM files;");
        EXPECT_EQ((*rows.begin()).get<float>(1), number);
    }
}

TEST_F(DatabaseClientTest, TransactionKeepsOnlyWhatWasCommitted) {
    {
        Transaction transaction(*database);
        insert("dropped", 1, 1);
    }
    EXPECT_EQ(client.query("SELECT name FROM files;").count(), 0);
    {
        Transaction transaction(*database);
        insert("kept", 1, 1);
        EXPECT_TRUE(transaction.commit());
    }
    EXPECT_EQ(client.query("SELECT name FROM files;").count(), 1);
}

TEST_F(DatabaseClientTest, TransactionRollsBackWhenAnExceptionPasses) {
    EXPECT_THROW(
        {
            Transaction transaction(*database);
            insert("dropped", 1, 1);
            client.execute("INSERT INTO files (name) VALUES ('?');");
        },
        std::invalid_argument);
    EXPECT_EQ(client.query("SELECT name FROM files;").count(), 0);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
