#pragma once

/// @file
/// Statements with values of any type, rows that a loop goes through, transactions that end by themselves:
/// for programs that use the database through IDatabase. Nothing of the library uses this header; a program
/// compiles it in.

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "DatabaseException.h"
#include "IDatabase.h"
#include "IResultTable.h"

namespace Kalt::Vemo::Core::Database {

/// Most values that one statement of a DatabaseClient can have.
inline constexpr std::size_t kMaxStatementValues = 1024;

/// What one "?" of a statement stands for: a text as the database reads it, or NULL.
///
/// Everything that can be bound converts to it by itself. Numbers are written the same in every locale. The
/// object holds a copy of what it was made of; one thread at a time may use it.
///
/// The database takes the text "NULL" for NULL, also where the statement says '?'. To store these four
/// letters as a text write ? and bind "'NULL'".
///
///     client.execute("INSERT INTO files (name, size) VALUES ('?', ?);", "a.txt", std::nullopt);
class Value {
public:
    /// NULL.
    Value(std::nullptr_t) {}  // NOLINT(google-explicit-constructor): values are written as arguments

    /// NULL.
    Value(std::nullopt_t) {}  // NOLINT(google-explicit-constructor)

    /// A text.
    /// Throws: std::invalid_argument for a text with a NUL byte, which would end it there.
    /// @param text the text, without quotes around it
    Value(std::string text)  // NOLINT(google-explicit-constructor)
        : text_(std::move(text)) {
        if (text_->find('\0') != std::string::npos) {
            throw std::invalid_argument("DatabaseClient: a text with a NUL byte cannot be bound; remove it");
        }
    }

    /// A text. Throws: as for std::string.
    /// @param text the text, without quotes around it
    Value(std::string_view text) : Value(std::string(text)) {}  // NOLINT(google-explicit-constructor)

    /// A text, or NULL.
    /// @param text the text, without quotes around it; a null pointer for NULL
    Value(const char* text) {  // NOLINT(google-explicit-constructor)
        if (text != nullptr) {
            text_ = text;
        }
    }

    /// A truth value.
    /// @param value true for 1, false for 0
    Value(bool value) : text_(value ? "1" : "0") {}  // NOLINT(google-explicit-constructor)

    /// A letter or a number? Bind a std::string or an int.
    Value(char) = delete;

    /// A number. With a fraction it is written without an exponent, in the fewest digits that read back as
    /// the same number. Throws: std::invalid_argument for a number that is not finite.
    /// @param value the number, of any integer or floating-point type
    template <typename Number, std::enable_if_t<std::is_arithmetic_v<Number>, int> = 0>
    Value(Number value) {  // NOLINT(google-explicit-constructor)
        // Room for every digit of the largest double, and of the smallest behind its decimal point.
        std::array<char, 1100> digits{};
        std::to_chars_result end{};
        if constexpr (std::is_floating_point_v<Number>) {
            if (!std::isfinite(value)) {
                throw std::invalid_argument("DatabaseClient: a number that is not finite cannot be bound");
            }
            using Written = std::conditional_t<std::is_same_v<Number, float>, float, double>;
            end = std::to_chars(digits.data(), digits.data() + digits.size(), static_cast<Written>(value),
                                std::chars_format::fixed);
        } else {
            end = std::to_chars(digits.data(), digits.data() + digits.size(), value);
        }
        text_.emplace(digits.data(), end.ptr);
    }

    /// A value that may be missing. Throws: as for what it holds.
    /// @param value what can be bound by itself; nothing for NULL
    template <typename Held>
    Value(const std::optional<Held>& value) {  // NOLINT(google-explicit-constructor)
        if (value) {
            text_ = Value(*value).text_;
        }
    }

    /// Gives the text for the database.
    /// @return the text, valid as long as the value is unchanged; null for NULL
    const char* c_str() const noexcept { return text_ ? text_->c_str() : nullptr; }

private:
    std::optional<std::string> text_;
};

/// The row that a Rows iterator stands on. It owns nothing and looks into the result: it is valid until the
/// iterator moves or the result goes. One thread at a time may use the rows of a result.
///
///     const std::optional<int> size = row.get<std::optional<int>>("size");
class Row {
public:
    /// Looks into a result.
    /// @param result stands on a row, and outlives the object
    explicit Row(IResultTable& result) : result_(&result) {}

