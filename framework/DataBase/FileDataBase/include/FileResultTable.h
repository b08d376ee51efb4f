#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "IResultTable.h"

namespace Kalt::Vemo::Core::Database::Filedb {

class ResultRows;

/// The result of a query: the selected cells as they are stored, a cursor, and getters that convert on each
/// read. `IResultTable` tells what every call does, what it throws, who owns the object and which thread may
/// use it.
///
///     std::unique_ptr<IResultTable> rows(database.executeQuery("SELECT name FROM files;"));
class VEMO_DATABASE_EXPORT FileResultTable : public IResultTable {
public:
    /// For the engine alone: makes the result of a query.
    /// @param rows what was selected
    explicit FileResultTable(std::unique_ptr<ResultRows> rows);

    /// @name For programs other than the engine
    /// @{

    /// Makes a result without rows and columns.
    FileResultTable();

    /// @}

    ~FileResultTable() override;

    int getCount() override;
    bool next() override;
    bool wasNull() override;
    std::string getString(int columnIndex) override;
    std::string getString(const std::string& columnLabel) override;
    bool getBoolean(int columnIndex) override;
    bool getBoolean(const std::string& columnLabel) override;
    signed char getByte(int columnIndex) override;
    signed char getByte(const std::string& columnLabel) override;
    short getShort(int columnIndex) override;
    short getShort(const std::string& columnLabel) override;
    int getInt(int columnIndex) override;
    int getInt(const std::string& columnLabel) override;
    std::int64_t getLong(int columnIndex) override;
    std::int64_t getLong(const std::string& columnLabel) override;
    float getDouble(int columnIndex) override;
    float getDouble(const std::string& columnLabel) override;

private:
    std::unique_ptr<ResultRows> rows_;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
