#pragma once

#include <initializer_list>
#include <string>

#include "SubscriptionRecord.h"

/// Refuses arguments that cannot be sent or stored, before anything is changed: each function then logs which
/// one it is, what is wrong with it and where, and returns false.
namespace Kalt::Vemo::Notification {

/// An argument of an operation. Lifetime: that of its value.
struct Argument {
    const char* name;
    const std::string& value;
};

/// No NUL byte: it would end the text.
[[nodiscard]] bool canSend(const char* operation, std::initializer_list<Argument> arguments);

/// No NUL byte, and no "?", which is a placeholder in a statement.
[[nodiscard]] bool canPaste(const char* operation, std::initializer_list<Argument> arguments);

/// Nothing that ends a field or a row in a table's file.
[[nodiscard]] bool canStore(const char* operation, std::initializer_list<Argument> arguments);
[[nodiscard]] bool canStoreRecord(const char* operation, const SubscriptionRecord& record);

}  // namespace Kalt::Vemo::Notification
