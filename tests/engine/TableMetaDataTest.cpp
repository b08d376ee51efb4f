#include "TableMetaData.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

#include "EngineTestSupport.h"
#include "FileUtils.h"
#include "TestSupport.h"
#include "Tokenizer.h"
#include "Utils.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::FileUtils;
using Core::Database::Filedb::TableMetaData;
using Words = std::vector<std::string>;

static_assert(std::has_virtual_destructor_v<TableMetaData>);

Words wordsOf(const std::string& text) {
    return Tokenizer(text, " \t\n\v\f\r").split(65000);
}

Words itemsOf(const std::string& definitions) {
    Words items;
    Core::Database::Filedb::Utils::getSplitVector(
        definitions, 0, static_cast<unsigned int>(definitions.size()) - 1, items, ",");
    return items;
}

class TableMetaDataTest : public ::testing::Test {
protected:
    bool load(const std::string& content) {
        const Stream stream = streamOf(content);
        return metaData.readTableMetaData(stream.get());
    }

    /// Adds one column as CREATE TABLE does.
    void define(const std::string& definition) {
        Words words = wordsOf(definition);
        std::string name = words.at(0);
        metaData.checkColumnConstraint(words, name);
        metaData.appendColumnName(name);
    }

    std::string written() {
        const Stream stream = streamOf("");
        metaData.writeTableMetaData(stream.get());
        return contentOf(stream);
    }

    /// What a value becomes in a column with this flag number, or what is raised.
    static std::string stored(const std::string& flag, const std::string& value) {
        TableMetaData one(nullptr);
        const Stream stream = streamOf("c\n" + flag + "\n\n");
        one.readTableMetaData(stream.get());
        Words values = {value};
        const std::string raised = raisedBy([&] { one.checkColumnNullnessTypeCor(values, 0); });
        return raised == "nothing was raised" ? values.at(0) : raised;
    }

    LogCapture log;
    TableMetaData metaData{nullptr};
};

// ---- the three lines

TEST_F(TableMetaDataTest, StartsEmpty) {
    EXPECT_EQ(metaData.columnNames(), Words());
    EXPECT_EQ(metaData.columnFlags(), Words());
    EXPECT_EQ(metaData.primaryKeyColumns(), Words());
    EXPECT_FALSE(metaData.isAliasPrimaryKey());
    EXPECT_EQ(written(), "\n\n\n");
}

TEST_F(TableMetaDataTest, ReadsThreeLines) {
    EXPECT_TRUE(load("id~name\n257~260\nid\n1~'first'\n"));
    EXPECT_EQ(metaData.columnNames(), (Words{"id", "name"}));
    EXPECT_EQ(metaData.columnFlags(), (Words{"257", "260"}));
    EXPECT_EQ(metaData.primaryKeyColumns(), (Words{"id"}));
}

TEST_F(TableMetaDataTest, ReadsFromTheStreamsPositionAndStopsBehindTheThirdLine) {
    const Stream stream = streamOf("other line\nid~name\n1~4\n\n1~'first'\n");
    Words record;
    ASSERT_TRUE(FileUtils::getNextRecordFromTableFile(stream.get(), record));
    EXPECT_FALSE(metaData.readTableMetaData(stream.get()));
    EXPECT_EQ(metaData.columnNames(), (Words{"id", "name"}));
    EXPECT_EQ(metaData.columnFlags(), (Words{"1", "4"}));
    EXPECT_EQ(metaData.primaryKeyColumns(), Words());
    ASSERT_TRUE(FileUtils::getNextRecordFromTableFile(stream.get(), record));
    EXPECT_EQ(record, (Words{"1", "'first'"}));
}