    /// Reads a cell.
    ///
    /// Throws: DatabaseException for a column that is not there, and for a bool whose cell is not 0 or 1;
    /// std::out_of_range for an integer that `T` has no room for.
    ///
    /// @tparam T std::string, bool, an integer or floating-point type, or std::optional of one of these. Only
    ///           std::optional tells NULL apart; any other type gives an empty text, false or 0 for it.
    ///           Floating point has the single precision that REAL columns store.
    /// @param label label of the column
    /// @return what the cell holds
    template <typename T>
    T get(const std::string& label) const {
        return read<T>(label);
    }

    /// Reads a cell, as the form with a std::string.
    /// @tparam T as there
    /// @param label label of the column, not null
    /// @return what the cell holds
    template <typename T>
    T get(const char* label) const {
        return read<T>(std::string(label));
    }

    /// Reads a cell, as the form with a std::string.
    /// @tparam T as there
    /// @param index index of the column, from 1
    /// @return what the cell holds
    template <typename T>
    T get(int index) const {
        return read<T>(index);
    }

private:
    template <typename T>
    struct IsOptional : std::false_type {};
    template <typename Held>
    struct IsOptional<std::optional<Held>> : std::true_type {};

    template <typename T, typename Column>
    T read(const Column& column) const {
        if constexpr (IsOptional<T>::value) {
            static_cast<void>(result_->getString(column));
            if (result_->wasNull()) {
                return std::nullopt;
            }
            return read<typename T::value_type>(column);
        } else if constexpr (std::is_same_v<T, std::string>) {
            return result_->getString(column);
        } else if constexpr (std::is_same_v<T, bool>) {
            return result_->getBoolean(column);
        } else if constexpr (std::is_floating_point_v<T>) {
            return static_cast<T>(result_->getDouble(column));
        } else {
            static_assert(std::is_integral_v<T>, "get<T> reads texts, numbers and std::optional of them");
            return narrowed<T>(result_->getLong(column));
        }
    }

    // The database keeps 64 bits: a signed type takes them as signed, an unsigned type as they stand.
    template <typename T>
    static T narrowed(std::int64_t value) {
        using Wide = std::conditional_t<std::is_signed_v<T>, std::int64_t, std::uint64_t>;
        const auto wide = static_cast<Wide>(value);
        if (wide < static_cast<Wide>(std::numeric_limits<T>::min()) ||
            wide > static_cast<Wide>(std::numeric_limits<T>::max())) {
            throw std::out_of_range("DatabaseClient: the number " + std::to_string(wide) +
                                    " does not fit the type that was asked for");
        }
        return static_cast<T>(wide);
    }

    IResultTable* result_;
};

/// The rows that a query selected. It owns the result, which holds copies of the cells, and goes through it
/// once, from the first row to the last. One thread at a time may use it.
///
///     for (const Row row : client.query("SELECT name, size FROM files;")) {
///         print(row.get<std::string>("name"), row.get<std::optional<int>>("size"));
///     }
class Rows {
public:
    /// An input iterator over the rows. It owns nothing and is valid as long as the Rows.
    class Iterator {
    public:
        /// @cond what the standard library asks of an iterator
        using iterator_category = std::input_iterator_tag;
        using value_type = Row;
        using difference_type = std::ptrdiff_t;
        using pointer = const Row*;
        using reference = Row;
        /// @endcond

        /// Moves the result to its next row and stands there.
        /// @param result outlives the iterator; null for the end
        explicit Iterator(IResultTable* result) : result_(result) { ++*this; }

        /// Gives the row.
        /// @return the row that the iterator stands on, valid until it moves
        Row operator*() const { return Row(*result_); }

        /// Moves to the next row, or to the end.
        /// @return the iterator
        Iterator& operator++() {
            if (result_ != nullptr && !result_->next()) {
                result_ = nullptr;
            }
            return *this;
        }

