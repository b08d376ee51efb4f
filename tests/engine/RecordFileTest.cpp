#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "DatabaseException.h"
#include "EngineTestSupport.h"
#include "File.h"
#include "FileUtils.h"
#include "RecordReader.h"
#include "TestSupport.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::DatabaseException;
using Core::Database::Filedb::FieldEnds;
using Core::Database::Filedb::File;
using Core::Database::Filedb::FileUtils;
using Core::Database::Filedb::RecordReader;
using Fields = std::vector<std::string>;
using Rows = std::vector<Fields>;

const Fields kBefore = {"left", "from", "before"};
const std::string kOpenError = "openFile: DataBase Error: Couldn't open the corresponding file";
const std::string kSeekError = "writeRecordToTableFile: File Error: File Seek error";
const std::string kReadError = "getNextRecordFromTableFile: DB Error: Error occurred during file reading";

/// Opens a path as the engine would not: for streams on which one kind of operation fails.
Stream openStream(const std::string& path, const char* mode) {
    Stream stream(std::fopen(path.c_str(), mode));
    EXPECT_NE(stream, nullptr) << path;
    return stream;
}

/// A text without "~" and line feeds in which no short stretch repeats.
std::string longText(std::size_t length) {
    std::string text;
    for (int i = 0; text.size() < length; ++i) {
        text += std::to_string(i) + ".";
    }
    return text.substr(0, length);
}

Rows readAll(const std::string& content) {
    const Stream stream = streamOf(content);
    Rows rows;
    Fields fields;
    while (FileUtils::getNextRecordFromTableFile(stream.get(), fields)) {
        rows.push_back(fields);
    }
    return rows;
}

class RecordFileTest : public ::testing::Test {
protected:
    TemporaryDirectory temporary;
    LogCapture log;
};

// ---- open, close, exist, remove

TEST_F(RecordFileTest, OpenForReadingStandsAtTheStart) {
    const std::string path = temporary.file("t.table");
    writeFile(path, "a~b\n");
    const Stream stream(FileUtils::openFile(path, "r"));
    EXPECT_EQ(std::ftell(stream.get()), 0);
    EXPECT_EQ(contentOf(stream), "a~b\n");
}

TEST_F(RecordFileTest, OpenForAppendingStandsAtTheStart) {
    const std::string path = temporary.file("t.table");
    writeFile(path, "a~b\n");
    const Stream stream(FileUtils::openFile(path, "a+"));
    EXPECT_EQ(std::ftell(stream.get()), 0);
    EXPECT_EQ(contentOf(stream), "a~b\n");
}

