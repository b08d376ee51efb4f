#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string_view>

#include "Utils.h"

namespace Kalt::Vemo::Core::Database::Filedb {

/// Keeps the statements that were taken apart last, so that a text that comes again is not taken apart again.
/// What is kept depends on the text alone, so it never gets out of date.
///
/// Threads: every call may come from any thread.
///
/// @tparam Statement SqlText::Query or SqlText::Change
template <typename Statement>
class StatementCache {
public:
    /// The statement of this text, kept or new.
    std::shared_ptr<const Statement> get(std::string_view sql) {
        if (sql.size() > kLongestText) {
            return std::make_shared<const Statement>(sql);
        }
        std::shared_ptr<const Statement> statement = find(sql);
        if (statement == nullptr) {
            statement = std::make_shared<const Statement>(sql);
            if (Utils::count(sql, ',') <= kMostCommas) {
                keep(statement);
            }
        }
        return statement;
    }

private:
    // They bound the memory: each comma separates pieces that have strings of their own.
    static constexpr std::size_t kMostStatements = 16;
    static constexpr std::size_t kLongestText = 512;
    static constexpr std::size_t kMostCommas = 31;

    std::shared_ptr<const Statement> find(std::string_view sql) {
        const std::lock_guard<std::mutex> guard(mutex_);
        for (const std::shared_ptr<const Statement>& statement : statements_) {
            if (statement != nullptr && statement->sql() == sql) {
                return statement;
            }
        }
        return nullptr;
    }

    /// In place of the one that was kept first.
    void keep(std::shared_ptr<const Statement> statement) {
        const std::lock_guard<std::mutex> guard(mutex_);
        statements_[next_].swap(statement);
        next_ = (next_ + 1) % kMostStatements;
    }

    std::mutex mutex_;
    std::array<std::shared_ptr<const Statement>, kMostStatements> statements_;
    std::size_t next_ = 0;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
