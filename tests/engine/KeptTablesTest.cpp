#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "CoarseStamps.h"
#include "DatabaseTest.h"
#include "SideBySide.h"

// Databases that keep the texts of their tables in memory, as many or as few as their bound lets them, go
// through the same random statements as one that keeps nothing, while another program changes the files. No
// one must be able to tell them apart: results, files and the whole log are the same.
namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::FileDatabase;
using Core::Database::Filedb::kBackupSuffix;
using Core::Database::Filedb::kMaxLineLength;
using Core::Database::Filedb::Synchronous;

constexpr long long kMillisecond = 1'000'000;

// ---- The tables ----

struct Table {
    const char* name;
    const char* definition;
    bool hasRowIds;  // hidden ones
};
const Table kTables[] = {
    {"h", "(a INTEGER, b TEXT)", true},
    {"k", "(a INTEGER PRIMARY KEY, b TEXT)", false},
    {"x", "(a INTEGER, b TEXT PRIMARY KEY)", true},
    {"p", "(a INTEGER NOT NULL, b TEXT, PRIMARY KEY(a, b))", true},
    {"t", "(a INTEGER, b TEXT, c REAL)", true},
    {"u", "(a INTEGER, b TEXT, c REAL)", true},  // often a further name of t's file
};

using Random = std::mt19937;

// The parts of a text between "|".
std::vector<std::string> choices(const std::string& text) {
    std::vector<std::string> result(1);
    for (const char c : text) {
        if (c == '|') {
            result.emplace_back();
        } else {
            result.back() += c;
        }
    }
    return result;
}

// The text with a value for each "#".
std::string filled(const std::string& text, const std::function<std::string()>& value) {
    std::string result;
    for (const char c : text) {
        result += c == '#' ? value() : std::string(1, c);
    }
    return result;
}

unsigned numberBelow(Random& random, unsigned limit) {
    return static_cast<unsigned>(random() % limit);
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size() - 1) + 1;
        lines.push_back(text.substr(start, end - start));
        start = end;
    }
    return lines;
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line;
    }
    return text;
}

std::string word(Random& random) {
    static const std::vector<std::string> words = choices("a|b|ab|ba|abc|it's|NULLs|100|x y|''");
    return words[numberBelow(random, 10)];
}

// Rows as the engine stores them, with ids in ascending order.
std::string wellFormedRows(const Table& table, unsigned count, Random& random) {
    std::string text;
    std::uint64_t id = numberBelow(random, 3);
    const std::size_t padding = numberBelow(random, 12) == 0 ? 900 + numberBelow(random, 120) : 0;
    for (unsigned row = 0; row < count; ++row) {
        id += 1 + (numberBelow(random, 4) == 0 ? numberBelow(random, 5) : 0);
        const std::string number = std::to_string(id);
        // Keys are different.
        const bool isPadded = padding > 0 && row % 3 == 0;
        const std::string b = "'w" + number + (isPadded ? std::string(padding, 'x') : "") + "'";
        text += (table.hasRowIds ? std::to_string(row % 20) : number) + "~" + b;
        text += table.definition[std::string(table.definition).size() - 2] == 'L' ? "~1.5" : "";
        text += (table.hasRowIds ? "~" + number : "") + "\n";
    }
    if (text.find("~1.5") != std::string::npos && numberBelow(random, 2) == 0) {
        text.replace(text.find("1.5"), 3, "NULL");
    }
    return text;
}

unsigned rowCount(Random& random) {
    static const unsigned counts[] = {0, 1, 2, 3, 5, 8, 15, 30, 60, 100};
    return numberBelow(random, 25) == 0 ? 300 : counts[numberBelow(random, 10)];
}

// ---- What other programs do to the files ----

const std::vector<std::string>& strangeIds() {
    static const std::vector<std::string> ids = {"0",
                                                 "00",
                                                 "+5",
                                                 "-1",
                                                 " 5",
                                                 "5 ",
                                                 "5.0",
                                                 "x",
                                                 "'5'",
                                                 "NULL",
                                                 "''",
                                                 "5\r",
                                                 "5x",
                                                 "0x05",
                                                 "9223372036854775807",
                                                 "9223372036854775808",
                                                 "18446744073709551615",
                                                 "18446744073709551616",
                                                 "36893488147419103237"};
    return ids;
}

