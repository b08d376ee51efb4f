#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "DatabaseTest.h"
#include "FileUtils.h"
#include "RecordReader.h"

// A change passes well-formed lines on as bytes and takes damaged ones apart. Both ways must lead to the same
// files, results and log.

namespace Kalt::Vemo::Test {

namespace {

using Core::Database::IResultTable;
using Core::Database::Filedb::countWellFormedLines;
using Core::Database::Filedb::FileDatabase;
using Core::Database::Filedb::FileUtils;
using Core::Database::Filedb::RecordReader;

// Whether taking every line apart and joining it again gives the same bytes.
bool staysTheSame(const std::string& text) {
    std::string joined;
    RecordReader reader{std::string_view(text)};
    while (reader.next()) {
        joined += FileUtils::recordLine({reader.fields().begin(), reader.fields().end()});
    }
    return joined == text;
}

bool isWellFormed(const std::string& text) {
    return countWellFormedLines(text).has_value();
}

}  // namespace

TEST(WellFormedTest, TextsAndTheirAnswers) {
    const struct {
        std::string text;
        bool answer;
    } rows[] = {
        {"", true},
        {"a\n", true},
        {"a~b\n1~2\n", true},
        {std::string(1022, 'x') + "\n", true},
        {std::string(1023, 'x') + "\n", false},
        {"a\n" + std::string(1023, 'x') + "\nb\n", false},
        {"a", false},
        {"a\nb", false},
        {"\n", false},
        {"a\n\nb\n", false},
        {"~a\n", false},
        {"a~\n", false},
        {"a~~b\n", false},
        {"a\n~b\n", false},
        {std::string("a\0b\n", 4), false},
        {std::string("\0\n", 2), false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row.text.substr(0, 20)));
        EXPECT_EQ(isWellFormed(row.text), row.answer);
    }
}

TEST(WellFormedTest, CountsTheLines) {
    std::string text;
    for (int count = 0; count < 300; ++count) {
        EXPECT_EQ(countWellFormedLines(text), count);
        text += "a~" + std::to_string(count) + "\n";
    }
}

TEST(WellFormedTest, FindsDamageAtEveryPosition) {
    std::string wellFormed;
    for (int i = 0; i < 40; ++i) {
        wellFormed += "ab~'c'~" + std::to_string(i) + "\n";
    }
    ASSERT_TRUE(isWellFormed(wellFormed));
    for (const char damage : {'~', '\n', '\0'}) {
        for (std::size_t position = 0; position < wellFormed.size(); ++position) {
            std::string text = wellFormed;
            text[position] = damage;
            // An empty line is well-formed to a writer, but no table has one among its records.
            const bool hasEmptyLine = text.front() == '\n' || text.find("\n\n") != std::string::npos;
            EXPECT_EQ(isWellFormed(text), staysTheSame(text) && !hasEmptyLine)
                << "byte " << static_cast<int>(damage) << " at " << position;
        }
    }
}

TEST(WellFormedTest, FindsALineOverTheLimitWhereverItBegins) {
    for (std::size_t before = 0; before < 130; ++before) {
        for (const std::size_t behind : std::initializer_list<std::size_t>{0, 1, 70}) {
            const std::string start = before == 0 ? "" : std::string(before, 'x') + "\n";
            const std::string end = behind == 0 ? "" : std::string(behind, 'x') + "\n";
            std::string text = start;
            text.append(1022, 'x').append("\n").append(end);
            EXPECT_TRUE(isWellFormed(text)) << before << " " << behind;
            text.insert(before == 0 ? 0 : before + 1, "x");
            EXPECT_FALSE(isWellFormed(text)) << before << " " << behind;
        }
    }
}

TEST(WellFormedTest, NeverCallsWellFormedWhatAWriterWouldChange) {
    for (unsigned seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        std::string text;
        const auto length = random() % 3000;
        for (unsigned i = 0; i < length; ++i) {
            text += random() % 200 == 0 ? '\n' : (random() % 40 == 0 ? '~' : 'x');
        }
        EXPECT_TRUE(!isWellFormed(text) || staysTheSame(text));
    }
}

