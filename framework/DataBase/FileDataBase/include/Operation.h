#pragma once

namespace Kalt::Vemo::Core::Database::Filedb {

/// What a statement did to a table; the journal records the number. A journal may hold other numbers, which
/// mean no operation.
enum class Operation : signed char {
    none = 0,
    insertRow = 1,
    deleteRows = 2,
    updateRows = 3,
    createTable = 4,
    dropTable = 5
};

/// Whether the operation writes a working copy, which the commit copies over the table.
constexpr bool writesWorkingCopy(Operation operation) {
    return operation >= Operation::insertRow && operation <= Operation::createTable;
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
