#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "RowIndex.h"
#include "SideBySide.h"

// A condition that names one row by its id is answered without a scan where the table's text lets it. Rows,
// files and log are those of a scan.
namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::kMaxLineLength;
using Core::Database::Filedb::RowIndex;
using Core::Database::Filedb::Synchronous;

// ---- The index alone ----

constexpr std::size_t kMuchRoom = 1000000;

// An index of lines that have two columns, the second with the ids.
std::optional<RowIndex> indexOf(const std::string& text, std::size_t room = kMuchRoom) {
    return RowIndex::of(text, 0, 2, 1, room);
}

// The line of each row that the index gives, or "none" where it gives no row.
std::string linesFound(const RowIndex& index, const std::string& text,
                       const std::vector<std::uint64_t>& ids) {
    std::string lines;
    for (const std::uint64_t id : ids) {
        const std::optional<std::size_t> row = index.find(text, id);
        const std::size_t position = row ? index.position(*row) : 0;
        lines += row ? text.substr(position, text.find('\n', position) - position) : "none";
        lines += " ";
    }
    return lines;
}

TEST(RowIndexTest, TextsThatItFits) {
    const std::string limit(kMaxLineLength - 3, 'x');
    const struct {
        std::string text;
        bool fits;
    } rows[] = {
        {"", true},
        {"a~1\n", true},
        {"a~0\n", true},
        {"a~1\nb~2\nc~3\n", true},
        {"a~7\nb~20\nc~100\n", true},
        {"a~01\nb~2\nc~03\n", true},
        {"a~9223372036854775808\nb~9999999999999999999\n", true},
        {"a~10000000000000000000\n", false},
        {"a~18446744073709551615\n", false},
        {"a~00000000000000000001\n", false},
        {"a~1\n" + limit + "~2\n", true},
        {"a~1\nx" + limit + "~2\n", false},
        {"a~1\nx" + limit + limit + "~2\n", false},
        {"a~18446744073709551616\n", false},
        {"a~36893488147419103233\n", false},
        {"a~2\nb~1\n", false},
        {"a~1\nb~1\n", false},
        {"a~1\nb~2\nc~2\n", false},
        {"a~9999999999999999999\nb~0\n", false},
        {"a~1\nb~01\n", false},
        {"a~+1\n", false},
        {"a~-1\n", false},
        {"a~1.0\n", false},
        {"a~1x\n", false},
        {"a~ 1\n", false},
        {"a~1 \n", false},
        {"a~1\r\n", false},
        {"a~'1'\n", false},
        {"a~NULL\n", false},
        {"a~x\n", false},
        {"a\n", false},
        {"1\n", false},
        {"a~1~2\n", false},
        {"a~~1\n", false},
        {"~a~1\n", false},
        {"a~1~\n", false},
        {"\n", false},
        {"a~1\n\nb~2\n", false},
        {"a~1\nb~2", false},
        {std::string("a~1\0\n", 5), false},
        {std::string("a\0~1\n", 5), false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(indexOf(row.text).has_value(), row.fits)
            << ::testing::PrintToString(row.text.substr(0, 30));
    }
}

TEST(RowIndexTest, FindsEachRowAndNoOther) {
    const std::string text = "a~2\nb~3\nc~07\nd~9999999999999999999\n";
    const std::optional<RowIndex> index = indexOf(text);
    ASSERT_TRUE(index);
    constexpr std::uint64_t kLargest = 9999999999999999999U;
    EXPECT_EQ(linesFound(*index, text, {0, 1, 2, 3, 4, 6, 7, 8, kLargest - 1, kLargest, kLargest + 1}),
              "none none a~2 b~3 none none c~07 none none d~9999999999999999999 none ");
    EXPECT_EQ(linesFound(*indexOf(""), "", {0, 1}), "none none ");
}

TEST(RowIndexTest, TheIdsMayStandInAnyColumnAndTheRecordsAfterAnyHead) {
    const std::string text = "head\n5~a~b\n6~c~d\n";
    const std::optional<RowIndex> index = RowIndex::of(text, 5, 3, 0, kMuchRoom);
    ASSERT_TRUE(index);
    EXPECT_EQ(linesFound(*index, text, {5, 6, 7}), "5~a~b 6~c~d none ");
    EXPECT_EQ(index->id(text, 1), "6");
}

TEST(RowIndexTest, StaysWithinItsRoom) {
    std::string text;
    for (int row = 1; row <= 1000; ++row) {
        text += "a~" + std::to_string(row) + "\n";
    }
    const std::optional<RowIndex> index = indexOf(text);
    ASSERT_TRUE(index);
    EXPECT_LE(indexOf(text, index->bytes())->bytes(), index->bytes());
    EXPECT_FALSE(indexOf(text, index->bytes() - 1));
    EXPECT_FALSE(indexOf(text, 0));
    EXPECT_FALSE(indexOf("a~1\n", 0));
}

TEST(RowIndexTest, FollowsChangesOfSingleLines) {
    const std::string text = "a~2\nbb~3\nc~7\n";
    const struct {
        std::size_t position;
        std::string removed;
        std::string inserted;
        bool fits;
        std::string found;  // of 1 to 8
    } rows[] = {
        {0, "", "", true, "none a~2 bb~3 none none none c~7 none "},
        {0, "a~2\n", "", true, "none none bb~3 none none none c~7 none "},
        {4, "bb~3\n", "", true, "none a~2 none none none none c~7 none "},
        {9, "c~7\n", "", true, "none a~2 bb~3 none none none none none "},
        {0, "a~2\nbb~3\n", "", true, "none none none none none none c~7 none "},
        {0, text, "", true, "none none none none none none none none "},
        {13, "", "d~8\n", true, "none a~2 bb~3 none none none c~7 d~8 "},
        {0, "", "d~1\n", true, "d~1 a~2 bb~3 none none none c~7 none "},
        {9, "", "d~5\n", true, "none a~2 bb~3 none d~5 none c~7 none "},
        {0, "a~2\n", "long~2\n", true, "none long~2 bb~3 none none none c~7 none "},
        {4, "bb~3\n", "b~3\n", true, "none a~2 b~3 none none none c~7 none "},
        {4, "bb~3\n", "b~6\n", true, "none a~2 none none none b~6 c~7 none "},
        {9, "c~7\n", "c~4\n", true, "none a~2 bb~3 c~4 none none none none "},
        {0, "a~2\nbb~3\n", "x~5\n", true, "none none none none x~5 none c~7 none "},
        {13, "", "d~7\n", false, ""},
        {13, "", "d~6\n", false, ""},
        {0, "", "d~2\n", false, ""},
        {0, "", "d~3\n", false, ""},
        {4, "bb~3\n", "b~7\n", false, ""},
        {4, "bb~3\n", "b~2\n", false, ""},
        {4, "bb~3\n", "b~1\n", false, ""},
        {4, "bb~3\n", "b~x\n", false, ""},
        {4, "bb~3\n", "b~+3\n", false, ""},
        {4, "bb~3\n", "3\n", false, ""},
        {4, "bb~3\n", "b~c~3\n", false, ""},
        {4, "bb~3\n", "b~~3\n", false, ""},
        {4, "bb~3\n", "b\nb~3\n", false, ""},
        {4, "bb~3\n", "b~3\nc~4\n", false, ""},
        {4, "bb~3\n", std::string(kMaxLineLength, 'x') + "~3\n", false, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.position) + ": " + row.removed + "by " + row.inserted.substr(0, 20));
        ASSERT_EQ(text.substr(row.position, row.removed.size()), row.removed);
        std::optional<RowIndex> index = indexOf(text);
        std::string changed = text;
        changed.replace(row.position, row.removed.size(), row.inserted);
        const bool fits = index->follow(changed, row.position, row.removed.size(), row.inserted.size());
        EXPECT_EQ(fits, row.fits);
        if (fits && row.fits) {
            EXPECT_EQ(linesFound(*index, changed, {1, 2, 3, 4, 5, 6, 7, 8}), row.found);
        }
    }
}

