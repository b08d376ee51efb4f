#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "CheckTestSupport.h"

namespace Kalt::Vemo::Test {

namespace {

namespace fs = std::filesystem;

using CheckTest = PlantedDirectoryTest;

/// Files as planted, and everything that `check` prints about them.
struct Planted {
    const char* title;
    Files files;
    std::string out;
};

const std::string kEmptyField =
    "empty field (\"~~\", or \"~\" at an end of the line): readers skip it and move the later fields\n";
const std::string kNulByte = "NUL byte: readers end the line there\n";
const std::string kNoLineFeed = "last line has no line feed: readers lose its last character\n";
const std::string kIntegerForm =
    " is not in the stored form of INTEGER, decimal digits of an unsigned 64-bit number\n";
const std::string kRealForm = " is not in the stored form of REAL, a number with six significant digits\n";
const std::string kTextForm = " is not in the stored form of TEXT, text in single quotes\n";
const std::string kNoRowId =
    "last column is not ROWID with flag number 1, as in every table without a single INTEGER primary key\n";
const std::string kCarriageReturns =
    "carriage return before every line feed: readers take it for a part of the last field; the file was "
    "saved "
    "in the form of another system\n";
const std::string kMark =
    "byte-order mark before the first line: readers take it for a part of the first name\n";
const std::string kNoKeyLine =
    "the empty line of a table without a primary key is missing: readers take the first record for it\n";
const std::string kFlagHint = " is unknown: 1 (INTEGER), 2 (REAL) or 4 (TEXT), plus 256 for NOT NULL\n";

const std::string kItem = "id~name~price\n257~260~2\nid\n";
const std::string kNote = "text~ROWID\n4~1\n\n";

Planted table(const char* title, const std::string& content, const std::string& findings,
              const std::string& count) {
    return {title, {{"master_rollback", "0\n"}, {"t.table", content}}, findings + count};
}

/// A finding, and what repair does about it.
std::string found(int line, const std::string& text, const std::string& remedy) {
    return "db_filedb/t.table:" + std::to_string(line) + ": error: " + text.substr(0, text.size() - 1) +
           "; " + remedy + "\n";
}

std::string broken(int line, const std::string& text) {
    return found(line, text, "repair sets the table aside");
}

std::string mended(int line, const std::string& text) {
    return found(line, text, "repair mends it");
}

std::string rejected(int line, const std::string& text) {
    return found(line, text, "repair sets the line aside");
}

std::string journalAt(int line, const std::string& text) {
    const std::string remedy =
        text.find("run \"filedb repair\"") == std::string::npos ? "; repair resets the journal" : "";
    return "db_filedb/master_rollback:" + std::to_string(line) + ": " + text.substr(0, text.size() - 1) +
           remedy + "\n";
}

const std::string kLongText(1100, 'x');

std::string bytes(const char* text, std::size_t size) {
    return {text, size};
}

/// Sound directories.
const std::vector<Planted> kSound = {
    {"no table", {{"master_rollback", "0\n"}}, "0 tables, 0 records: 0 errors, 0 warnings\n"},
    {"tables with and without a hidden ROWID",
     {{"master_rollback", "0\n"},
      {"item.table", kItem + "1~'a'~2.5\n7~''~NULL\n3~'it's'~1.23457e+06\n18446744073709551615~'x'~inf\n"},
      {"note.table", kNote + "'NULL'~1\nNULL~5\n"}},
     "2 tables, 6 records: 0 errors, 0 warnings\n"},
    {"a column of its own called ROWID, and a key that names a column twice",
     {{"master_rollback", "0\n"}, {"t.table", "ROWID~a~ROWID\n1~260~1\na~a\n1~'x'~1\n"}},
     "1 table, 1 record: 0 errors, 0 warnings\n"},
    {"the smallest and largest numbers that a REAL column holds",
     {{"master_rollback", "0\n"},
      {"t.table", "r~ROWID\n2~1\n\n1.4013e-45~1\n3.40282e+38~2\n-inf~3\n-0~4\n0~5\n-2.5~6\n"}},
     "1 table, 6 records: 0 errors, 0 warnings\n"},
    {"numbers that read as values which the stored form has not, and values that stand in for those of "
     "another "
     "type",
     {{"master_rollback", "0\n"},
      {"t.table", kItem + "1~'a'~3.14159265\n2~it's~1234567\n5.5~'b'~'x'\n'four'~'d'~1e400\n"}},
     "1 table, 4 records: 0 errors, 0 warnings\n"},
    {"a line that fills the format's length",
     {{"master_rollback", "0\n"}, {"t.table", kNote + "'" + std::string(1018, 'x') + "'~1\n"}},
     "1 table, 1 record: 0 errors, 0 warnings\n"}};

const std::string kOneError = "1 table, 1 record: 1 error, 0 warnings\n";

/// Faults in the first three lines of a table.
const std::vector<Planted> kFaultyDefinitions = {
    table("empty file", "",
          broken(1, "line is missing: the column names\n") +
              broken(2, "line is missing: the flag numbers\n") +
              broken(3, "line is missing: the primary key\n"),
          "1 table, 0 records: 3 errors, 0 warnings\n"),
    table("no flags", "a~ROWID\n",
          broken(2, "line is missing: the flag numbers\n") + broken(3, "line is missing: the primary key\n"),
          "1 table, 0 records: 2 errors, 0 warnings\n"),
    table("no key line, and a column that may belong to a key", "a~ROWID\n260~1\n",
          broken(3, "line is missing: the primary key\n"), "1 table, 0 records: 1 error, 0 warnings\n"),
    table("metadata without its line feed", "id\n257\nid", broken(3, kNoLineFeed),
          "1 table, 0 records: 1 error, 0 warnings\n"),
    table("no columns", "\n\n\n'x'~1\n", broken(1, "no column names\n"), kOneError),
    table("too few flags", "a~ROWID\n4\n\n'x'~1\n", broken(2, "1 flag number for 2 columns\n"), kOneError),
    table("too many flags", "a~ROWID\n4~1~1\n\n'x'~1\n", broken(2, "3 flag numbers for 2 columns\n"),
          kOneError),
    table("no type", "a~ROWID\n256~1\n\n'x'~1\n", broken(2, "column \"a\": flag number \"256\"" + kFlagHint),
          kOneError),
    table("two types", "a~ROWID\n3~1\n\n'x'~1\n", broken(2, "column \"a\": flag number \"3\"" + kFlagHint),
          kOneError),
    table("unknown bit", "a~ROWID\n516~1\n\n'x'~1\n",
          broken(2, "column \"a\": flag number \"516\"" + kFlagHint), kOneError),
    table("no number", "a~ROWID\nTEXT~1\n\n'x'~1\n",
          broken(2, "column \"a\": flag number \"TEXT\"" + kFlagHint), kOneError),
    table("leading zero", "a~ROWID\n04~1\n\n'x'~1\n",
          broken(2, "column \"a\": flag number \"04\"" + kFlagHint), kOneError),
    table("key names no column", "a~ROWID\n260~1\nb\n'x'~1\n",
          broken(3, "key column \"b\" is not a column of the table\n"), kOneError),
    table(
        "key column may be NULL", "id\n1\nid\n1\n",
        broken(2, "column \"id\": flag number \"1\" lacks 256, but the column belongs to the primary key\n"),
        kOneError),
    table("duplicate column", "a~a~ROWID\n4~4~1\n\n'x'~'y'~1\n", broken(1, "column \"a\" is there twice\n"),
          kOneError),
    table("impossible name", "my-col~ROWID\n4~1\n\n'x'~1\n",
          broken(1, "column name \"my-col\": no statement could have made it\n"), kOneError),
    table("carriage returns in some lines", "a~ROWID\r\n4~1\r\n\n'x'~1\r\n",
          broken(1, "column name \"ROWID\\x0d\": no statement could have made it\n") +
              broken(2, "column \"ROWID\\x0d\": flag number \"1\\x0d\"" + kFlagHint),
          "1 table, 1 record: 2 errors, 0 warnings\n"),
    table("no column but the hidden ROWID", "ROWID\n1\n\n1\n",
          broken(1, "no column but the hidden ROWID: no statement could have made such a table\n"),
          kOneError),
    table("no hidden ROWID", "a\n4\n\n'x'\n", broken(1, kNoRowId), kOneError),
    table("hidden ROWID of another type", "a~ROWID\n4~4\n\n'x'~'1'\n", broken(1, kNoRowId), kOneError),
    table("NUL byte in the definition", bytes("a\0~ROWID\n4~1\n\n'x'~1\n", 20), broken(1, kNulByte),
          kOneError),
    table("line 1 too long", kLongText + "~ROWID\n4~1\n\n'x'~1\n",
          broken(1, "line is 1107 bytes long with its line feed, the format's limit is 1023\n"), kOneError),
    table("empty field in the definition", "a~~ROWID\n4~1\n\n'x'~1\n", mended(1, kEmptyField), kOneError),
};

/// What another program has made of a whole file.
const std::vector<Planted> kForeignForms = {
    table("carriage returns in all lines", "a~ROWID\r\n4~1\r\n\r\n'x'~1\r\n", mended(1, kCarriageReturns),
          kOneError),
    table("a byte-order mark", "\xEF\xBB\xBF" + kNote + "'x'~1\n", mended(1, kMark), kOneError),
    table("both",
          "\xEF\xBB\xBF"
          "a~ROWID\r\n4~1\r\n\r\n'x'~1\r\n",
          mended(1, kMark) + mended(1, kCarriageReturns), "1 table, 1 record: 2 errors, 0 warnings\n"),
    table("no third line", "text~ROWID\n4~1\n'x'~1\n'y'~2\n", mended(3, kNoKeyLine),
          "1 table, 2 records: 1 error, 0 warnings\n"),
    table("no third line, and no records", "text~ROWID\n4~1\n", mended(3, kNoKeyLine),
          "1 table, 0 records: 1 error, 0 warnings\n"),
    table("no third line that looks like a record", "text~ROWID\n4~1\nb\n'x'~1\n",
          broken(3, "key column \"b\" is not a column of the table\n"), kOneError),
};

/// Faults in the lines after them.
const std::vector<Planted> kFaultyRecords = {
    table("too few fields", kItem + "1~'a'\n", rejected(4, "too few fields: 2 for 3 columns\n"), kOneError),
    table("too many fields", kItem + "1~'a~b'~2\n", rejected(4, "too many fields: 4 for 3 columns\n"),
          kOneError),
    table("empty line", kItem + "\n", rejected(4, "too few fields: 0 for 3 columns\n"), kOneError),
    table("empty field in the middle", kItem + "1~~'a'~2\n", mended(4, kEmptyField), kOneError),
    table("empty field at the start", kItem + "~1~'a'~2\n", mended(4, kEmptyField), kOneError),
    table("empty field at the end", kItem + "1~'a'~2~\n", mended(4, kEmptyField), kOneError),
    table("empty field in place of a value", kItem + "1~'a'~\n",
          rejected(4, kEmptyField) + rejected(4, "too few fields: 2 for 3 columns\n"),
          "1 table, 1 record: 2 errors, 0 warnings\n"),
    table("NULL in a key", kItem + "NULL~'a'~2\n", rejected(4, "column \"id\": NULL is not allowed\n"),
          kOneError),
    table("NULL in a NOT NULL column", kItem + "1~NULL~2\n",
          rejected(4, "column \"name\": NULL is not allowed\n"), kOneError),
    table("integer in quotes", kItem + "'1'~'a'~2\n",
          mended(4, "column \"id\": value \"'1'\"" + kIntegerForm), kOneError),
    table("integer with a leading zero", kItem + "01~'a'~2\n",
          mended(4, "column \"id\": value \"01\"" + kIntegerForm), kOneError),
    table("integer with a sign", kItem + "-1~'a'~2\n",
          mended(4, "column \"id\": value \"-1\"" + kIntegerForm), kOneError),
    table("integer with a fraction", kItem + "1.0~'a'~2\n",
          mended(4, "column \"id\": value \"1.0\"" + kIntegerForm), kOneError),
    table("integer beyond 64 bits", kItem + "18446744073709551616~'a'~2\n",
          rejected(4, "column \"id\": value \"18446744073709551616\"" + kIntegerForm), kOneError),
    table("real with a trailing zero", kItem + "1~'a'~2.50\n",
          mended(4, "column \"price\": value \"2.50\"" + kRealForm), kOneError),
    table("real with a comma", kItem + "1~'a'~2,5\n",
          rejected(4, "column \"price\": value \"2,5\"" + kRealForm), kOneError),
    table("text without quotes", kItem + "1~a~2\n", mended(4, "column \"name\": value \"a\"" + kTextForm),
          kOneError),
    table("text with one quote", kItem + "1~'a~2\n", rejected(4, "column \"name\": value \"'a\"" + kTextForm),
          kOneError),
    table("text that is one quote", kItem + "1~'~2\n", mended(4, "column \"name\": value \"'\"" + kTextForm),
          kOneError),
    table("control characters in a value", kItem + "1~\x1b[2J\x07~2\n",
          mended(4, "column \"name\": value \"\\x1b[2J\\x07\"" + kTextForm), kOneError),
    table("bytes that are no UTF-8", kItem + "1~\xff\xc3\xa9\xc3~2\n",
          mended(4, "column \"name\": value \"\\xff\xc3\xa9\\xc3\"" + kTextForm), kOneError),
    table("a long value is cut", kItem + "1~" + std::string(70, 'v') + "~2\n",
          mended(4, "column \"name\": value \"" + std::string(60, 'v') + "\"..." + kTextForm), kOneError),
    table("line too long", kNote + "'" + std::string(1019, 'x') + "'~1\n",
          rejected(4, "line is 1024 bytes long with its line feed, the format's limit is 1023\n"), kOneError),
    table("NUL byte", kNote + bytes("'x\0'~1\n", 7), rejected(4, kNulByte), kOneError),
    table("no last line feed, behind a value that may go on", kNote + "'x'~1",
          rejected(4, kNoLineFeed.substr(0, kNoLineFeed.size() - 1) +
                          ", and the end of its last value may be missing\n"),
          kOneError),
    table("no last line feed, behind a value that cannot go on", kItem + "1~'a'~NULL", mended(4, kNoLineFeed),
          kOneError),
    table("ROWID of 0", kNote + "'x'~0\n",
          rejected(4, "ROWID 0 is not among the row numbers, 1 to 9223372036854775807\n"), kOneError),
    table("ROWID that is too large", kNote + "'x'~9223372036854775808\n",
          rejected(4, "ROWID 9223372036854775808 is not among the row numbers, 1 to 9223372036854775807\n"),
          kOneError),
    table("repeated key", kItem + "1~'a'~2\n2~'b'~2\n1~'c'~2\n",
          rejected(6, "primary key (id = \"1\") repeats that of line 4\n"),
          "1 table, 3 records: 1 error, 0 warnings\n"),
    table("repeated key of two columns", "a~b~ROWID\n260~257~1\na~b\n'x'~1~1\n'x'~2~2\n'x'~1~3\n",
          rejected(6, "primary key (a = \"'x'\", b = \"1\") repeats that of line 4\n"),
          "1 table, 3 records: 1 error, 0 warnings\n"),
    table("NULL keys do not collide", "a~ROWID\n260~1\na\nNULL~1\nNULL~2\n",
          rejected(4, "column \"a\": NULL is not allowed\n") +
              rejected(5, "column \"a\": NULL is not allowed\n"),
          "1 table, 2 records: 2 errors, 0 warnings\n"),
    table("ROWID out of order", kNote + "'x'~1\n'y'~3\n'z'~2\n",
          mended(6, "ROWID 2 is out of order: it follows 3\n"), "1 table, 3 records: 1 error, 0 warnings\n"),
    table("ROWID repeated", kNote + "'x'~1\n'y'~3\n'z'~3\n", rejected(6, "ROWID 3 repeats that of line 5\n"),
          "1 table, 3 records: 1 error, 0 warnings\n"),
    table("ROWID that is no number", kNote + "'x'~'1'b\n",
          rejected(4, "column \"ROWID\": value \"'1'b\"" + kIntegerForm), kOneError),
    table("ROWID that is NULL", kNote + "'x'~NULL\n",
          rejected(4, "column \"ROWID\": NULL is no row number\n"), kOneError),
    table("all faults of a record at once", kItem + "x~NULL~y\n",
          rejected(4, "column \"id\": value \"x\"" + kIntegerForm) +
              rejected(4, "column \"name\": NULL is not allowed\n") +
              rejected(4, "column \"price\": value \"y\"" + kRealForm),
          "1 table, 1 record: 3 errors, 0 warnings\n"),
};

/// Lines of the journal, and what `check` prints about them.
struct PlantedJournal {
    const char* title;
    std::string journal;
    std::string findings;
    std::string count;
};

const std::string kInterrupted =
    "error: state line is \"1\": the copying of working copies over their tables was interrupted; run "
    "\"filedb "
    "repair\" before the next init, which would not finish it\n";
const std::string kNotLoaded =
    "the next init takes this line for a state line, keeps the table as it is and leaves a working copy "
    "where it "
    "is\n";
const std::string kDiscarded = "the next init keeps the table as it is and discards a working copy\n";
const std::string kTableRemoved = "the next init removes the table\n";

const std::vector<PlantedJournal> kJournals = {
    {"empty", "", journalAt(1, "warning: journal is empty: the next init writes its state line \"0\"\n"),
     "0 errors, 1 warning\n"},
    {"raw codes are discarded", "0\n\x01~a\n\x02~b\n\x03~c\n\x04~d\n\x05~e\n",
     journalAt(2, "warning: table \"a\" (INSERT): " + kDiscarded) +
         journalAt(3, "warning: table \"b\" (DELETE): " + kDiscarded) +
         journalAt(4, "warning: table \"c\" (UPDATE): " + kDiscarded) +
         journalAt(5, "warning: table \"d\" (CREATE TABLE): " + kDiscarded) +
         journalAt(6, "warning: table \"e\" (DROP TABLE): " + kDiscarded),
     "0 errors, 5 warnings\n"},
    {"the digit 5 removes the table", "0\n5~a\n",
     journalAt(2, "error: table \"a\" (DROP TABLE): " + kTableRemoved), "1 error, 0 warnings\n"},
    {"the digits 1 to 4 copy", "0\n1~a\n4~b\n",
     journalAt(2, "error: table \"a\" (INSERT): the next init copies the working copy over the table\n") +
         journalAt(
             3, "error: table \"b\" (CREATE TABLE): the next init copies the working copy over the table\n"),
     "2 errors, 0 warnings\n"},
    {"the first line of a table counts", "0\n\x01~a\n5~a\n",
     journalAt(2, "warning: table \"a\" (INSERT): " + kDiscarded) +
         journalAt(3, "warning: table \"a\" (DROP TABLE): the next init goes by line 2\n"),
     "0 errors, 2 warnings\n"},
    {"an interrupted copy-over: the line behind the state line is not loaded", "1\n\x01~a\n\x01~b\n5~c\n",
     journalAt(1, kInterrupted) + journalAt(2, "warning: table \"a\" (INSERT): " + kNotLoaded) +
         journalAt(3, "warning: table \"b\" (INSERT): " + kDiscarded) +
         journalAt(4, "error: table \"c\" (DROP TABLE): " + kTableRemoved),
     "2 errors, 2 warnings\n"},
    {"a digit 1 behind the state line goes on with the state lines", "1\n1~a\n5~b\n5~c\n",
     journalAt(1, kInterrupted) + journalAt(2, "warning: table \"a\" (INSERT): " + kNotLoaded) +
         journalAt(3, "warning: table \"b\" (DROP TABLE): " + kNotLoaded) +
         journalAt(4, "error: table \"c\" (DROP TABLE): " + kTableRemoved),
     "2 errors, 2 warnings\n"},
    {"unknown state", "yes\n", journalAt(1, "error: state line is \"yes\", neither \"0\" nor \"1\"\n"),
     "1 error, 0 warnings\n"},
    {"an empty state line", "\n", journalAt(1, "error: state line is \"\", neither \"0\" nor \"1\"\n"),
     "1 error, 0 warnings\n"},
    {"a line of another form", "0\nx\n\x01~a~b\n",
     journalAt(2, "error: 1 field instead of an operation and a table: the next init skips the line\n") +
         journalAt(3, "error: 3 fields instead of an operation and a table: the next init skips the line\n"),
     "2 errors, 0 warnings\n"},
    {"an unknown code", "0\nx~a\n",
     journalAt(2, "error: operation code \"x\" is unknown\n") +
         journalAt(2, "warning: table \"a\" (unknown operation): " + kDiscarded),
     "1 error, 1 warning\n"},
    {"an impossible table name", "0\n5~../../etc/x\n",
     journalAt(2, "error: table name \"../../etc/x\": no statement could have made it\n") +
         journalAt(2, "error: table \"../../etc/x\" (DROP TABLE): " + kTableRemoved),
     "2 errors, 0 warnings\n"},
    {"an empty field", "0\n\x01~~a\n",
     journalAt(2, "error: empty field (\"~~\", or \"~\" at an end of the line)\n") +
         journalAt(2, "warning: table \"a\" (INSERT): " + kDiscarded),
     "1 error, 1 warning\n"},
    {"no last line feed", "0",
     journalAt(1, "error: state line \"0\" has no line feed: readers lose the state\n"),
     "1 error, 0 warnings\n"},
    {"the state of a commit without its line feed", "1",
     journalAt(1, "error: state line \"1\" has no line feed: readers lose the state\n"),
     "1 error, 0 warnings\n"},
    {"a NUL byte", bytes("0\n\x01~a\0\n", 7),
     journalAt(2, "error: " + kNulByte) +
         journalAt(2, "error: 1 field instead of an operation and a table: the next init skips the line\n"),
     "2 errors, 0 warnings\n"},
    {"a long line", "0\n" + kLongText + "\n",
     journalAt(2, "error: line is longer than the format allows\n") +
         journalAt(2, "error: 1 field instead of an operation and a table: the next init skips the line\n") +
         journalAt(2, "error: 1 field instead of an operation and a table: the next init skips the line\n"),
     "3 errors, 0 warnings\n"},
};

/// Plants files, has them checked and compares everything that is printed.
class FindingsTest : public CheckTest {
protected:
    void expectFindings(const std::vector<Planted>& directories, int status) {
        for (const Planted& planted : directories) {
            SCOPED_TRACE(planted.title);
            clear();
            plant(planted.files);
            const ProgramResult result = check();
            EXPECT_EQ(planted.out, result.out);
            EXPECT_EQ("", result.err);
            EXPECT_EQ(status, result.status);
        }
    }
};

}  // namespace

TEST_F(FindingsTest, FindsNothingInSoundDirectories) {
    expectFindings(kSound, 0);
}

TEST_F(FindingsTest, NamesEveryFaultOfADefinitionWithItsLine) {
    expectFindings(kFaultyDefinitions, 1);
}

TEST_F(FindingsTest, NamesWhatAnotherProgramHasMadeOfAWholeFile) {
    expectFindings(kForeignForms, 1);
}

TEST_F(FindingsTest, NamesEveryFaultOfARecordWithItsLine) {
    expectFindings(kFaultyRecords, 1);
}

TEST_F(CheckTest, TellsWhatTheJournalMakesTheNextInitDo) {
    for (const PlantedJournal& planted : kJournals) {
        SCOPED_TRACE(planted.title);
        clear();
        plant("master_rollback", planted.journal);
        const ProgramResult result = check();
        EXPECT_EQ(planted.findings + "0 tables, 0 records: " + planted.count, result.out);
        EXPECT_EQ(1, result.status);
    }
}

TEST_F(CheckTest, ReportsAMissingJournal) {
    plant("t.table", kNote);
    const ProgramResult result = check();
    EXPECT_EQ(
        "db_filedb/master_rollback:1: warning: journal is missing: the next init makes a new one; repair "
        "resets "
        "the journal\n"
        "1 table, 0 records: 0 errors, 1 warning\n",
        result.out);
    EXPECT_EQ(1, result.status);
}

namespace {

/// A table and a working copy that no journal line names, and what `check` says of the copy.
struct Leftover {
    const char* title;
    Files files;
    int ageOfCopy;  ///< seconds after the table's last change
    std::string text;
};

const std::string kWholeCopy = kNote + "'x'~1\n'y'~2\n";
const std::string kUndecided = "; nothing tells whether it counts; repair names a command for each way";

const std::vector<Leftover> kLeftovers = {
    {"equal",
     {{"t.table", kWholeCopy}, {"t.backup", kWholeCopy}},
     0,
     ", not in the journal: whole, equal to the table; repair sets the file aside"},
    {"newer",
     {{"t.table", kNote}, {"t.backup", kWholeCopy}},
     5,
     ", not in the journal: whole, 2 records where the table has 0, newer than the table" + kUndecided},
    {"older",
     {{"t.table", kNote}, {"t.backup", kWholeCopy}},
     -5,
     ", not in the journal: whole, 2 records where the table has 0, older than the table" + kUndecided},
    {"of the same time",
     {{"t.table", kNote + "'z'~1\n"}, {"t.backup", kWholeCopy}},
     0,
     ", not in the journal: whole, 2 records where the table has 1, changed at the same time as the "
     "table" +
         kUndecided},
    {"of a torn table",
     {{"t.table", kNote + "'x'~1\n'"}, {"t.backup", kWholeCopy}},
     5,
     ", not in the journal: whole, 2 records where the table has 2, newer than the table; the table is "
     "what an interrupted copy-over leaves; repair finishes the copy-over"},
    {"without a table",
     {{"t.backup", kWholeCopy}},
     0,
     ", not in the journal: whole, 2 records, there is no table" + kUndecided},
    {"cut short",
     {{"t.table", kWholeCopy}, {"t.backup", kNote + "'x'~1\n'y'"}},
     0,
     ", not in the journal: not whole, its last line has no line feed; repair sets the file aside"},
    {"empty",
     {{"t.table", kWholeCopy}, {"t.backup", ""}},
     0,
     ", not in the journal: not whole, its definition is broken (line 1: line is missing: the column names); "
     "repair sets the file aside"},
};

}  // namespace

TEST_F(CheckTest, TellsWhatALeftoverWorkingCopyIs) {
    for (const Leftover& row : kLeftovers) {
        SCOPED_TRACE(row.title);
        clear();
        plant("master_rollback", "0\n");
        plant(row.files);
        if (row.files.count("t.table") > 0) {
            fs::last_write_time(path("t.backup"),
                                fs::last_write_time(path("t.table")) + std::chrono::seconds(row.ageOfCopy));
        }
        const ProgramResult result = check();
        EXPECT_THAT(result.out, ::testing::StartsWith("db_filedb/t.backup:1: warning: leftover working copy" +
                                                      row.text + "\n"));
        EXPECT_EQ(1, result.status);
    }
}

TEST_F(CheckTest, TellsAWorkingCopyThatTheJournalNames) {
    plant({{"master_rollback", "0\n\x01~t\n"}, {"t.table", kNote}, {"t.backup", kNote}});
    EXPECT_EQ(
        "db_filedb/master_rollback:2: warning: table \"t\" (INSERT): the next init keeps the table as it is "
        "and "
        "discards a working copy; repair resets the journal\n"
        "db_filedb/t.backup:1: warning: leftover working copy: whole, equal to the table; repair sets the "
        "file "
        "aside\n"
        "1 table, 0 records: 0 errors, 2 warnings\n",
        check().out);
}

TEST_F(CheckTest, ReportsWhatIsNoFileOfADatabase) {
    plant({{"master_rollback", "0\n"},
           {"README", "hello"},
           {".table", kNote},
           {"my-table.table", kNote},
           {"9.backup", kNote}});
    fs::create_directory(path("sub"));
    EXPECT_EQ(
        "db_filedb/.table:1: warning: not a file of a database; repair sets the file aside\n"
        "db_filedb/9.backup:1: error: table name \"9\": no statement could have made it; repair sets the "
        "file aside\n"
        "db_filedb/README:1: warning: not a file of a database; repair sets the file aside\n"
        "db_filedb/my-table.table:1: error: table name \"my-table\": no statement could have made it; repair "
        "sets the file aside\n"
        "db_filedb/sub:1: warning: not a file of a database; repair sets the file aside\n"
        "0 tables, 0 records: 2 errors, 3 warnings\n",
        check().out);
}

TEST_F(CheckTest, TellsAFileThatWasBeingMadeFromAForeignOne) {
    plant({{"master_rollback", "0\n"},
           {"master_rollback.new", ""},
           {"note.table", kNote},
           {"note.backup.new", "id~te"},
           {"note.table.new", "id~te"},
           {"note.text.new", "id~te"}});
    const std::string unfinished =
        ":1: warning: left by a process that was stopped while it made the file; nothing reads it, and it "
        "can be "
        "removed; repair sets the file aside\n";
    const std::string found = check().out;
    EXPECT_EQ(
        "db_filedb/master_rollback.new" + unfinished + "db_filedb/note.backup.new" + unfinished +
            "db_filedb/note.table.new" + unfinished +
            "db_filedb/note.text.new:1: warning: not a file of a database; repair sets the file aside\n",
        found.substr(0, found.find("1 table,")));
}

TEST_F(CheckTest, NamesWhatStandsInThePlaceOfAFileAndNeverWaitsForIt) {
    fs::create_directory(path("master_rollback"));
    fs::create_directory(path("d.table"));
    ASSERT_EQ(0, mkfifo(path("f.table").c_str(), 0600));
    ASSERT_EQ(0, mkfifo(path("f.backup").c_str(), 0600));
    fs::create_symlink("/nowhere/at/all", path("l.table"));
    fs::create_symlink("loop.table", path("loop.table"));
    fs::create_symlink("/dev/zero", path("z.table"));
    plant("real", kNote + "x~1\n");
    fs::create_symlink("real", path("s.table"));
    EXPECT_EQ(
        "db_filedb/d.table:1: error: is a directory; repair sets the file aside\n"
        "db_filedb/f.backup:1: error: is a named pipe; repair sets the file aside\n"
        "db_filedb/f.table:1: error: is a named pipe; repair sets the file aside\n"
        "db_filedb/l.table:1: error: is a symbolic link that leads nowhere; repair sets the file aside\n"
        "db_filedb/loop.table:1: error: is a symbolic link that leads nowhere; repair sets the file aside\n"
        "db_filedb/master_rollback:1: error: journal is a directory; repair resets the journal\n"
        "db_filedb/real:1: warning: not a file of a database; repair sets the file aside\n"
        "db_filedb/s.table:4: error: column \"text\": value \"x\"" +
            kTextForm.substr(0, kTextForm.size() - 1) +
            "; repair mends it\n"
            "db_filedb/z.table:1: error: is a device; repair sets the file aside\n"
            "6 tables, 1 record: 8 errors, 1 warning\n",
        check().out);
}

TEST_F(CheckTest, SurvivesGarbage) {
    std::string garbage;
    unsigned int state = 1;
    for (int count = 0; count < 200000; ++count) {
        state = state * 1103515245U + 12345U;
        garbage += static_cast<char>(state >> 16U);
    }
    plant({{"master_rollback", garbage},
           {"a.table", garbage},
           {"a.backup", garbage},
           {"b.table", kNote + garbage},
           {"huge.table", kNote + std::string(5000000, 'x')},
           {"zeros.table", std::string(100000, '\0')},
           {"tildes.table", kNote + std::string(1000, '~')},
           {"feeds.table", std::string(1000, '\n')},
           {"bad\x1bname\xff", ""}});
    const ProgramResult result = check();
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.err);
    EXPECT_THAT(result.out,
                ::testing::HasSubstr("db_filedb/huge.table:4: error: line is 5000001 bytes long"));
    EXPECT_THAT(result.out, ::testing::HasSubstr("db_filedb/bad\\x1bname\\xff:1: warning: not a file"));
    EXPECT_EQ(std::string::npos, result.out.find('\x1b'));