        /// Compares.
        /// @param other iterator of the same Rows
        /// @return whether both are at the end, or neither
        bool operator==(const Iterator& other) const { return result_ == other.result_; }

        /// Compares.
        /// @param other iterator of the same Rows
        /// @return whether just one is at the end
        bool operator!=(const Iterator& other) const { return result_ != other.result_; }

    private:
        IResultTable* result_;  // null after the last row
    };

    /// Takes over a result.
    /// @param result what IDatabase::executeQuery gave, not null
    explicit Rows(std::unique_ptr<IResultTable> result) : result_(std::move(result)) {}

    /// Counts the rows.
    /// @return how many there are, passed ones included
    int count() const { return result_->getCount(); }

    /// Moves to the next row: the first call stands on the first row, a further one goes on.
    /// @return an iterator at that row, or at the end
    Iterator begin() { return Iterator(result_.get()); }

    /// Gives the end.
    /// @return the iterator that begin() and ++ give after the last row
    Iterator end() { return Iterator(nullptr); }

    /// Gives the result itself, for its getters.
    /// @return the result, which the object goes on owning
    IResultTable& table() { return *result_; }

private:
    std::unique_ptr<IResultTable> result_;
};

/// Runs statements with bound values on an IDatabase, and takes care of what its variadic calls leave to the
/// caller: that there is exactly one value for each "?", that it is a `const char*`, that the result is
/// deleted.
///
/// Ownership: the database must outlive the object, which keeps nothing else. Threads: as the database's.
///
/// Errors: a statement that fails while it runs is told in the log alone, as by the database itself; what the
/// caller did wrong is thrown, before the database is called.
///
///     FileDatabase database;
///     database.init("/var/lib/app/store");
///     DatabaseClient client(database);
///     client.execute("CREATE TABLE IF NOT EXISTS files (name TEXT, size INTEGER);");
///     Transaction transaction(database);
///     client.execute("INSERT INTO files (name, size) VALUES ('?', ?);", "a.txt", 42);
///     client.execute("INSERT INTO files (name, size) VALUES ('?', ?);", "b.txt", std::nullopt);
///     if (!transaction.commit()) { ... }
///     for (const Row row : client.query("SELECT size FROM files WHERE name = '?';", "a.txt")) {
///         total += row.get<int>("size");
///     }
class DatabaseClient {
public:
    /// Runs statements on a database.
    /// @param database outlives the object
    explicit DatabaseClient(IDatabase& database) : database_(&database) {}

    /// Runs one INSERT, UPDATE, DELETE, CREATE TABLE, DROP TABLE or ALTER TABLE.
    ///
    /// Throws: std::invalid_argument, before the database is called, for a null text, for a number of values
    /// that is not the number of "?" in the text, for more than kMaxStatementValues, and for a value that
    /// cannot be bound.
    ///
    /// @param sql    the statement, closed by ";", with '?' where a text belongs and ? where a number belongs
    /// @param values one for each "?", of any type that a Value can be made of
    /// @return what IDatabase::executeUpdate returns: 0 also for a statement that failed while it ran, which
    ///         only the log tells
    template <typename... Values>
    int execute(const char* sql, Values&&... values) const {
        return executeWith(sql, {Value(std::forward<Values>(values))...});
    }

    /// Runs a change with a number of values that is known only now. Throws: as execute.
    /// @param sql    as for execute
    /// @param values one for each "?"
    /// @return as execute
    int executeWith(const char* sql, const std::vector<Value>& values) const {
        return call(&IDatabase::executeUpdate, sql, values);
    }

    /// Runs one SELECT.
    ///
    /// Throws: as execute; DatabaseException when the query fails, the log tells why.
    ///
    /// @param sql    as for execute
    /// @param values as for execute
    /// @return the rows
    template <typename... Values>
    Rows query(const char* sql, Values&&... values) const {
        return queryWith(sql, {Value(std::forward<Values>(values))...});
    }