// ---- Statements ----

struct NamedText {
    const char* name;
    std::string text;
};

const std::vector<NamedText>& textsWithIds() {
    const std::string hidden = "a~b~ROWID\n1~4~1\n\n";
    const std::string alias = "a~b\n257~4\na\n";
    const std::string limit(kMaxLineLength - std::string("5~''~2\n").size(), 'x');
    static const std::vector<NamedText> texts = {
        {"ascending", hidden + "5~'a'~1\n5~'b'~2\n6~'c'~3\n7~NULL~4\n"},
        {"with gaps", hidden + "5~'a'~2\n5~'b'~3\n6~'c'~7\n7~NULL~20\n"},
        {"no row", hidden},
        {"one row", hidden + "5~'a'~2\n"},
        {"from 0 on", hidden + "5~'a'~0\n5~'b'~1\n5~'c'~2\n"},
        {"large", hidden + "5~'a'~2\n5~'b'~9223372036854775807\n5~'c'~9223372036854775808\n5~'c'~"
                           "18446744073709551615\n"},
        {"too large", hidden + "5~'a'~2\n5~'b'~18446744073709551616\n"},
        {"too large by far", hidden + "5~'a'~2\n5~'b'~36893488147419103234\n"},
        {"descending", hidden + "5~'a'~3\n5~'b'~2\n5~'c'~1\n"},
        {"last one out of order", hidden + "5~'a'~1\n5~'b'~2\n5~'c'~3\n5~'d'~2\n"},
        {"twice", hidden + "5~'a'~1\n5~'b'~2\n5~'c'~2\n5~'d'~3\n"},
        {"leading zero", hidden + "5~'a'~1\n5~'b'~02\n5~'c'~3\n"},
        {"zeros", hidden + "5~'a'~00\n5~'b'~2\n"},
        {"plus", hidden + "5~'a'~1\n5~'b'~+2\n5~'c'~3\n"},
        {"minus", hidden + "5~'a'~-2\n5~'b'~2\n"},
        {"fraction", hidden + "5~'a'~1\n5~'b'~2.0\n5~'c'~3\n"},
        {"quoted", hidden + "5~'a'~1\n5~'b'~'2'\n5~'c'~3\n"},
        {"one quote", hidden + "5~'a'~1\n5~'b'~'2\n5~'c'~3\n"},
        {"no number", hidden + "5~'a'~1\n5~'b'~2x\n5~'c'~x\n"},
        {"no value", hidden + "5~'a'~1\n5~'b'~NULL\n5~'c'~3\n"},
        {"blank", hidden + "5~'a'~1\n5~'b'~ 2\n5~'c'~3 \n"},
        {"carriage return", hidden + "5~'a'~1\r\n5~'b'~2\r\n"},
        {"short record", hidden + "5~'a'~1\n5~'b'\n5~'c'~3\n"},
        {"short record at the end", hidden + "5~'a'~1\n5~'b'~2\n5\n"},
        {"further field", hidden + "5~'a'~1\n5~'b'~2~9\n5~'c'~3\n"},
        {"empty field", hidden + "5~'a'~1\n5~~'b'~2\n5~'c'~3\n"},
        {"empty field at the end", hidden + "5~'a'~1\n5~'b'~2~\n5~'c'~3\n"},
        {"NUL byte", hidden + "5~'a'~1\n5~'b'~2" + std::string(1, '\0') + "\n5~'c'~3\n"},
        {"no line feed at the end", hidden + "5~'a'~1\n5~'b'~22"},
        {"empty line", hidden + "5~'a'~1\n\n5~'b'~2\n5~'c'~3\n"},
        {"line at the limit", hidden + "5~'a'~1\n5~'" + limit + "'~2\n5~'c'~3\n"},
        {"over-long line", hidden + "5~'a'~1\n5~'x" + limit + "'~2\n5~'c'~3\n"},
        {"much too long line", hidden + "5~'a'~1\n5~'" + limit + limit + "'~2\n5~'c'~3\n"},
        {"id is a text", "a~b~ROWID\n1~4~4\n\n5~'a'~1\n5~'b'~2\n5~'c'~3\n"},
        {"id has no type", "a~b~ROWID\n1~4~0\n\n5~'a'~1\n5~'b'~2\n"},
        {"id has no flags", "a~b~ROWID\n1~4\n\n5~'a'~1\n5~'b'~2\n"},
        {"id is a REAL", "a~b~ROWID\n1~4~2\n\n5~'a'~1\n5~'b'~2\n"},
        {"id comes first", "ROWID~a~b\n1~1~4\n\n1~5~'a'\n2~5~'b'\n3~5~'c'\n"},
        {"two ids", "ROWID~b~ROWID\n1~4~1\n\n1~'a'~3\n2~'b'~4\n3~'c'~5\n"},
        {"no id", "a~b\n1~4\n\n5~'a'\n2~'b'\n"},
        {"two key columns", "a~b~ROWID\n257~260~1\na~b\n5~'a'~1\n5~'b'~2\n6~'b'~3\n"},
        {"a text is the key", "a~b~ROWID\n1~260~1\nb\n5~'a'~1\n5~'b'~2\n6~'c'~3\n"},
        {"metadata alone", "a~b~ROWID\n1~4~1\n"},
        {"nothing", ""},
        {"key ascending", alias + "1~'a'\n2~'b'\n7~NULL\n"},
        {"key from 0 on", alias + "0~'a'\n2~'b'\n"},
        {"key large", alias + "2~'a'\n9223372036854775808~'b'\n18446744073709551615~'c'\n"},
        {"key descending", alias + "7~'a'\n2~'b'\n1~'c'\n"},
        {"key twice", alias + "1~'a'\n2~'b'\n2~'c'\n"},
        {"key with leading zero", alias + "1~'a'\n02~'b'\n"},
        {"key quoted", alias + "1~'a'\n'2'~'b'\n'3'~'c'\n"},
        {"key without value", alias + "1~'a'\nNULL~'b'\n2~'c'\n"},
        {"key too large", alias + "1~'a'\n18446744073709551618~'b'\n"},
        {"key with short record", alias + "1~'a'\n2\n3~'c'\n"},
        {"key comes second", "b~a\n4~257\na\n'a'~1\n'b'~2\n'c'~7\n"},
        {"key is no column", "a~b\n257~4\nz\n1~'a'\n2~'b'\n"},
        {"key without flag", "a~b\n1~4\na\n1~'a'\n2~'b'\n"},
        {"key and id", "a~b~ROWID\n257~4~1\na\n1~'a'~2\n2~'b'~7\n"},
    };
    return texts;
}