    const ProgramResult json = check({"--json"});
    EXPECT_TRUE(nlohmann::json::accept(json.out));
    EXPECT_EQ(1, json.status);
}

TEST_F(CheckTest, PrintsTheSameFindingsAsJson) {
    plant({{"master_rollback", "0\n"}, {"t.table", kNote + "x~1\n'\xff~2\n"}, {"README", ""}});
    const ProgramResult result = check({"--json"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ(R"({
  "directory": "db_filedb",
  "tables": 1,
  "records": 2,
  "errors": 2,
  "warnings": 1,
  "findings": [
    {
      "file": "db_filedb/README",
      "line": 1,
      "severity": "warning",
      "text": "not a file of a database",
      "remedy": "repair sets the file aside"
    },
    {
      "file": "db_filedb/t.table",
      "line": 4,
      "severity": "error",
      "text": "column \"text\": value \"x\" is not in the stored form of TEXT, text in single quotes",
      "remedy": "repair mends it"
    },
    {
      "file": "db_filedb/t.table",
      "line": 5,
      "severity": "error",
      "text": "column \"text\": value \"'\\xff\" is not in the stored form of TEXT, text in single quotes",
      "remedy": "repair sets the line aside"
    }
  ]
}
)",
              result.out);
}

TEST_F(CheckTest, LeavesNoTrace) {
    plant(
        {{"master_rollback", "1\n\x01~t\n"}, {"t.table", kNote + "x"}, {"t.backup", kNote}, {"README", ""}});
    const Files before = database();
    const auto stamps = [this] {
        std::map<std::string, std::vector<long>> all;
        for (const std::string name : {"", "master_rollback", "t.table", "t.backup", "README"}) {
            struct stat status {};
            EXPECT_EQ(0, stat(path(name).c_str(), &status));
            all[name] = {status.st_mtim.tv_sec,  status.st_mtim.tv_nsec, status.st_ctim.tv_sec,
                         status.st_ctim.tv_nsec, status.st_atim.tv_sec,  status.st_atim.tv_nsec};
        }
        return all;
    };
    const std::map<std::string, std::vector<long>> stampsBefore = stamps();
    EXPECT_EQ(1, check().status);
    EXPECT_EQ(stampsBefore, stamps());
    EXPECT_EQ(before, database());
    EXPECT_EQ(std::vector<std::string>{"db_filedb"}, listDirectory(root()));
}

