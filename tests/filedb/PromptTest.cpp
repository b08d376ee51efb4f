#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "TerminalRun.h"

namespace Kalt::Vemo::Test {
namespace {

TEST_F(PromptTest, AnswersStatementsUntilQuit) {
    TerminalRun terminal({"shell", path()}, environment({"NO_COLOR=1"}));
    terminal.waitFor(".help lists the commands");
    terminal.waitFor(kPrompt);
    terminal.type("select name\n");
    terminal.waitFor("...> ");
    terminal.type("from rooms;\n");
    terminal.waitFor(
        "┌───────┐\r\n"
        "│ name  │\r\n"
        "├───────┤\r\n"
        "│ attic │\r\n"
        "│ NULL  │\r\n"
        "└───────┘\r\n");
    terminal.waitFor(kPrompt);
    terminal.type(".quit\n");
    EXPECT_EQ(terminal.exitStatus(), 0);
}

TEST_F(PromptTest, GoesOnAfterAnErrorAndRemembersItInItsStatus) {
    TerminalRun terminal({"shell", path()}, environment({"NO_COLOR=1"}));
    terminal.waitFor(kPrompt);
    terminal.type("select oops from rooms;\n");
    terminal.waitFor("error: no such column: oops\r\n");
    terminal.waitFor(kPrompt);
    terminal.type("insert into rooms values ('den', 1);\n");
    terminal.waitFor(kPrompt);
    EXPECT_EQ(terminal.endInput(), 1);
    EXPECT_EQ(shell({"select name from rooms where storey=1"}).out, "name\n----\nden\n");
}

TEST_F(PromptTest, PaintsOnlyOnATerminalAndWithoutNoColor) {
    const std::vector<std::string> arguments{"shell", path(), "-c", "select * from rooms", "-c", "oops"};
    TerminalRun coloured(arguments, environment({"NO_COLOR="}));
    EXPECT_EQ(coloured.exitStatus(), 1);
    EXPECT_NE(coloured.shown().find("\x1b[1mname\x1b[0m"), std::string::npos) << coloured.shown();
    EXPECT_NE(coloured.shown().find("\x1b[2mNULL\x1b[0m"), std::string::npos) << coloured.shown();
    EXPECT_NE(coloured.shown().find("\x1b[1;31merror:\x1b[0m"), std::string::npos) << coloured.shown();
    TerminalRun plain(arguments, environment({"NO_COLOR=1"}));
    EXPECT_EQ(plain.exitStatus(), 1);
    EXPECT_EQ(plain.shown().find('\x1b'), std::string::npos) << plain.shown();
    TerminalRun ascii({"shell", path(), "-c", "select storey from rooms"},
                      environment({"NO_COLOR=1", "LC_ALL=C"}));
    EXPECT_EQ(ascii.exitStatus(), 0);
    EXPECT_EQ(ascii.shown(),
              "+--------+\r\n| storey |\r\n+--------+\r\n|      2 |\r\n|      0 |\r\n+--------+\r\n");
}

TEST_F(PromptTest, KeepsAHistory) {
    {
        TerminalRun terminal({"shell", path()}, environment());
        terminal.waitFor(kPrompt);
        terminal.type("select storey from rooms where name = 'attic';\n");
        terminal.waitFor(kPrompt);
        terminal.type(".quit\n");
        EXPECT_EQ(terminal.exitStatus(), 0);
    }
    EXPECT_TRUE(fileExists(historyFile()));
    TerminalRun terminal({"shell", path()}, environment({"NO_COLOR=1"}));
    terminal.waitFor(kPrompt);
    terminal.type("\x1b[A\x1b[A\n");  // twice up: .quit, and the statement before it
    terminal.waitFor("│ storey │");
    terminal.waitFor(kPrompt);
    terminal.type(".quit\n");
    EXPECT_EQ(terminal.exitStatus(), 0);
}

TEST_F(PromptTest, LeavesAFileThatIsNoHistoryAsItIs) {
    std::filesystem::create_directories(std::filesystem::path(historyFile()).parent_path());
    writeFile(historyFile(), "a note\n");
    TerminalRun terminal({"shell", path()}, environment({"NO_COLOR=1"}));
    terminal.waitFor("warning: the history in " + historyFile() +
                     " cannot be read; it is left as it is, and nothing is added to it\r\n");
    terminal.waitFor(kPrompt);
    terminal.type("quit\n");
    EXPECT_EQ(terminal.exitStatus(), 0);
    EXPECT_EQ(readFile(historyFile()), "a note\n");
}

TEST_F(PromptTest, CompletesKeywordsTablesAndColumns) {
    TerminalRun terminal({"shell", path()}, environment({"NO_COLOR=1"}));
    terminal.waitFor(kPrompt);
    terminal.type("sel\tsto\tfr\troo\t;\n");
    terminal.waitFor("│ storey │");
    terminal.waitFor(kPrompt);
    terminal.type("INS\tINTO roo\tVAL\t('den', 5);\n");
    terminal.waitFor(kPrompt);
    terminal.type(".qu\t\n");
    EXPECT_EQ(terminal.exitStatus(), 0);
    EXPECT_EQ(shell({"select name from rooms where storey=5"}).out, "name\n----\nden\n");
}

TEST_F(PromptTest, AnUpdateThatGivesEachRowItsOwnValueShowsItsProgress) {
    for (const bool isTerminalDumb : {false, true}) {
        TerminalRun terminal({"shell", path(), "-c", "update rooms set storey = storey + 1"},
                             environment({"NO_COLOR=1", isTerminalDumb ? "TERM=dumb" : "TERM=xterm"}));
        EXPECT_EQ(terminal.exitStatus(), 0);
        EXPECT_EQ(terminal.shown().find(" 50%  1 row") != std::string::npos, !isTerminalDumb)
            << terminal.shown();
        EXPECT_NE(terminal.shown().find("2 rows changed"), std::string::npos) << terminal.shown();
    }
}

TEST_F(PromptTest, ImportShowsItsProgress) {
    std::string rows = "name,storey\n";
    for (int i = 0; i < 40; ++i) {
        rows += "room,1\n";
    }
    writeFile(temporary.file("rows.csv"), rows);
    TerminalRun terminal({"import", path(), "rooms", temporary.file("rows.csv")}, environment());
    EXPECT_EQ(terminal.exitStatus(), 0);
    EXPECT_NE(terminal.shown().find("%  1 row"), std::string::npos) << terminal.shown();
    EXPECT_NE(terminal.shown().find("imported 40 rows into rooms"), std::string::npos) << terminal.shown();
    TerminalRun dumb({"import", path(), "rooms", temporary.file("rows.csv")}, environment({"TERM=dumb"}));
    EXPECT_EQ(dumb.exitStatus(), 0);
    EXPECT_EQ(dumb.shown(), "imported 40 rows into rooms\r\n");
}

TEST_F(PromptTest, ASignalLeavesNoCopyBehind) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        SCOPED_TRACE(signal);
        const TemporaryDirectory place;
        TerminalRun terminal({"shell", path(), "--read-only"}, environment({"TMPDIR=" + place.path()}));
        terminal.waitFor(kPrompt);
        EXPECT_EQ(listDirectory(place.path()).size(), 1U);
        terminal.send(signal);
        EXPECT_EQ(terminal.exitStatus(), 128 + signal);
        EXPECT_EQ(listDirectory(place.path()), std::vector<std::string>());
    }
}

}  // namespace
}  // namespace Kalt::Vemo::Test