const char* const kIdConditions[] = {
    "ROWID = 2",
    "ROWID = 1",
    "ROWID = 7",
    "ROWID = 99",
    "ROWID = 0",
    "ROWID = 00",
    "ROWID = 02",
    "ROWID = +2",
    "ROWID = -2",
    "ROWID = -1",
    "ROWID = '2'",
    "ROWID = '02'",
    "ROWID = ' 2'",
    "ROWID = ''",
    "ROWID = '2",
    "ROWID = 2'",
    "ROWID = 2.0",
    "ROWID = 2.",
    "ROWID = 2x",
    "ROWID = 0x2",
    "ROWID = 1e0",
    "ROWID = x",
    "ROWID = NULL",
    "ROWID = a",
    "ROWID = ROWID",
    "ROWID = 9223372036854775807",
    "ROWID = 9223372036854775808",
    "ROWID = 18446744073709551614",
    "ROWID = 18446744073709551615",
    "ROWID = 18446744073709551616",
    "ROWID = 18446744073709551618",
    "ROWID = 36893488147419103234",
    "2 = ROWID",
    "ROWID == 2",
    "ROWID != 2",
    "ROWID >= 2",
    "ROWID=2",
    "ROWID  =  2",
    "ROWID = 2 AND a = 5",
    "a = 5 AND ROWID = 2",
    "ROWID = 2 OR ROWID = 3",
    "ROWID = 2 AND ROWID = 2",
    "a = 2",
    "a = 1",
    "2 ROWID = 2",
    "2 ROWID = 99",
    "a ROWID = 2",
    "x ROWID = 99",
    "2 2 ROWID = 2",
    "ROWID = 2 2",
    "ROWID =",
    "ROWID",
    "ROWID = 2 AND",
};

