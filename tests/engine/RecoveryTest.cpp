#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "FileModel.h"
#include "StatementTest.h"

namespace Kalt::Vemo::Test {
namespace {

using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// What became of the tables "a" and "b", which both had a working copy when the database was opened.
enum class Fate {
    kKept,       // table and working copy stay
    kDiscarded,  // the table stays, the working copy is removed
    kCopied,     // the working copy took the table's place
    kDropped     // both are gone
};

class RecoveryTest : public StatementTest {
protected:
    void SetUp() override { std::filesystem::create_directory(directory()); }

    static std::string oldText(const std::string& name) {
        return "a~ROWID\n1~1\n\n1~1\n2~2 of " + name + "\n";
    }
    static std::string newText(const std::string& name) { return "a~ROWID\n1~1\n\n9~1 of " + name + "\n"; }

    void putTable(const std::string& name) {
        writeFile(tableFile(name), oldText(name));
        writeFile(backupFile(name), newText(name));
    }

    static void addFate(Files& files, const std::string& name, Fate fate) {
        if (fate != Fate::kDropped) {
            files[name + ".table"] = fate == Fate::kCopied ? newText(name) : oldText(name);
        }
        if (fate == Fate::kKept) {
            files[name + ".backup"] = newText(name);
        }
    }

    void reset() {
        database = std::make_unique<FileDatabase>();
        std::filesystem::remove_all(directory());
        std::filesystem::create_directory(directory());
        log.clear();
    }
};

constexpr Fate kKept = Fate::kKept;
constexpr Fate kDiscarded = Fate::kDiscarded;
constexpr Fate kCopied = Fate::kCopied;
constexpr Fate kDropped = Fate::kDropped;

/// A journal that a start finds, and what becomes of the two tables.
struct FoundJournal {
    std::string name;
    std::optional<std::string> journal;
    Fate a;
    Fate b;
};

const std::string kLongName(1100, 'x');
const std::string kFullLine(1023, 'x');  // the longest piece that the reader takes as one line

const std::vector<FoundJournal> kFoundJournals{
    {"missing", std::nullopt, kKept, kKept},
    {"empty", ""s, kKept, kKept},
    {"at rest", "0\n"s, kKept, kKept},
    {"at rest without line feed", "0"s, kKept, kKept},
    {"copying, no table", "1\n"s, kKept, kKept},
    {"copying, no table, no line feed", "1"s, kKept, kKept},

    {"raw INSERT", "0\n\x01~a\n"s, kDiscarded, kKept},
    {"raw DELETE", "0\n\x02~a\n"s, kDiscarded, kKept},
    {"raw UPDATE", "0\n\x03~a\n"s, kDiscarded, kKept},
    {"raw CREATE", "0\n\x04~a\n"s, kDiscarded, kKept},
    {"raw DROP", "0\n\x05~a\n"s, kDiscarded, kKept},
    {"two raw codes", "0\n\x01~a\n\x03~b\n"s, kDiscarded, kDiscarded},
    {"changed, then dropped", "0\n5~a\n"s, kDropped, kKept},
    {"changed, and changed, then dropped", "0\n\x01~a\n5~b\n"s, kDiscarded, kDropped},

    {"copying one table", "1\n\x01~a\n"s, kKept, kKept},
    {"copying two tables", "1\n\x01~a\n\x01~b\n"s, kKept, kDiscarded},
    {"copying, the first was dropped", "1\n5~a\n\x01~b\n"s, kKept, kDiscarded},
    {"copying, the second was dropped", "1\n\x01~a\n5~b\n"s, kKept, kDropped},
    {"copying twice over", "1\n1\n5~a\n5~b\n"s, kKept, kDropped},
    {"copying, then at rest", "1\n0\n5~a\n"s, kDropped, kKept},
    {"copying, then an empty line", "1\n\n5~a\n"s, kDropped, kKept},
    {"copying, first table's code is 1", "1\n1~a\n5~b\n5~a\n"s, kDropped, kKept},
    {"state line with a second field", "0~5\n5~a\n"s, kDropped, kKept},
    {"copying with a second field", "1~a\n5~b\n"s, kKept, kKept},
    {"state 10", "10\n5~a\n"s, kDropped, kKept},
    {"state 01", "01\n5~a\n"s, kDropped, kKept},
    {"state with a blank", " 1\n5~a\n"s, kDropped, kKept},
    {"empty state line", "\n5~a\n"s, kDropped, kKept},
    {"no state line", "5~a\n5~b\n"s, kKept, kDropped},

    {"digit 0", "0\n0~a\n"s, kDiscarded, kKept},
    {"digit 1", "0\n1~a\n"s, kCopied, kKept},
    {"digit 2", "0\n2~a\n"s, kCopied, kKept},
    {"digit 3", "0\n3~a\n"s, kCopied, kKept},
    {"digit 4", "0\n4~a\n"s, kCopied, kKept},
    {"digit 6", "0\n6~a\n"s, kDiscarded, kKept},
    {"negative", "0\n-1~a\n"s, kDiscarded, kKept},
    {"no number", "0\nINSERT~a\n"s, kDiscarded, kKept},
    {"blank before", "0\n 5~a\n"s, kDropped, kKept},
    {"plus sign", "0\n+5~a\n"s, kDropped, kKept},
    {"text behind", "0\n5th~a\n"s, kDropped, kKept},
    {"256 is 0", "0\n256~a\n"s, kDiscarded, kKept},
    {"257 is 1", "0\n257~a\n"s, kCopied, kKept},
    {"261 is 5", "0\n261~a\n"s, kDropped, kKept},
    {"-251 is 5", "0\n-251~a\n"s, kDropped, kKept},
    {"65541 is 5", "0\n65541~a\n"s, kDropped, kKept},

    {"the first line for a table counts", "0\n1~a\n5~a\n"s, kCopied, kKept},
    {"also when it drops", "0\n5~a\n1~a\n"s, kDropped, kKept},
    {"one field", "0\n5\n5~b\n"s, kKept, kDropped},
    {"three fields", "0\n5~a~b\n"s, kKept, kKept},
    {"three fields, then two", "0\n5~a~x\n5~b\n"s, kKept, kDropped},
    {"empty line between", "0\n\n5~a\n\n\n5~b\n\n"s, kDropped, kDropped},
    {"runs of separators", "0\n~5~~a~\n"s, kDropped, kKept},
    {"only separators", "0\n~~~~\n5~b\n"s, kKept, kDropped},
    {"no last line feed", "0\n5~a\n5~bx"s, kDropped, kDropped},
    {"no last line feed, one letter", "0\n5~a\n5~b"s, kDropped, kKept},
    {"carriage returns", "0\r\n5~a\r\n"s, kKept, kKept},
    {"carriage return behind the state", "1\r\n5~a\n"s, kDropped, kKept},
    {"name of another case", "0\n5~A\n"s, kKept, kKept},
    {"name with a blank", "0\n5~a \n"s, kKept, kKept},
    {"table that is not there", "0\n5~gone\n5~a\n"s, kDropped, kKept},

    {"NUL in the state line", "\0\n5~a\n"s, kDropped, kKept},
    {"NUL behind the state", "1\0\n5~a\n"s, kDropped, kKept},
    {"NUL behind two state letters", "1x\0\n5~a\n5~b\n"s, kKept, kDropped},
    {"NUL behind the name", "0\n5~a\0rest\n5~b\n"s, kKept, kDropped},
    {"NUL one behind the name", "0\n5~ax\0rest\n"s, kDropped, kKept},
    {"only NULs", std::string(5000, '\0'), kKept, kKept},
    {"long name", "0\n5~" + kLongName + "\n5~b\n", kKept, kDropped},
    {"line feed just outside of a line", "0\n" + kFullLine + "\n5~b\n", kKept, kDropped},
    {"rest of a long line", "0\n" + kFullLine + "5~a\n", kDropped, kKept},
    {"long state line", std::string(3000, '1') + "\n5~a\n", kDropped, kKept},
};

TEST_F(RecoveryTest, EachFormOfTheJournalDecidesOverItsTables) {
    for (const FoundJournal& row : kFoundJournals) {
        SCOPED_TRACE(row.name);
        reset();
        putTable("a");
        putTable("b");
        if (row.journal) {
            writeFile(journalFile(), *row.journal);
        }
        EXPECT_TRUE(database->init(path())) << log.dump();
        EXPECT_EQ(journal(), "0\n");

        Files expected{{"master_rollback", "0\n"}};
        addFate(expected, "a", row.a);
        addFate(expected, "b", row.b);
        EXPECT_EQ(files(), expected);

        reopen();
        EXPECT_EQ(files(), expected) << "opened once more";
        EXPECT_THAT(takeErrors(), IsEmpty());
    }
}

TEST_F(RecoveryTest, ACodeOfAnyNumberOfTablesIsCarriedOut) {
    std::string journalText = "0\n";
    Files expected{{"master_rollback", "0\n"}};
    for (int i = 0; i < 60; ++i) {
        const std::string name = "t" + std::to_string(i);
        putTable(name);
        const Fate fates[] = {Fate::kDiscarded, Fate::kCopied, Fate::kDropped};
        const char* const codes[] = {"\x01", "1", "5"};
        journalText += codes[i % 3] + ("~" + name + "\n");
        addFate(expected, name, fates[i % 3]);
    }
    writeFile(journalFile(), journalText);
    open();
    EXPECT_EQ(files(), expected);
}

TEST_F(RecoveryTest, ACopyMakesATableThatIsNotThereYet) {
    writeFile(backupFile("fresh"), newText("fresh"));
    writeFile(journalFile(), "0\n4~fresh\n");
    open();
    EXPECT_EQ(files(), (Files{{"fresh.table", newText("fresh")}, {"master_rollback", "0\n"}}));
}

TEST_F(RecoveryTest, ARemovalThatFailsIsLoggedAndNoMore) {
    writeFile(journalFile(), "0\n5~gone\n");
    open();
    EXPECT_EQ(log.count("Failed to remove the file"), 2);  // its table and its working copy
    EXPECT_EQ(files(), (Files{{"master_rollback", "0\n"}}));
}

TEST_F(RecoveryTest, AMissingWorkingCopyStopsTheRecoveryAndLeavesTheTable) {
    putTable("a");
    putTable("c");
    writeFile(tableFile("b"), oldText("b"));
    writeFile(journalFile(), "0\n1~a\n1~b\n1~c\n");
    EXPECT_FALSE(database->init(path()));
    EXPECT_TRUE(log.has("Cannot open '" + backupFile("b") + "' with mode 'r+': No such file or directory"));
    expectOneError("init", "DataBase Error: Couldn't open the corresponding file");
    // Everything is there that the next recovery asks for, also that of another process.
    EXPECT_EQ(files(), (Files{{"a.backup", newText("a")},
                              {"a.table", newText("a")},
                              {"b.table", oldText("b")},
                              {"c.backup", newText("c")},
                              {"c.table", oldText("c")},
                              {"master_rollback", "0\n1~a\n1~b\n1~c\n1\n"}}));

    writeFile(backupFile("b"), newText("b"));
    reopen();
    EXPECT_EQ(files(), (Files{{"a.table", newText("a")},
                              {"b.table", newText("b")},
                              {"c.table", newText("c")},
                              {"master_rollback", "0\n"}}));
}

/// The files that opening a database leaves. `opened` tells whether it succeeds.
Files recovered(Files files, bool& opened) {
    const std::string journal = files["master_rollback"];
    std::map<std::string, int> pending;
    bool loading = false;
    for (const std::vector<std::string>& fields : linesOf(journal)) {
        if (loading && fields.size() == 2) {
            const auto code = static_cast<signed char>(std::atoi(fields[0].c_str()));
            pending.emplace(fields[1], code);
        } else if (!loading) {
            loading = fields.empty() || fields[0] != "1";
        }
    }
    opened = true;
    for (const auto& [name, code] : pending) {
        const auto copy = files.find(name + ".backup");
        if (code == 5) {
            files.erase(name + ".table");
        } else if (code >= 1 && code <= 4) {
            if (copy == files.end()) {
                opened = false;
                files["master_rollback"] = journal + "1\n";
                return files;
            }
            files[name + ".table"] = copy->second;
        }
    }
    for (const auto& [name, code] : pending) {
        files.erase(name + ".backup");
    }
    files["master_rollback"] = "0\n";
    return files;
}

TEST_F(RecoveryTest, RandomJournalsAreReadAsTheFormatSays) {
    int refused = 0;
    for (unsigned int seed = 1; seed <= 400; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        reset();
        std::mt19937 random(seed);
        const std::string alphabet = "0115~~~ab\n\n\n"s + (seed % 4 == 0 ? "\0"s : ""s);
        std::string text = seed % 3 == 0 ? "0\n" : "";
        const std::size_t length = random() % 60;
        while (text.size() < length) {
            text += alphabet[random() % alphabet.size()];
        }
        writeFile(journalFile(), text);
        for (const char* name : {"a", "b", "ab", "ba", "aa", "bb"}) {
            putTable(name);
        }
        bool opens = false;
        const Files expected = recovered(files(), opens);
        EXPECT_EQ(database->init(path()), opens);
        EXPECT_EQ(files(), expected) << "journal: " << ::testing::PrintToString(text);
        refused += opens ? 0 : 1;
    }
    EXPECT_GT(refused, 0);
    EXPECT_LT(refused, 400);
}

TEST_F(RecoveryTest, AMegabyteOfAnyBytesCostsNoTable) {
    for (unsigned int seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        reset();
        std::mt19937 random(seed);
        std::string text(1U << 20U, '\0');
        for (char& c : text) {
            c = static_cast<char>(random() & 0xFFU);
        }
        if (seed % 2 == 0) {  // no digits: no line can ask for a copy, so the database opens
            std::replace_if(
                text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }, 'x');
        }
        writeFile(journalFile(), text);
        putTable("subscriptions");
        const bool opened = database->init(path());
        EXPECT_EQ(opened || log.hasPart("init Exception: "), true);
        EXPECT_EQ(table("subscriptions"), oldText("subscriptions"));
        EXPECT_EQ(backup("subscriptions"), newText("subscriptions"));
        if (seed % 2 == 0) {
            EXPECT_TRUE(opened);
            EXPECT_EQ(journal(), "0\n");
        }
    }
}

TEST_F(RecoveryTest, AfterARecoveryStatementsWork) {
    const std::string text = "a~ROWID\n1~1\n\n5~1\n";
    writeFile(tableFile("a"), text);
    writeFile(backupFile("a"), "half a wor");
    writeFile(journalFile(), "0\n\x01~a\n");
    open();
    log.clear();
    EXPECT_THAT(rows(query("SELECT a FROM a;"), 1), ElementsAre("5"));
    run("INSERT INTO a (a) VALUES (?);", "6");
    EXPECT_EQ(files(), (Files{{"a.table", text + "6~2\n"}, {"master_rollback", "0\n"}}));
}

TEST_F(RecoveryTest, AWorkingCopyThatACopyOverLeftIsOverwrittenByTheNextStatement) {
    const std::string text = "a~ROWID\n1~1\n\n5~1\n";
    writeFile(tableFile("a"), text);
    writeFile(backupFile("a"), text + "6~2\n" + std::string(3000, 'x'));
    writeFile(journalFile(), "1\n\x01~a\n");
    open();
    log.clear();
    run("INSERT INTO a (a) VALUES (?);", "7");
    EXPECT_EQ(files(), (Files{{"a.table", text + "7~2\n"}, {"master_rollback", "0\n"}}));
}

}  // namespace
}  // namespace Kalt::Vemo::Test
