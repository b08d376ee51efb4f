#pragma once

#include <memory>
#include <string>

#include "BoundValues.h"
#include "SqlText.h"

namespace Kalt::Vemo::Core::Database::Filedb {

class ResultRows;
class TableStore;

/// Runs a SELECT: reads the table record by record, and copies what the select list names from those that
/// satisfy the condition.
///
/// Threads: under the database's lock. Throws: DatabaseException "DB Error: Table does not exists...", and
/// the errors of names, conditions and files.
[[nodiscard]] std::unique_ptr<ResultRows> selectRows(TableStore& store, const std::string& statement,
                                                     const SqlText::Select& select, const Values& values);

}  // namespace Kalt::Vemo::Core::Database::Filedb
