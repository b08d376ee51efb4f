// Where output goes: to a terminal, to a reader that leaves, and how the rate of an import is reckoned.

#include <gmock/gmock.h>

#include <csignal>
#include <string>
#include <vector>

#include "ProgramRun.h"
#include "TerminalRun.h"
#include "console/Printable.h"
#include "console/Progress.h"

namespace Kalt::Vemo::Test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using Tool::printable;
using Tool::printableJson;
using Tool::RecentRate;

/// Characters that disturb a terminal or deceive its reader, as bytes and as JSON has them.
struct Character {
    const char* name;
    std::string bytes;
    std::string inJson;
};

const std::vector<Character>& dangerousCharacters() {
    static const std::vector<Character> all{
        {"escape", "\x1B", "\\u001b"},
        {"carriage return", "\r", "\\r"},
        {"bell", "\a", "\\u0007"},
        {"delete", "\x7F", "\\u007f"},
        {"padding character, the first of C1", "\xC2\x80", "\\u0080"},
        {"control sequence introducer of C1", "\xC2\x9B", "\\u009b"},
        {"application program command, the last of C1", "\xC2\x9F", "\\u009f"},
        {"soft hyphen", "\xC2\xAD", "\\u00ad"},
        {"Arabic letter mark", "\xD8\x9C", "\\u061c"},
        {"Hangul filler", "\xE3\x85\xA4", "\\u3164"},
        {"variation selector", "\xEF\xB8\x8F", "\\ufe0f"},
        {"zero-width space", "\xE2\x80\x8B", "\\u200b"},
        {"zero-width joiner", "\xE2\x80\x8D", "\\u200d"},
        {"left-to-right mark", "\xE2\x80\x8E", "\\u200e"},
        {"right-to-left mark", "\xE2\x80\x8F", "\\u200f"},
        {"line separator", "\xE2\x80\xA8", "\\u2028"},
        {"left-to-right embedding", "\xE2\x80\xAA", "\\u202a"},
        {"right-to-left override", "\xE2\x80\xAE", "\\u202e"},
        {"left-to-right isolate", "\xE2\x81\xA6", "\\u2066"},
        {"pop directional isolate", "\xE2\x81\xA9", "\\u2069"},
        {"byte order mark", "\xEF\xBB\xBF", "\\ufeff"},
        {"language tag", "\xF3\xA0\x80\x81", "\\udb40\\udc01"},
    };
    return all;
}

std::string hexadecimal(const std::string& bytes) {
    static const char* const kDigits = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += std::string("\\x") + kDigits[value / 16] + kDigits[value % 16];
    }
    return text;
}

TEST(PrintableTest, WritesOutWhatDisturbsATerminalOrDeceivesItsReader) {
    for (const Character& each : dangerousCharacters()) {
        SCOPED_TRACE(each.name);
        EXPECT_EQ(printable("a" + each.bytes + "b"), "a" + hexadecimal(each.bytes) + "b");
        if (each.bytes != "\r" && each.bytes != "\x1B" && each.bytes != "\a") {
            EXPECT_EQ(printableJson("\"" + each.bytes + "\""), "\"" + each.inJson + "\"");
        }
    }
    for (const char* harmless : {"plain \\ \"text\"", "gro\xC3\x9F", "\xE2\x82\xAC", "\xF0\x9F\x8F\xA0",
                                 "\xD9\x85\xD8\xB1", "e\xCC\x81"}) {
        EXPECT_EQ(printable(harmless), harmless);
        EXPECT_EQ(printableJson(harmless), harmless);
    }
}

/// A table with a row for each dangerous character.
class OutputTest : public PromptTest {
protected:
    void SetUp() override {
        std::string table = "a~ROWID\n4~1\n\n";
        std::size_t rowId = 0;
        for (const Character& each : dangerousCharacters()) {
            table += "'<" + each.bytes + ">'~" + std::to_string(++rowId) + "\n";
        }
        prepare({"create table t (a text)"});
        writeFile(tableFile("t"), table);
    }

    std::string onTerminal(const std::vector<std::string>& arguments) const {
        TerminalRun terminal(arguments, environment({"NO_COLOR=1", "FILEDB_PAGER=cat"}));
        EXPECT_EQ(terminal.exitStatus(), 0);
        return terminal.shown();
    }
};

TEST_F(OutputTest, NoModeSendsADangerousCharacterToATerminal) {
    const std::string query = "select * from t";
    const std::vector<std::vector<std::string>> commands{
        {"export", path(), "t"},
        {"export", path(), "t", "--newline", "lf"},
        {"export", path(), "t", "--format", "json"},
        {"export", path(), "t", "--format", "jsonl"},
        {"export", path(), "t", "--format", "sql"},
        {"dump", path()},
        {"shell", path(), "-c", query},
        {"shell", path(), "-c", query, "--mode", "line"},
        {"shell", path(), "-c", query, "--mode", "csv"},
        {"shell", path(), "-c", query, "--mode", "json"},
    };
    for (const std::vector<std::string>& command : commands) {
        SCOPED_TRACE(::testing::PrintToString(command));
        const std::string shown = onTerminal(command);
        EXPECT_THAT(shown, HasSubstr("<"));
        for (const Character& each : dangerousCharacters()) {
            EXPECT_THAT(shown, Not(HasSubstr("<" + each.bytes))) << each.name;
        }
    }
}

