// What the keys do that interrupt, and those that bring earlier statements back; with a line editor, and on a
// terminal that has none.

#include <string>
#include <vector>

#include "TerminalRun.h"

namespace Kalt::Vemo::Test {
namespace {

constexpr const char* kControlC = "\x03";
constexpr const char* kControlD = "\x04";
constexpr const char* kUp = "\x1b[A";

struct Terminal {
    std::string name;
    std::string kind;
};

class PromptKeysTest : public PromptTest, public ::testing::WithParamInterface<Terminal> {
protected:
    std::vector<std::string> environment(const std::vector<std::string>& more = {}) const {
        std::vector<std::string> result = PromptTest::environment({GetParam().kind, "NO_COLOR=1"});
        result.insert(result.end(), more.begin(), more.end());
        return result;
    }
};

TEST_P(PromptKeysTest, ControlCAbandonsTheLineAndTheStatementThatHasBegun) {
    TerminalRun terminal({"shell", path()}, environment());
    terminal.waitFor(kPrompt);
    terminal.type("delete from rooms\n");
    terminal.waitFor("   ...> ");
    terminal.type("where name =");
    terminal.waitFor("name =");
    terminal.type(kControlC);
    terminal.waitFor("^C");
    terminal.waitFor(kPrompt);
    terminal.type("select count;\n");
    terminal.waitFor("error: ");
    terminal.waitFor(kPrompt);
    terminal.type("select storey from rooms;\n");
    terminal.waitFor("2 rows\r\n");
    terminal.waitFor(kPrompt);
    terminal.type(".quit\n");
    EXPECT_EQ(terminal.exitStatus(), 1);
    EXPECT_EQ(terminal.shown().find("once more"), std::string::npos) << terminal.shown();
}

TEST_P(PromptKeysTest, ATabulatorInsideOfATextIsAPartOfIt) {
    TerminalRun terminal({"shell", path()}, environment());
    terminal.waitFor(kPrompt);
    terminal.type("update rooms set name = 'a\tb\tro' where storey = 2;\n");
    terminal.waitFor("changed");
    terminal.waitFor(kPrompt);
    terminal.type(".quit\n");
    EXPECT_EQ(terminal.exitStatus(), 0);
    EXPECT_NE(readFile(tableFile("rooms")).find("'a\tb\tro'"), std::string::npos) << terminal.shown();
}

TEST_P(PromptKeysTest, ASecondControlCLeaves) {
    TerminalRun terminal({"shell", path()}, environment());
    terminal.waitFor(kPrompt);
    terminal.type("sel");
    terminal.waitFor("sel");
    terminal.type(kControlC);
    terminal.waitFor("^C\r\n");
    terminal.waitFor(kPrompt);
    terminal.type(kControlC);
    EXPECT_EQ(terminal.exitStatus(), 0);
}

TEST_P(PromptKeysTest, ControlCOnAnEmptyLineSaysHowToLeave) {
    TerminalRun terminal({"shell", path()}, environment());
    terminal.waitFor(kPrompt);
    for (int i = 0; i < 2; ++i) {
        terminal.type(kControlC);
        terminal.waitFor("^C\r\nControl-C once more leaves\r\n");
        terminal.waitFor(kPrompt);
        terminal.type(".tables\n");  // what comes between makes the next one the first
        terminal.waitFor("rooms\r\n");
        terminal.waitFor(kPrompt);
    }
    terminal.type(".quit\n");
    EXPECT_EQ(terminal.exitStatus(), 0);
}

TEST_P(PromptKeysTest, LeavingByControlCRollsTheTransactionBackAndSaysSo) {
    TerminalRun terminal({"shell", path()}, environment());
    terminal.waitFor(kPrompt);
    terminal.type("begin;\n");
    terminal.waitFor(kPrompt);
    terminal.type("delete from rooms;\n");
    terminal.waitFor(kPrompt);
    terminal.type(kControlC);
    terminal.waitFor("once more");
    terminal.waitFor(kPrompt);
    terminal.type(kControlC);
    terminal.waitFor("filedb shell: the transaction was still open and is rolled back; COMMIT keeps it\r\n");
    EXPECT_EQ(terminal.exitStatus(), 1);
    EXPECT_EQ(shell({"select storey from rooms"}, {"--mode", "csv"}).out, "storey\r\n2\r\n0\r\n");
}

TEST_P(PromptKeysTest, LeavingByControlCLeavesNoCopyBehind) {
    const TemporaryDirectory place;
    TerminalRun terminal({"shell", path(), "--read-only"}, environment({"TMPDIR=" + place.path()}));
    terminal.waitFor(kPrompt);
    EXPECT_EQ(listDirectory(place.path()).size(), 1U);
    terminal.type(kControlC);
    terminal.waitFor("once more");
    terminal.waitFor(kPrompt);
    terminal.type(kControlC);
    EXPECT_EQ(terminal.exitStatus(), 0);
    EXPECT_EQ(listDirectory(place.path()), std::vector<std::string>());
}

TEST_P(PromptKeysTest, WordsWithoutADotWorkAloneOnTheirLine) {
    TerminalRun terminal({"shell", path()}, environment());
    terminal.waitFor(kPrompt);
    terminal.type("help\n");
    terminal.waitFor(".tables         list the tables\r\n");
    terminal.waitFor(kPrompt);
    terminal.type("help me\n");
    terminal.waitFor("   ...> ");
    terminal.type("quit\n");  // within a statement it is one of its words
    terminal.waitFor("   ...> ");
    terminal.type(";\n");
    terminal.waitFor("error: ");
    terminal.waitFor(kPrompt);
    terminal.type(" EXIT; \n");
    EXPECT_EQ(terminal.exitStatus(), 1);
}

TEST_P(PromptKeysTest, OnlyATerminalThatUnderstandsThemGetsEscapeSequences) {
    TerminalRun terminal({"shell", path()}, environment({"NO_COLOR="}));
    terminal.waitFor(kPrompt);
    terminal.type("select name from rooms;\n");
    terminal.waitFor("2 rows\r\n");
    terminal.waitFor(kPrompt);
    terminal.type("quit\n");
    EXPECT_EQ(terminal.exitStatus(), 0);
    EXPECT_EQ(terminal.shown().find('\x1b') != std::string::npos, GetParam().name == "editing")
        << terminal.shown();
}

INSTANTIATE_TEST_SUITE_P(Terminals, PromptKeysTest,
                         ::testing::Values(Terminal{"editing", "TERM=xterm"}, Terminal{"dumb", "TERM=dumb"},
                                           Terminal{"empty", "TERM="}, Terminal{"none", "TERM"}),
                         [](const auto& terminal) { return terminal.param.name; });

// On a terminal that has no line editor: with one, the terminal keeps the key to itself until the editor has
// it.
TEST_F(PromptTest, ControlDAbandonsTheStatementThatHasBegun) {
    TerminalRun terminal({"shell", path()}, environment({"TERM=dumb"}));
    terminal.waitFor(kPrompt);
    terminal.type("delete from rooms\n");
    terminal.waitFor("   ...> ");
    terminal.type(kControlD);
    EXPECT_EQ(terminal.exitStatus(), 0);
    EXPECT_EQ(shell({"select count(*) from rooms"}, {"--mode", "csv"}).out, "count(*)\r\n2\r\n");
}

TEST_F(PromptTest, HistoryGivesAStatementOfSeveralLinesBackAsOne) {
    for (const bool isLater : {false, true}) {
        SCOPED_TRACE(isLater);
        TerminalRun terminal({"shell", path()}, environment({"NO_COLOR=1"}));
        terminal.waitFor(kPrompt);
        if (!isLater) {
            terminal.type("select storey -- all\n");
            terminal.waitFor("   ...> ");
            terminal.type("from rooms;\n");
            terminal.waitFor("2 rows\r\n");
            terminal.waitFor(kPrompt);
        }
        terminal.type(std::string(kUp) + "\n");
        terminal.waitFor("2 rows\r\n");
        terminal.waitFor(kPrompt);
        terminal.type(kControlC);
        terminal.waitFor(kPrompt);
        terminal.type(kControlC);
        EXPECT_EQ(terminal.exitStatus(), 0);
        EXPECT_EQ(terminal.shown().find("error"), std::string::npos) << terminal.shown();
    }
}

}  // namespace
}  // namespace Kalt::Vemo::Test