TEST_F(TableMetaDataTest, AliasKeyIsASingleIntegerColumn) {
    const struct {
        std::string content;
        bool alias;
    } rows[] = {
        {"id~name\n257~260\nid\n", true},
        {"name~id\n260~257\nid\n", true},
        {"id~name\n1~4\n\n", false},
        {"a~b\n257~257\na~b\n", false},
        {"a~b\n260~1\na\n", false},
        {"a\n258\na\n", false},
        {"a\n1\na\n", true},
        {"a\n3\na\n", true},
        {"a\n256\na\n", false},
        {"", false},
        {"a~b\n", false},
        {"a~b\n257~4\n", false},
        {"\n\n\n", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.content);
        TableMetaData fresh(nullptr);
        const Stream stream = streamOf(row.content);
        EXPECT_EQ(fresh.readTableMetaData(stream.get()), row.alias);
        EXPECT_EQ(fresh.isAliasPrimaryKey(), row.alias);
    }
}

TEST_F(TableMetaDataTest, KeyThatIsNoColumnIsRefused) {
    EXPECT_EQ(raisedBy([&] { load("a\n257\nb\n"); }),
              "getColumnNameIndex: Column b not found in Table Definition");
    EXPECT_EQ(raisedBy([&] { metaData.isAliasPrimaryKey(); }),
              "getColumnNameIndex: Column b not found in Table Definition");
}

TEST_F(TableMetaDataTest, LinesThatAreMissingLeaveWhatWasThere) {
    load("id~name\n257~260\nid\n");
    EXPECT_TRUE(load(""));
    EXPECT_EQ(written(), "id~name\n257~260\nid\n");
    EXPECT_FALSE(load("id~x\n4~1\n"));
    EXPECT_EQ(written(), "id~x\n4~1\nid\n");
}

TEST_F(TableMetaDataTest, ReadErrorIsRaised) {
    const TemporaryDirectory directory;
    const Stream stream(FileUtils::openFile(directory.path(), "r"));
    EXPECT_EQ(raisedBy([&] { metaData.readTableMetaData(stream.get()); }),
              "getNextRecordFromTableFile: DB Error: Error occurred during file reading");
    EXPECT_EQ(raisedBy([&] { metaData.readTableMetaData(nullptr); }),
              "getNextRecordFromTableFile: DB Error: Error occurred during file reading");
}

TEST_F(TableMetaDataTest, WritesThreeLines) {
    define("id INTEGER PRIMARY KEY");
    define("name TEXT NOT NULL");
    define("price REAL");
    EXPECT_EQ(written(), "id~name~price\n257~260~2\nid\n");
}

TEST_F(TableMetaDataTest, WritesAnEmptyLineWithoutAKey) {
    define("a TEXT");
    define("b INTEGER");
    EXPECT_EQ(written(), "a~b\n4~1\n\n");
}

TEST_F(TableMetaDataTest, WritesAtTheEndOfTheStream) {
    define("a TEXT");
    const Stream stream = streamOf("first line\n");
    metaData.writeTableMetaData(stream.get());
    EXPECT_EQ(contentOf(stream), "first line\na\n4\n\n");
    EXPECT_EQ(raisedBy([&] { metaData.writeTableMetaData(nullptr); }),
              "writeRecordToTableFile: File Error: File Seek error");
}

TEST_F(TableMetaDataTest, SurvivesATripThroughATableFile) {
    const TemporaryDirectory directory;
    const std::string path = directory.file("t.table");
    define("id INTEGER");
    define("name TEXT NOT NULL");
    define("price REAL");
    Words items = {"PRIMARY KEY(name", "id)"};
    Words words = wordsOf(items[0]);
    unsigned int index = 0;
    ASSERT_TRUE(metaData.checkTableConstraint(words, items, index));
    FILE* stream = FileUtils::openFile(path, "w");
    metaData.writeTableMetaData(stream);
    FileUtils::writeRecordToTableFile(stream, {"1", "'first'", "2.5"});
    FileUtils::closeFile(stream);
    EXPECT_EQ(readFile(path), "id~name~price\n257~260~2\nname~id\n1~'first'~2.5\n");

    TableMetaData again(nullptr);
    const Stream reader(FileUtils::openFile(path, "r"));
    EXPECT_FALSE(again.readTableMetaData(reader.get()));
    EXPECT_EQ(again.columnNames(), metaData.columnNames());
    EXPECT_EQ(again.columnFlags(), metaData.columnFlags());
    EXPECT_EQ(again.primaryKeyColumns(), metaData.primaryKeyColumns());
}

