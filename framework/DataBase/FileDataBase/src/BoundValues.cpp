#include "BoundValues.h"

#include <string_view>

#include "DatabaseException.h"
#include "EngineLog.h"
#include "TableFormat.h"
#include "Utils.h"

namespace Kalt::Vemo::Core::Database::Filedb::BoundValues {

namespace {

constexpr const char* kLogTag = "FileDatabase";

}  // namespace

std::size_t countPlaceholders(const std::string& sql) {
    return Utils::count(sql, '?');
}

Values collect(std::size_t placeholderCount, va_list arguments) {
    Values values;
    values.reserve(placeholderCount);
    while (values.size() < placeholderCount) {
        const char* argument = va_arg(arguments, const char*);
        values.emplace_back(argument == nullptr ? kNullWord : argument);
    }
    return values;
}

std::string written(const std::string& value, bool isQuoted) {
    return isQuoted && value != kNullWord ? Utils::inSingleQuotes(value) : value;
}

std::string textFor(const std::string& holder, const Values& values, unsigned int index) {
    if (index >= values.size()) {
        throw DatabaseException("validateValuePlaceHolder", __LINE__,
                                "Not provided value for value Holder: %s", holder.c_str());
    }
    const std::string_view trimmed = Utils::trimmed(holder);
    if (trimmed != "?" && trimmed != "'?'") {
        throw DatabaseException("validateValuePlaceHolder", __LINE__,
                                "Invalid value for value holder String: (%s)", std::string(trimmed).c_str());
    }
    std::string result = written(values[index], trimmed != "?");
    FILEDB_LOG(kLogTrace, "Value Holder:%s Value:%s", holder.c_str(), result.c_str());
    return result;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb::BoundValues