class PassOnTest : public ::testing::TestWithParam<int> {
protected:
    // One of two databases with the same rows: in the second, every line has empty fields before each
    // statement.
    struct Side {
        explicit Side(const std::string& path) : directory(path + "_filedb") {
            EXPECT_TRUE(database.init(path));
        }

        std::string table() const { return directory + "/t.table"; }

        // The file that holds the rows: in a transaction that changed them, the working copy.
        std::string file() const {
            const std::string copy = directory + "/t.backup";
            return std::filesystem::exists(copy) ? copy : table();
        }

        std::string directory;
        FileDatabase database;
    };

    void damage(const Side& side) {
        const std::string wellFormed = readFile(side.file());
        std::size_t recordsStart = 0;
        for (int line = 0; line < 3; ++line) {
            recordsStart = wellFormed.find('\n', recordsStart) + 1;
        }
        std::string text = wellFormed.substr(0, recordsStart);
        for (const char c : wellFormed.substr(recordsStart)) {
            const bool ends = c == '~' || c == '\n';
            text += ends && random_() % 3 == 0 ? "~" : "";
            text += c;
        }
        text.insert(recordsStart, recordsStart < wellFormed.size() ? "~" : "");
        writeFile(side.file(), text);
    }

    std::string number() { return std::to_string(random_() % 12); }

    static bool endOrBegin(FileDatabase& database, const std::string& word) {
        return word == "BEGIN"    ? database.beginTransaction()
               : word == "COMMIT" ? database.commitTransaction()
                                  : database.rollbackTransaction();
    }

    // What the statement gave, and all it logged, with the directory's name left out.
    std::string outcome(Side& side, const std::string& sql, const std::vector<std::string>& values) {
        log_.clear();
        std::string text;
        const auto value = [&](std::size_t index) {
            return index < values.size() ? values[index].c_str() : "";
        };
        if (sql == "BEGIN" || sql == "COMMIT" || sql == "ROLLBACK") {
            text = endOrBegin(side.database, sql) ? "done\n" : "refused\n";
        } else if (sql.rfind("SELECT", 0) == 0) {
            const std::unique_ptr<IResultTable> result(
                side.database.executeQuery(sql.c_str(), value(0), value(1), value(2)));
            while (result != nullptr && result->next()) {
                text += result->getString(1) + "|" + result->getString(2) + "|" + result->getString(3) + "\n";
            }
        } else {
            text =
                std::to_string(side.database.executeUpdate(sql.c_str(), value(0), value(1), value(2))) + "\n";
        }
        text += log_.dump();
        for (std::size_t found = text.find(side.directory); found != std::string::npos;
             found = text.find(side.directory, found)) {
            text.replace(found, side.directory.size(), "DIRECTORY");
        }
        return text;
    }

    std::mt19937 random_{static_cast<std::mt19937::result_type>(GetParam())};
    TemporaryDirectory temporary_;
    LogCapture log_;
};

