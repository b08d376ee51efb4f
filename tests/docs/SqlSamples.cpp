#include "SqlSamples.h"

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <regex>

#include "DatabaseException.h"

namespace Kalt::Vemo::Test {
namespace {

constexpr std::size_t kMaxArguments = 8;
constexpr std::size_t kDefinitionLines = 3;  // of a table file: names, flags and key

std::array<const char*, kMaxArguments> pointersTo(const std::vector<std::string>& arguments) {
    std::array<const char*, kMaxArguments> pointers{};
    EXPECT_LE(arguments.size(), kMaxArguments);
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        pointers.at(i) = arguments[i] == "NULL" ? nullptr : arguments[i].c_str();
    }
    return pointers;
}

bool isQuery(const std::string& statement) {
    return std::regex_search(statement, std::regex("^SELECT", std::regex::icase));
}

/// The name of the table that a change is about.
std::string tableOf(const std::string& statement) {
    static const std::regex head(
        "^ *(?:INSERT INTO|UPDATE|DELETE FROM|CREATE TABLE IF NOT EXISTS|CREATE TABLE|DROP TABLE) (\\w+)");
    std::smatch found;
    if (!std::regex_search(statement, found, head)) {
        ADD_FAILURE() << "which table is meant?";
        return "";
    }
    return found[1];
}

std::string joined(const std::vector<std::string>& texts) {
    std::string result;
    for (const std::string& text : texts) {
        result += text + "\n";
    }
    return result;
}

std::vector<std::string> splitAt(const std::string& text, const std::string& separator) {
    std::vector<std::string> pieces;
    std::size_t start = 0;
    for (std::size_t end = text.find(separator); end != std::string::npos;
         end = text.find(separator, start)) {
        pieces.push_back(text.substr(start, end - start));
        start = end + separator.size();
    }
    pieces.push_back(text.substr(start));
    return pieces;
}

/// A line of a session: a statement and, behind "-- ", its arguments between ", ".
SqlSample sampleOf(const std::string& line) {
    const std::size_t comment = line.find(" -- ");
    if (comment == std::string::npos) {
        return {trimmed(line), {}};
    }
    SqlSample sample{trimmed(line.substr(0, comment)), splitAt(trimmed(line.substr(comment + 4)), ", ")};
    for (std::string& argument : sample.arguments) {
        argument = std::regex_replace(argument, std::regex(R"(\\n)"), "\n");
    }
    return sample;
}

/// The cells of the row that the cursor stands on.
std::string rowOf(Core::Database::IResultTable& result) {
    std::string row;
    try {
        for (int column = 1;; ++column) {
            const std::string cell = result.getString(column);
            row += (column > 1 ? ", " : "") + (result.wasNull() ? "NULL" : cell);
        }
    } catch (const Core::Database::DatabaseException&) {
        return row;  // there is no such column: the row is over
    }
}

}  // namespace

void SqlSamples::startFrom(const Files& content) {
    restoreFiles(directory(), content);
    reopen();
    log.clear();
    taken_.clear();
}

int SqlSamples::update(const SqlSample& sample) {
    const auto a = pointersTo(sample.arguments);
    return exec(sample.statement.c_str(), a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7]);
}

SqlSamples::Result SqlSamples::select(const SqlSample& sample) {
    const auto a = pointersTo(sample.arguments);
    return query(sample.statement.c_str(), a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7]);
}

std::vector<std::string> SqlSamples::takeErrors() {
    static const std::regex raiser("^.*::[0-9]+ ->|\n$");
    std::vector<std::string> errors;
    for (const std::string& text : log.texts(-2)) {
        if (text != "line is NULL") {
            errors.push_back(std::regex_replace(text, raiser, ""));
        }
    }
    const std::vector<LoggedMessage> messages = log.messages();
    taken_.insert(taken_.end(), messages.begin(), messages.end());
    log.clear();
    return errors;
}

bool SqlSamples::logged(int level, const std::string& text) const {
    static const std::regex sourceLine("::[0-9]+ ->");
    return std::any_of(taken_.begin(), taken_.end(), [&](const LoggedMessage& message) {
        const std::string line = std::regex_replace(message.text, sourceLine, "::N ->");
        return message.level == level && (line == text || line == text + "\n");
    });
}

std::vector<std::string> SqlSamples::rowsOf(const Result& result) {
    std::vector<std::string> rows;
    while (result && result->next()) {
        rows.push_back(rowOf(*result));
    }
    return rows;
}

std::vector<std::string> SqlSamples::seenIn(const std::string& statement, const std::string& seen) {
    const std::vector<std::string> lines = linesOf(table(tableOf(statement)));
    if (seen == "columns") {
        return splitAt(lines.at(0), "~");
    }
    if (seen == "stored") {
        return {lines.back()};
    }
    return {lines.begin() + kDefinitionLines, lines.end()};
}

SampleOutcome SqlSamples::runSample(const SqlSample& sample, const SampleOutcome& expected) {
    const Files before = files();
    SampleOutcome outcome;
    if (isQuery(sample.statement) && (expected.seen == "rows" || expected.seen == "no result")) {
        const Result result = select(sample);
        outcome.seen = result ? "rows" : "no result";
        outcome.values = rowsOf(result);
    } else {
        outcome.returned = update(sample);
    }
    outcome.errors = takeErrors();
    if (expected.seen == "no file") {
        outcome.seen = fileExists(tableFile(tableOf(sample.statement))) ? "a file" : "no file";
    } else if (expected.seen == "columns" || expected.seen == "stored" || expected.seen == "left") {
        outcome.seen = expected.seen;
        outcome.values = seenIn(sample.statement, expected.seen);
    } else {
        EXPECT_EQ(files(), before);
    }
    return outcome;
}

std::string SqlSamples::runLine(const std::string& line) {
    const std::map<std::string, std::function<std::string()>> calls{
        {"beginTransaction()", [this] { return database->beginTransaction() ? "" : "false\n"; }},
        {"commitTransaction()", [this] { return database->commitTransaction() ? "" : "false\n"; }},
        {"rollbackTransaction()", [this] { return database->rollbackTransaction() ? "" : "false\n"; }},
        {"getLastInsertRowid()", [this] { return std::to_string(database->getLastInsertRowid()) + "\n"; }}};
    const auto call = calls.find(line);
    if (call != calls.end()) {
        return call->second();
    }
    const SqlSample sample = sampleOf(line);
    if (isQuery(sample.statement)) {
        return joined(rowsOf(select(sample)));
    }
    EXPECT_EQ(update(sample), 0);
    return "";
}

std::string SqlSamples::runSession(const std::string& block) {
    std::string output;
    for (const std::string& line : linesOf(block)) {
        if (!line.empty()) {
            SCOPED_TRACE(line);
            output += runLine(line);
            output += joined(takeErrors());
        }
    }
    return output;
}

}  // namespace Kalt::Vemo::Test
