#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "BenchDirectory.h"
#include "ISubscriptionDB.h"

/// One of the two stores under measurement, filled with a number of rows. The store operations go through the
/// common interface; the statements, for which there is none, have a call each.
class Subject {
public:
    virtual ~Subject() = default;

    virtual Kalt::Vemo::Notification::ISubscriptionDB& store() = 0;

    /// What the store was opened with.
    virtual std::string path() const = 0;

    virtual void begin() = 0;
    virtual void rollback() = 0;
    virtual void insertRow() = 0;
    virtual void deleteLastRow() = 0;
    virtual void addExpiredRow() = 0;
    virtual void updateRow(std::int64_t id, const std::string& device) = 0;
    virtual void updateAllRows(const std::string& device) = 0;
    virtual int selectAll() = 0;
    virtual int selectByText() = 0;
    virtual int selectByPattern() = 0;
    virtual void createTable() = 0;
    virtual void dropTable() = 0;
    virtual void checkNewColumn() = 0;
};

/// What a store does for power cuts, by the name that both stores have for it.
enum class Level { off, normal, full };

std::string nameOf(Level level);

/// @param rows rows in each of the two tables, some 200 bytes each
std::unique_ptr<Subject> makeFileSubject(Level level, Medium medium, int rows);
std::unique_ptr<Subject> makeSqliteSubject(Level level, Medium medium, int rows);

/// The record in row `index`, counted from 1.
Kalt::Vemo::Notification::SubscriptionRecord sampleRecord(int index);
