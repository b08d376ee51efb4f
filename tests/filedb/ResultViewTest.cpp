// How results look on a terminal: their row count, cells that are wider than the terminal, and the pager.

#include <cstdlib>
#include <string>
#include <vector>

#include "TerminalRun.h"

namespace Kalt::Vemo::Test {
namespace {

class ResultViewTest : public PromptTest {
protected:
    std::vector<std::string> plain(const std::vector<std::string>& more = {}) const {
        std::vector<std::string> result = environment({"NO_COLOR=1"});
        result.insert(result.end(), more.begin(), more.end());
        return result;
    }

    // What a terminal of 30 columns shows of a query outside of the prompt.
    std::string shownInThirtyColumns(const std::string& query, const std::vector<std::string>& options = {},
                                     const std::string& locale = "C.UTF-8") const {
        std::vector<std::string> arguments{"shell", path(), "-c", query};
        arguments.insert(arguments.end(), options.begin(), options.end());
        TerminalRun terminal(arguments, plain({"LC_ALL=" + locale}), {10, 30});
        EXPECT_EQ(terminal.exitStatus(), 0);
        return terminal.shown();
    }
};

TEST_F(ResultViewTest, CountsTheRowsAtThePromptOnly) {
    TerminalRun terminal({"shell", path()}, plain());
    terminal.waitFor(kPrompt);
    terminal.type("select name from rooms where storey = 7;\n");
    terminal.waitFor("└──────┘\r\n0 rows\r\n");
    terminal.type("select storey from rooms where storey = 2;\n");
    terminal.waitFor("└────────┘\r\n1 row\r\n");
    terminal.type(".mode line\n");
    terminal.type("select storey from rooms;\n");
    terminal.waitFor("storey = 2\r\n\r\nstorey = 0\r\n2 rows\r\n");
    terminal.type(".mode csv\n");
    terminal.type("select storey from rooms;\n");
    terminal.waitFor("2\r\r\n0\r\r\n");
    terminal.waitFor(kPrompt);
    terminal.type("quit\n");
    EXPECT_EQ(terminal.exitStatus(), 0);
    EXPECT_EQ(terminal.shown().find("rows\r\n", terminal.shown().find(".mode csv")), std::string::npos);
    EXPECT_EQ(shownInThirtyColumns("select storey from rooms").find("row"), std::string::npos);
}

TEST_F(ResultViewTest, CutsTheWidestCellsToTheTerminal) {
    prepare({"CREATE TABLE notes (id INTEGER, text TEXT)", "INSERT INTO notes VALUES (1, 'fits')",
             "INSERT INTO notes VALUES (2, 'this note is longer than the line')",
             "INSERT INTO notes VALUES (3, '屋根裏の部屋にある箱の中身を見る')",
             "INSERT INTO notes VALUES (4, 'éééééééééééééééééééééééé')"});
    EXPECT_EQ(shownInThirtyColumns("select * from notes"),
              "┌────┬───────────────────────┐\r\n"
              "│ id │ text                  │\r\n"
              "├────┼───────────────────────┤\r\n"
              "│  1 │ fits                  │\r\n"
              "│  2 │ this note is longer … │\r\n"
              "│  3 │ 屋根裏の部屋にある箱… │\r\n"
              "│  4 │ éééééééééééééééééééé… │\r\n"
              "└────┴───────────────────────┘\r\n");
    EXPECT_EQ(shownInThirtyColumns("select * from notes where id = 2", {}, "C"),
              "+----+-----------------------+\r\n"
              "| id | text                  |\r\n"
              "+----+-----------------------+\r\n"
              "|  2 | this note is longe... |\r\n"
              "+----+-----------------------+\r\n");
    EXPECT_EQ(shownInThirtyColumns("select text from notes where id = 2", {"--wide"}),
              "┌───────────────────────────────────┐\r\n"
              "│ text                              │\r\n"
              "├───────────────────────────────────┤\r\n"
              "│ this note is longer than the line │\r\n"
              "└───────────────────────────────────┘\r\n");
    EXPECT_EQ(shownInThirtyColumns("select text from notes where id = 2", {"--mode", "line"}),
              "text = this note is longer than the line\r\n");
    EXPECT_EQ(shell({"select text from notes where id = 2"}).out,
              "text\n---------------------------------\nthis note is longer than the line\n");
}

TEST_F(ResultViewTest, AColumnNeverVanishes) {
    prepare(
        {"CREATE TABLE many (column_one TEXT, column_two TEXT, column_three TEXT, four TEXT, five TEXT)"});
    EXPECT_EQ(shownInThirtyColumns("select * from many"),
              "┌──────┬──────┬──────┬──────┬──────┐\r\n"
              "│ col… │ col… │ col… │ four │ five │\r\n"
              "├──────┼──────┼──────┼──────┼──────┤\r\n"
              "└──────┴──────┴──────┴──────┴──────┘\r\n");
}

TEST_F(ResultViewTest, WideShowsCellsWholeAtThePrompt) {
    prepare({"INSERT INTO rooms VALUES ('a name that is longer than the line', 1)"});
    TerminalRun terminal({"shell", path()}, plain(), {50, 30});
    terminal.waitFor(kPrompt);
    terminal.type(".mode table\n");
    terminal.type("select name from rooms;\n");
    terminal.waitFor("│ a name that is longer tha… │\r\n");
    terminal.type(".wide on\n");
    terminal.type("select name from rooms;\n");
    terminal.waitFor("│ a name that is longer than the line │\r\n");
    terminal.type(".wide off\n");
    terminal.type("select name from rooms;\n");
    terminal.waitFor("│ a name that is longer tha… │\r\n");
    terminal.type(".wide perhaps\n");
    terminal.waitFor("error: .wide takes on or off\r\n");
    terminal.waitFor(kPrompt);
    terminal.type("quit\n");
    EXPECT_EQ(terminal.exitStatus(), 1);
}

TEST_F(ResultViewTest, LongResultsGoToThePager) {
    constexpr const char* kQuery = "select storey from rooms;\n";
    const std::string paged =
        "P:┌────────┐\r\nP:│ storey │\r\nP:├────────┤\r\nP:│      2 │\r\nP:│      0 │\r\n"
        "P:└────────┘\r\nP:2 rows\r\n";
    const std::string unpaged = "\r\n│      0 │\r\n└────────┘\r\n2 rows\r\n";
    struct Case {
        std::string name;
        std::vector<std::string> environment;
        unsigned short rows;
        std::string expected;
    };
    const std::vector<Case> cases{
        {"its own", {"FILEDB_PAGER=sed s/^/P:/", "PAGER=false"}, 7, paged},
        {"the general one", {"PAGER=sed s/^/P:/"}, 7, paged},
        {"the result fits", {"PAGER=sed s/^/P:/"}, 8, unpaged},
        {"none is wanted", {"FILEDB_PAGER=", "PAGER=sed s/^/P:/"}, 7, unpaged},
        {"the terminal is dumb", {"PAGER=sed s/^/P:/", "TERM=dumb"}, 7, unpaged},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        TerminalRun terminal({"shell", path()}, plain(each.environment), {each.rows, 80});
        terminal.waitFor(kPrompt);
        terminal.type(kQuery);
        terminal.waitFor(each.expected);
        terminal.waitFor(kPrompt);
        terminal.type(".pager off\n");
        terminal.waitFor(kPrompt);
        terminal.type(kQuery);
        terminal.waitFor(unpaged);
        terminal.waitFor(kPrompt);
        terminal.type("quit\n");
        EXPECT_EQ(terminal.exitStatus(), 0);
    }
}

TEST_F(ResultViewTest, WithoutAPagerOfTheirOwnPeopleGetLess) {
    ASSERT_EQ(std::system("command -v less > /dev/null"), 0) << "the test needs the package less";
    TerminalRun terminal({"shell", path()}, plain({"PAGER", "FILEDB_PAGER", "LESS"}), {6, 80});
    terminal.waitFor(kPrompt);
    terminal.type("select storey from rooms;\n");
    terminal.waitFor("│ storey │");
    terminal.waitFor(":");  // the first screen is full
    EXPECT_EQ(terminal.shown().find("2 rows"), std::string::npos) << terminal.shown();
    terminal.type("G");
    terminal.waitFor("2 rows");
    terminal.type("q");
    terminal.waitFor(kPrompt);
    terminal.type("quit\n");
    EXPECT_EQ(terminal.exitStatus(), 0);
}

TEST_F(ResultViewTest, APagerThatEndsEarlyIsNoErrorAndOneThatFailsIs) {
    std::vector<std::string> rows;
    for (int i = 0; i < 40; ++i) {
        rows.push_back("INSERT INTO rooms VALUES ('" + std::string(900, 'x') + "', 1)");
    }
    prepare(rows);
    for (const auto& [pager, status] :
         {std::pair("head -n 1", 0), std::pair("missing-pager", 1), std::pair("false", 1)}) {
        SCOPED_TRACE(pager);
        TerminalRun terminal({"shell", path(), "--mode", "line"},
                             plain({std::string("FILEDB_PAGER=") + pager}), {10, 80});
        terminal.waitFor(kPrompt);
        terminal.type("select name from rooms;\n");
        if (status == 0) {
            terminal.waitFor("name = attic\r\n");
        } else {
            terminal.waitFor("42 rows\r\n");
            terminal.waitFor("error: the pager " + std::string(pager) +
                             " cannot be run or has failed; set FILEDB_PAGER to another one, or turn it off "
                             "with .pager off\r\n");
        }
        terminal.waitFor(kPrompt);
        terminal.type("quit\n");
        EXPECT_EQ(terminal.exitStatus(), status);
        EXPECT_EQ(terminal.shown().find("42 rows") != std::string::npos, status == 1);
    }
}

TEST_F(ResultViewTest, ControlCInThePagerIsThePagers) {
    const std::string pager = "trap 'echo interrupted; exit' INT; echo reading; while :; do sleep 0.05; done";
    TerminalRun terminal({"shell", path()}, plain({"FILEDB_PAGER=" + pager}), {6, 80});
    terminal.waitFor(kPrompt);
    terminal.type("select storey from rooms;\n");
    terminal.waitFor("reading\r\n");
    terminal.type("\x03");
    terminal.waitFor("interrupted\r\n");
    terminal.waitFor(kPrompt);
    terminal.type("quit\n");
    EXPECT_EQ(terminal.exitStatus(), 0);
}

TEST_F(ResultViewTest, ControlCharactersInDataNeverReachTheTerminal) {
    prepare({"CREATE TABLE tricks (text TEXT)", "INSERT INTO tricks VALUES ('\x1b[31m\x07red\x9b')"});
    EXPECT_EQ(shownInThirtyColumns("select * from tricks", {"--wide"}),
              "┌─────────────────────┐\r\n"
              "│ text                │\r\n"
              "├─────────────────────┤\r\n"
              "│ \\x1b[31m\\x07red\\x9b │\r\n"
              "└─────────────────────┘\r\n");
    EXPECT_EQ(shownInThirtyColumns("select * from tricks", {"--mode", "line"}),
              "text = \\x1b[31m\\x07red\\x9b\r\n");
}

}  // namespace
}  // namespace Kalt::Vemo::Test
