#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "SideBySide.h"

// A condition that names one row by its id is answered without a scan where the table's text lets it. Rows,
// files and log are those of a scan.
namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::kMaxLineLength;
using Core::Database::Filedb::Synchronous;

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
