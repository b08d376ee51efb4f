#pragma once

#include <string_view>

#include "EngineLog.h"

/// What the evaluation of a condition logs for each record, in the order of the functions. Records that need
/// no evaluation are logged as if they had been evaluated: the log cannot be asked who listens.
namespace Kalt::Vemo::Core::Database::Filedb::ConditionLog {

inline constexpr const char* kLogTag = "WhereClause";

inline void begin() {
    FILEDB_LOG(kLogInfo, "%s", "evaluate");
}

inline void operands(std::string_view left, std::string_view right, std::string_view op) {
    FILEDB_LOG(kLogTrace, "left:[%.*s] right:[%.*s] operator:[%.*s]", static_cast<int>(left.size()),
               left.data(), static_cast<int>(right.size()), right.data(), static_cast<int>(op.size()),
               op.data());
}

inline void result(bool value) {
    FILEDB_LOG(kLogTrace, "Result of operation = %d. [0=fail, 1=success]", value ? 1 : 0);
}

inline void answer(bool isSatisfied) {
    FILEDB_LOG(kLogTrace, "%s", isSatisfied ? "WHERE evaluation is true." : "WHERE evaluation is fail.");
}

}  // namespace Kalt::Vemo::Core::Database::Filedb::ConditionLog
