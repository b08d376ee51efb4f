#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <regex>
#include <set>

#include "BracketedCondition.h"
#include "DatabaseException.h"
#include "SqlSamples.h"
#include "VEMOFileSubscriptionDB.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::DatabaseException;
using Core::Database::IResultTable;
using Notification::ISubscriptionDB;
using Notification::VEMOFileSubscriptionDB;

/// The kinds of blocks that show no sample. Sessions of filedb are run by the test of its samples.
const std::set<std::string> kPictures{"abnf", "console", "picture"};

/// The headings of the tables of sql.md that explain something and show no sample.
const std::set<std::string> kExplanations{
    "Outcome | Means",
    "Statement | Through | Form",
    "Form | For | Becomes",
    "Type | Accepts | Stored as",
    "Operand | Is",
    "Operators | Precedence | Meaning",
    "Getter | A NULL cell gives | Otherwise",
    "Call | Value | Means",
    "Call | Count of the calling thread afterwards",
    "Level | What",
    "Limit | What happens beyond it",
};

/// A program that a page prints: its source and where it was built.
struct PrintedProgram {
    const char* source;
    const char* program;
};
constexpr std::array<PrintedProgram, 2> kPrograms{
    {{FIRST_STEPS_SOURCE, FIRST_STEPS_PROGRAM}, {TYPED_VALUES_SOURCE, TYPED_VALUES_PROGRAM}}};

std::string pathOf(const std::string& page) {
    return std::string(PAGES) + "/" + page;
}

std::string headingOf(const PagePart& table) {
    std::string result;
    for (const std::string& cell : table.heading) {
        result += (result.empty() ? "" : " | ") + cell;
    }
    return result;
}

/// The place of the column whose heading begins so; the number of columns when there is none.
std::size_t columnOf(const PagePart& table, const std::string& heading) {
    const auto found = std::find_if(table.heading.begin(), table.heading.end(),
                                    [&](const std::string& cell) { return cell.rfind(heading, 0) == 0; });
    return static_cast<std::size_t>(found - table.heading.begin());
}

bool hasColumn(const PagePart& table, const std::string& heading) {
    return columnOf(table, heading) < table.heading.size();
}

std::string cellOf(const PagePart& table, const PageRow& row, const std::string& heading) {
    return hasColumn(table, heading) ? row.cells.at(columnOf(table, heading)) : "";
}

/// Arguments stand in backticks, and two as words: null and empty.
std::vector<std::string> argumentsOf(const std::string& cell) {
    static const std::regex argument("`([^`]*)`|(null)|(empty)");
    std::vector<std::string> result;
    for (std::sregex_iterator found(cell.begin(), cell.end(), argument), end; found != end; ++found) {
        result.push_back((*found)[2].matched ? "NULL" : (*found)[1].str());
    }
    EXPECT_EQ(std::regex_replace(cell, argument, "").find_first_not_of(", "), std::string::npos) << cell;
    return result;
}

/// The statements of a row: those of the column "Statement", or what the column "In `...`" makes of its cell.
std::vector<std::string> statementsOf(const PagePart& table, const PageRow& row) {
    std::vector<std::string> statements = codeSpans(cellOf(table, row, "Statement"));
    for (const std::string& text : codeSpans(cellOf(table, row, "In `"))) {
        std::string frame = codeSpans(table.heading.front()).at(0);
        statements.push_back(frame.replace(frame.find("..."), 3, text));
    }
    EXPECT_FALSE(statements.empty()) << "a row without a statement";
    return statements;
}

/// What a getter gives, or `throws "text"`.
template <typename Column>
std::string gottenFrom(IResultTable& row, const std::string& getter, const Column& column) {
    const auto decimal = [](float number) {
        std::ostringstream out;
        out << number;
        return out.str();
    };
    const std::map<std::string, std::function<std::string()>> getters{
        {"getString", [&] { return row.getString(column); }},
        {"getBoolean", [&] { return std::string(row.getBoolean(column) ? "true" : "false"); }},
        {"getInt", [&] { return std::to_string(row.getInt(column)); }},
        {"getLong", [&] { return std::to_string(row.getLong(column)); }},
        {"getDouble", [&] { return decimal(row.getDouble(column)); }}};
    try {
        return "`" + getters.at(getter)() + "`";
    } catch (const DatabaseException& error) {
        return "throws \"" + std::regex_replace(error.what(), std::regex("^.*->|\n$"), "") + "\"";
    }
}