TEST_F(RecordFileTest, OpenHonoursTheMode) {
    const struct {
        const char* mode;
        bool madeWhenMissing;
        std::string contentAfterwards;
    } rows[] = {
        {"r", false, "a~b\n"}, {"r+", false, "a~b\n"}, {"w", true, ""},
        {"w+", true, ""},      {"a", true, "a~b\n"},   {"a+", true, "a~b\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mode);
        const std::string missing = temporary.file(std::string("missing-") + row.mode);
        if (row.madeWhenMissing) {
            FileUtils::closeFile(FileUtils::openFile(missing, row.mode));
            EXPECT_EQ(readFile(missing), "");
        } else {
            EXPECT_EQ(raisedBy([&] { FileUtils::openFile(missing, row.mode); }), kOpenError);
            EXPECT_FALSE(fileExists(missing));
        }
        const std::string present = temporary.file("present");
        writeFile(present, "a~b\n");
        FileUtils::closeFile(FileUtils::openFile(present, row.mode));
        EXPECT_EQ(readFile(present), row.contentAfterwards);
    }
}

TEST_F(RecordFileTest, OpenRefusesWhatCannotBeOpened) {
    const struct {
        std::string path;
        const char* mode;
    } rows[] = {
        {"", "r"},
        {temporary.file("no-directory/t.table"), "w"},
        {temporary.file("no-directory/t.table"), "r"},
        {temporary.path(), "w"},
        {temporary.path(), "r+"},
        {temporary.path(), "a+"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path + " " + row.mode);
        EXPECT_EQ(raisedBy([&] { FileUtils::openFile(row.path, row.mode); }), kOpenError);
    }
}

TEST_F(RecordFileTest, OpenRefusesAModeThatFopenDoesNotKnow) {
    const std::string missing = temporary.file("missing");
    const std::string present = temporary.file("present");
    writeFile(present, "a~b\n");
    for (const char* const mode : {"", "+", "b", "x", "xw", "W", "R", "A", " r", "1", "\xE4"}) {
        SCOPED_TRACE(mode);
        EXPECT_EQ(raisedBy([&] { FileUtils::openFile(missing, mode); }), kOpenError);
        EXPECT_FALSE(fileExists(missing));
        EXPECT_EQ(raisedBy([&] { FileUtils::openFile(present, mode); }), kOpenError);
        EXPECT_EQ(readFile(present), "a~b\n");
    }
}

TEST_F(RecordFileTest, OpenWithAnXMakesAFileAndTakesNoneThatIsThere) {
    const std::string present = temporary.file("present");
    writeFile(present, "a~b\n");
    const std::string link = temporary.file("link");
    std::filesystem::create_symlink("nowhere", link);
    for (const char* const mode : {"wx", "wx+", "w+x", "wbx", "w+bx", "wb+x", "ax", "a+x"}) {
        SCOPED_TRACE(mode);
        for (const std::string& taken : {present, link, temporary.path(), temporary.file("missing/new")}) {
            EXPECT_EQ(raisedBy([&] { FileUtils::openFile(taken, mode); }), kOpenError);
        }
        EXPECT_EQ(readFile(present), "a~b\n");
        EXPECT_FALSE(fileExists(temporary.file("nowhere")));

        const std::string missing = temporary.file(std::string("missing-") + mode);
        FILE* stream = FileUtils::openFile(missing, mode);
        EXPECT_EQ(std::ftell(stream), 0);
        EXPECT_EQ(fcntl(fileno(stream), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
        FileUtils::writeRecordToTableFile(stream, {"a", "b"});
        FileUtils::closeFile(stream);
        EXPECT_EQ(readFile(missing), "a~b\n");
    }
}

TEST_F(RecordFileTest, CloseHandsOverWhatWasWritten) {
    const std::string path = temporary.file("t.table");
    FILE* stream = FileUtils::openFile(path, "w");
    FileUtils::writeRecordToTableFile(stream, {"a"});
    FileUtils::closeFile(stream);
    EXPECT_EQ(readFile(path), "a\n");
}

TEST_F(RecordFileTest, CloseOfNoStreamDoesNothing) {
    EXPECT_NO_THROW(FileUtils::closeFile(nullptr));
}

TEST_F(RecordFileTest, FileExistTellsWhetherItCanBeRead) {
    const std::string path = temporary.file("t.table");
    EXPECT_FALSE(FileUtils::fileExist(path));
    EXPECT_FALSE(fileExists(path));
    writeFile(path, "");
    EXPECT_TRUE(FileUtils::fileExist(path));
    EXPECT_FALSE(FileUtils::fileExist(temporary.file("no-directory/t.table")));
    EXPECT_FALSE(FileUtils::fileExist(""));
}

TEST_F(RecordFileTest, FileExistClosesItsProbe) {
    const std::string path = temporary.file("t.table");
    writeFile(path, "a\n");
    const int before = dup(STDERR_FILENO);
    ASSERT_GE(before, 0);
    close(before);
    for (int i = 0; i < 10; ++i) {
        EXPECT_TRUE(FileUtils::fileExist(path));
    }
    const int after = dup(STDERR_FILENO);
    close(after);
    EXPECT_EQ(after, before) << "the lowest free descriptor changed";
}

TEST_F(RecordFileTest, FileRemoveDoesNothing) {
    const std::string path = temporary.file("t.table");
    EXPECT_TRUE(FileUtils::fileRemove(path));
    writeFile(path, "a~b\n");
    EXPECT_TRUE(FileUtils::fileRemove(path));
    EXPECT_EQ(readFile(path), "a~b\n");
}

// ---- writing

TEST_F(RecordFileTest, WritesOneLine) {
    const struct {
        Fields fields;
        std::string line;
    } rows[] = {
        {{"a", "b", "c"}, "a~b~c\n"},
        {{"one"}, "one\n"},
        {{}, "\n"},
        {{"NULL", "''", "'abc'", "1.5"}, "NULL~''~'abc'~1.5\n"},
        {{"", "b", ""}, "~b~\n"},
        {{"a~b", "c\nd"}, "a~b~c\nd\n"},
        {{"%s%n", "%"}, "%s%n~%\n"},
        {{std::string("a\0b", 3)}, std::string("a\0b\n", 4)},
        {{std::string(3000, 'x'), "y"}, std::string(3000, 'x') + "~y\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        const Stream stream = streamOf("");
        FileUtils::writeRecordToTableFile(stream.get(), row.fields);
        EXPECT_EQ(contentOf(stream), row.line);
    }
}

TEST_F(RecordFileTest, WritingAlwaysLandsAtTheEnd) {
    const Stream stream = streamOf("first\nsecond\n");
    FileUtils::writeRecordToTableFile(stream.get(), {"c", "d"});
    std::rewind(stream.get());
    FileUtils::writeRecordToTableFile(stream.get(), {"e"});
    Fields fields;
    std::rewind(stream.get());
    EXPECT_TRUE(FileUtils::getNextRecordFromTableFile(stream.get(), fields));
    FileUtils::writeRecordToTableFile(stream.get(), {"f"});
    EXPECT_EQ(contentOf(stream), "first\nsecond\nc~d\ne\nf\n");
}

TEST_F(RecordFileTest, WritingRaisesWhereSeekingFails) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    const Stream reader(fdopen(ends[0], "r"));
    const Stream writer(fdopen(ends[1], "w"));
    EXPECT_EQ(raisedBy([&] { FileUtils::writeRecordToTableFile(writer.get(), {"a"}); }), kSeekError);
    EXPECT_EQ(raisedBy([] { FileUtils::writeRecordToTableFile(nullptr, {"a"}); }), kSeekError);
}

// ---- reading

TEST_F(RecordFileTest, ReadsTheFieldsOfALine) {
    const struct {
        std::string content;
        Rows expected;
    } rows[] = {
        {"", {}},
        {"x~y\n", {{"x", "y"}}},
        {"x~~y\n", {{"x", "y"}}},
        {"~x~~~y~\n", {{"x", "y"}}},
        {"~~~\n", {{}}},
        {"\n", {{}}},
        {"\n\na\n", {{}, {}, {"a"}}},
        {"a b~'c d'\n", {{"a b", "'c d'"}}},
        {"1~'first'\n2~NULL\n", {{"1", "'first'"}, {"2", "NULL"}}},
        {"a\r\n", {{"a\r"}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.content);
        EXPECT_EQ(readAll(row.content), row.expected);
    }
}

TEST_F(RecordFileTest, LastLineWithoutLineFeedLosesItsLastCharacter) {
    const struct {
        std::string content;
        Rows expected;
    } rows[] = {
        {"p~q", {{"p"}}}, {"p~qr", {{"p", "q"}}}, {"a\np~q", {{"a"}, {"p"}}}, {"p", {{}}}, {"~", {{}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.content);
        EXPECT_EQ(readAll(row.content), row.expected);
    }
}

TEST_F(RecordFileTest, LineOver1023BytesIsReadAsTwoRecordsTheFirstCut) {
    const std::string text = longText(3000);
    const struct {
        std::size_t length;  // without the line feed
        Rows expected;
    } rows[] = {
        {1021, {{text.substr(0, 1021)}}},
        {1022, {{text.substr(0, 1022)}}},
        {1023, {{text.substr(0, 1022)}, {}}},
        {1024, {{text.substr(0, 1022)}, {text.substr(1023, 1)}}},
        {2000, {{text.substr(0, 1022)}, {text.substr(1023, 977)}}},
        {2046, {{text.substr(0, 1022)}, {text.substr(1023, 1022)}, {}}},
        {3000, {{text.substr(0, 1022)}, {text.substr(1023, 1022)}, {text.substr(2046, 954)}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.length);
        Rows expected = row.expected;
        expected.push_back({"next", "line"});
        EXPECT_EQ(readAll(text.substr(0, row.length) + "\nnext~line\n"), expected);
    }
}

TEST_F(RecordFileTest, CutOfALongLineMayFallBetweenFields) {
    const std::string field(510, 'f');
    const std::string first = field + "~" + field + "~";  // 1022 bytes
    EXPECT_EQ(readAll(first + "xyz\n"), (Rows{{field, field}, {"yz"}}));
}

TEST_F(RecordFileTest, LineWithANulByteIsReadUpToThatByte) {
    // The last character before the NUL byte is taken for the line feed.
    const struct {
        std::string content;
        Rows expected;
    } rows[] = {
        {std::string("ab\0cd\nef\n", 9), {{"a"}, {"ef"}}},
        {std::string("a~bc\0d~e\nef\n", 12), {{"a", "b"}, {"ef"}}},
        {std::string("\0cd\nef\n", 7), {{}, {"ef"}}},
        {std::string("ab\n\0\nef\n", 8), {{"ab"}, {}, {"ef"}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row.content));
        EXPECT_EQ(readAll(row.content), row.expected);
    }
}

TEST_F(RecordFileTest, EveryWayOfReadingGivesTheSameRecords) {
    // Lines of all lengths around the limit, in files that are longer than any block that is read at once.
    std::mt19937 random(20240607);
    const std::vector<std::size_t> lengths = {0,   1,   2,    7,    62,   63,   64,   65,   100,  190,  958,
                                              959, 960, 1021, 1022, 1023, 1024, 1025, 2045, 2046, 2047, 4100};
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE(round);
        const std::string characters(round % 3 == 0 ? "ab~~\0'" : "ab~~~'", 6);
        std::string content;
        const std::size_t lines = random() % 200;
        for (std::size_t i = 0; i < lines; ++i) {
            for (std::size_t length = lengths[random() % lengths.size()]; length > 0; --length) {
                const std::size_t choice = random() % 200;
                content += choice < characters.size() ? characters[choice] : 'x';
            }
            content += i + 1 < lines || round % 2 == 0 ? "\n" : "";
        }
        const Rows expected = readAll(content);

        const auto collect = [&content](RecordReader reader) {
            Rows rows;
            std::string read;
            while (reader.next()) {
                rows.emplace_back(reader.fields().begin(), reader.fields().end());
                read += reader.line();
                EXPECT_EQ(reader.stored(), FileUtils::recordLine(rows.back()));
            }
            EXPECT_EQ(read, content);
            return rows;
        };
        const Stream stream = streamOf(content);
        writeFile(temporary.file("t.table"), content);
        const File file = File::openExisting(temporary.file("t.table"), File::Access::read);
        EXPECT_EQ(collect(RecordReader(file)), expected);
        EXPECT_EQ(collect(RecordReader(content)), expected);

        std::rewind(stream.get());
        Rows all;
        const int count = FileUtils::readAllRecordFromTableFile(stream.get(), all);
        ASSERT_EQ(static_cast<std::size_t>(count), expected.size());
        all.resize(expected.size());
        EXPECT_EQ(all, expected);
    }
}

TEST_F(RecordFileTest, FieldEndsAreFoundInEveryWindow) {
    std::mt19937 random(20240608);
    // Neighbours in the code table of those that end a field, and their like with the highest bit set.
    const std::string characters("~\n\0}\x7f\t\v\x01\xfe\x8a\x80x", 12);
    for (int round = 0; round < 500; ++round) {
        std::string window;
        std::uint64_t expected = 0;
        for (int i = 0; i < FieldEnds::kWindow; ++i) {
            window += characters[random() % characters.size()];
            const bool ends = window.back() == '~' || window.back() == '\n' || window.back() == '\0';
            expected |= static_cast<std::uint64_t>(ends ? 1 : 0) << i;
        }
        EXPECT_EQ(FieldEnds::inWindow(window.data()), expected);
        EXPECT_EQ(FieldEnds::inWindowPortably(window.data()), expected);
    }
}

TEST_F(RecordFileTest, EndOfFileLeavesTheFieldsUnchanged) {
    const Stream stream = streamOf("");
    Fields fields = kBefore;
    EXPECT_FALSE(FileUtils::getNextRecordFromTableFile(stream.get(), fields));
    EXPECT_EQ(fields, kBefore);
}

TEST_F(RecordFileTest, ReadReplacesTheFields) {
    const Stream stream = streamOf("a\n");
    Fields fields = kBefore;
    EXPECT_TRUE(FileUtils::getNextRecordFromTableFile(stream.get(), fields));
    EXPECT_EQ(fields, (Fields{"a"}));
}

TEST_F(RecordFileTest, ReadThatFailsRaisesAndLeavesTheFieldsUnchanged) {
    const std::string path = temporary.file("write-only");
    const Stream writeOnly = openStream(path, "w");
    const Stream directory(FileUtils::openFile(temporary.path(), "r"));
    for (FILE* stream : {writeOnly.get(), directory.get(), static_cast<FILE*>(nullptr)}) {
        Fields fields = kBefore;
        EXPECT_EQ(raisedBy([&] { FileUtils::getNextRecordFromTableFile(stream, fields); }), kReadError);
        EXPECT_EQ(fields, kBefore);
        Rows rows;
        EXPECT_EQ(raisedBy([&] { FileUtils::readAllRecordFromTableFile(stream, rows); }), kReadError);
    }
}

TEST_F(RecordFileTest, ReadAllGrowsTheRowsInStepsOfFive) {
    const struct {
        int records;
        std::size_t size;
    } rows[] = {{0, 5}, {1, 5}, {4, 5}, {5, 10}, {7, 10}, {9, 10}, {10, 15}, {101, 105}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.records);
        std::string content = "id~name\n1~4\n\n";
        Rows expected;
        for (int i = 0; i < row.records; ++i) {
            content += std::to_string(i) + "~'x'\n";
            expected.push_back({std::to_string(i), "'x'"});
        }
        expected.resize(row.size);
        const Stream stream = streamOf(content);
        Fields metadata;
        for (int line = 0; line < 3; ++line) {
            ASSERT_TRUE(FileUtils::getNextRecordFromTableFile(stream.get(), metadata));
        }
        Rows read;
        EXPECT_EQ(FileUtils::readAllRecordFromTableFile(stream.get(), read), row.records);
        EXPECT_EQ(read, expected);
    }
}

TEST_F(RecordFileTest, ReadAllCountsTheSecondPartOfALongLine) {
    const Stream stream = streamOf(std::string(1500, 'x') + "\na\n");
    Rows read;
    EXPECT_EQ(FileUtils::readAllRecordFromTableFile(stream.get(), read), 3);
    EXPECT_EQ(read, (Rows{{std::string(1022, 'x')}, {std::string(477, 'x')}, {"a"}, {}, {}}));
}

TEST_F(RecordFileTest, ReadAllDropsTheRowsThatTheVectorHeldBeyondFive) {
    const Stream stream = streamOf("a\nb\n");
    Rows read(20, kBefore);
    EXPECT_EQ(FileUtils::readAllRecordFromTableFile(stream.get(), read), 2);
    ASSERT_EQ(read.size(), 5U);
    EXPECT_EQ(read[0], (Fields{"a"}));
    EXPECT_EQ(read[1], (Fields{"b"}));
}

// ---- copying

TEST_F(RecordFileTest, CopyIsExactToTheByte) {
    const std::string contents[] = {
        "",
        "\n",
        "a~b\n",
        "a~b",
        "id~name\n257~260\nid\n1~'first'\n",
        "a\r\n\n\n%s%n\n\xC3\xA4\xFF\n",
        std::string(2000, 'x') + "\n",
        longText(1021),
        longText(1022),
        longText(1023),
        longText(1022) + "\n",
        longText(1023) + "\nb\n" + longText(5000),
    };
    for (const std::string& content : contents) {
        SCOPED_TRACE(content.substr(0, 40) + ", " + std::to_string(content.size()) + " bytes");
        const Stream source = streamOf(content);
        const Stream destination = streamOf("");
        EXPECT_NE(FileUtils::copyWholeFile(destination.get(), source.get()), 0);
        EXPECT_EQ(contentOf(destination), content);
        EXPECT_EQ(contentOf(source), content);
    }
}

TEST_F(RecordFileTest, CopyRewindsBothStreams) {
    const Stream source = streamOf("abc\ndef\n");
    const Stream destination = streamOf("0123456789");
    ASSERT_EQ(std::fseek(source.get(), 0, SEEK_END), 0);
    ASSERT_EQ(std::fseek(destination.get(), 0, SEEK_END), 0);
    EXPECT_NE(FileUtils::copyWholeFile(destination.get(), source.get()), 0);
    EXPECT_EQ(contentOf(destination), "abc\ndef\n89");
}

TEST_F(RecordFileTest, CopyTakesALineWithANulByteUpToThatByte) {
    const Stream source = streamOf(std::string("ab\0cd\nef\n", 9));
    const Stream destination = streamOf("");
    EXPECT_NE(FileUtils::copyWholeFile(destination.get(), source.get()), 0);
    EXPECT_EQ(contentOf(destination), "abef\n");
}

TEST_F(RecordFileTest, CopyLogsTheFailingReadAtTheEnd) {
    const struct {
        std::string content;
        int lines;
    } rows[] = {
        {"", 1},
        {"a\n", 1},
        {"a~b\nc~d\ne~f\n", 1},
        {std::string(5000, 'x') + "\n", 1},
        {std::string(1022, 'x'), 1},  // a whole piece: its end is not yet seen to be the file's
        {"a", 0},                     // the read of the last line meets the end of the file
        {"a\nb", 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.content.substr(0, 40));
        const Stream source = streamOf(row.content);
        const Stream destination = streamOf("");
        log.clear();
        FileUtils::copyWholeFile(destination.get(), source.get());
        EXPECT_EQ(log.texts(-2), Fields(static_cast<std::size_t>(row.lines), "line is NULL"));
    }
}

TEST_F(RecordFileTest, CopyOfWhatCannotBeReadRaises) {
    const Stream destination = streamOf("");
    const Stream writeOnly = openStream(temporary.file("write-only"), "w");
    const Stream directory(FileUtils::openFile(temporary.path(), "r"));
    for (FILE* source : {writeOnly.get(), directory.get()}) {
        EXPECT_EQ(raisedText([&] { FileUtils::copyWholeFile(destination.get(), source); }),
                  "DB Error: Error occurred during file reading");
    }
    EXPECT_EQ(contentOf(destination), "");
}

TEST_F(RecordFileTest, CopyWithoutAStreamRaises) {
    const Stream stream = streamOf("a\n");
    EXPECT_THROW(FileUtils::copyWholeFile(nullptr, stream.get()), DatabaseException);
    EXPECT_THROW(FileUtils::copyWholeFile(stream.get(), nullptr), DatabaseException);
    EXPECT_THROW(FileUtils::copyWholeFile(nullptr, nullptr), DatabaseException);
    EXPECT_EQ(contentOf(stream), "a\n");
}

// ---- log

TEST_F(RecordFileTest, EverythingIsLoggedUnderOneTagAndTheEnginesModule) {
    const std::string path = temporary.file("t.table");
    FILE* stream = FileUtils::openFile(path, "w+");
    FileUtils::writeRecordToTableFile(stream, {"%s", "%n"});
    std::rewind(stream);
    Rows rows;
    EXPECT_EQ(FileUtils::readAllRecordFromTableFile(stream, rows), 1);
    const Stream copy = streamOf("");
    FileUtils::copyWholeFile(copy.get(), stream);
    FileUtils::closeFile(stream);
    EXPECT_EQ(contentOf(copy), "%s~%n\n");
    for (const LoggedMessage& message : log.messages()) {
        SCOPED_TRACE(message.text);
        EXPECT_EQ(message.module, 24);
        EXPECT_EQ(message.tag, "FileResultTable");
        EXPECT_EQ(message.level, message.text == "line is NULL" ? -2 : 1);
    }
    EXPECT_EQ(log.count("line is NULL"), 1);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
