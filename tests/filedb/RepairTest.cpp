#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <optional>

#include "CheckTestSupport.h"

namespace Kalt::Vemo::Test {

namespace {

namespace fs = std::filesystem;

const std::string kItem = "id~name~price\n257~260~2\nid\n";
const std::string kNote = "text~ROWID\n4~1\n\n";
const std::string kReset = "db_filedb/master_rollback: reset to the line \"0\"";
const std::string kFinished =
    kReset + ": the commit that it tells of is finished as far as the working copies go\n";
const std::string kUndone = kReset + ": the transaction that it tells of was not committed\n";
const std::string kTakesUnnamed =
    "takes the content of its working copy, which no journal line names: the table is what an interrupted "
    "copy-over leaves, and that is finished";
const std::string kTaken = "set aside: working copy that the table now equals";
const std::string kNothingToTake =
    "set aside: working copy that no journal line names and nothing can be taken from, for ";
const std::string kTellsDecision = "; nothing tells whether it counts; repair names a command for each way\n";
const std::string kTellsDamage =
    "; its transaction was committed, and it has records that the table lacks; repair names a command for "
    "each "
    "way\n";
const std::string kOneDecision =
    "1 decision left to you: for each run one of its two commands, then \"filedb repair\" again\n";

const std::string kRemoved = "no longer in the database: ";

std::string takeCommand(bool hasTable) {
    return hasTable ? "mkdir db_filedb/t.kept && cp -p db_filedb/t.table db_filedb/t.kept && "
                      "cp db_filedb/t.backup db_filedb/t.table"
                    : "cp -p db_filedb/t.backup db_filedb/t.table";
}

std::string keepCommand() {
    return "mkdir db_filedb/t.kept && mv db_filedb/t.backup db_filedb/t.kept";
}

/// What a repair prints about a damaged working copy of a committed transaction.
std::string decisionOnDamage(bool hasTable, const std::string& damage) {
    const std::string place = "db_filedb/t.backup: ";
    return place + "left in place" + (hasTable ? ", as is the table" : ", and there is no table") +
           ": its transaction was committed and it has records that the table lacks, but it is not whole, "
           "for " +
           damage + "\n" + place + "to take what is in it: " + takeCommand(hasTable) + "\n" + place +
           "to do without it: " + keepCommand() + "\n";
}

/// What a repair prints about a working copy that a person has to decide about.
std::string decision(bool hasTable) {
    const std::string place = "db_filedb/t.backup: ";
    const std::string take =
        place + "if a copy-over was interrupted, it counts; to take it: " + takeCommand(hasTable) + "\n";
    if (hasTable) {
        return place +
               "left in place, as is the table: no journal line names it, the two differ, and no file tells "
               "which of them counts\n" +
               take + place +
               "if its transaction was not committed or the table was changed later, the table counts; to "
               "keep "
               "the table: " +
               keepCommand() + "\n";
    }
    return place + "left in place: no journal line names it, and there is no table\n" + take + place +
           "if its transaction was not committed or the table was dropped later, it does not count; to do "
           "without it: " +
           keepCommand() + "\n";
}

/// A directory, what `repair` prints about it, and what is where afterwards. The journal is "0" before and
/// after unless the row says otherwise.
struct Damage {
    const char* title;
    Files before;
    std::string out;
    Files after;
    Files aside;
};

/// A table (none: it is missing) and its working copy, and the content that the table ends up with when a
/// person keeps the table, or takes the copy. No journal line names the copy, or it is damaged.
struct Decision {
    const char* title;
    std::optional<std::string> table;
    std::string copy;
    std::optional<std::string> kept;
    std::string taken;
    std::string damage = "";
};

class RepairTest : public PlantedDirectoryTest {
protected:
    /// Repairs the planted directory and compares all there is to see: first dry, then for good, then once
    /// more.
    void expectRepair(const Damage& damage) {
        SCOPED_TRACE(damage.title);
        clear();
        plant("master_rollback", "0\n");
        plant(damage.before);
        const Files planted = database();

        const int status = damage.out.find(kRemoved) == std::string::npos ? 0 : 3;
        const ProgramResult dry = repair({"--dry-run"});
        EXPECT_EQ(replaced(replaced(damage.out, "originals are kept", "originals would be kept"), kRemoved,
                           "would no longer be in the database: "),
                  dry.out);
        EXPECT_EQ(status, dry.status);
        EXPECT_EQ(planted, database());
        EXPECT_EQ(std::vector<std::string>{"db_filedb"}, listDirectory(root()));

        const ProgramResult result = repair();
        EXPECT_EQ(damage.out, result.out);
        EXPECT_EQ("", result.err);
        EXPECT_EQ(status, result.status);
        Files after = damage.after;
        after.emplace("master_rollback", "0\n");
        EXPECT_EQ(after, database());
        EXPECT_EQ(damage.aside, filesIn("db_filedb.repair-1"));

        const ProgramResult checked = check();
        EXPECT_EQ(0, checked.status) << checked.out;
        EXPECT_EQ("nothing to repair\n", repair().out);
        EXPECT_EQ(after, database());
        EXPECT_EQ((std::vector<std::string>{"db_filedb", "db_filedb.repair-1"}), listDirectory(root()));
    }

    /// Repairs a directory with a working copy that nobody can tell about but a person: first dry, then for
    /// good, and, for each of the two commands, once more after that command.
    void expectDecision(const Decision& row) {
        SCOPED_TRACE(row.title);
        const bool isNamed = !row.damage.empty();
        const auto plantRow = [&] {
            clear();
            plant({{"master_rollback", isNamed ? "1\n\x03~t\n" : "0\n"}, {"t.backup", row.copy}});
            if (row.table) {
                plant("t.table", *row.table);
            }
            return database();
        };
        const bool hasTable = row.table.has_value();
        for (const bool takes : {true, false}) {
            SCOPED_TRACE(takes ? "taking the copy" : "keeping the table");
            const Files planted = plantRow();
            const std::string report =
                (isNamed ? decisionOnDamage(hasTable, row.damage) : decision(hasTable)) + kOneDecision;
            const ProgramResult dry = repair({"--dry-run"});
            EXPECT_EQ(report, dry.out);
            EXPECT_EQ(1, dry.status);
            for (int run = 0; run < 2; ++run) {
                const ProgramResult found = check();
                EXPECT_THAT(found.out, ::testing::HasSubstr(isNamed ? kTellsDamage : kTellsDecision));
                EXPECT_EQ(1, found.status);
                const ProgramResult result = repair();
                EXPECT_EQ(report + found.out.substr(0, found.out.rfind('\n', found.out.size() - 2) + 1),
                          result.out);
                EXPECT_EQ("", result.err);
                EXPECT_EQ(1, result.status);
                EXPECT_EQ(planted, database());
                EXPECT_EQ(std::vector<std::string>{"db_filedb"}, listDirectory(root()));
            }

            const std::string command = takes ? takeCommand(hasTable) : keepCommand();
            EXPECT_EQ(0, runShell(command).status) << command;
            if (hasTable || !takes) {
                EXPECT_NE(0, runShell(command).status)
                    << "a second run might replace what the first one kept";
            }
            const ProgramResult settled = repair();
            EXPECT_EQ(settled.out.find(kRemoved) == std::string::npos ? 0 : 3, settled.status) << settled.out;
            Files after = {{"master_rollback", "0\n"}};
            if (takes || row.kept) {
                after["t.table"] = takes ? row.taken : *row.kept;
            }
            EXPECT_EQ(after, database());
            EXPECT_EQ(0, check().status);
            for (const auto& [name, content] : planted) {
                EXPECT_TRUE(isSomewhere(content)) << "the original of " << name << " is gone";
            }
        }
    }