// ---- column definitions

TEST_F(TableMetaDataTest, ColumnDefinitionsBecomeFlags) {
    const struct {
        std::string definition, flag;
        Words key;
    } rows[] = {
        {"c INTEGER", "1", {}},
        {"c REAL", "2", {}},
        {"c TEXT", "4", {}},
        {"c INTEGER NOT NULL", "257", {}},
        {"c REAL NOT NULL", "258", {}},
        {"c TEXT NOT NULL", "260", {}},
        {"c INTEGER PRIMARY KEY", "257", {"c"}},
        {"c REAL PRIMARY KEY", "258", {"c"}},
        {"c TEXT PRIMARY KEY", "260", {"c"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.definition);
        TableMetaData fresh(nullptr);
        Words words = wordsOf(row.definition);
        std::string name = "c";
        fresh.checkColumnConstraint(words, name);
        EXPECT_EQ(fresh.columnFlags(), (Words{row.flag}));
        EXPECT_EQ(fresh.primaryKeyColumns(), row.key);
        EXPECT_EQ(fresh.columnNames(), Words());
    }
}

TEST_F(TableMetaDataTest, ColumnDefinitionsThatAreRefused) {
    const std::string type = "checkColumnConstraint: Un-Supported Data Type for column named";
    const std::string option = "checkColumnConstraint: Un-Supported option for column named";
    const struct {
        std::string definition, raised;
    } rows[] = {
        {"c text", type},
        {"c Integer", type},
        {"c VARCHAR", type},
        {"c INTEGERS", type},
        {"c INT", type},
        {"c TEXT(10)", type},
        {"c NOT NULL", type},
        {"c blob UNIQUE", type},
        {"c", type},
        {"", type},
        {"c TEXT UNIQUE", option},
        {"c TEXT NOT", option},
        {"c TEXT PRIMARY", option},
        {"c TEXT not null", option},
        {"c TEXT NOT null", option},
        {"c INTEGER primary key", option},
        {"c INTEGER PRIMARY NULL", option},
        {"c INTEGER NOT KEY", option},
        {"c INTEGER KEY PRIMARY", option},
        {"c TEXT DEFAULT 1", option},
        {"c TEXT NOT NULL DEFAULT 1", option},
        {"c INTEGER PRIMARY KEY AUTOINCREMENT", option},
        {"c INTEGER NOT NULL PRIMARY KEY", option},
        {"c INTEGER PRIMARY KEY NOT NULL", option},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.definition);
        TableMetaData fresh(nullptr);
        Words words = wordsOf(row.definition);
        std::string name = "named";
        EXPECT_EQ(raisedBy([&] { fresh.checkColumnConstraint(words, name); }), row.raised);
        EXPECT_EQ(fresh.columnFlags(), Words());
        EXPECT_EQ(fresh.primaryKeyColumns(), Words());
    }
}

TEST_F(TableMetaDataTest, SecondColumnKeyIsRefused) {
    define("a INTEGER PRIMARY KEY");
    EXPECT_EQ(raisedBy([&] { define("b TEXT PRIMARY KEY"); }),
              "checkColumnConstraint: More than one Primary Key for column Definition");
    EXPECT_EQ(written(), "a\n257\na\n");
}

TEST_F(TableMetaDataTest, ColumnKeyAfterATableKeyIsRefused) {
    define("a INTEGER");
    Words items = {"PRIMARY KEY(a)"};
    Words words = wordsOf(items[0]);
    unsigned int index = 0;
    ASSERT_TRUE(metaData.checkTableConstraint(words, items, index));
    EXPECT_EQ(raisedBy([&] { define("b TEXT PRIMARY KEY"); }),
              "checkColumnConstraint: More than one Primary Key for column Definition");
}

TEST_F(TableMetaDataTest, KeyDefinitionMakesAnAliasOnlyOfASingleInteger) {
    define("id INTEGER PRIMARY KEY");
    EXPECT_TRUE(metaData.isAliasPrimaryKey());
    TableMetaData text(nullptr);
    Words words = wordsOf("id TEXT PRIMARY KEY");
    std::string name = "id";
    text.checkColumnConstraint(words, name);
    text.appendColumnName(name);
    EXPECT_FALSE(text.isAliasPrimaryKey());
}