// The line with another field in the place of its first or last one.
std::string withField(const std::string& line, bool isFirst,
                      const std::function<std::string(std::string)>& make) {
    const bool hasFeed = !line.empty() && line.back() == '\n';
    const std::string text = line.substr(0, line.size() - (hasFeed ? 1 : 0));
    const std::size_t separator = isFirst ? text.find('~') : text.rfind('~');
    std::string result = text;
    if (separator == std::string::npos) {
        result = make(text);
    } else if (isFirst) {
        result = make(text.substr(0, separator)) + text.substr(separator);
    } else {
        result = text.substr(0, separator + 1) + make(text.substr(separator + 1));
    }
    return result + (hasFeed ? "\n" : "");
}

// Another content of a table's file, and what was done to it.
std::string edited(const std::string& text, const Table& table, const std::string& header, Random& random,
                   std::string& what) {
    constexpr std::size_t kHeaderLines = 3;
    std::vector<std::string> lines = linesOf(text);
    const std::size_t count = lines.size() > kHeaderLines ? lines.size() - kHeaderLines : 0;
    const std::size_t at = count > 0 ? kHeaderLines + numberBelow(random, static_cast<unsigned>(count)) : 0;
    const std::size_t offset = text.empty() ? 0 : numberBelow(random, static_cast<unsigned>(text.size()));
    const bool ofFirst = numberBelow(random, 4) == 0;
    const unsigned choice = numberBelow(random, 40);
    if (choice >= 26 || (count == 0 && numberBelow(random, 2) == 0)) {
        what = "well-formed rows";
        return header + wellFormedRows(table, rowCount(random), random);
    }
    if (count == 0) {
        what = "no change";
        return text;
    }
    std::string result = text;
    switch (choice) {
        case 0:
        case 1:
        case 2: {
            what = "change of equal size";
            const std::size_t start = text.size() - joined({lines.begin() + 3, lines.end()}).size();
            const std::size_t position =
                start + numberBelow(random, static_cast<unsigned>(text.size() - start));
            char& c = result[position];
            c = c == '~' || c == '\n'
                    ? c
                    : (c >= '0' && c <= '9' ? (c == '9' ? '1' : static_cast<char>(c + 1)) : 'q');
            return result;
        }
        case 3:
        case 4:
            what = "row appended";
            return text + withField(lines.back(), !table.hasRowIds, [](const std::string& id) {
                       return std::to_string(std::strtoull(id.c_str(), nullptr, 10) + 1);
                   });
        case 5:
            what = "truncated";
            return text.substr(0, offset);
        case 6:
            what = "records removed";
            return joined({lines.begin(), lines.begin() + 3});
        case 7:
            what = "empty field";
            result.insert(
                text.find('~', offset) == std::string::npos ? text.size() - 1 : text.find('~', offset), "~");
            return result;
        case 8:
            what = "NUL byte";
            result[offset] = '\0';
            return result;
        case 9:
            what = "no line feed at the end";
            result.pop_back();
            return result;
        case 10:
            what = "over-long line";
            lines[at].insert(lines[at].find('~') + 1, std::string(kMaxLineLength, 'x'));
            return joined(lines);
        case 11:
            what = "line at the limit";
            lines[at].insert(0, kMaxLineLength - std::min(kMaxLineLength, lines[at].size()), '7');
            return joined(lines);
        case 12:
        case 13:
            what = "two lines swapped";
            std::swap(lines[at], lines[kHeaderLines + numberBelow(random, static_cast<unsigned>(count))]);
            return joined(lines);
        case 14:
            what = "leading zeros";
            lines[at] = withField(lines[at], ofFirst || !table.hasRowIds,
                                  [](const std::string& id) { return "00" + id; });
            return joined(lines);
        case 15:
        case 16: {
            what = "strange id";
            const std::string id =
                strangeIds()[numberBelow(random, static_cast<unsigned>(strangeIds().size()))];
            lines[at] =
                withField(lines[at], ofFirst || !table.hasRowIds, [&](const std::string&) { return id; });
            return joined(lines);
        }
        case 17:
            what = "short record";
            lines[at] = lines[at].substr(0, lines[at].rfind('~')) + "\n";
            return joined(lines);
        case 18:
            what = "further field";
            lines[at] =
                withField(lines[at], ofFirst, [](const std::string& field) { return field + "~" + field; });
            return joined(lines);
        case 19:
            what = "empty line";
            lines[at].insert(0, "\n");
            return joined(lines);
        case 20:
            what = "line twice";
            lines[at] += lines[at];
            return joined(lines);
        case 21: {
            what = "other names of columns";
            static const char* const names[] = {"a~b~ROWID\n", "b~a~ROWID\n", "ROWID~b~a\n", "a~a~ROWID\n",
                                                "z~b~ROWID\n", "a~b\n",       "b~a\n",       "a\n"};
            lines[0] = names[numberBelow(random, 8)];
            return joined(lines);
        }
        case 22: {
            what = "other flags";
            static const char* const flags[] = {"1~4~1\n", "257~4\n", "4~4~4\n", "257~4~1\n",
                                                "1~4\n",   "1\n",     "x\n"};
            lines[1] = flags[numberBelow(random, 7)];
            return joined(lines);
        }
        case 23: {
            what = "other key";
            static const char* const keys[] = {"\n", "a\n", "b\n", "a~b\n", "ROWID\n", "nosuch\n"};
            lines[2] = keys[numberBelow(random, 6)];
            return joined(lines);
        }
        case 24:
            what = "emptied";
            return "";
        default:
            what = "the same bytes";
            return text;
    }
}

