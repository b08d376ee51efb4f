#pragma once

#include <vector>

#include "sql/ResultSet.h"
#include "virtual/Sqlite.h"

namespace Kalt::Vemo::Tool {

/// Takes in the rows that a statement gives in SQLite, in the form in which they are shown. A column has the
/// type that its table gives it; an expression has that of its values.
class SqliteResult {
public:
    explicit SqliteResult(sqlite3_stmt* statement);

    /// Takes the row on which the statement stands.
    void takeRow();
    ResultSet take();

private:
    sqlite3_stmt* statement_;
    ResultSet result_;
    std::vector<bool> isTypeGiven_;
};

}  // namespace Kalt::Vemo::Tool
