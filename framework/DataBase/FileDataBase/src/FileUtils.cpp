#include "FileUtils.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <exception>
#include <locale>
#include <sstream>
#include <utility>

#include "DatabaseException.h"
#include "EngineErrors.h"
#include "EngineLog.h"
#include "FileResultTable.h"
#include "RecordReader.h"
#include "ResultRows.h"
#include "StringConversion.h"
#include "TableMetaData.h"
#include "Utils.h"

// The file helpers, a table's metadata and a query's result share this source file and its tag in the log.
namespace Kalt::Vemo::Core::Database::Filedb {

using Platform::StringConversion;

namespace {

constexpr const char* kLogTag = "FileResultTable";

// Room for a line of a copy: 1022 characters and the terminating zero.
constexpr int kCopyBufferSize = 1023;

// Without a destination the lines are only read, and logged.
int copyLines(FILE* destination, FILE* source, bool logs) {
    if (destination != nullptr) {
        std::rewind(destination);
    }
    std::rewind(source);
    std::array<char, kCopyBufferSize> buffer{};
    while (std::feof(source) == 0) {
        if (std::fgets(buffer.data(), kCopyBufferSize, source) == nullptr) {
            if (std::ferror(source) != 0) {
                throw readError();
            }
            if (logs) {
                FileUtils::logEndOfCopy();
            }
        } else if (destination != nullptr && std::fputs(buffer.data(), destination) < 0) {
            throw writeError();
        }
        if (logs) {
            FILEDB_LOG(kLogTrace, "Copied record:%s", buffer.data());
        }
    }
    return std::feof(source);
}

void overwrite(File destination, File source, bool logs) {
    const StreamHandle from = ownStream(std::move(source).intoStream("r+"));
    StreamHandle to = ownStream(std::move(destination).intoStream("r+"));
    copyLines(to.get(), from.get(), logs);
    if (std::fflush(to.get()) != 0 || ftruncate(fileno(to.get()), std::ftell(to.get())) != 0 ||
        std::fclose(to.release()) != 0) {
        throw writeError();
    }
}

}  // namespace

FILE* FileUtils::openFile(const std::string& fileName, const std::string& mode) {
    FILE* stream = File::open(fileName, mode).intoStream(mode);
    std::rewind(stream);
    return stream;
}

void FileUtils::closeFile(FILE* stream) {
    if (stream != nullptr) {
        // A writer has flushed the stream before and seen the result.
        static_cast<void>(std::fclose(stream));
    }
}

bool FileUtils::fileExist(const std::string& fileName) {
    return static_cast<bool>(File::openExisting(fileName, File::Access::read));
}

bool FileUtils::fileRemove(const std::string& /*fileName*/) {
    return true;
}

int FileUtils::copyWholeFile(FILE* destination, FILE* source) {
    if (destination == nullptr || source == nullptr) {
        throw readError();
    }
    return copyLines(destination, source, true);
}

void FileUtils::overwriteFrom(File destination, File source) {
    overwrite(std::move(destination), std::move(source), true);
}

void FileUtils::overwriteSilently(File destination, File source) {
    overwrite(std::move(destination), std::move(source), false);
}

void FileUtils::logCopyOf(File source) noexcept {
    try {
        const StreamHandle from = ownStream(std::move(source).intoStream("r+"));
        copyLines(nullptr, from.get(), true);
    } catch (const std::exception& error) {
        FILEDB_LOG(kLogInfo, "The rest of a copy is not logged: %s", error.what());
    }
}

void FileUtils::logEndOfCopy() {
    FILEDB_LOG(kLogError, "%s", "line is NULL");
}

std::string FileUtils::recordLine(const std::vector<std::string>& fields) {
    std::size_t size = 1;
    for (const std::string& field : fields) {
        size += field.size() + 1;
    }
    std::string line;
    line.reserve(size);
    for (const std::string& field : fields) {
        if (&field != &fields.front()) {
            line += FIELD_SEPARATOR;
        }
        line += field;
    }
    line += '\n';
    return line;
}

void FileUtils::writeRecordToTableFile(FILE* stream, const std::vector<std::string>& fields) {
    const std::string line = recordLine(fields);
    FILEDB_LOG(kLogTrace, "Writing Record to File: %s", line.c_str());
    if (stream == nullptr || std::fseek(stream, 0, SEEK_END) != 0) {
        throw seekError();
    }
    static_cast<void>(std::fwrite(line.data(), 1, line.size(), stream));
}

bool FileUtils::getNextRecordFromTableFile(FILE* stream, std::vector<std::string>& fields) {
    std::array<char, kMaxLineLength + 1> buffer{};
    if (stream == nullptr || std::fgets(buffer.data(), static_cast<int>(buffer.size()), stream) == nullptr) {
        if (stream != nullptr && std::feof(stream) != 0) {
            return false;
        }
        throw readError();
    }
    Record record{std::string_view(buffer.data())};
    fields.assign(record.all().begin(), record.all().end());
    return true;
}

int FileUtils::readAllRecordFromTableFile(FILE* stream, std::vector<std::vector<std::string>>& rows) {
    constexpr std::size_t kGrowth = 5;
    std::size_t count = 0;
    rows.resize(kGrowth);
    while (getNextRecordFromTableFile(stream, rows[count])) {
        ++count;
        if (count == rows.size()) {
            rows.resize(count + kGrowth);
        }
    }
    FILEDB_LOG(kLogTrace, "Total Number of Record read:%d", static_cast<int>(count));
    return static_cast<int>(count);
}

// ---- TableMetaData ----

namespace {

long toFlag(const std::string& text) {
    return std::strtol(text.c_str(), nullptr, 10);
}

// The REAL column's stored form: six significant digits, whatever the locale.
std::string printReal(float value) {
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << value;
    return stream.str();
}

// The word up to an opening bracket: CHECK(x is the word CHECK.
std::string_view wordBeforeBracket(std::string_view word) {
    return word.substr(0, word.find('('));
}

}  // namespace

TableMetaData::TableMetaData(FileUtils* fileUtils) : fileUtils_(fileUtils) {}

TableMetaData::~TableMetaData() = default;

bool TableMetaData::readTableMetaData(FILE* stream) {
    fileUtils_->getNextRecordFromTableFile(stream, columnNames_);
    fileUtils_->getNextRecordFromTableFile(stream, columnFlags_);
    fileUtils_->getNextRecordFromTableFile(stream, primaryKeyColumns_);
    return findAliasPrimaryKey();
}

bool TableMetaData::readTableMetaData(RecordReader& reader) {
    wasWellFormed_ = true;
    for (std::vector<std::string>* line : {&columnNames_, &columnFlags_, &primaryKeyColumns_}) {
        const bool found = reader.next();
        wasWellFormed_ = wasWellFormed_ && found && reader.isWellFormed();
        if (found) {
            line->assign(reader.fields().begin(), reader.fields().end());
        }
    }
    return findAliasPrimaryKey();
}

bool TableMetaData::findAliasPrimaryKey() {
    aliasPrimaryKey_ = isAliasPrimaryKey();
    return aliasPrimaryKey_;
}

void TableMetaData::writeTableMetaData(FILE* stream) {
    fileUtils_->writeRecordToTableFile(stream, columnNames_);
    fileUtils_->writeRecordToTableFile(stream, columnFlags_);
    fileUtils_->writeRecordToTableFile(stream, primaryKeyColumns_);
}

std::string TableMetaData::text() const {
    return FileUtils::recordLine(columnNames_) + FileUtils::recordLine(columnFlags_) +
           FileUtils::recordLine(primaryKeyColumns_);
}

bool TableMetaData::isAliasPrimaryKey() {
    if (primaryKeyColumns_.size() != 1) {
        return false;
    }
    return (flagOf(Utils::getColumnNameIndex(primaryKeyColumns_.front(), columnNames_)) & kIntegerFlag) != 0;
}

void TableMetaData::appendColumnName(const std::string& name) {
    columnNames_.push_back(name);
}

void TableMetaData::appendColumn(const std::string& name, long flag) {
    columnNames_.push_back(name);
    columnFlags_.push_back(std::to_string(flag));
}

void TableMetaData::checkColumnConstraint(std::vector<std::string>& words, std::string& columnName) {
    const std::string type = words.size() > 1 ? words[1] : std::string();
    long flag = 0;
    if (type == "INTEGER") {
        flag = kIntegerFlag;
    } else if (type == "REAL") {
        flag = kRealFlag;
    } else if (type == "TEXT") {
        flag = kTextFlag;
    } else {
        throw DatabaseException("checkColumnConstraint", __LINE__, "Un-Supported Data Type for column %s",
                                columnName.c_str());
    }

    if (words.size() == 4 && words[2] == "PRIMARY" && words[3] == "KEY") {
        if (!primaryKeyColumns_.empty()) {
            throw DatabaseException("checkColumnConstraint", __LINE__,
                                    "More than one Primary Key for column Definition");
        }
        primaryKeyColumns_.push_back(columnName);
        flag |= kNotNullFlag;
    } else if (words.size() == 4 && words[2] == "NOT" && words[3] == kNullWord) {
        flag |= kNotNullFlag;
    } else if (words.size() > 2) {
        throw DatabaseException("checkColumnConstraint", __LINE__, "Un-Supported option for column %s",
                                columnName.c_str());
    }
    columnFlags_.push_back(std::to_string(flag));
}

bool TableMetaData::checkTableConstraint(std::vector<std::string>& words, std::vector<std::string>& items,
                                         unsigned int& index) {
    const bool isPrimaryKey = words.size() == 2 && words[0] == "PRIMARY" && words[1].rfind("KEY", 0) == 0;
    if (!isPrimaryKey) {
        const std::string_view first = words.empty() ? std::string_view() : wordBeforeBracket(words[0]);
        if (first == "FOREIGN" || first == "CHECK") {
            throw DatabaseException("checkTableConstraint", __LINE__, "Un-Supported Constraint for Table");
        }
        return false;
    }
    if (!primaryKeyColumns_.empty()) {
        throw DatabaseException("checkTableConstraint", __LINE__, "More than one Primary Key for Table");
    }

    // The definitions were split at every comma: a key of several columns is joined again up to its bracket.
    std::string constraint;
    while (index < items.size() && items[index].find(')') == std::string::npos) {
        constraint += items[index] + ",";
        ++index;
    }
    if (index == items.size()) {
        throw DatabaseException("checkTableConstraint", __LINE__,
                                "No closing bracket for Primary Key of Table");
    }
    constraint += items[index];
    ++index;
    parsePrimaryKeyList(constraint);
    return true;
}

void TableMetaData::parsePrimaryKeyList(const std::string& constraint) {
    constexpr std::string_view kKey = "KEY";
    const std::size_t open = constraint.find_first_not_of(WHITESPACE, constraint.find(kKey) + kKey.size());
    const std::size_t close = constraint.find_last_not_of(WHITESPACE);
    if (open == std::string::npos || constraint[open] != '(' || constraint[close] != ')') {
        throw DatabaseException("checkTableConstraint", __LINE__,
                                "Primary Key Constraint is wrong for Table");
    }
    std::vector<std::string> names;
    Utils::getSplitVector(constraint, static_cast<unsigned int>(open + 1),
                          static_cast<unsigned int>(close - 1), names, ",");
    for (const std::string& piece : names) {
        const std::string name = Utils::validateColumnName(piece);
        const unsigned int column = Utils::getColumnNameIndex(name, columnNames_);
        primaryKeyColumns_.push_back(name);
        columnFlags_.at(column) = std::to_string(flagOf(column) | kNotNullFlag);
    }
}

void TableMetaData::checkColumnNullnessTypeCor(std::vector<std::string>& values, unsigned int column) {
    if (column >= columnNames_.size()) {
        throw DatabaseException("checkColumnNullnessTypeCor", __LINE__,
                                "DB Error: More values than columns in Table Definition");
    }
    if (column >= values.size()) {
        throw shortRecordError("checkColumnNullnessTypeCor");
    }
    const long flag = flagOf(column);
    std::string& value = values[column];
    if (value == kNullWord) {
        if ((flag & kNotNullFlag) != 0) {
            throw DatabaseException("checkColumnNullnessTypeCor", __LINE__,
                                    "DB Error: NULL Value is not allowed");
        }
        return;
    }
    const bool isReal = (flag & kRealFlag) != 0;
    if (!isReal && (flag & kIntegerFlag) == 0) {
        value = Utils::addSingleQuote(std::move(value));
        return;
    }
    const std::string number = Utils::removeSingleQuote(value);
    if (Utils::isNumber(number) == 0) {
        throw DatabaseException("checkColumnNullnessTypeCor", __LINE__, "DB Error: data type mismatch for %s",
                                isReal ? "float" : "Integer");
    }
    value = isReal ? printReal(StringConversion::stringToFloat(number))
                   : std::to_string(StringConversion::stringTouint64(number));
}

long TableMetaData::flagOf(std::size_t column) const {
    if (column >= columnFlags_.size()) {
        throw shortRecordError("checkColumnNullnessTypeCor");
    }
    return toFlag(columnFlags_[column]);
}

ValueType TableMetaData::typeOf(std::size_t column) const {
    return static_cast<ValueType>(flagOf(column) & kTypeMask);
}

std::size_t TableMetaData::visibleColumnCount() const {
    const std::size_t hidden = aliasPrimaryKey_ ? 0 : 1;
    return columnNames_.size() - std::min(hidden, columnNames_.size());
}

// ---- FileResultTable ----

namespace {

// Every integer is read as an unsigned 64-bit number, of which a getter keeps the low bits.
template <typename Integer>
Integer readInteger(ResultRows& rows, int columnIndex) {
    return rows.read(columnIndex)
               ? static_cast<Integer>(StringConversion::stringTouint64(std::string(rows.value())))
               : 0;
}

}  // namespace

FileResultTable::FileResultTable() : FileResultTable(std::make_unique<ResultRows>()) {}

FileResultTable::FileResultTable(std::unique_ptr<ResultRows> rows) : rows_(std::move(rows)) {}

FileResultTable::~FileResultTable() = default;

int FileResultTable::getCount() {
    return rows_->rowCount();
}

bool FileResultTable::next() {
    return rows_->next();
}

bool FileResultTable::wasNull() {
    return rows_->wasNull();
}

std::string FileResultTable::getString(int columnIndex) {
    return rows_->read(columnIndex) ? std::string(rows_->value()) : std::string();
}

bool FileResultTable::getBoolean(int columnIndex) {
    if (!rows_->read(columnIndex) || rows_->value() == "0") {
        return false;
    }
    if (rows_->value() == "1") {
        return true;
    }
    throw DatabaseException("getBoolean", __LINE__, "ResultSet Error: Can't convert to Boolean Value");
}

signed char FileResultTable::getByte(int columnIndex) {
    return readInteger<signed char>(*rows_, columnIndex);
}
short FileResultTable::getShort(int columnIndex) {
    return readInteger<short>(*rows_, columnIndex);
}
int FileResultTable::getInt(int columnIndex) {
    return readInteger<int>(*rows_, columnIndex);
}
std::int64_t FileResultTable::getLong(int columnIndex) {
    return readInteger<std::int64_t>(*rows_, columnIndex);
}

float FileResultTable::getDouble(int columnIndex) {
    return rows_->read(columnIndex) ? StringConversion::stringToFloat(std::string(rows_->value())) : 0.0F;
}

std::string FileResultTable::getString(const std::string& columnLabel) {
    return getString(rows_->indexOf(columnLabel));
}
bool FileResultTable::getBoolean(const std::string& columnLabel) {
    return getBoolean(rows_->indexOf(columnLabel));
}
signed char FileResultTable::getByte(const std::string& columnLabel) {
    return getByte(rows_->indexOf(columnLabel));
}
short FileResultTable::getShort(const std::string& columnLabel) {
    return getShort(rows_->indexOf(columnLabel));
}
int FileResultTable::getInt(const std::string& columnLabel) {
    return getInt(rows_->indexOf(columnLabel));
}
std::int64_t FileResultTable::getLong(const std::string& columnLabel) {
    return getLong(rows_->indexOf(columnLabel));
}
float FileResultTable::getDouble(const std::string& columnLabel) {
    return getDouble(rows_->indexOf(columnLabel));
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