TEST_P(PassOnTest, BothWaysGiveTheSameFilesResultsAndLog) {
    Side wellFormed(temporary_.file("a"));
    Side damaged(temporary_.file("b"));
    const bool keyed = random_() % 2 == 0;
    const std::string create = std::string("CREATE TABLE t (a INTEGER") +
                               (keyed ? " NOT NULL, b TEXT, PRIMARY KEY(a, b));" : ", b TEXT);");
    for (Side* side : {&wellFormed, &damaged}) {
        ASSERT_EQ(side->database.executeUpdate(create.c_str()), 0);
    }

    const std::vector<std::string> statements = {
        "INSERT INTO t (a, b) VALUES (?, '?');",
        "INSERT INTO t (a, b) VALUES (?, '?');",
        "UPDATE t SET a=?, b='?' WHERE ROWID = ?;",
        "UPDATE t SET a=? WHERE a > ?;",
        "DELETE FROM t WHERE a = ?;",
        "SELECT *, ROWID FROM t WHERE a < ? OR b LIKE '?';",
        "SELECT a, b, ROWID FROM t;",
        "SELECT a, b, ROWID FROM t WHERE c = ?;",
    };
    bool inTransaction = false;
    for (int round = 0; round < 160; ++round) {
        std::string sql = statements[random_() % statements.size()];
        if (random_() % 4 == 0) {
            sql = !inTransaction ? "BEGIN" : random_() % 4 == 0 ? "ROLLBACK" : "COMMIT";
            inTransaction = !inTransaction;
        }
        const std::vector<std::string> values = {number(), number(), number()};
        SCOPED_TRACE("round " + std::to_string(round) + ": " + sql);
        const bool isStatement = sql.find(' ') != std::string::npos;
        if (isStatement) {
            damage(damaged);
        }
        EXPECT_EQ(outcome(wellFormed, sql, values), outcome(damaged, sql, values));
        const bool changes = isStatement && sql.rfind("SELECT", 0) != 0 && !log_.hasPart("Exception");
        if (changes || sql == "COMMIT") {
            EXPECT_EQ(readFile(damaged.file()), readFile(wellFormed.file()));
        } else {
            // On both sides, because a working copy that was written to is copied in another way.
            const std::string text = readFile(wellFormed.file());
            writeFile(damaged.file(), text);
            writeFile(wellFormed.file(), text);
        }
    }
    if (inTransaction) {
        EXPECT_EQ(outcome(wellFormed, "COMMIT", {}), outcome(damaged, "COMMIT", {}));
    }
    EXPECT_EQ(readFile(damaged.table()), readFile(wellFormed.table()));
}

// A commit copies from memory, and only what differs, unless another program has touched one of the two
// files.
TEST_P(PassOnTest, EveryWayToCopyGivesTheSameTable) {
    Side untouched(temporary_.file("a"));
    Side copyTouched(temporary_.file("b"));
    Side tableTouched(temporary_.file("c"));
    Side* const sides[] = {&untouched, &copyTouched, &tableTouched};
    for (Side* side : sides) {
        ASSERT_EQ(side->database.executeUpdate("CREATE TABLE t (a INTEGER, b TEXT);"), 0);
    }
    const std::vector<std::string> statements = {
        "INSERT INTO t (a, b) VALUES (?, '?');",
        "INSERT INTO t (a, b) VALUES (?, '?');",
        "INSERT INTO t (a, b) VALUES (?, '?');",
        "UPDATE t SET a=? WHERE ROWID = ?;",
        "UPDATE t SET a=?, b='?' WHERE a = ?;",
        "DELETE FROM t WHERE a = ?;",
        "DELETE FROM t WHERE c = ?;",
    };
    const auto touch = [](const std::string& file) {
        if (std::filesystem::exists(file)) {
            writeFile(file, readFile(file));
        }
    };
    for (int transaction = 0; transaction < 60; ++transaction) {
        std::vector<std::pair<std::string, std::vector<std::string>>> steps = {{"BEGIN", {}}};
        for (auto left = random_() % 5; left > 0; --left) {
            steps.push_back({statements[random_() % statements.size()], {number(), number(), number()}});
        }
        steps.push_back({"COMMIT", {}});
        for (const auto& [sql, values] : steps) {
            SCOPED_TRACE("transaction " + std::to_string(transaction) + ": " + sql);
            std::vector<std::vector<std::string>> errors;
            for (Side* side : sides) {
                if (sql == "COMMIT") {
                    touch(side == &copyTouched ? side->file() : "");
                    touch(side == &tableTouched ? side->table() : "");
                }
                outcome(*side, sql, values);
                errors.push_back(log_.texts(-2));
                EXPECT_EQ(readFile(side->file()), readFile(untouched.file()));
                EXPECT_EQ(readFile(side->table()), readFile(untouched.table()));
            }
            EXPECT_EQ(errors[0], errors[1]);
            EXPECT_EQ(errors[0], errors[2]);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, PassOnTest, ::testing::Range(1, 13));

}  // namespace Kalt::Vemo::Test
