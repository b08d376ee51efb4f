#include "SubscriptionFileDatabase.h"

#include <algorithm>
#include <ctime>
#include <exception>
#include <initializer_list>
#include <string_view>

#include "EngineAccess.h"
#include "FileDatabase.h"
#include "IDatabase.h"
#include "IResultTable.h"
#include "Log.h"
#include "Refusal.h"
#include "StringConversion.h"
#include "VEMOFileSubscriptionDB.h"

namespace Kalt::Vemo::Notification {

using Core::Database::IDatabase;
using Core::Database::IResultTable;
using Core::Database::Filedb::EngineAccess;
using Core::Database::Filedb::lastRefusal;
using Core::Database::Filedb::Refusal;
using Platform::StringConversion;

namespace {

// The log, as the device's platform numbers modules and levels.

constexpr int kLogModule = 16;
constexpr const char* kLogTag = "FileSubscriptionDatabase";
constexpr auto kLogError = static_cast<Log::log_level>(-2);

void logError(const std::string& text, const char* file = __builtin_FILE(),
              unsigned int line = static_cast<unsigned int>(__builtin_LINE())) {
    Log::Log::log(file, line, kLogModule, kLogTag, kLogError, "%s", text.c_str());
}

// What a table's file can hold. A row is one line: its fields, each closed by "~" or, the last one, by a line
// feed.

constexpr std::size_t kLongestLine = 1023;

bool mayStoreLine(std::size_t bytes) {
    return bytes <= kLongestLine;
}

bool refuseLength(const char* operation) {
    logError(std::string(operation) + ": the row's line would be longer than " +
             std::to_string(kLongestLine) + " bytes in the table's file; shorten its texts");
    return false;
}

bool fits(const char* operation, std::size_t line) {
    return line <= kLongestLine || refuseLength(operation);
}

// Statements. Each value stands for one "?" of the text.

template <typename... Values>
bool send(IDatabase& database, const char* sql, const Values&... values) {
    return database.executeUpdate(sql, values.c_str()...) == 0;
}

// The database's result does not tell of a statement that the operating system kept from being stored.
bool wasRefusedBySystem() {
    return lastRefusal() == Refusal::system;
}

template <typename... Values>
bool update(IDatabase& database, const char* sql, const Values&... values) {
    return send(database, sql, values...) && !wasRefusedBySystem();
}

/// An update that makes rows longer; false, with nothing changed, when one of them would not fit in its line.
template <typename... Values>
bool updateThatFits(const char* operation, IDatabase& database, const char* sql, const Values&... values) {
    return update(database, sql, values...) && (lastRefusal() != Refusal::content || refuseLength(operation));
}

template <typename... Values>
IResultTable* query(IDatabase& database, const char* sql, const Values&... values) {
    return database.executeQuery(sql, values.c_str()...);
}

// Labels of the columns that make up a record. Strings, because the getters take strings: made once, not for
// each row.

const std::string kDeviceId = "deviceId";
const std::string kSubscribedResource = "subscribedResource";
const std::string kSubscriptionUri = "subscriptionUri";
const std::string kNotificationUri = "notificationUri";
const std::string kRowId = "ROWID";

// Arguments that cannot be sent or stored are refused before anything is changed.

struct Argument {
    const char* name;
    const std::string& value;
};

/// Where the first of the characters stands in the text.
std::size_t findAny(const std::string& text, std::string_view characters) {
    std::size_t first = std::string::npos;
    for (const char character : characters) {
        // One search for each character: the C library finds one with vector instructions, any of several
        // not.
        first = std::min(first, text.find(character));
    }
    return first;
}

/// Refuses values that hold one of the characters; true when none does.
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

constexpr std::string_view kCutsText("\0", 1);
constexpr std::string_view kCutsTextOrStatement("\0?", 2);
constexpr std::string_view kCutsRow("\0~\n", 3);

bool canSend(const char* operation, std::initializer_list<Argument> arguments) {
    return holdNone(operation, kCutsText, arguments);
}

bool canPaste(const char* operation, std::initializer_list<Argument> arguments) {
    return holdNone(operation, kCutsTextOrStatement, arguments);
}

bool canStore(const char* operation, std::initializer_list<Argument> arguments) {
    return holdNone(operation, kCutsRow, arguments);
}

bool canStoreRecord(const char* operation, const SubscriptionRecord& record) {
    return canStore(operation, {{"deviceId", record.deviceId},
                                {"subscribedResource", record.subscribedResource},
                                {"subscriptionUri", record.subscriptionUri},
                                {"notificationUri", record.notificationUri}});
}

// Bytes that a field takes in its row's line, the character that closes it included.

constexpr std::size_t kCloser = 1;
constexpr std::size_t kNull = 4 + kCloser;
constexpr std::size_t kShortestText = 2 + kCloser;
constexpr std::size_t kShortestField = 1 + kCloser;  // a digit

/// The word NULL is stored bare, any other text in quotes.
std::size_t bytesOfText(const std::string& text) {
    return text == "NULL" ? kNull : kShortestText + text.size();
}

std::size_t bytesOfRecord(const SubscriptionRecord& record) {
    return bytesOfText(record.deviceId) + bytesOfText(record.subscribedResource) +
           bytesOfText(record.subscriptionUri) + bytesOfText(record.notificationUri);
}

/// An INTEGER column keeps numbers as unsigned 64-bit ones: -1 is stored as 18446744073709551615.
std::size_t bytesOfInteger(const std::string& number) {
    return std::to_string(StringConversion::stringTouint64(number)).size() + kCloser;
}

/// A text that the database checks and stores as a number; it refuses what is not one.
std::size_t bytesOfTextAsInteger(const std::string& text) {
    const std::size_t firstDigit = text.find_first_of("+-") == 0 ? 1 : 0;
    const bool isNumber = text.find_first_not_of("0123456789.", firstDigit) == std::string::npos &&
                          text.find('.') == text.rfind('.');
    return isNumber ? bytesOfInteger(text) : bytesOfText(text);
}

/// The transaction of a save. It ends with the object, at the latest, unless it is to stay open.
class SaveTransaction {
public:
    explicit SaveTransaction(IDatabase& database) : database_(database) { database.beginTransaction(); }
    ~SaveTransaction() { end(); }
    SaveTransaction(const SaveTransaction&) = delete;
    SaveTransaction& operator=(const SaveTransaction&) = delete;