/// What a call such as `getInt("age")` or `getString(1)` gives.
std::string gottenBy(IResultTable& row, const std::string& call) {
    static const std::regex form("(\\w+)\\((?:([0-9]+)|\"(.*)\")\\)");
    std::smatch parts;
    if (!std::regex_match(call, parts, form)) {
        return "no call of a getter: " + call;
    }
    return parts[2].matched ? gottenFrom(row, parts[1], std::stoi(parts[2]))
                            : gottenFrom(row, parts[1], parts[3].str());
}

/// Bytes as `hexdump -C` prints them, without the line of the length.
std::string hexDump(const std::string& bytes) {
    constexpr std::size_t kBytesInALine = 16;
    std::string result;
    for (std::size_t start = 0; start < bytes.size(); start += kBytesInALine) {
        std::array<char, 16> text{};
        std::snprintf(text.data(), text.size(), "%08zx ", start);
        std::string numbers = text.data();
        std::string letters;
        for (std::size_t i = start; i < std::min(start + kBytesInALine, bytes.size()); ++i) {
            const auto byte = static_cast<unsigned char>(bytes[i]);
            std::snprintf(text.data(), text.size(), i % 8 == 0 ? "  %02x" : " %02x", byte);
            numbers += std::string(text.data()).substr(i == start ? 1 : 0);
            letters += byte < ' ' || byte > '~' ? '.' : bytes[i];
        }
        constexpr std::size_t kLettersColumn = 60;
        numbers.resize(kLettersColumn, ' ');
        result += numbers + "|" + letters + "|\n";
    }
    return result;
}

/// Runs everything that a page shows, part by part.
class PageTest : public SqlSamples {
protected:
    void SetUp() override { open(); }

    /// Fails for a part that is of no known kind, so that no sample stays untried. Gives the number of
    /// samples.
    int runPage(const std::string& page, bool withTables) {
        for (const PagePart& part : partsOf(readFile(pathOf(page)))) {
            SCOPED_TRACE(page + ":" + std::to_string(part.line));
            if (!part.isTable()) {
                runBlock(part);
            } else if (withTables && kExplanations.count(headingOf(part)) == 0) {
                runTable(part);
            }
        }
        EXPECT_EQ(output_, "") << "is not shown at the end of the page";
        return samples_;
    }

private:
    void runBlock(const PagePart& block) {
        if (kPictures.count(block.language) != 0) {
            return;
        }
        ++samples_;
        const std::string file = directory() + "/" + block.name;
        if (block.language == "cpp") {
            runProgram(block);
        } else if (block.language == "sql") {
            runSql(block);
        } else if (block.language == "log") {
            expectLogged(block);
        } else if (block.language == "hexdump") {
            EXPECT_EQ(hexDump(readFile(file)), block.text);
        } else if (block.language == "text" && !block.name.empty()) {
            EXPECT_EQ(readFile(file), block.text);
        } else if (block.language == "text") {
            EXPECT_EQ(output_, block.text);
            output_.clear();
        } else {
            ADD_FAILURE() << "no test runs blocks of the kind \"" << block.language << '"';
        }
    }

    void runProgram(const PagePart& block) {
        ASSERT_LT(programs_, kPrograms.size()) << "a program that tests/docs/CMakeLists.txt does not build";
        const PrintedProgram& printed = kPrograms.at(programs_++);
        EXPECT_EQ(readFile(printed.source), block.text) << "the page and " << printed.source << " differ";
        const std::string command =
            "cd '" + temporary.path() + "' && '" + printed.program + "' > output 2> /dev/null";
        EXPECT_EQ(std::system(command.c_str()), 0);
        output_ = readFile(temporary.file("output"));
    }

    /// The page's first block makes the tables that the rows of its tables start from.
    void runSql(const PagePart& block) {
        EXPECT_EQ(output_, "") << "is not shown below the block before";
        startFrom({});
        output_ = runSession(block.text);
        if (start_.empty()) {
            start_ = files();
        }
    }