// The ways in which a program brings bytes into a file.
void bring(const std::string& path, const std::string& text, unsigned way) {
    struct stat before {};
    EXPECT_EQ(stat(path.c_str(), &before), 0) << path;
    switch (way) {
        case 0:
            writeFile(path, text);
            return;
        case 1: {
            const std::string fresh = path + ".edited";
            writeFile(fresh, text);
            std::filesystem::rename(fresh, path);
            return;
        }
        default: {
            const int descriptor = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
            EXPECT_GE(descriptor, 0) << path;
            EXPECT_EQ(::pwrite(descriptor, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
            if (static_cast<off_t>(text.size()) != before.st_size) {
                EXPECT_EQ(::ftruncate(descriptor, static_cast<off_t>(text.size())), 0);
            }
            if (way == 3) {  // as if it had not been modified
                const timespec times[] = {before.st_atim, before.st_mtim};
                EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
            }
            ::close(descriptor);
            return;
        }
    }
}

// What a foreign program does to one file; nothing when that is not there. Returns what it was.
std::string changeFile(const std::string& path, const Table& table, const std::string& header,
                       unsigned seed) {
    Random random(seed);
    if (!std::filesystem::exists(path)) {
        const bool isCopy = path.substr(path.size() - 7) == kBackupSuffix;
        if (isCopy || std::filesystem::is_symlink(path) || numberBelow(random, 3) == 0) {
            return "nothing, the file is missing";
        }
        writeFile(path, header + wellFormedRows(table, rowCount(random), random));
        return "made";
    }
    switch (numberBelow(random, 30)) {
        case 0:
            std::filesystem::remove(path);
            return "removed";
        case 1:
            EXPECT_EQ(chmod(path.c_str(), numberBelow(random, 2) == 0 ? 0640 : 0600), 0);
            return "mode changed";
        case 2:
            EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), nullptr, 0), 0);
            return "touched";
        case 3:
            std::filesystem::copy_file(path, path + ".edited");
            std::filesystem::rename(path + ".edited", path);
            return "replaced by a copy";
        default: {
            std::string what;
            const std::string text = edited(readFile(path), table, header, random, what);
            bring(path, text, numberBelow(random, 4));
            return what;
        }
    }
}

void exchangeFiles(const std::string& one, const std::string& other) {
    if (one == other || !std::filesystem::exists(one) || !std::filesystem::exists(other) ||
        std::filesystem::is_symlink(one) || std::filesystem::is_symlink(other)) {
        return;
    }
    std::filesystem::rename(one, one + ".edited");
    std::filesystem::rename(other, one);
    std::filesystem::rename(one + ".edited", other);
}

// ---- The test ----

/// What happens on every side alike.
struct Step {
    std::string text;
    std::function<std::string(Side&)> run;
};

struct Setting {
    Synchronous level;
    unsigned seed;
};

std::ostream& operator<<(std::ostream& out, const Setting& setting) {
    return out << "level " << static_cast<int>(setting.level) << ", seed " << setting.seed;
}

class KeptTablesTest : public ::testing::TestWithParam<Setting> {
protected:
    KeptTablesTest() : random_(GetParam().seed) {}