// ---- table constraints

class TableConstraintTest : public TableMetaDataTest {
protected:
    void SetUp() override { load("a~b~c\n1~4~258\n\n"); }

    /// Hands over the piece at `index` as the caller of the whole list does.
    bool check(const std::string& definitions, unsigned int& index) {
        Words items = itemsOf(definitions);
        Words words = wordsOf(items.at(index));
        return metaData.checkTableConstraint(words, items, index);
    }
};

TEST_F(TableConstraintTest, KeyIsRecordedAndItsPiecesAreConsumed) {
    const struct {
        std::string definitions;
        unsigned int index, indexAfterwards;
        Words key, flags;
    } rows[] = {
        {"PRIMARY KEY(a)", 0, 1, {"a"}, {"257", "4", "258"}},
        {"PRIMARY KEY(a, b)", 0, 2, {"a", "b"}, {"257", "260", "258"}},
        {"PRIMARY KEY(c,b,a)", 0, 3, {"c", "b", "a"}, {"257", "260", "258"}},
        {" PRIMARY\tKEY(a , b ) ", 0, 2, {"a", "b"}, {"257", "260", "258"}},
        {"\nPRIMARY \n KEY(a,\n\tb\n)\n", 0, 2, {"a", "b"}, {"257", "260", "258"}},
        {"a INTEGER, b TEXT, PRIMARY KEY(b)", 2, 3, {"b"}, {"1", "260", "258"}},
        {"a INTEGER, PRIMARY KEY(a, b), c REAL", 1, 3, {"a", "b"}, {"257", "260", "258"}},
        {"PRIMARY KEY(a), b TEXT)", 0, 1, {"a"}, {"257", "4", "258"}},
        {"PRIMARY KEY(a,a)", 0, 2, {"a", "a"}, {"257", "4", "258"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.definitions);
        load("a~b~c\n1~4~258\n\n");
        unsigned int index = row.index;
        EXPECT_TRUE(check(row.definitions, index));
        EXPECT_EQ(index, row.indexAfterwards);
        EXPECT_EQ(metaData.primaryKeyColumns(), row.key);
        EXPECT_EQ(metaData.columnFlags(), row.flags);
        EXPECT_EQ(metaData.columnNames(), (Words{"a", "b", "c"}));
    }
}

TEST_F(TableConstraintTest, OtherPiecesAreLeftToTheColumnPath) {
    for (const char* definitions :
         {"d INTEGER", "PRIMARY KEY (a)", "PRIMARY KEY( a)", "PRIMARY KEY(a )", "PRIMARY", "PRIMARY K(a)",
          "PRIMARY key(a)", "primary KEY(a)", "PRIMARYKEY(a)", "CHECKED INTEGER", "FOREIGNER TEXT",
          "check(a)", "foreign KEY(a)", "UNIQUE(a)", "x CHECK(a)", " "}) {
        SCOPED_TRACE(definitions);
        unsigned int index = 0;
        EXPECT_FALSE(check(definitions, index));
        EXPECT_EQ(index, 0U);
    }
    EXPECT_EQ(written(), "a~b~c\n1~4~258\n\n");
}

TEST_F(TableConstraintTest, MalformedKeysAreRefused) {
    const std::string bracket = "checkTableConstraint: No closing bracket for Primary Key of Table";
    const std::string wrong = "checkTableConstraint: Primary Key Constraint is wrong for Table";
    const std::string start = "validateColumnName: Syntax Error: Start Char is invalid for Column Name: ";
    const struct {
        std::string definitions, raised;
    } rows[] = {
        {"PRIMARY KEY(a", bracket},
        {"PRIMARY KEY(a, b", bracket},
        {"PRIMARY KEY", bracket},
        {"PRIMARY KEY, (a)", wrong},
        {"PRIMARY KEYS(a)", wrong},
        {"PRIMARY KEYa)", wrong},
        {"PRIMARY KEY)", wrong},
        {"PRIMARY KEY)a(", wrong},
        {"PRIMARY KEY(a)x", wrong},
        {"PRIMARY KEY(a, b) c", wrong},
        {"PRIMARY KEY()", start},
        {"PRIMARY KEY(a,)", start},
        {"PRIMARY KEY(a, ,b)", start + " "},
        {"PRIMARY KEY(1a)", start + "1a"},
        {"PRIMARY KEY((a))", start + "(a)"},
        {"PRIMARY KEY(a, b-1)", "validateColumnName: Syntax Error: '-' Char is invalid for Column Name  b-1"},
        {"PRIMARY KEY(a)b)", "validateColumnName: Syntax Error: ')' Char is invalid for Column Name a)b"},
        {"PRIMARY KEY(d)", "getColumnNameIndex: Column d not found in Table Definition"},
        {"PRIMARY KEY(a, d)", "getColumnNameIndex: Column d not found in Table Definition"},
        {"PRIMARY KEY(A)", "getColumnNameIndex: Column A not found in Table Definition"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.definitions);
        TableMetaData fresh(nullptr);
        const Stream stream = streamOf("a~b~c\n1~4~2\n\n");
        fresh.readTableMetaData(stream.get());
        Words items = itemsOf(row.definitions);
        Words words = wordsOf(items.at(0));
        unsigned int index = 0;
        EXPECT_EQ(raisedBy([&] { fresh.checkTableConstraint(words, items, index); }), row.raised);
    }
}

TEST_F(TableConstraintTest, ColumnNamedLikeTheKeywordMayBeAKey) {
    load("KEY~b\n4~1\n\n");
    unsigned int index = 0;
    EXPECT_TRUE(check("PRIMARY KEY(KEY)", index));
    EXPECT_EQ(written(), "KEY~b\n260~1\nKEY\n");
}

TEST_F(TableConstraintTest, SecondKeyIsRefused) {
    for (const char* second : {"PRIMARY KEY(b)", "PRIMARY KEY(b", "PRIMARY KEY"}) {
        SCOPED_TRACE(second);
        load("a~b~c\n257~4~2\na\n");
        unsigned int index = 0;
        EXPECT_EQ(raisedBy([&] { check(second, index); }),
                  "checkTableConstraint: More than one Primary Key for Table");
        EXPECT_EQ(metaData.primaryKeyColumns(), (Words{"a"}));
    }
}

TEST_F(TableConstraintTest, ForeignAndCheckAreNotSupported) {
    for (const char* definition :
         {"FOREIGN KEY(x) REFERENCES t(y)", "FOREIGN KEY (x) REFERENCES t(y)", "FOREIGN", "FOREIGN(x)",
          "CHECK(x > 0)", "CHECK (x > 0)", "CHECK", "CHECK( x > 0 )", " CHECK(x>0)"}) {
        SCOPED_TRACE(definition);
        unsigned int index = 0;
        EXPECT_EQ(raisedBy([&] { check(definition, index); }),
                  "checkTableConstraint: Un-Supported Constraint for Table");
    }
}

TEST_F(TableConstraintTest, KeyColumnWithoutAFlagIsRefused) {
    load("a~b\n1\n\n");
    unsigned int index = 0;
    EXPECT_EQ(raisedText([&] { check("PRIMARY KEY(b)", index); }), kShortRecord);
}

// ---- values

TEST_F(TableMetaDataTest, ValuesOfAnIntegerColumn) {
    const std::string mismatch = "checkColumnNullnessTypeCor: DB Error: data type mismatch for Integer";
    const struct {
        std::string value, stored;
    } rows[] = {
        {"5", "5"},
        {"0", "0"},
        {"'7'", "7"},
        {"'42'", "42"},
        {"007", "7"},
        {"+5", "5"},
        {"-1", "18446744073709551615"},
        {"'-1'", "18446744073709551615"},
        {"1.5", "1"},
        {"1.", "1"},
        {".5", "0"},
        {"", "0"},
        {"''", "0"},
        {"'", "0"},
        {"+", "0"},
        {"-", "0"},
        {".", "0"},
        {"18446744073709551615", "18446744073709551615"},
        {"18446744073709551616", "18446744073709551615"},
        {"NULL", "NULL"},
        {"'x'", mismatch},
        {"abc", mismatch},
        {"1e5", mismatch},
        {" 1", mismatch},
        {"' 1'", mismatch},
        {"1 ", mismatch},
        {"1.2.3", mismatch},
        {"--1", mismatch},
        {"0x10", mismatch},
        {"null", mismatch},
        {"'NULL'", mismatch},
        {"''7''", mismatch},
        {"'7", mismatch},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.value);
        EXPECT_EQ(stored("1", row.value), row.stored);
    }
}