TEST_F(CheckTest, NeedsNoPermissionToWrite) {
    plant({{"master_rollback", "0\n"}, {"t.table", kNote}});
    for (const char* name : {"master_rollback", "t.table", ""}) {
        ASSERT_EQ(0, chmod(path(name).c_str(), 0555));
    }
    const ProgramResult result = check();
    ASSERT_EQ(0, chmod(path("").c_str(), 0755));
    EXPECT_EQ("1 table, 0 records: 0 errors, 0 warnings\n", result.out);
    EXPECT_EQ(0, result.status);
}

// The permissions above do not bind a test that runs as root; what the program asks the system for does.
TEST_F(CheckTest, NeverAsksForWriteAccess) {
    plant({{"master_rollback", "1\n\x01~t\n"}, {"t.table", kNote + "x"}, {"t.backup", kNote}});
    std::vector<std::string> words = {"strace", "-o", root() + "/calls"};
    for (const char* name : {"", "/master_rollback", "/t.table", "/t.backup"}) {
        words.insert(words.end(), {"-P", root() + "/db_filedb" + name});
    }
    words.insert(words.end(),
                 {"-E", "ASAN_OPTIONS=detect_leaks=0", filedbProgram(), "check", root() + "/db"});
    const ProgramResult result = runProgram(root(), words);
    ASSERT_EQ(1, result.status) << "the program cannot be traced; the test needs strace, and a system that "
                                   "permits ptrace (in a container: --cap-add=SYS_PTRACE)\n"
                                << result.err;
    const std::string calls = readFile(root() + "/calls");
    EXPECT_THAT(calls, ::testing::HasSubstr("/t.table\", O_RDONLY"));
    for (const char* forbidden :
         {"O_WRONLY", "O_RDWR", "O_CREAT", "O_TRUNC", "write", "rename", "unlink", "mkdir", "link(", "chmod",
          "chown", "utime", "truncate", "setxattr", "flock"}) {
        EXPECT_THAT(calls, ::testing::Not(::testing::HasSubstr(forbidden)));
    }
}