    unsigned below(unsigned limit) { return numberBelow(random_, limit); }
    bool oneIn(unsigned count) { return below(count) == 0; }
    template <typename T, std::size_t size>
    T anyOf(const T (&choices)[size]) {
        return choices[below(size)];
    }
    std::string anyOf(const std::vector<std::string>& choices) {
        return choices[below(static_cast<unsigned>(choices.size()))];
    }
    // Mostly one of the first ones.
    std::string oftenOfFirst(unsigned first, const std::vector<std::string>& choices) {
        return oneIn(6) ? anyOf(choices) : choices[below(first)];
    }

    // Statements

    std::string tableName() {
        const char* const others[] = {"missing", "9x", "H", "./h", "./k", "./t"};
        return oneIn(40) ? anyOf(others) : anyOf(kTables).name;
    }

    std::string file(const std::string& table) {
        return sides_.front()->directory() + "/" + table + ".table";
    }

    // Of a record, or of none.
    std::string existingId(const std::string& table) {
        const std::string path = file(table);
        if (!oneIn(4) && std::filesystem::exists(path)) {
            const std::vector<std::string> lines = linesOf(readFile(path));
            if (lines.size() > 3) {
                const unsigned records = static_cast<unsigned>(lines.size()) - 3;
                const std::size_t places[] = {3, lines.size() - 1, 3 + below(records), 3 + below(records)};
                std::string line = lines[anyOf(places)];
                line = line.substr(0, line.find_first_of(std::string("\n\0", 2)));
                line = table == "k" ? line.substr(0, line.find('~')) : line.substr(line.rfind('~') + 1);
                if (!line.empty() && line.size() < 30 && line.find('?') == std::string::npos) {
                    return line;
                }
            }
        }
        return std::to_string(below(12));
    }

    std::string literal(const std::string& table) {
        const std::string id = existingId(table);
        static const std::vector<std::string> forms = choices(
            "0#|00#|+#|-#|'#'|#.0|#x|0x#|'#|''|00|0|NULL|abc|1e0|a|ROWID|nosuch| |9223372036854775807|"
            "9223372036854775808|18446744073709551615|18446744073709551616|36893488147419103237");
        return oneIn(5) ? filled(anyOf(forms), [&] { return id; }) : id;
    }

    // A literal in the text, or a placeholder and its value.
    std::string operand(const std::string& table, Values& values) {
        std::string text = literal(table);
        if (oneIn(3)) {
            values.emplace_back(oneIn(20) ? std::optional<std::string>() : text);
            return oneIn(4) ? "'?'" : "?";
        }
        return text;
    }

    std::string condition(const std::string& table, Values& values) {
        const auto value = [&] { return operand(table, values); };
        if (!oneIn(3)) {
            return "ROWID = " + value();
        }
        static const std::vector<std::string> forms = choices(
            "ROWID = # AND a = #|ROWID = # OR ROWID = #|ROWID = # AND ROWID = #|ROWID = ROWID|# = ROWID|"
            "ROWID != #|ROWID <> #|ROWID == #|ROWID > #|ROWID <= #|ROWID=#|ROWID  =   #|  ROWID = #  |"
            "ROWID =  '#'|rowid = #|ROWID LIKE #|ROWID =|= #|ROWID|# = #|a = #|a != #|a > #|a = # AND b != #|"
            "b = '#'|b LIKE '%w1%'|b != 'q'|b > 'w2'|c = #|c = 1.5|nosuch = #|ROWID = # #|( ROWID = # )|"
            "ROWID = ( # )|NOT ROWID = #|ROWID IN #|h.ROWID = #|ROWID = a|a = ROWID|ROWID = b|ROWID + # = #|"
            "ROWID = # AND|AND ROWID = #|# ROWID = #|a ROWID = #|ROWID = #,|ROWID\t=\t#|");
        return filled(anyOf(forms), value);
    }

    std::string where(const std::string& table, Values& values) {
        static const std::vector<std::string> words = choices(" WHERE |  WHERE  | where | WHERE");
        return oneIn(8) ? "" : oftenOfFirst(1, words) + condition(table, values);
    }

    static std::string longText(std::size_t length) { return std::string(length, 'l'); }

    std::optional<std::string> textValue() {
        static const std::vector<std::string> strange =
            choices("x~y|x\ny||NULL|" + longText(900) + "|" + longText(1010) + "|" + longText(1030) + "|" +
                    longText(2100));
        return oneIn(8) ? (oneIn(8) ? std::optional<std::string>() : anyOf(strange))
                        : (oneIn(2) ? "w" + std::to_string(below(200)) : word(random_));
    }