TEST_F(TableMetaDataTest, ValuesOfARealColumn) {
    const std::string mismatch = "checkColumnNullnessTypeCor: DB Error: data type mismatch for float";
    const struct {
        std::string value, stored;
    } rows[] = {
        {"2.5", "2.5"},
        {"1.50", "1.5"},
        {"'2.5'", "2.5"},
        {"3.14159265", "3.14159"},
        {"1234567", "1.23457e+06"},
        {"999999", "999999"},
        {"100000", "100000"},
        {"1000000", "1e+06"},
        {"0.0001", "0.0001"},
        {"0.00001", "1e-05"},
        {"16777217", "1.67772e+07"},
        {"0.1", "0.1"},
        {"-0.5", "-0.5"},
        {"+7", "7"},
        {"1.", "1"},
        {".5", "0.5"},
        {"", "0"},
        {"''", "0"},
        {".", "0"},
        {"1" + std::string(50, '0'), "inf"},
        {"NULL", "NULL"},
        {"abc", mismatch},
        {"'x'", mismatch},
        {"1e5", mismatch},
        {"1,5", mismatch},
        {" 1.5", mismatch},
        {"1.2.3", mismatch},
        {"inf", mismatch},
        {"nan", mismatch},
        {"null", mismatch},
        {"'NULL'", mismatch},
        {"''2.5''", mismatch},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.value);
        EXPECT_EQ(stored("2", row.value), row.stored);
    }
}