    void expectLogged(const PagePart& block) {
        for (const std::string& line : linesOf(block.text)) {
            EXPECT_TRUE(logged(-2, line)) << line;
        }
        output_.clear();
    }

    void runTable(const PagePart& table) {
        for (const PageRow& row : table.rows) {
            SCOPED_TRACE("line " + std::to_string(row.line));
            ASSERT_EQ(row.cells.size(), table.heading.size());
            if (hasColumn(table, "Outcome")) {
                runSamples(table, row);
            } else if (hasColumn(table, "Gives")) {
                runGetters(table, row);
            } else if (hasColumn(table, "Means")) {
                compareGrouping(codeSpans(row.cells[0]).at(0), codeSpans(row.cells[1]).at(0));
            } else if (hasColumn(table, "After")) {
                runLogLine(table, row);
            } else {
                ADD_FAILURE() << "no test runs tables with the heading " << headingOf(table);
            }
        }
    }

    void runSamples(const PagePart& table, const PageRow& row) {
        const SampleOutcome expected = outcomeOf(cellOf(table, row, "Outcome"));
        for (const std::string& statement : statementsOf(table, row)) {
            SCOPED_TRACE(statement);
            ++samples_;
            startFrom(start_);
            EXPECT_EQ(runSample({statement, argumentsOf(cellOf(table, row, "Arguments"))}, expected),
                      expected);
        }
    }

    void runGetters(const PagePart& table, const PageRow& row) {
        startFrom(start_);
        const Result result = select({codeSpans(table.heading[0]).at(0), {}});
        ASSERT_NE(result, nullptr);
        ASSERT_TRUE(result->next());
        for (const std::string& call : codeSpans(row.cells[0])) {
            SCOPED_TRACE(call);
            ++samples_;
            EXPECT_EQ(gottenBy(*result, call), row.cells[1]);
        }
    }

    /// A condition and one with brackets have to agree on every row of zeros and the numbers 1, 2, 3 and 4.
    void compareGrouping(const std::string& condition, const std::string& bracketed) {
        ++samples_;
        startFrom({});
        exec("CREATE TABLE t (a INTEGER, b INTEGER, c INTEGER, d INTEGER);");
        std::vector<std::string> expected;
        for (int bits = 0; bits < 16; ++bits) {
            const std::map<std::string, int> row{{"a", bits & 1},
                                                 {"b", bits & 2},
                                                 {"c", (bits & 4) != 0 ? 3 : 0},
                                                 {"d", (bits & 8) != 0 ? 4 : 0}};
            update({"INSERT INTO t (a, b, c, d) VALUES (?, ?, ?, ?);",
                    {std::to_string(row.at("a")), std::to_string(row.at("b")), std::to_string(row.at("c")),
                     std::to_string(row.at("d"))}});
            if (BracketedCondition(bracketed, row).holds()) {
                expected.push_back(std::to_string(bits + 1));
            }
        }
        EXPECT_EQ(rowsOf(select({"SELECT ROWID FROM t WHERE " + condition + ";", {}})), expected)
            << condition;
    }

    void runLogLine(const PagePart& table, const PageRow& row) {
        ++samples_;
        startFrom(start_);
        const std::string cause = codeSpans(cellOf(table, row, "After")).at(0);
        if (cause == "store->init(path, 0)") {
            const std::unique_ptr<ISubscriptionDB> store(VEMOFileSubscriptionDB::createInstance());
            std::string path = temporary.file("store");
            EXPECT_TRUE(store->init(path, 0));
        } else {
            EXPECT_EQ(update({cause, {}}), 0);
        }
        takeErrors();
        const std::string line = codeSpans(cellOf(table, row, "Line")).at(0);
        EXPECT_TRUE(logged(std::stoi(cellOf(table, row, "Level")), line)) << line;
    }

    Files start_;
    std::string output_;  ///< of the last block, until the page shows it
    std::size_t programs_ = 0;
    int samples_ = 0;
};

TEST_F(PageTest, EverySampleOfTheSqlPageIsTrue) {
    EXPECT_GT(runPage("sql.md", true), 200);
}

TEST_F(PageTest, EveryFileOfTheFormatPageIsTrue) {
    EXPECT_GE(runPage("file-format.md", false), 6);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
