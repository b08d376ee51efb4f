#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "EngineTestSupport.h"
#include "StatementTest.h"

namespace Kalt::Vemo::Test {
namespace {

class LocaleTest : public StatementTest {
protected:
    /// Numbers of every kind on every road into a file, and back.
    void expectTheUsualBytes() {
        run("CREATE TABLE m (name TEXT, value REAL, count INTEGER);");
        run("INSERT INTO m (name, value, count) VALUES ('?', ?, ?);", "pi", "3.14159265", "1234567");
        run("INSERT INTO m (name, value, count) VALUES ('?', ?, ?);", "big", "1234567",
            "18446744073709551615");
        run("INSERT INTO m (name, value, count) VALUES ('?', ?, ?);", "half", "0.50", "1000");
        run("UPDATE m SET name='?', value=? WHERE value < 1.5;", "two and a half", "2.50");
        EXPECT_EQ(table("m"),
                  "name~value~count~ROWID\n4~2~1~1\n\n"
                  "'pi'~3.14159~1234567~1\n"
                  "'big'~1.23457e+06~18446744073709551615~2\n"
                  "'two and a half'~2.5~1000~3\n");
        EXPECT_EQ(exec("INSERT INTO m (value) VALUES (?);", "2,5"), 0);
        expectOneError("insertTable", "DB Error: data type mismatch for float");

        const Result result = query("SELECT value, count FROM m WHERE value > 2.25 AND value < 3.5;");
        ASSERT_TRUE(result);
        ASSERT_TRUE(result->next());
        EXPECT_EQ(result->getDouble("value"), 3.14159F);
        EXPECT_EQ(result->getInt("count"), 1234567);
        ASSERT_TRUE(result->next());
        EXPECT_EQ(result->getDouble("value"), 2.5F);
        EXPECT_FALSE(result->next());

        writeFile(tableFile("long"), "a~ROWID\n1~1\n\n5~9999999\n");
        run("INSERT INTO long (a) VALUES (?);", "1000000");
        EXPECT_EQ(table("long"), "a~ROWID\n1~1\n\n5~9999999\n1000000~10000000\n");

        EXPECT_TRUE(database->beginTransaction());
        takeErrors();
        run("DELETE FROM m;");
        EXPECT_EQ(journal(), "0\n\x02~m\n");
        EXPECT_TRUE(database->rollbackTransaction());
        EXPECT_EQ(exec("no end"), 1);
        EXPECT_EQ(takeErrors().size(), 1U);  // also the source line's number is plain digits
    }
};

TEST_F(LocaleTest, PlainLocale) {
    expectTheUsualBytes();
}

TEST_F(LocaleTest, GlobalCxxLocaleWithDecimalCommaAndGrouping) {
    const CommaLocale comma;
    std::ostringstream proof;
    proof << 1234.5;
    ASSERT_EQ(proof.str(), "1.2.3.4,5");
    expectTheUsualBytes();
}

TEST_F(LocaleTest, CLocaleWithDecimalComma) {
    const GermanLocale locale;
    expectTheUsualBytes();
}

}  // namespace
}  // namespace Kalt::Vemo::Test