TEST_F(OutputTest, ANoteTellsThatATerminalDoesNotShowTheExactBytes) {
    const std::string note =
        "filedb: the terminal shows control characters as \\xNN; redirect the output to a file for the exact "
        "bytes";
    EXPECT_THAT(onTerminal({"export", path(), "t"}), HasSubstr("<\\x1b>\r\r\n<\\x0d>"));
    EXPECT_THAT(onTerminal({"export", path(), "t"}), HasSubstr(note));
    EXPECT_THAT(onTerminal({"export", path(), "t", "--format", "sql"}), HasSubstr(note));
    prepare({"create table tame (a text)", "insert into tame values ('x')"});
    EXPECT_EQ(onTerminal({"export", path(), "tame", "--newline", "lf"}), "a\r\nx\r\n");
}

TEST_F(OutputTest, FilesAndPipesGetTheExactBytes) {
    std::string csv = "a\n";
    std::string json;
    for (const Character& each : dangerousCharacters()) {
        const bool isQuoted = each.bytes == "\r";
        csv += (isQuoted ? "\"<" : "<") + each.bytes + (isQuoted ? ">\"\n" : ">\n");
        json += "{\"a\":\"<" + each.inJson + ">\"}\n";
    }
    EXPECT_EQ(run("export", {"t", "--newline", "lf"}), (ProgramResult{0, csv, ""}));
    EXPECT_EQ(run("export", {"t", "--format", "jsonl"}), (ProgramResult{0, json, ""}));
}

TEST_F(OutputTest, EveryCommandThatPrintsEndsQuietlyWhenItsReaderHasLeft) {
    writeFile(temporary.file("rows.csv"), "a\nx\n");
    writeFile(temporary.file("empty.dump"),
              "{\"filedb\":\"dump\",\"version\":1}\n{\"end\":{\"rows\":0,\"tables\":0}}\n");
    prepare({"create table sound (a text)"});
    ProgramOptions options;
    options.isUnread = true;
    const std::vector<std::pair<std::string, std::vector<std::string>>> commands{
        {"shell", {"-c", "select * from t"}},
        {"shell", {"--mode", "json", "-c", "select * from t"}},
        {"shell", {"-c", ".tables"}},
        {"tables", {}},
        {"schema", {}},
        {"export", {"t"}},
        {"export", {"t", "--format", "json"}},
        {"import", {"sound", temporary.file("rows.csv")}},
        {"dump", {}},
        {"load", {temporary.file("empty.dump")}},
        {"check", {}},
        {"check", {"--json"}},
    };
    for (const auto& [command, rest] : commands) {
        SCOPED_TRACE(command + " " + ::testing::PrintToString(rest));
        EXPECT_EQ(run(command, rest, options), (ProgramResult{128 + SIGPIPE, "", ""}));
    }
    EXPECT_EQ(readFile(tableFile("sound")), "a~ROWID\n4~1\n\n'x'~1\n")
        << "what was under way was not finished";
}

TEST_F(OutputTest, ACommandThatChangesSomethingFinishesItsWorkWhenItsReaderHasLeft) {
    writeFile(directory() + "/strange", "x");
    ProgramOptions options;
    options.isUnread = true;
    EXPECT_EQ(run("repair", {}, options).status, 128 + SIGPIPE);
    EXPECT_EQ(listDirectory(directory()), (std::vector<std::string>{"master_rollback", "t.table"}));
}

TEST_F(OutputTest, AnImportShowsNoProgressInAPipe) {
    std::string rows = "a\n";
    for (int i = 0; i < 5000; ++i) {
        rows += "x\n";
    }
    writeFile(temporary.file("rows.csv"), rows);
    EXPECT_EQ(run("import", {"t", temporary.file("rows.csv")}),
              (ProgramResult{0, "imported 5000 rows into t\n", ""}));
}

TEST(RecentRateTest, TellsTheLastSecondsAlone) {
    using std::chrono::seconds;
    const RecentRate::Clock::time_point start{};
    RecentRate rate;
    EXPECT_EQ(rate.perSecond(), std::nullopt);
    rate.note(start, 0);
    EXPECT_EQ(rate.perSecond(), std::nullopt);
    for (int second = 1; second <= 10; ++second) {
        rate.note(start + seconds(second), second * 1000.0);
        EXPECT_EQ(rate.perSecond(), 1000.0);
    }
    rate.note(start + seconds(11), 10010);  // it slows down
    rate.note(start + seconds(12), 10020);
    rate.note(start + seconds(13), 10030);
    EXPECT_EQ(rate.perSecond(), 10.0);
    rate.note(start + seconds(100), 10030);  // it stands still
    EXPECT_EQ(rate.perSecond(), 0.0);
}

TEST(RecentRateTest, ShortMomentsTellNothing) {
    const RecentRate::Clock::time_point start{};
    RecentRate rate;
    rate.note(start, 0);
    for (const int milliseconds : {0, 1, 49}) {
        rate.note(start + std::chrono::milliseconds(milliseconds), 5);
        EXPECT_EQ(rate.perSecond(), std::nullopt);
    }
    rate.note(start + std::chrono::milliseconds(50), 5);
    EXPECT_EQ(rate.perSecond(), 100.0);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