TEST_F(TableMetaDataTest, ValuesOfATextColumn) {
    const struct {
        std::string value, stored;
    } rows[] = {
        {"5", "'5'"},         {"abc", "'abc'"},   {"'abc'", "'abc'"},   {"", "''"},       {"''", "''"},
        {"'", "'"},           {"it's", "'it's'"}, {"'NULL'", "'NULL'"}, {"NULL", "NULL"}, {"null", "'null'"},
        {"NULL ", "'NULL '"}, {"'ab", "''ab'"},   {" x ", "' x '"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.value);
        EXPECT_EQ(stored("4", row.value), row.stored);
    }
}

TEST_F(TableMetaDataTest, NullIsRefusedWhereItIsNotAllowed) {
    const std::string refused = "checkColumnNullnessTypeCor: DB Error: NULL Value is not allowed";
    for (const char* flag : {"256", "257", "258", "260"}) {
        SCOPED_TRACE(flag);
        EXPECT_EQ(stored(flag, "NULL"), refused);
    }
    for (const char* flag : {"1", "2", "4"}) {
        SCOPED_TRACE(flag);
        EXPECT_EQ(stored(flag, "NULL"), "NULL");
    }
}

TEST_F(TableMetaDataTest, OtherValuesPassAConstraintAsTheyPassTheType) {
    const struct {
        std::string flag, value, stored;
    } rows[] = {
        {"257", "'7'", "7"},
        {"258", "1.50", "1.5"},
        {"260", "5", "'5'"},
        {"260", "'NULL'", "'NULL'"},
        {"260", "''", "''"},
        {"257", "x", "checkColumnNullnessTypeCor: DB Error: data type mismatch for Integer"},
        {"258", "x", "checkColumnNullnessTypeCor: DB Error: data type mismatch for float"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.flag + " " + row.value);
        EXPECT_EQ(stored(row.flag, row.value), row.stored);
    }
}