class IdConditionTest : public ::testing::Test {
protected:
    struct Pair {
        const NamedText* text;
        std::unique_ptr<Side> scanning;
        std::unique_ptr<Side> keeping;
    };

    IdConditionTest() {
        int number = 0;
        for (const NamedText& text : textsWithIds()) {
            const auto side = [&](const Side::Options& options) {
                const std::string path = temporary_.file(std::to_string(number++));
                auto result = std::make_unique<Side>(options, path, nullptr, Synchronous::off, log_);
                writeFile(result->directory() + "/t.table", text.text);
                return result;
            };
            pairs_.push_back({&text, side({"keeps nothing", 0}), side({"default bound", std::nullopt})});
        }
        letFilesAge();
    }

    static Outcome compare(Pair& pair, const std::string& sql, const Values& values = {}) {
        const auto step = [&](Side& side) {
            return sql == "BEGIN"                ? side.begin()
                   : sql == "ROLLBACK"           ? side.end(false)
                   : sql.rfind("SELECT", 0) == 0 ? side.query(sql, values, false)
                                                 : side.update(sql, values);
        };
        Outcome expected = pair.scanning->observe(step);
        const Outcome outcome = pair.keeping->observe(step);
        EXPECT_TRUE(outcome == expected) << "text \"" << pair.text->name << "\", " << sql << "\n"
                                         << firstDifference(expected, outcome);
        return expected;
    }