    ProgramResult runShell(const std::string& command) {
        return runProgram(root(), {"/bin/sh", "-c", command});
    }

    /// Whether a file with this content is in the database or in what a repair kept.
    bool isSomewhere(const std::string& content) const {
        for (const auto& entry : fs::recursive_directory_iterator(root())) {
            if (entry.is_regular_file() && readFile(entry.path().string()) == content) {
                return true;
            }
        }
        return false;
    }

    static std::string replaced(std::string text, const std::string& from, const std::string& to) {
        const std::size_t found = text.find(from);
        return found == std::string::npos ? text : text.replace(found, from.size(), to);
    }
};

std::string at(const std::string& place, const std::string& text) {
    return "db_filedb/" + place + ": " + text + "\n";
}

std::string times(int count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

/// The lines that end a repair: what was done, and what is no longer in the database.
std::string done(int actions, int rejects, int tables = 0) {
    const std::string count = times(actions, "action") + ", " + times(rejects, "rejected line") +
                              ": originals are kept in db_filedb.repair-1\n";
    return rejects + tables == 0
               ? count
               : count + kRemoved + times(tables, "table") + ", " + times(rejects, "row") +
                     "; correct them in that directory, then run: filedb restore db db_filedb.repair-1\n";
}

/// A table in which one line is rejected for the reason told and the others stay.
Damage rejected(const char* title, const std::string& definition, const std::string& head,
                const std::string& line, const std::string& tail, const std::string& reason) {
    const std::string before = definition + head + line + "\n" + tail;
    const auto lines = [](const std::string& text) { return std::count(text.begin(), text.end(), '\n'); };
    const std::string number = std::to_string(lines(definition + head) + 1);
    const std::string kept = std::to_string(lines(head + tail));
    return {title,
            {{"t.table", before}},
            at("t.table:" + number, "rejected: " + reason) +
                at("t.table",
                   "rewritten: " + kept + (kept == "1" ? " record" : " records") + " kept, 1 rejected") +
                done(1, 1),
            {{"t.table", definition + head + tail}},
            {{"t.table", before}, {"t.rejects", number + "\t" + line + "\n"}}};
}

/// A table in which one line is put into its stored form.
Damage mended(const char* title, const std::string& definition, const std::string& line,
              const std::string& stored, const std::string& finding, int records = 1) {
    return {title,
            {{"t.table", definition + line}},
            at("t.table:4", "mended: " + finding) +
                at("t.table", "rewritten: " + times(records, "record") + " kept, 0 rejected") + done(1, 0),
            {{"t.table", definition + stored}},
            {{"t.table", definition + line}}};
}

Damage brokenDefinition(const char* title, const std::string& text, const std::string& reason) {
    return {title,
            {{"t.table", text}},
            at("t.table", "set aside: broken definition (" + reason + ")") + done(1, 0, 1),
            {},
            {{"t.table", text}}};
}

const std::string kIntegerForm =
    " is not in the stored form of INTEGER, decimal digits of an unsigned 64-bit number";
const std::string kRealForm = " is not in the stored form of REAL, a number with six significant digits";
const std::string kTextForm = " is not in the stored form of TEXT, text in single quotes";
const std::string kEmptyField =
    "empty field (\"~~\", or \"~\" at an end of the line): readers skip it and move the later fields";
const std::string kNoLineFeed = "last line has no line feed: readers lose its last character";

}  // namespace

TEST_F(RepairTest, LeavesASoundDirectoryAsItIs) {
    plant({{"master_rollback", "0\n"}, {"t.table", kNote + "'x'~1\n"}});
    const Files before = database();
    const ProgramResult result = repair();
    EXPECT_EQ("nothing to repair\n", result.out);
    EXPECT_EQ(0, result.status);
    EXPECT_EQ(before, database());
    EXPECT_EQ(std::vector<std::string>{"db_filedb"}, listDirectory(root()));
}

TEST_F(RepairTest, MendsWhatNeedsNoGuess) {
    const std::vector<Damage> rows = {
        mended("no last line feed behind NULL", kItem, "1~'a'~NULL", "1~'a'~NULL\n", kNoLineFeed),
        mended("no last line feed behind a number that has its exponent", kItem, "1~'a'~1.5e+06",
               "1~'a'~1.5e+06\n", kNoLineFeed),
        mended("no last line feed behind the longest ROWID", kNote, "'a'~9223372036854775807",
               "'a'~9223372036854775807\n", kNoLineFeed),
        mended("empty field in the middle", kItem, "1~~'a'~2\n", "1~'a'~2\n", kEmptyField),
        mended("empty field at the end", kItem, "1~'a'~2~\n", "1~'a'~2\n", kEmptyField),
        mended("integer in quotes", kItem, "'7'~'a'~2\n", "7~'a'~2\n",
               "column \"id\": value \"'7'\"" + kIntegerForm),
        mended("integer with leading zeros", kItem, "007~'a'~2\n", "7~'a'~2\n",
               "column \"id\": value \"007\"" + kIntegerForm),
        mended("integer with a plus", kItem, "+7~'a'~2\n", "7~'a'~2\n",
               "column \"id\": value \"+7\"" + kIntegerForm),
        mended("real with a trailing zero", kItem, "1~'a'~2.50\n", "1~'a'~2.5\n",
               "column \"price\": value \"2.50\"" + kRealForm),
        mended("real with a large exponent", kItem, "1~'a'~1E3\n", "1~'a'~1000\n",
               "column \"price\": value \"1E3\"" + kRealForm),
        mended("negative integer", kItem, "-1~'a'~2\n", "18446744073709551615~'a'~2\n",
               "column \"id\": value \"-1\"" + kIntegerForm),
        mended("integer with zeros behind the point", kItem, "1.0~'a'~2\n", "1~'a'~2\n",
               "column \"id\": value \"1.0\"" + kIntegerForm),
        mended("integer behind a blank", kItem, " 7~'a'~2\n", "7~'a'~2\n",
               "column \"id\": value \" 7\"" + kIntegerForm),
        mended("integer before a carriage return", kNote, "'a'~7\r\n'b'~8\n", "'a'~7\n'b'~8\n",
               "carriage return before the line feed: readers take it for a part of the last field", 2),
        mended("real behind a blank", kItem, "1~'a'~ 2.5\n", "1~'a'~2.5\n",
               "column \"price\": value \" 2.5\"" + kRealForm),
        mended("text without quotes", kItem, "1~a b~2\n", "1~'a b'~2\n",
               "column \"name\": value \"a b\"" + kTextForm),
        mended("text that is one quote", kItem, "1~'~2\n", "1~''~2\n",
               "column \"name\": value \"'\"" + kTextForm),
        mended("ROWID with a leading zero", kNote, "'x'~01\n", "'x'~1\n",
               "column \"ROWID\": value \"01\"" + kIntegerForm),
        {"ROWIDs out of order",
         {{"t.table", kNote + "'a'~2\n'b'~5\n'c'~3\n'd'~1\n"}},
         at("t.table:6", "mended: ROWID 3 is out of order: it follows 5") +
             at("t.table:7", "mended: ROWID 1 is out of order: it follows 5") +
             at("t.table", "rewritten: 4 records kept, 0 rejected") + done(1, 0),
         {{"t.table", kNote + "'d'~1\n'a'~2\n'c'~3\n'b'~5\n"}},
         {{"t.table", kNote + "'a'~2\n'b'~5\n'c'~3\n'd'~1\n"}}},
        {"empty fields in the definition",
         {{"t.table", "~text~~ROWID\n4~1~\n\n'a'~2\n"}},
         at("t.table:1", "mended: " + kEmptyField) + at("t.table:2", "mended: " + kEmptyField) +
             at("t.table", "rewritten: 1 record kept, 0 rejected") + done(1, 0),
         {{"t.table", kNote + "'a'~2\n"}},
         {{"t.table", "~text~~ROWID\n4~1~\n\n'a'~2\n"}}},
    };
    for (const Damage& row : rows) {
        expectRepair(row);
    }
}

TEST_F(RepairTest, RejectsLinesThatOnlyAGuessCouldMend) {
    const std::string good = "1~'a'~2\n";
    const std::string last = "9~'z'~2\n";
    const std::string longLine = "5~'" + std::string(1020, 'x') + "'~2";
    const std::string nul("5~'\0'~2", 7);
    const std::vector<Damage> rows = {
        rejected("too few fields", kItem, good, "5~'x'", last, "too few fields: 2 for 3 columns"),
        rejected("too many fields", kItem, good, "5~'x~y'~2", last, "too many fields: 4 for 3 columns"),
        rejected("empty line", kItem, good, "", last, "too few fields: 0 for 3 columns"),
        rejected("empty field in place of a value", kItem, good, "5~~2", last,
                 "too few fields: 2 for 3 columns"),
        rejected("NULL in a key", kItem, good, "NULL~'x'~2", last, "column \"id\": NULL is not allowed"),
        rejected("text with one quote", kItem, good, "5~'x~2", last,
                 "column \"name\": value \"'x\"" + kTextForm),
        rejected("integer beyond 64 bits", kItem, good, "99999999999999999999~'x'~2", last,
                 "column \"id\": value \"99999999999999999999\"" + kIntegerForm),
        rejected("integer that is text", kItem, good, "five~'x'~2", last,
                 "column \"id\": value \"five\"" + kIntegerForm),
        rejected("real that is no number", kItem, good, "5~'x'~nan", last,
                 "column \"price\": value \"nan\"" + kRealForm),
        rejected("repeated key", kItem, good, "1~'x'~2", last,
                 "primary key (id = \"1\") repeats that of line 4"),
        rejected("a key that repeats once it is mended", kItem, good, "01~'x'~2", last,
                 "primary key (id = \"1\") repeats that of line 4"),
        rejected("a negative integer beyond 63 bits", kItem, good, "-9223372036854775809~'x'~2", last,
                 "column \"id\": value \"-9223372036854775809\"" + kIntegerForm),
        rejected("ROWID of 0", kNote, "'a'~3\n", "'b'~0", "'c'~4\n",
                 "ROWID 0 is not among the row numbers, 1 to 9223372036854775807"),
        rejected("ROWID that is too large", kNote, "'a'~3\n", "'b'~9223372036854775808", "'c'~4\n",
                 "ROWID 9223372036854775808 is not among the row numbers, 1 to 9223372036854775807"),
        rejected("ROWID that is negative", kNote, "'a'~3\n", "'b'~-1", "'c'~4\n",
                 "ROWID 18446744073709551615 is not among the row numbers, 1 to 9223372036854775807"),
        rejected("line too long", kItem, good, longLine, last,
                 "line is 1027 bytes long with its line feed, the format's limit is 1023"),
        rejected(
            "line without room for its quotes", kItem, good, "5~" + std::string(1018, 'x') + "~2", last,
            "in the stored form, line is 1025 bytes long with its line feed, the format's limit is 1023"),
        rejected("NUL byte", kItem, good, nul, last, "NUL byte: readers end the line there"),
        rejected("repeated ROWID", kNote, "'a'~3\n", "'b'~3", "'c'~4\n", "ROWID 3 repeats that of line 4"),
        rejected("ROWID that is no number", kNote, "'a'~3\n", "'b'~x", "'c'~4\n",
                 "column \"ROWID\": value \"x\"" + kIntegerForm),
        rejected("ROWID that is NULL", kNote, "'a'~3\n", "'b'~NULL", "'c'~4\n",
                 "column \"ROWID\": NULL is no row number"),
        rejected("a line that does not take the ROWID of a later one", kNote, "'a'~3\n", "'b~4", "'c'~4\n",
                 "column \"text\": value \"'b\"" + kTextForm),
        rejected("a line that does not take the key of a later one", kItem, good, "9~'x~2", last,
                 "column \"name\": value \"'x\"" + kTextForm),
        rejected("a repeated ROWID that does not take the key of a later one", "id~ROWID\n260~1\nid\n",
                 "'a'~1\n", "'b'~1", "'b'~2\n", "ROWID 1 repeats that of line 4"),
        rejected("a repeated key that does not take the ROWID of a later one", "id~ROWID\n260~1\nid\n",
                 "'a'~1\n", "'a'~2", "'b'~2\n", "primary key (id = \"'a'\") repeats that of line 4"),
    };
    for (const Damage& row : rows) {
        expectRepair(row);
    }
}

TEST_F(RepairTest, RejectsAnIncompleteLastLine) {
    expectRepair({"cut inside a value",
                  {{"t.table", kItem + "1~'a'~2\n2~'b"}},
                  at("t.table:5", "rejected: too few fields: 2 for 3 columns") +
                      at("t.table", "rewritten: 1 record kept, 1 rejected") + done(1, 1),
                  {{"t.table", kItem + "1~'a'~2\n"}},
                  {{"t.table", kItem + "1~'a'~2\n2~'b"}, {"t.rejects", "5\t2~'b"}}});
}

TEST_F(RepairTest, SetsATableWithABrokenDefinitionAside) {
    const std::vector<Damage> rows = {
        brokenDefinition("empty file", "", "line 1: line is missing: the column names"),
        brokenDefinition("no key line, and a column that may belong to a key", "a~ROWID\n260~1\n",
                         "line 3: line is missing: the primary key"),
        brokenDefinition("no column but the hidden ROWID", "ROWID\n1\n\n1\n2\n",
                         "line 1: no column but the hidden ROWID: no statement could have made such a table"),
        brokenDefinition("cut in the definition", "id\n257\nid", "line 3: " + kNoLineFeed),
        brokenDefinition("flags are missing", "a~b~ROWID\n4~1\n\n'x'~'y'~1\n",
                         "line 2: 2 flag numbers for 3 columns"),
        brokenDefinition(
            "unknown flag", "a~ROWID\n8~1\n\n'x'~1\n",
            "line 2: column \"a\": flag number \"8\" is unknown: 1 (INTEGER), 2 (REAL) or 4 (TEXT), plus "
            "256 for NOT NULL"),
        brokenDefinition("key names no column", "a~ROWID\n4~1\nb\n'x'~1\n",
                         "line 3: key column \"b\" is not a column of the table"),
        brokenDefinition(
            "key may be NULL", "id\n1\nid\n1\n",
            "line 2: column \"id\": flag number \"1\" lacks 256, but the column belongs to the primary key"),
        brokenDefinition(
            "no ROWID", "a\n4\n\n'x'\n",
            "line 1: last column is not ROWID with flag number 1, as in every table without a single "
            "INTEGER primary key"),
        brokenDefinition("zeros", std::string(4096, '\0'),
                         "line 1: line is 4097 bytes long with its line feed, the format's limit is 1023"),
    };
    for (const Damage& row : rows) {
        expectRepair(row);
    }
}

namespace {

/// Directories in which a copy-over was interrupted at different moments.
std::vector<Damage> interruptedCopyOvers() {
    const std::string oldText = kNote + "'old and long'~1\n'second'~2\n";
    const std::string newText = kNote + "'new'~1\n";
    const std::string torn = newText + oldText.substr(newText.size());
    const std::string takes =
        at("t.table", "takes the content of its working copy: the interrupted copy-over is finished");
    const std::string taken = at("t.backup", "set aside: working copy that the table now equals");
    const std::string takenButRejects =
        at("t.backup", "set aside: working copy that the table now equals, but for the rejected lines");
    const std::string journal = "1\n\x03~t\n";
    return {
        {"before the table was touched",
         {{"master_rollback", journal}, {"t.table", oldText}, {"t.backup", newText}},
         takes + at("t.table", "rewritten: 1 record kept, 0 rejected") + taken + kFinished + done(3, 0),
         {{"t.table", newText}},
         {{"master_rollback", journal}, {"t.table", oldText}, {"t.backup", newText}}},
        {"while the table was overwritten",
         {{"master_rollback", journal}, {"t.table", torn}, {"t.backup", newText}},
         takes + at("t.table", "rewritten: 1 record kept, 0 rejected") + taken + kFinished + done(3, 0),
         {{"t.table", newText}},
         {{"master_rollback", journal}, {"t.table", torn}, {"t.backup", newText}}},
        {"left to the next opening by a database that was closed",
         {{"master_rollback", "0\n3~t\n"}, {"t.table", torn}, {"t.backup", newText}},
         takes + at("t.table", "rewritten: 1 record kept, 0 rejected") + taken + kFinished + done(3, 0),
         {{"t.table", newText}},
         {{"master_rollback", "0\n3~t\n"}, {"t.table", torn}, {"t.backup", newText}}},
        {"before the table was made",
         {{"master_rollback", journal}, {"t.backup", newText}},
         takes + at("t.table", "rewritten: 1 record kept, 0 rejected") + taken + kFinished + done(3, 0),
         {{"t.table", newText}},
         {{"master_rollback", journal}, {"t.backup", newText}}},
        {"after the table was written",
         {{"master_rollback", journal}, {"t.table", newText}, {"t.backup", newText}},
         taken + kFinished + done(2, 0),
         {{"t.table", newText}},
         {{"master_rollback", journal}, {"t.backup", newText}}},
        {"a working copy that lacks only its last line feed, behind a value that may go on",
         {{"master_rollback", journal}, {"t.table", oldText}, {"t.backup", newText + "'b'~2"}},
         takes +
             at("t.backup:5", "rejected: " + kNoLineFeed + ", and the end of its last value may be missing") +
             at("t.table", "rewritten: 1 record kept, 1 rejected") + takenButRejects + kFinished + done(3, 1),
         {{"t.table", newText}},
         {{"master_rollback", journal},
          {"t.table", oldText},
          {"t.backup", newText + "'b'~2"},
          {"t.rejects", "5\t'b'~2"}}},
        {"a working copy that lacks only its last line feed, of a table that is written already",
         {{"master_rollback", journal},
          {"t.table", newText},
          {"t.backup", newText.substr(0, newText.size() - 1)}},
         taken + kFinished + done(2, 0),
         {{"t.table", newText}},
         {{"master_rollback", journal}, {"t.backup", newText.substr(0, newText.size() - 1)}}},
        {"a working copy that lacks only its last line feed, behind the longest ROWID",
         {{"master_rollback", journal},
          {"t.table", oldText},
          {"t.backup", kNote + "'b'~9223372036854775807"}},
         takes + at("t.backup:4", "mended: " + kNoLineFeed) +
             at("t.table", "rewritten: 1 record kept, 0 rejected") + taken + kFinished + done(3, 0),
         {{"t.table", kNote + "'b'~9223372036854775807\n"}},
         {{"master_rollback", journal},
          {"t.table", oldText},
          {"t.backup", kNote + "'b'~9223372036854775807"}}},
        {"a whole working copy with a value that is not in its stored form",
         {{"master_rollback", journal}, {"t.table", torn}, {"t.backup", kNote + "5~1\n'x~2\n"}},
         takes + at("t.backup:4", "mended: column \"text\": value \"5\"" + kTextForm) +
             at("t.backup:5", "rejected: column \"text\": value \"'x\"" + kTextForm) +
             at("t.table", "rewritten: 1 record kept, 1 rejected") + takenButRejects + kFinished + done(3, 1),
         {{"t.table", kNote + "'5'~1\n"}},
         {{"master_rollback", journal},
          {"t.table", torn},
          {"t.backup", kNote + "5~1\n'x~2\n"},
          {"t.rejects", "5\t'x~2\n"}}},
        {"a whole working copy that has only a line to reject besides what the table holds",
         {{"master_rollback", journal}, {"t.table", newText}, {"t.backup", newText + "'x~2\n"}},
         takes + at("t.backup:5", "rejected: column \"text\": value \"'x\"" + kTextForm) +
             at("t.table", "rewritten: 1 record kept, 1 rejected") + takenButRejects + kFinished + done(3, 1),
         {{"t.table", newText}},
         {{"master_rollback", journal},
          {"t.table", newText},
          {"t.backup", newText + "'x~2\n"},
          {"t.rejects", "5\t'x~2\n"}}},
    };
}

}  // namespace

TEST_F(RepairTest, FinishesAnInterruptedCopyOver) {
    for (const Damage& row : interruptedCopyOvers()) {
        expectRepair(row);
    }
}

TEST_F(RepairTest, FinishesATornTableFromAWorkingCopyThatNoJournalLineNames) {
    const std::string oldText = kNote + "'first row'~1\n'second row'~2\n'third row'~3\n";
    const std::string newText = kNote + "'1st'~1\n'2nd'~2\n'3rd'~3\n'4th'~4\n";
    const std::string grown = kNote + "'the first one'~1\n'the second one'~2\n'the third one'~3\n";
    const auto torn = [&](const std::string& copy, std::size_t written) {
        return copy.substr(0, written) + oldText.substr(std::min(written, oldText.size()));
    };
    const auto finished = [](const char* title, const std::string& table, const std::string& copy,
                             int count) {
        return Damage{title,
                      {{"t.table", table}, {"t.backup", copy}},
                      at("t.table", kTakesUnnamed) +
                          at("t.table", "rewritten: " + std::to_string(count) +
                                            (count == 1 ? " record" : " records") + " kept, 0 rejected") +
                          at("t.backup", kTaken) + done(2, 0),
                      {{"t.table", copy}},
                      {{"t.table", table}, {"t.backup", copy}}};
    };
    std::vector<Damage> rows = {
        finished("inside a record, the table is longer than the copy", torn(newText, kNote.size() + 6),
                 newText, 4),
        finished("inside a record, the table is shorter than the copy", torn(grown, kNote.size() + 12), grown,
                 3),
        finished("inside a record, the table is as long as the copy",
                 newText.substr(0, newText.size() - 4) + "d'4\n", newText, 4),
        finished("between two records, which repeats a ROWID", torn(newText, kNote.size() + 16), newText, 4),
        finished("everything is written, the rest is not truncated", newText + "'third'~3\n", newText, 4),
        finished("everything is written in a table that becomes empty", kNote + "~1\n'second'~2\n", kNote, 0),
        finished("a beginning and nothing else", newText.substr(0, newText.size() - 4), newText, 4),
        finished("a beginning of the definition and nothing else", newText.substr(0, 7), newText, 4),
        finished("one byte in common", "t" + std::string(40, '\0'), newText, 4),
        finished("the table was made and nothing was written yet", "", newText, 4),
    };
    rows.push_back(
        {"the copy has a value that is not in its stored form",
         {{"t.table", kNote + "'a'~1\n5"}, {"t.backup", kNote + "'a'~1\n5~2\n"}},
         at("t.table", kTakesUnnamed) + at("t.backup:5", "mended: column \"text\": value \"5\"" + kTextForm) +
             at("t.table", "rewritten: 2 records kept, 0 rejected") + at("t.backup", kTaken) + done(2, 0),
         {{"t.table", kNote + "'a'~1\n'5'~2\n"}},
         {{"t.table", kNote + "'a'~1\n5"}, {"t.backup", kNote + "'a'~1\n5~2\n"}}});
    for (const Damage& row : rows) {
        expectRepair(row);
    }
}

TEST_F(RepairTest, SetsAsideAWorkingCopyThatNoJournalLineNamesAndThatHasNothingToGive) {
    const std::string text = kNote + "'a'~1\n";
    const std::vector<Damage> rows = {
        {"it equals a sound table",
         {{"t.table", text}, {"t.backup", text}},
         at("t.backup", kTaken) + done(1, 0),
         {{"t.table", text}},
         {{"t.backup", text}}},
        {"it equals an unsound table",
         {{"t.table", text + "bad\n"}, {"t.backup", text + "bad\n"}},
         at("t.table:5", "rejected: too few fields: 1 for 2 columns") +
             at("t.table", "rewritten: 1 record kept, 1 rejected") +
             at("t.backup", kTaken + ", but for the rejected lines") + done(2, 1),
         {{"t.table", text}},
         {{"t.table", text + "bad\n"}, {"t.backup", text + "bad\n"}, {"t.rejects", "5\tbad\n"}}},
        {"mended it equals the table",
         {{"t.table", text}, {"t.backup", kNote + "a~1\n"}},
         at("t.backup", kTaken) + done(1, 0),
         {{"t.table", text}},
         {{"t.backup", kNote + "a~1\n"}}},
        {"it is not whole, the table is sound",
         {{"t.table", text}, {"t.backup", text + "'b"}},
         at("t.backup", kNothingToTake + "its last line has no line feed") + done(1, 0),
         {{"t.table", text}},
         {{"t.backup", text + "'b"}}},
        {"it is not whole, the table has lost the end of its last line",
         {{"t.table", text + "'b'~"}, {"t.backup", kNote + "'"}},
         at("t.table:5", "rejected: too few fields: 1 for 2 columns") +
             at("t.table", "rewritten: 1 record kept, 1 rejected") +
             at("t.backup", kNothingToTake + "its last line has no line feed") + done(2, 1),
         {{"t.table", text}},
         {{"t.table", text + "'b'~"}, {"t.backup", kNote + "'"}, {"t.rejects", "5\t'b'~"}}},
        {"it is not whole, and there is no table",
         {{"t.backup", ""}},
         at("t.backup",
            kNothingToTake + "its definition is broken (line 1: line is missing: the column names)") +
             done(1, 0),
         {},
         {{"t.backup", ""}}},
    };
    for (const Damage& row : rows) {
        expectRepair(row);
    }
}

TEST_F(RepairTest, LeavesATableAndAWorkingCopyThatNoJournalLineNamesForAPersonToDecide) {
    const std::string shorter = kNote + "'a'~1\n";
    const std::string longer = shorter + "'b'~2\n";
    const std::string other = "other~ROWID\n4~1\n\n'a'~1\n";
    const std::string zeros(64, '\0');
    const std::vector<Decision> rows = {
        {"both are sound", other, shorter, other, shorter},
        {"a torn record that reads as a record", kNote + "'new a'~1\n", kNote + "'new value'~1\n",
         kNote + "'new a'~1\n", kNote + "'new value'~1\n"},
        {"the table begins with the copy", longer, shorter, longer, shorter},
        {"the copy begins with the table", shorter, longer, shorter, longer},
        {"an unsound table with another definition", other + "bad\n", shorter, other, shorter},
        {"an unsound table with a definition that begins alike", "text~a~ROWID\n4~4~1\n\n'x'~1\n", shorter,
         "text~a~ROWID\n4~4~1\n\n", shorter},
        {"a table that is no beginning of the copy", zeros, shorter, std::nullopt, shorter},
        {"a torn table and a copy with a line that cannot be kept", shorter + "'", longer + "bad\n", shorter,
         longer},
        {"a copy with a line that cannot be kept", shorter, longer + "bad\n", shorter, longer},
        {"no table", std::nullopt, shorter, std::nullopt, shorter},
    };
    for (const Decision& row : rows) {
        expectDecision(row);
    }
}

TEST_F(RepairTest, KeepsARealThatSixDigitsDoNotSay) {
    const std::string definition = "r~ROWID\n2~1\n\n";
    const std::string kept = "100000.001~1\n0.1000000001~2\n2.50000001~3\n3.14159265~4\n2e-45~5\n";
    plant({{"master_rollback", "0\n"}, {"t.table", definition + kept + "1.50~6\n"}});
    EXPECT_EQ(0, repair().status);
    EXPECT_EQ((Files{{"master_rollback", "0\n"}, {"t.table", definition + kept + "1.5~6\n"}}), database());
}

TEST_F(RepairTest, TakesCarriageReturnsAwayAlsoWhereTheLastLineHasNoEnd) {
    plant({{"master_rollback", "0\n"}, {"t.table", "text~ROWID\r\n4~1\r\n\r\n'a'~1\r\n'b'~2"}});
    EXPECT_EQ(3, repair().status);
    EXPECT_EQ((Files{{"master_rollback", "0\n"}, {"t.table", kNote + "'a'~1\n"}}), database());
    EXPECT_EQ("5\t'b'~2", filesIn("db_filedb.repair-1").at("t.rejects"));
}

TEST_F(RepairTest, LeavesTheDecisionOnADamagedWorkingCopyThatHasFurtherRecords) {
    const std::string oldText = kNote + "'old'~1\n";
    const std::string newText = kNote + "'new'~1\n'more'~2\n";
    const std::string noLineFeed = "its last line has no line feed";
    const std::vector<Decision> rows = {
        {"cut in its last record, the table is as it was", oldText, newText + "'mo", oldText, newText,
         noLineFeed},
        {"cut in its first record", oldText, kNote + "'ne", oldText, kNote, noLineFeed},
        {"cut in its last record, the table is torn", kNote + "'new'~1\n'm", newText + "'mo",
         kNote + "'new'~1\n", newText, noLineFeed},
        {"cut in its last record, the table is missing", std::nullopt, newText + "'mo", std::nullopt, newText,
         noLineFeed},
        {"its last block never reached the disk", oldText, newText + std::string(9, '\0'), oldText, newText,
         "it holds a NUL byte"},
    };
    for (const Decision& row : rows) {
        expectDecision(row);
    }
}

TEST_F(RepairTest, LeavesADecisionWhereADirectoryStandsInThePlaceOfTheTable) {
    plant({{"master_rollback", "0\n"}, {"t.backup", kNote}});
    fs::create_directory(path("t.table"));
    const ProgramResult result = repair();
    EXPECT_EQ(
        at("t.table", "set aside: not a regular file") + decision(false) + done(1, 0) + kOneDecision +
            "db_filedb/t.backup:1: warning: leftover working copy, not in the journal: whole, 0 records, "
            "there is no table" +
            kTellsDecision,
        result.out);
    EXPECT_EQ(1, result.status);
    EXPECT_EQ((Files{{"master_rollback", "0\n"}, {"t.backup", kNote}}), database());
    EXPECT_EQ(0, runShell(takeCommand(false)).status);
    EXPECT_EQ(0, repair().status);
    EXPECT_EQ((Files{{"master_rollback", "0\n"}, {"t.table", kNote}}), database());
}

TEST_F(RepairTest, MendsTheRestOfADirectoryInWhichItLeavesADecision) {
    plant({{"master_rollback", "1\n\x03~u\n"},
           {"README", "hello"},
           {"s.table", kNote + "x\n"},
           {"t.table", kNote},
           {"t.backup", kNote + "'t'~1\n"},
           {"u.table", kNote},
           {"u.backup", kNote + "'u'~1\n"}});
    const ProgramResult result = repair();
    EXPECT_EQ(3, result.status);
    EXPECT_THAT(result.out, ::testing::HasSubstr(
                                "5 actions, 1 rejected line: originals are kept in db_filedb.repair-1\n" +
                                kOneDecision + "db_filedb/t.backup:1: warning: "));
    EXPECT_THAT(result.out,
                ::testing::EndsWith(kRemoved + "0 tables, 1 row; correct them in that directory, then run: "
                                               "filedb restore db db_filedb.repair-1\n"));
    EXPECT_EQ((Files{{"master_rollback", "0\n"},
                     {"s.table", kNote},
                     {"t.table", kNote},
                     {"t.backup", kNote + "'t'~1\n"},
                     {"u.table", kNote + "'u'~1\n"}}),
              database());
}

TEST_F(RepairTest, NamesCommandsThatAShellTakesWhateverTheDirectoryIsCalled) {
    for (const char* name : {"-rf", "two words", "it's $HOME; \"x\" `y` * ~", "bell\a\x1b[31m\xff%s\\n's"}) {
        SCOPED_TRACE(name);
        clear();
        plant({{"master_rollback", "0\n"}, {"t.table", kNote}, {"t.backup", kNote + "'t'~1\n"}});
        const std::string directory = std::string(name) + "_filedb";
        fs::rename(root() + "/db_filedb", root() + "/" + directory);
        const auto run = [&] { return runProgram(root(), {filedbProgram(), "repair", "--", name}); };
        const ProgramResult result = run();
        EXPECT_EQ(1, result.status) << result.err;
        EXPECT_EQ(std::string::npos, result.out.find_first_of("\a\x1b\xff"));
        const std::string take = "to take it: ";
        const std::size_t begin = result.out.find(take) + take.size();
        const std::string command = result.out.substr(begin, result.out.find('\n', begin) - begin);
        EXPECT_EQ(0, runShell(command).status) << command;
        EXPECT_EQ(0, run().status);
        EXPECT_EQ((Files{{"master_rollback", "0\n"}, {"t.table", kNote + "'t'~1\n"}}), filesIn(directory));
    }
}

TEST_F(RepairTest, FinishesEveryTableOfACommit) {
    const std::string journal = "1\n\x01~a\n\x02~b\n5~c\n\x05~d\n";
    const std::string takes = "takes the content of its working copy: the interrupted copy-over is finished";
    const std::string taken = "set aside: working copy that the table now equals";
    expectRepair({"two changed and two dropped tables",
                  {{"master_rollback", journal},
                   {"a.table", kNote},
                   {"a.backup", kNote + "'a'~1\n"},
                   {"b.table", kNote + "'b'~1\n"},
                   {"b.backup", kNote},
                   {"c.table", kNote + "'c'~1\n"},
                   {"d.table", kNote + "'d'~1\n"}},
                  at("a.table", takes) + at("a.table", "rewritten: 1 record kept, 0 rejected") +
                      at("a.backup", taken) + at("b.table", takes) +
                      at("b.table", "rewritten: 0 records kept, 0 rejected") + at("b.backup", taken) +
                      at("c.table", "set aside: the interrupted DROP TABLE is finished") +
                      at("d.table", "set aside: the interrupted DROP TABLE is finished") + kFinished +
                      done(7, 0),
                  {{"a.table", kNote + "'a'~1\n"}, {"b.table", kNote}},
                  {{"master_rollback", journal},
                   {"a.table", kNote},
                   {"a.backup", kNote + "'a'~1\n"},
                   {"b.table", kNote + "'b'~1\n"},
                   {"b.backup", kNote},
                   {"c.table", kNote + "'c'~1\n"},
                   {"d.table", kNote + "'d'~1\n"}}});
}

TEST_F(RepairTest, DropsATableWhoseWorkingCopyIsStillThere) {
    const Files before = {
        {"master_rollback", "1\n5~t\n"}, {"t.table", kNote}, {"t.backup", kNote + "'a'~1\n"}};
    expectRepair({"changed and then dropped",
                  before,
                  at("t.table", "set aside: the interrupted DROP TABLE is finished") +
                      at("t.backup", "set aside: working copy of a dropped table") + kFinished + done(3, 0),
                  {},
                  before});
}

TEST_F(RepairTest, KeepsTheTablesOfATransactionThatWasNotCommitted) {
    const std::string journal = "0\n\x01~t\n5~u\n";
    expectRepair({"a changed table, and one that was changed and then dropped",
                  {{"master_rollback", journal},
                   {"t.table", kNote},
                   {"t.backup", kNote + "'a'~1\n"},
                   {"u.table", kNote + "'u'~1\n"}},
                  at("t.backup", "set aside: working copy of a transaction that was not committed") +
                      kUndone + done(2, 0),
                  {{"t.table", kNote}, {"u.table", kNote + "'u'~1\n"}},
                  {{"master_rollback", journal}, {"t.backup", kNote + "'a'~1\n"}}});
}

TEST_F(RepairTest, ResetsAJournalThatCannotBeRead) {
    const std::string garbage("\0\x01~t\n\n~~~\n5~../../t", 20);
    clear();
    plant({{"master_rollback", garbage}, {"t.table", kNote}});
    writeFile(root() + "/t.table", "outside");
    const ProgramResult result = repair();
    EXPECT_EQ(0, result.status) << result.out;
    EXPECT_EQ((Files{{"master_rollback", "0\n"}, {"t.table", kNote}}), database());
    EXPECT_EQ((Files{{"master_rollback", garbage}}), filesIn("db_filedb.repair-1"));
    EXPECT_EQ("outside", readFile(root() + "/t.table"));
    EXPECT_EQ(0, check().status);
}

TEST_F(RepairTest, WritesAMissingJournal) {
    plant("t.table", kNote);
    const ProgramResult result = repair();
    EXPECT_EQ(kReset +
                  ": journal is missing: the next init makes a new one\n"
                  "1 action, 0 rejected lines: originals are kept in db_filedb.repair-1\n",
              result.out);
    EXPECT_EQ((Files{{"master_rollback", "0\n"}, {"t.table", kNote}}), database());
    EXPECT_EQ(0, check().status);
}

TEST_F(RepairTest, SetsForeignFilesAside) {
    expectRepair(
        {"a note, an editor's copy and impossible names",
         {{"README", "hello"}, {"t.table~", "old"}, {"my-table.table", kNote}, {"t.table", kNote}},
         at("README", "set aside: not a file of a database") +
             at("my-table.table", "set aside: table name \"my-table\": no statement could have made it") +
             at("t.table~", "set aside: not a file of a database") + done(3, 0),
         {{"t.table", kNote}},
         {{"README", "hello"}, {"t.table~", "old"}, {"my-table.table", kNote}}});
}

TEST_F(RepairTest, SetsAsideWhatStandsInThePlaceOfAFile) {
    fs::create_directory(path("master_rollback"));
    writeFile(path("master_rollback") + "/inside", "kept");
    fs::create_directory(path("d.table"));
    fs::create_directory(path("sub"));
    ASSERT_EQ(0, mkfifo(path("f.table").c_str(), 0600));
    ASSERT_EQ(0, mkfifo(path("g.backup").c_str(), 0600));
    fs::create_symlink("/nowhere/at/all", path("l.table"));
    const ProgramResult result = repair();
    EXPECT_EQ(
        at("sub", "set aside: not a file of a database") + at("d.table", "set aside: not a regular file") +
            at("f.table", "set aside: not a regular file") + at("g.backup", "set aside: not a regular file") +
            at("l.table", "set aside: a symbolic link that leads nowhere") +
            at("master_rollback", "set aside, and written anew with the line \"0\": journal is a directory") +
            done(6, 0, 1),
        result.out);
    EXPECT_EQ(3, result.status);
    EXPECT_EQ(std::vector<std::string>{"master_rollback"}, listDirectory(root() + "/db_filedb"));
    EXPECT_EQ(
        (std::vector<std::string>{"d.table", "f.table", "g.backup", "l.table", "master_rollback", "sub"}),
        listDirectory(root() + "/db_filedb.repair-1"));
    EXPECT_EQ("kept", readFile(root() + "/db_filedb.repair-1/master_rollback/inside"));
    EXPECT_EQ("/nowhere/at/all", fs::read_symlink(root() + "/db_filedb.repair-1/l.table").string());
    EXPECT_EQ(0, check().status);
}

TEST_F(RepairTest, NeverWritesThroughALink) {
    const std::string outside = root() + "/outside";
    writeFile(outside, kNote + "'a'~1\nx\n");
    plant("master_rollback", "0\n");
    fs::create_symlink(outside, path("t.table"));
    EXPECT_EQ(3, repair().status);
    EXPECT_EQ(kNote + "'a'~1\nx\n", readFile(outside));
    EXPECT_EQ((Files{{"master_rollback", "0\n"}, {"t.table", kNote + "'a'~1\n"}}), database());
    EXPECT_EQ(outside, fs::read_symlink(root() + "/db_filedb.repair-1/t.table").string());
    EXPECT_EQ(0, check().status);
}

TEST_F(RepairTest, ATableBehindALinkThatIsSoundStaysALink) {
    writeFile(root() + "/outside", kNote + "'a'~1\n");
    plant("master_rollback", "0\n");
    fs::create_symlink(root() + "/outside", path("t.table"));
    EXPECT_EQ("nothing to repair\n", repair().out);
    EXPECT_TRUE(fs::is_symlink(path("t.table")));
}

TEST_F(RepairTest, KeepsThePermissionsOfATable) {
    plant({{"master_rollback", "0\n"}, {"t.table", kNote + "x\n"}});
    ASSERT_EQ(0, chmod(path("t.table").c_str(), 0640));
    ASSERT_EQ(3, repair().status);
    struct stat status {};
    ASSERT_EQ(0, stat(path("t.table").c_str(), &status));
    EXPECT_EQ(0640U, status.st_mode & 07777U);
}

TEST_F(RepairTest, KeepsEveryRepairsOriginalsApart) {
    plant({{"master_rollback", "0\n"}, {"t.table", kNote + "x\n"}});
    ASSERT_EQ(3, repair().status);
    plant("t.table", kNote + "y\n");
    const ProgramResult second = repair();
    EXPECT_THAT(second.out, ::testing::HasSubstr("originals are kept in db_filedb.repair-2\n"));
    EXPECT_EQ((Files{{"t.table", kNote + "x\n"}, {"t.rejects", "4\tx\n"}}), filesIn("db_filedb.repair-1"));
    EXPECT_EQ((Files{{"t.table", kNote + "y\n"}, {"t.rejects", "4\ty\n"}}), filesIn("db_filedb.repair-2"));
}

TEST_F(RepairTest, KeepsOriginalsBesideTheDirectoryThatALinkLeadsTo) {
    plant({{"master_rollback", "0\n"}, {"t.table", kNote + "x\n"}});
    fs::create_directory(root() + "/elsewhere");
    fs::rename(root() + "/db_filedb", root() + "/elsewhere/real");
    fs::create_symlink("elsewhere/real", root() + "/db_filedb");
    ASSERT_EQ(3, repair().status);
    EXPECT_EQ((Files{{"t.table", kNote + "x\n"}, {"t.rejects", "4\tx\n"}}),
              filesIn("elsewhere/real.repair-1"));
    EXPECT_EQ((Files{{"master_rollback", "0\n"}, {"t.table", kNote}}), database());
}

TEST_F(RepairTest, ClearsUpAfterARepairThatWasStopped) {
    expectRepair({"its half-written file",
                  {{"t.table", kNote + "x\n"}, {"t.table.repair-tmp", "half"}},
                  at("t.table.repair-tmp",
                     "set aside: left by a process that was stopped while it made the file; nothing reads "
                     "it, and it can be removed") +
                      at("t.table:4", "rejected: too few fields: 1 for 2 columns") +
                      at("t.table", "rewritten: 0 records kept, 1 rejected") + done(2, 1),
                  {{"t.table", kNote}},
                  {{"t.table", kNote + "x\n"}, {"t.rejects", "4\tx\n"}, {"t.table.repair-tmp", "half"}}});
}

TEST_F(RepairTest, RefusesADatabaseThatAProcessHasOpen) {
    plant({{"master_rollback", "0\n"}, {"t.table", kNote + "x\n"}});
    const Files before = database();
    const int journal = open(path("master_rollback").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(journal, 0);
    const ProgramResult refused = repair();
    const ProgramResult dry = repair({"--dry-run"});
    close(journal);
    EXPECT_EQ("filedb repair: db_filedb: process " + std::to_string(getpid()) +
                  " has it open; stop that process first, or only look at the database\n",
              refused.err);
    EXPECT_EQ("", refused.out);
    EXPECT_EQ(2, refused.status);
    EXPECT_EQ(3, dry.status);
    EXPECT_EQ(before, database());
    EXPECT_EQ(3, repair().status);
}

TEST_F(RepairTest, TellsTroubleFromFindings) {
    const ProgramResult missing = runProgram(root(), {filedbProgram(), "repair", "nothing"});
    EXPECT_EQ(2, missing.status);
    EXPECT_THAT(missing.err, ::testing::HasSubstr("nothing_filedb is not a directory"));
    EXPECT_EQ(2, runProgram(root(), {filedbProgram(), "repair"}).status);
}

TEST_F(RepairTest, SurvivesGarbage) {
    std::string garbage;
    unsigned int state = 7;
    for (int count = 0; count < 100000; ++count) {
        state = state * 1103515245U + 12345U;
        garbage += static_cast<char>(state >> 16U);
    }
    plant({{"master_rollback", garbage},
           {"a.table", garbage},
           {"a.backup", garbage},
           {"b.table", kNote + "'kept'~1\n" + garbage},
           {"huge.table", kNote + std::string(3000000, 'x')},
           {"tildes.table", kNote + std::string(1000, '~')},
           {"bad\x1bname\xff", "x"}});
    const ProgramResult result = repair();
    EXPECT_EQ(3, result.status) << result.err;
    EXPECT_EQ((Files{{"b.table", kNote + "'kept'~1\n"},
                     {"huge.table", kNote},
                     {"master_rollback", "0\n"},
                     {"tildes.table", kNote}}),
              database());
    EXPECT_EQ("4\t" + std::string(3000000, 'x'), readFile(root() + "/db_filedb.repair-1/huge.rejects"));
    EXPECT_EQ(0, check().status);
}

}  // namespace Kalt::Vemo::Test