    std::optional<std::string> numberValue() {
        static const std::vector<std::string> strange =
            choices("twelve|-1|1.5||+7|99999999999999999999999|NULL|'5'|007");
        return oneIn(8)
                   ? (oneIn(6) ? std::optional<std::string>() : std::optional<std::string>(anyOf(strange)))
                   : std::to_string(oneIn(4) ? below(20) : below(100000));
    }

    Step update(const std::string& sql, const Values& values) {
        return {sql + printed(values), [=](Side& side) { return side.update(sql, values); }};
    }

    Step query(const std::string& sql, const Values& values) {
        const bool isReadLater = oneIn(4);
        return {sql + printed(values) + (isReadLater ? " (read after the next step)" : ""),
                [=](Side& side) { return side.query(sql, values, isReadLater); }};
    }

    static std::string printed(const Values& values) {
        std::string text;
        for (const std::optional<std::string>& value : values) {
            text += " [" + value.value_or("(null)").substr(0, 60) + "]";
        }
        return text;
    }

    Step select() {
        const std::string table = tableName();
        static const std::vector<std::string> lists =
            choices("*|*|*, ROWID|ROWID, *|a|b, a|ROWID|ROWID, b|a, a|*, *|c|nosuch||a b|a,, b|a, ROWID, b");
        static const std::vector<std::string> froms = choices(" FROM |  FROM  | from | ");
        Values values;
        const std::string list = oftenOfFirst(11, lists);
        return query(
            "SELECT " + list + oftenOfFirst(1, froms) + table + where(table, values) + (oneIn(40) ? "" : ";"),
            values);
    }

    Step updateRows() {
        const std::string table = tableName();
        Values values;
        std::string assignments;
        switch (below(12)) {
            case 0:
                assignments = "a = ?, a = ?";
                values = {numberValue(), numberValue()};
                break;
            case 1:
            case 2:
                assignments = "a = ?";
                values = {numberValue()};
                break;
            case 3: {
                const char* const strange[] = {"ROWID = ?", "nosuch = ?", "b = '?'", "c = ?",
                                               "a = 5",     "a ?",        "",        "a = ?, b = '?', c = ?"};
                assignments = anyOf(strange);
                values = {numberValue(), textValue(), numberValue()};
                values.resize(
                    static_cast<std::size_t>(std::count(assignments.begin(), assignments.end(), '?')));
                break;
            }
            default:
                assignments = oneIn(2) ? "a=?, b='?'" : "a = ?, b = '?'";
                values = {numberValue(), textValue()};
        }
        return update("UPDATE " + table + " SET " + assignments + where(table, values) + ";", values);
    }

    Step deleteRows() {
        const std::string table = tableName();
        Values values;
        return update("DELETE FROM " + table + where(table, values) + ";", values);
    }

    Step insert() {
        const std::string table = tableName();
        static const std::vector<std::string> lists = choices(
            "(a, b) VALUES (?, '?')|(a, b) VALUES (?, '?')|(a, b) VALUES (?, '?')|(a, b) VALUES (?, "
            "'?')|(a,b) VALUES(?,'?')|(a) VALUES (?)|(a, b) VALUES (?)|(nosuch) VALUES (?)|(a, ROWID) VALUES "
            "(?, ?)|(a, b) VALUES (5, 'x')|VALUES (?, ?)|(a, b VALUES (?, '?')");
        const std::string list = oftenOfFirst(3, lists);
        const bool isSwapped = list.rfind("(b", 0) == 0;
        return update("INSERT INTO " + table + " " + list + ";",
                      isSwapped ? Values{textValue(), numberValue()} : Values{numberValue(), textValue()});
    }

    Step other() {
        const Table& table = kTables[below(std::size(kTables))];
        const std::string name = table.name;
        const std::string create = "CREATE TABLE " + name + " " + table.definition + ";";
        const std::string ifMissing = "CREATE TABLE IF NOT EXISTS " + name + " " + table.definition + ";";
        const std::string choices[] = {create,
                                       create,
                                       create,
                                       ifMissing,
                                       ifMissing,
                                       ifMissing,
                                       "DROP TABLE " + name + ";",
                                       "DROP TABLE " + name + ";",
                                       "DROP TABLE IF EXISTS " + name + ";",
                                       "ALTER TABLE x " + name + " ADD COLUMN c TEXT;",
                                       "ALTER TABLE x " + name + " ADD COLUMN z TEXT;",
                                       "SELECT * FROM " + name + ";",
                                       "DELETE " + name + ";",
                                       "UPDATE " + name + " SET;",
                                       ";",
                                       "DROP TABLE",
                                       "VACUUM the table;",
                                       "CREATE TABLE " + name + " ();"};
        return update(anyOf(choices), {});
    }