TEST_F(TableMetaDataTest, RealWinsOverTheOtherTypesAndTextIsTheRest) {
    const struct {
        std::string flag, stored;
    } rows[] = {{"3", "1.5"},    {"6", "1.5"},    {"7", "1.5"},     {"5", "1"},
                {"0", "'1.50'"}, {"8", "'1.50'"}, {"256", "'1.50'"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.flag);
        EXPECT_EQ(stored(row.flag, "1.50"), row.stored);
    }
}

TEST_F(TableMetaDataTest, OnlyTheNamedColumnIsRewritten) {
    load("a~b~c\n1~2~4\n\n");
    Words values = {"'1'", "2.50", "x"};
    metaData.checkColumnNullnessTypeCor(values, 1);
    EXPECT_EQ(values, (Words{"'1'", "2.5", "x"}));
    metaData.checkColumnNullnessTypeCor(values, 2);
    EXPECT_EQ(values, (Words{"'1'", "2.5", "'x'"}));
    metaData.checkColumnNullnessTypeCor(values, 0);
    EXPECT_EQ(values, (Words{"1", "2.5", "'x'"}));
}

TEST_F(TableMetaDataTest, RefusedValueStaysAsItWas) {
    load("a~b\n1~258\n\n");
    Words values = {"'x'", "NULL"};
    EXPECT_NE(raisedBy([&] { metaData.checkColumnNullnessTypeCor(values, 0); }), "nothing was raised");
    EXPECT_NE(raisedBy([&] { metaData.checkColumnNullnessTypeCor(values, 1); }), "nothing was raised");
    EXPECT_EQ(values[1], "NULL");
}

TEST_F(TableMetaDataTest, NumbersAreTheSameInEveryLocale) {
    const CommaLocale locale;
    EXPECT_EQ(stored("1", "1234567"), "1234567");
    EXPECT_EQ(stored("2", "1234.5"), "1234.5");
    EXPECT_EQ(stored("2", "1234567"), "1.23457e+06");
    define("id INTEGER PRIMARY KEY");
    define("b TEXT");
    define("c REAL NOT NULL");
    EXPECT_EQ(written(), "id~b~c\n257~4~258\nid\n");
    load("id~b\n1~4\n\n");
    Words items = {"PRIMARY KEY(b)"};
    Words words = wordsOf(items[0]);
    unsigned int index = 0;
    EXPECT_TRUE(metaData.checkTableConstraint(words, items, index));
    EXPECT_EQ(written(), "id~b\n1~260\nb\n");
}

// ---- metadata lines of unequal length

TEST_F(TableMetaDataTest, MissingFlagIsAnErrorOnlyWhenItIsNeeded) {
    EXPECT_FALSE(load("a~b~c\n1~4\n\n"));
    Words values = {"1", "x", "y"};
    metaData.checkColumnNullnessTypeCor(values, 1);
    EXPECT_EQ(values, (Words{"1", "'x'", "y"}));
    EXPECT_EQ(raisedText([&] { metaData.checkColumnNullnessTypeCor(values, 2); }), kShortRecord);
}

TEST_F(TableMetaDataTest, MissingFlagOfAKeyIsAnErrorOfReading) {
    EXPECT_EQ(raisedText([&] { load("a~b\n257\nb\n"); }), kShortRecord);
    EXPECT_EQ(raisedText([&] { metaData.isAliasPrimaryKey(); }), kShortRecord);
}

TEST_F(TableMetaDataTest, MissingValueIsAnError) {
    load("a~b\n1~4\n\n");
    Words values = {"1"};
    EXPECT_EQ(raisedText([&] { metaData.checkColumnNullnessTypeCor(values, 1); }), kShortRecord);
}

TEST_F(TableMetaDataTest, FlagsWithoutAColumnAreCarriedAlong) {
    EXPECT_TRUE(load("id\n257~4~2\nid\n"));
    EXPECT_EQ(written(), "id\n257~4~2\nid\n");
}

}  // namespace
}  // namespace Kalt::Vemo::Test
