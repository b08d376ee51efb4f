#include "Arguments.h"

#include <algorithm>
#include <string_view>

#include "StoreLog.h"

namespace Kalt::Vemo::Notification {

namespace {

// The first position in the text of one of the characters; npos when there is none.
std::size_t findAny(const std::string& text, std::string_view characters) {
    std::size_t first = std::string::npos;
    for (const char character : characters) {
        // One search for each character: the C library has vector instructions for one, not for several.
        first = std::min(first, text.find(character));
    }
    return first;
}

// False, with a line in the log, when a value holds one of the characters.
bool holdNone(const char* operation, std::string_view characters, std::initializer_list<Argument> arguments) {
    for (const Argument& argument : arguments) {
        const std::size_t position = findAny(argument.value, characters);
        if (position == std::string::npos) {
            continue;
        }
        const char found = argument.value[position];
        const char* const what = found == '~'    ? "a \"~\", which separates the fields of a stored row"
                                 : found == '\n' ? "a line feed, which ends a stored row"
                                 : found == '?'  ? "a \"?\", which a statement takes for a placeholder"
                                                 : "a NUL byte, which ends a text";
        logError(std::string(operation) + ": " + argument.name + " holds " + what + " (at byte " +
                 std::to_string(position + 1) + "); pass it without");
        return false;
    }
    return true;
}

constexpr std::string_view kUnfitToSend("\0", 1);
constexpr std::string_view kUnfitToPaste("\0?", 2);
constexpr std::string_view kUnfitToStore("\0~\n", 3);

}  // namespace

bool canSend(const char* operation, std::initializer_list<Argument> arguments) {
    return holdNone(operation, kUnfitToSend, arguments);
}

bool canPaste(const char* operation, std::initializer_list<Argument> arguments) {
    return holdNone(operation, kUnfitToPaste, arguments);
}

bool canStore(const char* operation, std::initializer_list<Argument> arguments) {
    return holdNone(operation, kUnfitToStore, arguments);
}

bool canStoreRecord(const char* operation, const SubscriptionRecord& record) {
    return canStore(operation, {{"deviceId", record.deviceId},
                                {"subscribedResource", record.subscribedResource},
                                {"subscriptionUri", record.subscriptionUri},
                                {"notificationUri", record.notificationUri}});
}

}  // namespace Kalt::Vemo::Notification
