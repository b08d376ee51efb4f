#include "StoredRow.h"

#include "StoreLog.h"
#include "StringConversion.h"
#include "TableFormat.h"
#include "Utils.h"

namespace Kalt::Vemo::Notification {

using Core::Database::Filedb::kMaxLineLength;
using Core::Database::Filedb::kNullWord;
using Core::Database::Filedb::Utils;
using Platform::StringConversion;

std::size_t bytesOfText(const std::string& text) {
    return text == kNullWord ? text.size() + kFieldCloser : kShortestText + text.size();
}

std::size_t bytesOfRecord(const SubscriptionRecord& record) {
    return bytesOfText(record.deviceId) + bytesOfText(record.subscribedResource) +
           bytesOfText(record.subscriptionUri) + bytesOfText(record.notificationUri);
}

std::size_t bytesOfInteger(const std::string& number) {
    return std::to_string(StringConversion::stringTouint64(number)).size() + kFieldCloser;
}

std::size_t bytesOfTextAsInteger(const std::string& text) {
    return Utils::isNumber(text) != 0 ? bytesOfInteger(text) : bytesOfText(text);
}

bool mayStoreLine(std::size_t bytes) {
    return bytes <= kMaxLineLength;
}

bool refuseLength(const char* operation) {
    logError(std::string(operation) + ": the row's line would be longer than " +
             std::to_string(kMaxLineLength) + " bytes in the table's file; shorten its texts");
    return false;
}

bool fits(const char* operation, std::size_t line) {
    return mayStoreLine(line) || refuseLength(operation);
}

}  // namespace Kalt::Vemo::Notification