    bool commit() {
        isOpen_ = !database_.commitTransaction();
        return !isOpen_;
    }

    void stayOpen() { isOpen_ = false; }

    /// Nobody may have to wait for a transaction that can come to nothing.
    void end() {
        if (isOpen_) {
            isOpen_ = false;
            EngineAccess::endTransaction(database_);
        }
    }

private:
    IDatabase& database_;
    bool isOpen_ = true;
};

/// Inserts a row in a transaction of its own and sets the record's identifier.
///
/// @param shortestLine bytes of the row's line in the narrowest layout, with the shortest ROWID
/// @param insert       runs the INSERT
template <typename Insert>
bool insertRow(const char* operation, IDatabase& database, std::size_t shortestLine, Insert insert,
               SubscriptionRecord& record) {
    if (!fits(operation, shortestLine)) {
        return false;
    }
    SaveTransaction transaction(database);
    const bool isTaken = insert();
    const Refusal refusal = lastRefusal();
    if (refusal == Refusal::none && isTaken) {
        record.subscriptionId = database.getLastInsertRowid();
        return transaction.commit();
    }
    if (refusal == Refusal::none) {
        transaction.stayOpen();  // with its lock, until the thread's next save
    }
    transaction.end();
    if (refusal == Refusal::content) {
        // Near the limit the ROWID and an expireTime of NULL decide whether the row fits.
        return refuseLength(operation);
    }
    logError("Database INSERT failed!");
    return false;
}

/// The text with the value in place of each "?". Nothing escapes quotes and blanks in it.
std::string pasted(std::string_view text, const std::string& value) {
    std::string result;
    for (const char character : text) {
        if (character == '?') {
            result += value;
        } else {
            result += character;
        }
    }
    return result;
}

/// The clause with each resource pasted in, joined by OR. False without a resource, and for one that cannot
/// be part of a statement.
bool joinClauses(const char* operation, std::string_view clause, const std::list<std::string>& resources,
                 std::string& joined) {
    for (const std::string& resource : resources) {
        if (!canPaste(operation, {{"resource", resource}})) {
            return false;
        }
        joined += (joined.empty() ? "" : " OR ") + pasted(clause, resource);
    }
    return !resources.empty();
}

}  // namespace

ISubscriptionDB* VEMOFileSubscriptionDB::createInstance() {
    return new FileSubscriptionDatabase();
}

// Opening and closing

FileSubscriptionDatabase::FileSubscriptionDatabase() = default;

FileSubscriptionDatabase::~FileSubscriptionDatabase() {
    FileSubscriptionDatabase::deinit();
}

bool FileSubscriptionDatabase::init(std::string& path, int expiryTimeVal) {
    if (path.empty()) {
        logError("failed!.. DB path is empty");
        return false;
    }
    if (!canSend("init", {{"path", path}})) {
        return false;
    }
    setSubExprTimeVal(expiryTimeVal);
    try {
        return openDatabase(path);
    } catch (const std::exception& error) {
        logError(std::string("init: ") + error.what());
        return false;
    }
}

bool FileSubscriptionDatabase::openDatabase(const std::string& path) {
    // The earlier database goes first: two at once would tidy up each other's working copies.
    database_.reset();
    database_ = std::make_unique<Core::Database::Filedb::FileDatabase>(mayStoreLine);
    if (!database_->init(path)) {
        logError("File DB initialization failed!");
        return false;
    }
    if (!update(*database_,
                "CREATE TABLE IF NOT EXISTS MySubscriptions (requestId INTEGER, deviceId TEXT, "
                "subscribedResource TEXT, subscriptionUri TEXT, notificationUri TEXT);")) {
        logError("MySubscriptions Table Creation failed!");
        return false;
    }
    // The missing ";" is meant: the database refuses the statement with 1, and the table is left to other
    // clients.
    if (database_->executeUpdate("ALTER TABLE Subscriptions ADD COLUMN expireTime TEXT") == 1) {
        return true;
    }
    if (!update(*database_,
                "CREATE TABLE IF NOT EXISTS Subscriptions (deviceId TEXT, subscribedResource TEXT, "
                "subscriptionUri TEXT, notificationUri TEXT, expireTime TEXT );")) {
        logError("Subscriptions Table Creation failed!");
        return false;
    }
    return true;
}

bool FileSubscriptionDatabase::deinit() {
    database_.reset();
    return true;
}

void FileSubscriptionDatabase::setSubExprTimeVal(int seconds) {
    subExprTimeVal_ = seconds;
}

int FileSubscriptionDatabase::getSubExprTimeVal() const {
    return subExprTimeVal_;
}

// What the operations share

/// Runs the operation on the open database; false when there is none, or when an exception ends it.
template <typename Operation>
bool FileSubscriptionDatabase::run(const char* name, Operation operation) {
    try {
        if (!database_) {
            logError(std::string(name) + ": the store is not open; call init first");
            return false;
        }
        return operation(*database_);
    } catch (const std::exception& error) {
        // Without a text that is put together: there may be no memory for it.
        Log::Log::log(__FILE__, __LINE__, kLogModule, kLogTag, kLogError, "%s: %s", name, error.what());
        return false;
    }
}

/// Appends a record for each row and deletes the rows; the list is unchanged when a row cannot be read.
bool FileSubscriptionDatabase::populateSubscriptionRecords(IResultTable* rows,
                                                           std::list<SubscriptionRecord>& records) {
    const std::unique_ptr<IResultTable> owned(rows);
    if (!owned) {
        logError("Failed to execute SQL Select Statement");
        return false;
    }
    std::list<SubscriptionRecord> found;
    while (owned->next()) {
        SubscriptionRecord& record = found.emplace_back();
        record.deviceId = owned->getString(kDeviceId);
        record.subscribedResource = owned->getString(kSubscribedResource);
        record.subscriptionUri = owned->getString(kSubscriptionUri);
        record.notificationUri = owned->getString(kNotificationUri);
        record.subscriptionId = owned->getLong(kRowId);
    }
    records.splice(records.end(), found);
    return true;
}

bool FileSubscriptionDatabase::populateFirstRecord(IResultTable* rows, SubscriptionRecord& record) {
    std::list<SubscriptionRecord> found;
    if (!populateSubscriptionRecords(rows, found)) {
        return false;
    }
    if (!found.empty()) {
        record = found.front();
    }
    return true;
}

/// The instant, in seconds since the epoch, at which a subscription that is saved now expires.
std::string FileSubscriptionDatabase::expiryInstant() const {
    return toString<long long>(static_cast<long long>(std::time(nullptr)) + getSubExprTimeVal());
}

// MySubscriptions: what this device holds, or has requested, on other devices

bool FileSubscriptionDatabase::savePendingMySubscription(int requestId, SubscriptionRecord& record) {
    constexpr const char* kName = "savePendingMySubscription";
    return run(kName, [&](IDatabase& database) {
        if (!canStoreRecord(kName, record)) {
            return false;
        }
        const std::string id = toString<int>(requestId);
        return insertRow(
            kName, database, bytesOfInteger(id) + bytesOfRecord(record) + kShortestField,
            [&] {
                return send(database,
                            "INSERT INTO MySubscriptions (requestId, deviceId, subscribedResource, "
                            "subscriptionUri, notificationUri ) VALUES (?, '?', '?', '?', '?');",
                            id, record.deviceId, record.subscribedResource, record.subscriptionUri,
                            record.notificationUri);
            },
            record);
    });
}

bool FileSubscriptionDatabase::deletePendingMySubscription(int requestId) {
    return run("deletePendingMySubscription", [&](IDatabase& database) {
        return update(database, "DELETE FROM MySubscriptions WHERE requestId = ?;", toString<int>(requestId));
    });
}

bool FileSubscriptionDatabase::updateMySubscription(int requestId, std::string& subscriptionUri) {
    constexpr const char* kName = "updateMySubscription";
    return run(kName, [&](IDatabase& database) {
        const std::string answered = "-1";
        const std::string id = toString<int>(requestId);
        const std::size_t newFields = bytesOfInteger(answered) + bytesOfText(subscriptionUri);
        if (!canStore(kName, {{"subscriptionUri", subscriptionUri}}) ||
            !fits(kName, newFields + 4 * kShortestField)) {
            return false;
        }
        return updateThatFits(
            kName, database,
            "UPDATE MySubscriptions SET requestId=?, subscriptionUri='?' WHERE requestId = ?;", answered,
            subscriptionUri, id);
    });
}

bool FileSubscriptionDatabase::updateMySubscriptionBySubscriptionUri(std::string& subscriptionUri,
                                                                     std::string& subscribedResource) {
    constexpr const char* kName = "updateMySubscriptionBySubscriptionUri";
    return run(kName, [&](IDatabase& database) {
        const std::size_t newFields = bytesOfTextAsInteger(subscribedResource);
        if (!canSend(kName, {{"subscriptionUri", subscriptionUri}}) ||
            !canStore(kName, {{"subscribedResource", subscribedResource}}) ||
            !fits(kName, newFields + 5 * kShortestField)) {
            return false;
        }
        return updateThatFits(
            kName, database,
            "UPDATE MySubscriptions SET subscribedResource = '?' WHERE subscriptionUri = '?';",
            subscribedResource, subscriptionUri);
    });
}

bool FileSubscriptionDatabase::deleteMySubscriptionBySubscriptionUri(std::string& deviceId,
                                                                     std::string& subscriptionUri) {
    constexpr const char* kName = "deleteMySubscriptionBySubscriptionUri";
    return run(kName, [&](IDatabase& database) {
        return canSend(kName, {{"deviceId", deviceId}, {"subscriptionUri", subscriptionUri}}) &&
               update(database, "DELETE FROM MySubscriptions WHERE deviceId = '?' AND subscriptionUri = '?';",
                      deviceId, subscriptionUri);
    });
}

bool FileSubscriptionDatabase::getMySubscriptionBySubscriptionUri(std::string& subscriptionUri,
                                                                  SubscriptionRecord& record) {
    constexpr const char* kName = "getMySubscriptionBySubscriptionUri";
    return run(kName, [&](IDatabase& database) {
        return canSend(kName, {{"subscriptionUri", subscriptionUri}}) &&
               populateFirstRecord(query(database,
                                         "SELECT deviceId, subscribedResource, subscriptionUri, "
                                         "notificationUri, ROWID FROM MySubscriptions WHERE "
                                         "subscriptionUri = '?';",
                                         subscriptionUri),
                                   record);
    });
}

bool FileSubscriptionDatabase::getMySubscriptionByDeviceId(std::string& deviceId,
                                                           std::list<SubscriptionRecord>& records) {
    constexpr const char* kName = "getMySubscriptionByDeviceId";
    return run(kName, [&](IDatabase& database) {
        return canSend(kName, {{"deviceId", deviceId}}) &&
               populateSubscriptionRecords(query(database,
                                                 "SELECT deviceId, subscribedResource, subscriptionUri, "
                                                 "notificationUri, ROWID FROM MySubscriptions WHERE "
                                                 "deviceId = '?';",
                                                 deviceId),
                                           records);
    });
}

bool FileSubscriptionDatabase::getMySubscriptionByResourcePaths(std::string& deviceId, std::string& resource,
                                                                std::list<SubscriptionRecord>& records) {
    constexpr const char* kName = "getMySubscriptionByResourcePaths";
    return run(kName, [&](IDatabase& database) {
        return canSend(kName, {{"deviceId", deviceId}, {"resource", resource}}) &&
               populateSubscriptionRecords(query(database,
                                                 "SELECT deviceId, subscribedResource, subscriptionUri, "
                                                 "notificationUri, ROWID FROM MySubscriptions WHERE "
                                                 "deviceId = '?' AND subscribedResource = '?';",
                                                 deviceId, resource),
                                           records);
    });
}

bool FileSubscriptionDatabase::getMySubscriptionContainingResourceList(
    std::string deviceId, std::list<std::string> resources, std::list<SubscriptionRecord>& records) {
    constexpr const char* kName = "getMySubscriptionContainingResourceList";
    return run(kName, [&](IDatabase& database) {
        std::string condition;
        if (!canPaste(kName, {{"deviceId", deviceId}}) ||
            !joinClauses(kName,
                         "( subscribedResource = '?'  OR subscribedResource LIKE '% ?'  OR "
                         "subscribedResource LIKE '? %' OR subscribedResource LIKE '% ? %' ) ",
                         resources, condition)) {
            return false;
        }
        const std::string sql =
            pasted(
                "SELECT deviceId, subscribedResource, subscriptionUri, notificationUri, ROWID FROM "
                "MySubscriptions WHERE deviceId = '?' AND( ",
                deviceId) +
            condition + ");";
        return populateSubscriptionRecords(query(database, sql.c_str()), records);
    });
}

// Subscriptions: what other parties hold on this device's resources

bool FileSubscriptionDatabase::saveSubscription(SubscriptionRecord& record) {
    constexpr const char* kName = "saveSubscription";
    return run(kName, [&](IDatabase& database) {
        if (!canStoreRecord(kName, record)) {
            return false;
        }
        const bool expires = getSubExprTimeVal() >= 1;
        return insertRow(
            kName, database, bytesOfRecord(record) + (expires ? kShortestText : 0) + kShortestField,
            [&] {
                // Now that the transaction has begun: the save may have waited for its lock.
                return expires ? send(database,
                                      "INSERT INTO Subscriptions (deviceId, subscribedResource, "
                                      "subscriptionUri, notificationUri, expireTime ) VALUES ('?', '?', '?', "
                                      "'?', '?');",
                                      record.deviceId, record.subscribedResource, record.subscriptionUri,
                                      record.notificationUri, expiryInstant())
                               : send(database,
                                      "INSERT INTO Subscriptions (deviceId, subscribedResource, "
                                      "subscriptionUri, notificationUri ) VALUES ('?', '?', '?', '?');",
                                      record.deviceId, record.subscribedResource, record.subscriptionUri,
                                      record.notificationUri);
            },
            record);
    });
}

bool FileSubscriptionDatabase::getSubscriptionContainingResource(std::string& resource,
                                                                 std::list<SubscriptionRecord>& records) {
    constexpr const char* kName = "getSubscriptionContainingResource";
    return run(kName, [&](IDatabase& database) {
        return canSend(kName, {{"resource", resource}}) &&
               populateSubscriptionRecords(
                   query(database,
                         "SELECT *, ROWID FROM Subscriptions WHERE subscribedResource = '?' OR "
                         "subscribedResource LIKE '?' OR subscribedResource LIKE '?' OR subscribedResource "
                         "LIKE '?';",
                         resource, "% " + resource, resource + " %", "% " + resource + " %"),
                   records);
    });
}

bool FileSubscriptionDatabase::getSubscriptionContainingResourceList(std::list<std::string> resources,
                                                                     std::list<SubscriptionRecord>& records) {
    constexpr const char* kName = "getSubscriptionContainingResourceList";
    return run(kName, [&](IDatabase& database) {
        std::string condition;
        if (!joinClauses(
                kName,
                " subscribedResource = '?' OR subscribedResource LIKE '%?' OR subscribedResource LIKE "
                "'?%' OR subscribedResource LIKE '%?%'  ",
                resources, condition)) {
            return false;
        }
        const std::string sql =
            "SELECT deviceId, subscribedResource, subscriptionUri, notificationUri, ROWID FROM Subscriptions "
            "WHERE " +
            condition + ";";
        return populateSubscriptionRecords(query(database, sql.c_str()), records);
    });
}

bool FileSubscriptionDatabase::getSubscriptionBySubscriptionID(std::string& id, SubscriptionRecord& record) {
    constexpr const char* kName = "getSubscriptionBySubscriptionID";
    return run(kName, [&](IDatabase& database) {
        return canSend(kName, {{"id", id}}) &&
               populateFirstRecord(query(database,
                                         "SELECT deviceId, subscribedResource, subscriptionUri, "
                                         "notificationUri, ROWID FROM Subscriptions WHERE ROWID = '?';",
                                         id),
                                   record);
    });
}

bool FileSubscriptionDatabase::updateSubscription(SubscriptionRecord& record) {
    constexpr const char* kName = "updateSubscription";
    return run(kName, [&](IDatabase& database) {
        const std::string id = toString<long long>(record.subscriptionId);
        const std::size_t newFields = bytesOfText(record.deviceId) + bytesOfText(record.subscribedResource) +
                                      bytesOfText(record.notificationUri);
        if (!canStore(kName, {{"deviceId", record.deviceId},
                              {"subscribedResource", record.subscribedResource},
                              {"notificationUri", record.notificationUri}}) ||
            !canSend(kName, {{"subscriptionUri", record.subscriptionUri}}) ||
            !fits(kName, newFields + kShortestField + id.size() + kCloser)) {
            return false;
        }
        if (getSubExprTimeVal() >= 1) {
            // The table has no column expireTimer: the database refuses the statement, and no row grows.
            return update(database,
                          "UPDATE Subscriptions SET deviceId='?', subscribedResource='?', "
                          "notificationUri='?', expireTimer='?' WHERE ROWID = '?';",
                          record.deviceId, record.subscribedResource, record.notificationUri, expiryInstant(),
                          id);
        }
        return updateThatFits(
            kName, database,
            "UPDATE Subscriptions SET deviceId='?', subscribedResource='?', notificationUri='?' "
            "WHERE ROWID = '?';",
            record.deviceId, record.subscribedResource, record.notificationUri, id);
    });
}

bool FileSubscriptionDatabase::deleteSubscriptionBySubscriptionID(std::string& id) {
    constexpr const char* kName = "deleteSubscriptionBySubscriptionID";
    return run(kName, [&](IDatabase& database) {
        return canSend(kName, {{"id", id}}) &&
               update(database, "DELETE FROM Subscriptions WHERE ROWID = ?;", id);
    });
}

bool FileSubscriptionDatabase::getSubscriptions(std::list<SubscriptionRecord>& records) {
    return run("getSubscriptions", [&](IDatabase& database) {
        return populateSubscriptionRecords(query(database,
                                                 "SELECT deviceId, subscribedResource, subscriptionUri, "
                                                 "notificationUri, ROWID FROM Subscriptions;"),
                                           records);
    });
}

bool FileSubscriptionDatabase::deleteExpiredSubscriptions() {
    return run("deleteExpiredSubscriptions", [&](IDatabase& database) {
        const std::string now = toString<long long>(static_cast<long long>(std::time(nullptr)));
        const std::string sql = "DELETE FROM Subscriptions WHERE expireTime <= '" + now + "' ;";
        if (!update(database, sql.c_str())) {
            logError("Deletion of expired subscriptions failed!");
            return false;
        }
        return true;
    });
}

}  // namespace Kalt::Vemo::Notification