    Step endOfTransaction() {
        if (oneIn(4)) {
            return {"ROLLBACK", [](Side& side) { return side.end(false); }};
        }
        return {"COMMIT", [](Side& side) { return side.end(true); }};
    }

    // Foreign programs

    Step edit() {
        const unsigned table = below(std::size(kTables));
        const unsigned otherTable = below(std::size(kTables));
        const std::string name = kTables[table].name;
        const std::string otherName = kTables[otherTable].name;
        if (oneIn(25)) {
            return {"exchange the files of " + name + " and " + otherName, [=](Side& side) {
                        exchangeFiles(side.directory() + "/" + name + ".table",
                                      side.directory() + "/" + otherName + ".table");
                        return std::string();
                    }};
        }
        if (oneIn(12)) {
            const bool isSymbolic = oneIn(2);
            return {std::string(isSymbolic ? "symbolic" : "hard") + " link u to t", [=](Side& side) {
                        const std::string link = side.directory() + "/u.table";
                        const std::string target = side.directory() + "/t.table";
                        if (std::filesystem::exists(target)) {
                            std::filesystem::remove(link);
                            if (isSymbolic) {
                                std::filesystem::create_symlink("t.table", link);
                            } else {
                                std::filesystem::create_hard_link(target, link);
                            }
                        }
                        return std::string();
                    }};
        }
        const bool ofCopy = sides_.front()->inTransaction() && oneIn(2);
        const std::string file = name + (ofCopy ? ".backup" : ".table");
        const auto seed = static_cast<unsigned>(random_());
        return {"edit " + file, [=](Side& side) {
                    return changeFile(side.directory() + "/" + file, kTables[table], headers_[table], seed);
                }};
    }

    Step step() {
        if (!history_.empty() && oneIn(5)) {
            return history_[below(static_cast<unsigned>(history_.size()))];
        }
        const unsigned choice = below(100);
        if (choice < 18) {
            return edit();
        }
        if (choice < 19) {
            const bool anew = oneIn(2);
            return {anew ? "a new object" : "close and open", [=](Side& side) { return side.reopen(anew); }};
        }
        if (choice < 20 && oneIn(2)) {
            return {"wait", [](Side&) {
                        letFilesAge();
                        return std::string();
                    }};
        }
        if (choice < 30) {
            const bool ends = willBeInTransaction_ != oneIn(20);
            willBeInTransaction_ = !ends;
            return ends ? endOfTransaction() : Step{"BEGIN", [](Side& side) { return side.begin(); }};
        }
        Step statement = choice < 55   ? select()
                         : choice < 71 ? updateRows()
                         : choice < 81 ? deleteRows()
                         : choice < 94 ? insert()
                                       : other();
        history_.push_back(statement);
        return statement;
    }

    // Changes of equal size between queries, as fast as they come.
    std::vector<Step> changesInOneTick() {
        const Table& table = kTables[below(std::size(kTables))];
        const std::string name = table.name;
        std::vector<Step> steps;
        for (unsigned left = 2 + below(3); left > 0; --left) {
            steps.push_back({"change a text in " + name, [=](Side& side) {
                                 const std::string path = side.directory() + "/" + name + ".table";
                                 if (!std::filesystem::exists(path)) {
                                     return std::string();
                                 }
                                 std::string text = readFile(path);
                                 const std::size_t quote = text.find('\'');
                                 if (quote != std::string::npos && quote + 1 < text.size()) {
                                     text[quote + 1] = static_cast<char>('a' + left);
                                     bring(path, text, 2);
                                 }
                                 return std::string();
                             }});
            steps.push_back(query("SELECT *, ROWID FROM " + name + ";", {}));
        }
        return steps;
    }