    TemporaryDirectory temporary_;
    LogCapture log_;
    std::vector<Pair> pairs_;
};

TEST_F(IdConditionTest, AKeptTextGivesTheRowsAndTheLogOfAScan) {
    for (Pair& pair : pairs_) {
        compare(pair, "SELECT * FROM t;");  // from here on it is kept
        for (const std::string condition : kIdConditions) {
            compare(pair, "SELECT *, a, ROWID FROM t WHERE " + condition + ";");
            compare(pair, "SELECT nosuch FROM t WHERE " + condition + ";");
        }
        for (const char* value : {"2", "02", "'2'", "18446744073709551618", "x", ""}) {
            compare(pair, "SELECT *, ROWID FROM t WHERE ROWID = ?;", {value});
            compare(pair, "SELECT *, ROWID FROM t WHERE ROWID = '?';", {value});
        }
        compare(pair, "SELECT *, ROWID FROM t WHERE ROWID = ?;", {std::nullopt});
    }
}

TEST_F(IdConditionTest, ChangesOfAKeptTextGiveTheFilesAndTheLogOfAScan) {
    for (Pair& pair : pairs_) {
        for (const std::string condition : kIdConditions) {
            compare(pair, "BEGIN");
            compare(pair, "SELECT * FROM t WHERE ROWID = 1;");
            compare(pair, "UPDATE t SET a = ?, b = '?' WHERE " + condition + ";", {"5", "a longer text"});
            compare(pair, "DELETE FROM t WHERE " + condition + ";");
            compare(pair, "SELECT * FROM t WHERE ROWID = 2;");
            compare(pair, "ROLLBACK");
        }
    }
}

// What is known of a text goes on from change to change.
TEST_F(IdConditionTest, ChangesOneAfterTheOtherGiveTheFilesAndTheLogOfAScan) {
    for (Pair& pair : pairs_) {
        for (unsigned number = 20; number < 44; ++number) {
            const std::string id = std::to_string(number * 7 % 10);
            compare(pair, "INSERT INTO t (a, b) VALUES (?, '?');", {std::to_string(number), "new"});
            compare(pair, "UPDATE t SET a = ?, b = '?' WHERE ROWID = " + id + ";",
                    {id, std::string(number % 13, 'x')});
            compare(pair, "SELECT *, ROWID FROM t WHERE ROWID = " + id + ";");
            compare(pair, "SELECT *, ROWID FROM t WHERE ROWID = " + std::to_string(number) + ";");
            if (number % 3 == 0) {
                compare(pair, "DELETE FROM t WHERE ROWID = " + id + ";");
                compare(pair, "SELECT *, ROWID FROM t WHERE ROWID = " + id + ";");
            }
            if (number % 4 == 0) {
                // Changes the key, where there is one.
                compare(pair, "UPDATE t SET a = ? WHERE ROWID = " + std::to_string(number) + ";",
                        {std::to_string(number % 8)});
            }
            if (number % 11 == 0) {
                compare(pair, "INSERT INTO t (a, b) VALUES (?, '?');",
                        {std::to_string(1000 - number), "x~y"});
            }
        }
        compare(pair, "SELECT *, ROWID FROM t;");
    }
}

}  // namespace
}  // namespace Kalt::Vemo::Test