    /// Runs a query with a number of values that is known only now. Throws: as query.
    /// @param sql    as for execute
    /// @param values one for each "?"
    /// @return the rows
    Rows queryWith(const char* sql, const std::vector<Value>& values) const {
        std::unique_ptr<IResultTable> result(call(&IDatabase::executeQuery, sql, values));
        if (result == nullptr) {
            throw DatabaseException("query", __LINE__, "DB Error: The query failed, the log tells why: %s",
                                    sql);
        }
        return Rows(std::move(result));
    }

private:
    template <typename Result>
    using Function = Result (IDatabase::*)(const char* sql, ...);
    using Arguments = std::array<const char*, kMaxStatementValues>;

    // The database reads as many arguments as its text has "?", so a call may pass more: three calls of fixed
    // length do for every number of values.
    template <typename Result>
    Result call(Function<Result> function, const char* sql, const std::vector<Value>& values) const {
        requireOneForEach(sql, values.size());
        Arguments arguments{};
        for (std::size_t i = 0; i < values.size(); ++i) {
            arguments[i] = values[i].c_str();
        }
        constexpr std::size_t kFew = 8;
        constexpr std::size_t kSome = 64;
        if (values.size() <= kFew) {
            return pass(function, sql, arguments, std::make_index_sequence<kFew>());
        }
        if (values.size() <= kSome) {
            return pass(function, sql, arguments, std::make_index_sequence<kSome>());
        }
        return pass(function, sql, arguments, std::make_index_sequence<kMaxStatementValues>());
    }

    template <typename Result, std::size_t... Index>
    Result pass(Function<Result> function, const char* sql, const Arguments& arguments,
                std::index_sequence<Index...>) const {
        return (database_->*function)(sql, arguments[Index]...);
    }

    static void requireOneForEach(const char* sql, std::size_t count) {
        if (sql == nullptr) {
            throw std::invalid_argument("DatabaseClient: the statement is a null pointer; pass SQL text");
        }
        std::size_t wanted = 0;
        for (const char c : std::string_view(sql)) {
            wanted += c == '?' ? 1 : 0;
        }
        if (wanted != count) {
            throw std::invalid_argument("DatabaseClient: " + std::to_string(count) + " values for " +
                                        std::to_string(wanted) + " \"?\" in: " + sql);
        }
        if (count > kMaxStatementValues) {
            throw std::invalid_argument("DatabaseClient: " + std::to_string(count) +
                                        " values; a statement can have " +
                                        std::to_string(kMaxStatementValues) + ", split it");
        }
    }

    IDatabase* database_;
};

/// A transaction that is rolled back when the object goes, unless it was committed.
///
/// Threads: the one that makes the object must also end the transaction; all others wait meanwhile.
/// Ownership: the database must outlive the object. One at a time: a second one inside the first belongs to
/// the same transaction of the database. Errors: no call throws.
///
///     Transaction transaction(database);
///     client.execute("DELETE FROM files;");
///     if (!transaction.commit()) { ... }
class Transaction {
public:
    /// Begins a transaction.
    /// @param database open, and outlives the object
    explicit Transaction(IDatabase& database) : database_(database), open_(database.beginTransaction()) {}

    /// Rolls back what was not committed. A rollback that fails is in the log.
    ~Transaction() {
        if (open_) {
            static_cast<void>(rollback());
        }
    }

    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    /// Makes the changes permanent.
    /// @return true when they are; on failure, which the log tells, false, and the transaction stays open
    [[nodiscard]] bool commit() { return end(&IDatabase::commitTransaction); }

    /// Drops the changes now.
    /// @return as commit
    bool rollback() noexcept { return end(&IDatabase::rollbackTransaction); }

    /// Tells whether there is something to end.
    /// @return true until a commit or rollback succeeded
    bool isOpen() const noexcept { return open_; }

private:
    bool end(bool (IDatabase::*call)()) {
        if (!open_ || !(database_.*call)()) {
            return false;
        }
        open_ = false;
        return true;
    }

    IDatabase& database_;
    bool open_;
};

}  // namespace Kalt::Vemo::Core::Database