TEST_F(CheckTest, TakesTheDirectoryItselfAsWell) {
    plant("master_rollback", "0\n");
    const ProgramResult result = runProgram(root(), {filedbProgram(), "check", "./db_filedb/"});
    EXPECT_EQ("0 tables, 0 records: 0 errors, 0 warnings\n", result.out);
    EXPECT_EQ(0, result.status);
}

TEST_F(CheckTest, TellsTroubleFromFindings) {
    const ProgramResult missing = runProgram(root(), {filedbProgram(), "check", "nothing"});
    EXPECT_EQ(2, missing.status);
    EXPECT_EQ("", missing.out);
    EXPECT_THAT(missing.err, ::testing::HasSubstr("nothing_filedb is not a directory"));

    EXPECT_EQ(2, runProgram(root(), {filedbProgram(), "check"}).status);
    EXPECT_EQ(2, check({"--no-such-option"}).status);
}

TEST_F(CheckTest, AFileThatIsTooLargeToReadIsTrouble) {
    plant({{"master_rollback", "0\n"}, {"t.table", kNote}});
    ASSERT_EQ(0, truncate(path("t.table").c_str(), (off_t{1} << 30) + 1));
    const ProgramResult result = check();
    EXPECT_EQ(
        "db_filedb/t.table:1: error: cannot be read: larger than 1073741824 bytes; see to the cause, or move "
        "the file out of the directory\n"
        "1 table, 0 records: 1 error, 0 warnings\n",
        result.out);
    EXPECT_EQ(2, result.status);

    const ProgramResult repaired = repair();
    EXPECT_EQ(2, repaired.status);
    EXPECT_THAT(
        repaired.err,
        ::testing::HasSubstr("t.table cannot be read: larger than 1073741824 bytes; nothing was changed"));
}

TEST_F(CheckTest, FailsWhenItsOutputCannotBeWritten) {
    plant("master_rollback", "0\n");
    const ProgramResult result =
        runProgram(root(), {"/bin/sh", "-c", "exec \"$0\" check db >/dev/full", filedbProgram()});
    EXPECT_EQ(2, result.status);
    EXPECT_THAT(result.err, ::testing::HasSubstr("standard output could not be written"));
}

}  // namespace Kalt::Vemo::Test