    // The same on every side, on each without a pause.
    void compare(const std::vector<Step>& steps, const std::string& round) {
        std::vector<Outcome> expected;
        for (const std::unique_ptr<Side>& side : sides_) {
            std::string done;
            for (std::size_t i = 0; i < steps.size(); ++i) {
                const Outcome outcome = side->observe(steps[i].run);
                done += "  " + steps[i].text +
                        (steps[i].text.rfind("edit", 0) == 0 ? ": " + outcome.result : "") + "\n";
                if (side == sides_.front()) {
                    expected.push_back(outcome);
                }
                ASSERT_TRUE(outcome == expected[i])
                    << GetParam() << ", " << round << ", the side \"" << side->name() << "\" after\n"
                    << done << firstDifference(expected[i], outcome);
            }
        }
        willBeInTransaction_ = sides_.front()->inTransaction();
    }

    void makeSides() {
        const std::size_t few[] = {1, 300, 2048, 4096, 6144};
        const Side::Options options[] = {
            {"keeps nothing", 0},
            {"new objects", std::nullopt, true},
            {"default bound", std::nullopt},
            {"small bound", anyOf(few)},
        };
        const FileDatabase::LineCheck check =
            oneIn(2) ? nullptr : +[](std::size_t bytes) { return bytes <= kMaxLineLength; };
        char letter = 'a';
        for (const Side::Options& option : options) {
            const std::string path = temporary_.file(std::string(1, letter++));
            sides_.push_back(std::make_unique<Side>(option, path, check, GetParam().level, log_));
        }
    }

    void makeTables() {
        std::vector<Step> steps;
        for (const Table& table : kTables) {
            steps.push_back(
                update(std::string("CREATE TABLE ") + table.name + " " + table.definition + ";", {}));
        }
        compare(steps, "at the start");
        for (const Table& table : kTables) {
            headers_.push_back(readFile(file(table.name)));
        }
        steps.clear();
        for (std::size_t i = 0; i < std::size(kTables); ++i) {
            const auto seed = static_cast<unsigned>(random_());
            steps.push_back({"fill", [=](Side& side) {
                                 Random random(seed);
                                 writeFile(
                                     side.directory() + "/" + kTables[i].name + ".table",
                                     headers_[i] + wellFormedRows(kTables[i], rowCount(random), random));
                                 return std::string();
                             }});
        }
        compare(steps, "at the start");
    }

    Random random_;
    TemporaryDirectory temporary_;
    LogCapture log_;
    std::vector<std::unique_ptr<Side>> sides_;
    std::vector<std::string> headers_;  // the metadata lines of each table
    std::vector<Step> history_;         // statements that may come again
    bool willBeInTransaction_ = false;
};

TEST_P(KeptTablesTest, NobodyCanTellWhetherTablesAreKept) {
    // Which files prove unchanged differs: by age and mark, by mark alone, by age alone.
    std::optional<CoarseStamps> stamps;
    if (GetParam().seed % 4 == 2) {
        stamps.emplace(4 * kMillisecond);
    } else if (GetParam().seed % 4 == 3) {
        stamps.emplace(1, CoarseStamps::Marks::refused);
    }
    makeSides();
    makeTables();
    const int bursts = GetParam().level == Synchronous::off ? 50 : 25;  // the disk takes its time
    for (int burst = 0; burst < bursts && !HasFatalFailure(); ++burst) {
        if (oneIn(8)) {
            letFilesAge();
        }
        std::vector<Step> steps;
        if (oneIn(6)) {
            steps = changesInOneTick();
        }
        for (unsigned left = 1 + below(6); left > 0; --left) {
            steps.push_back(step());
        }
        compare(steps, "burst " + std::to_string(burst));
    }
}

// VEMO_KEPT_TABLES_SEEDS gives the number of seeds of each level.
std::vector<Setting> settings() {
    const char* const text = std::getenv("VEMO_KEPT_TABLES_SEEDS");
    const int asked = text == nullptr ? 0 : std::atoi(text);
    std::vector<Setting> result;
    for (const auto& [level, seeds] : {std::pair(Synchronous::off, 12), std::pair(Synchronous::normal, 3),
                                       std::pair(Synchronous::full, 2)}) {
        for (int seed = 1; seed <= (asked > 0 ? asked : seeds); ++seed) {
            result.push_back({level, static_cast<unsigned>(seed)});
        }
    }
    return result;
}

INSTANTIATE_TEST_SUITE_P(Random, KeptTablesTest, ::testing::ValuesIn(settings()), [](const auto& setting) {
    return levelName(::testing::TestParamInfo<Synchronous>(setting.param.level, 0)) +
           std::to_string(setting.param.seed);
});

}  // namespace
}  // namespace Kalt::Vemo::Test
