#include "Operations.h"

#include <list>
#include <stdexcept>

using Kalt::Vemo::Notification::SubscriptionRecord;

namespace {

using Step = std::function<void(Subject&, int)>;
using Records = std::list<SubscriptionRecord>;

constexpr int kPendingRequest = 1000000;  // no row of the filled table has it
constexpr int kTransactionRows = 1000;  // so that the first one, which makes the working copy, does not count

void check(bool result) {
    if (!result) {
        throw std::runtime_error("the store refused an operation, see the log");
    }
}

void expectRows(std::size_t rows, bool wanted) {
    if ((rows > 0) != wanted) {
        throw std::runtime_error("a query found what it should not, or not what it should");
    }
}

int middle(int rows) {
    return rows / 2 + 1;
}

// A different text at each call: SQLite does not write a row that stays as it was.
std::string otherDevice() {
    static int calls = 0;
    ++calls;
    return "device-" + std::to_string(100 + calls % 2);
}

SubscriptionRecord saved;  // the record that a round has added

void save(Subject& subject, int /*rows*/) {
    saved = sampleRecord(7);
    check(subject.store().saveSubscription(saved));
}

void removeSaved(Subject& subject, int /*rows*/) {
    std::string id = std::to_string(saved.subscriptionId);
    check(subject.store().deleteSubscriptionBySubscriptionID(id));
}

void savePending(Subject& subject, int /*rows*/) {
    saved = sampleRecord(7);
    saved.subscriptionUri = "/subscriptions/pending/";
    check(subject.store().savePendingMySubscription(kPendingRequest, saved));
}

void removePending(Subject& subject, int /*rows*/) {
    check(subject.store().deletePendingMySubscription(kPendingRequest));
}

void removeMine(Subject& subject, int /*rows*/) {
    check(subject.store().deleteMySubscriptionBySubscriptionUri(saved.deviceId, saved.subscriptionUri));
}

Operation change(std::string name, Step before, Step timed, Step after) {
    return {std::move(name), true, true, 1, std::move(before), std::move(timed), std::move(after)};
}

Operation query(std::string name, std::function<void(Subject&, int, Records&)> find, bool wanted) {
    return {std::move(name),
            false,
            true,
            1,
            nullptr,
            [find = std::move(find), wanted](Subject& subject, int rows) {
                Records records;
                find(subject, rows, records);
                expectRows(records.size(), wanted);
            },
            nullptr};
}

// What others hold on this device: the table Subscriptions.
std::vector<Operation> operationsOnOthers() {
    return {
        change("save", nullptr, save, removeSaved),
        change(
            "update", nullptr,
            [](Subject& subject, int rows) {
                SubscriptionRecord record = sampleRecord(middle(rows));
                record.deviceId = otherDevice();
                record.subscriptionId = middle(rows);
                check(subject.store().updateSubscription(record));
            },
            nullptr),
        change("delete", save, removeSaved, nullptr),
        change(
            "delete expired", [](Subject& subject, int) { subject.addExpiredRow(); },
            [](Subject& subject, int) { check(subject.store().deleteExpiredSubscriptions()); }, nullptr),
        query(
            "find by resource",
            [](Subject& subject, int rows, Records& records) {
                std::string resource = sampleRecord(middle(rows)).subscribedResource;
                check(subject.store().getSubscriptionContainingResource(resource, records));
            },
            true),
        query(
            "find by three resources",
            [](Subject& subject, int rows, Records& records) {
                check(subject.store().getSubscriptionContainingResourceList(
                    {sampleRecord(middle(rows)).subscribedResource, "/home/nowhere", "/home/attic/sensor"},
                    records));
            },
            true),
        query(
            "find by identifier",
            [](Subject& subject, int rows, Records& records) {
                std::string id = std::to_string(middle(rows));
                check(subject.store().getSubscriptionBySubscriptionID(id, records.emplace_back()));
            },
            true),
        query(
            "list all",
            [](Subject& subject, int, Records& records) { check(subject.store().getSubscriptions(records)); },
            true),
    };
}

// What this device holds on others: the table MySubscriptions.
std::vector<Operation> operationsOnMine() {
    return {
        change("save pending", nullptr, savePending, removePending),
        change("delete pending", savePending, removePending, nullptr),
        change(
            "answer pending", savePending,
            [](Subject& subject, int) {
                check(subject.store().updateMySubscription(kPendingRequest, saved.subscriptionUri));
            },
            removeMine),
        change(
            "update mine by URI", savePending,
            [](Subject& subject, int) {
                // The engine checks the new resource like the table's first column, so only a number takes
                // effect.
                std::string resource = "12";
                check(subject.store().updateMySubscriptionBySubscriptionUri(saved.subscriptionUri, resource));
            },
            removeMine),
        change("delete mine by URI", savePending, removeMine, nullptr),
        query(
            "find mine by URI",
            [](Subject& subject, int rows, Records& records) {
                std::string uri = sampleRecord(middle(rows)).subscriptionUri;
                check(subject.store().getMySubscriptionBySubscriptionUri(uri, records.emplace_back()));
            },
            true),
        query(
            "find mine by device",
            [](Subject& subject, int, Records& records) {
                std::string device = "device-7";
                check(subject.store().getMySubscriptionByDeviceId(device, records));
            },
            true),
        query(
            "find mine by device and resource",
            [](Subject& subject, int rows, Records& records) {
                SubscriptionRecord record = sampleRecord(middle(rows));
                check(subject.store().getMySubscriptionByResourcePaths(record.deviceId,
                                                                       record.subscribedResource, records));
            },
            true),
    };
}

std::vector<Operation> openingOperations() {
    return {
        {"open and close", false, true, 1, nullptr,
         [](Subject& subject, int) {
             std::string path = subject.path();
             check(subject.store().deinit());
             check(subject.store().init(path, 0));
         },
         nullptr},
    };
}

std::vector<Operation> statementOperations() {
    const Step dropExtra = [](Subject& subject, int) { subject.dropTable(); };
    const Step createExtra = [](Subject& subject, int) { subject.createTable(); };
    const auto removeLast = [](Subject& subject, int) { subject.deleteLastRow(); };
    const auto insertRow = [](Subject& subject, int) { subject.insertRow(); };
    const auto expectSome = [](int count) { expectRows(static_cast<std::size_t>(count), true); };
    return {
        change("CREATE TABLE", nullptr, createExtra, dropExtra),
        change("DROP TABLE", createExtra, dropExtra, nullptr),
        {"ALTER TABLE (check)", true, false, 1, nullptr,
         [](Subject& subject, int) { subject.checkNewColumn(); }, nullptr},
        change("INSERT", nullptr, insertRow, removeLast),
        {"INSERT in a transaction, a row", true, true, kTransactionRows,
         [](Subject& subject, int) { subject.begin(); },
         [](Subject& subject, int) {
             for (int i = 0; i < kTransactionRows; ++i) {
                 subject.insertRow();
             }
         },
         [](Subject& subject, int) { subject.rollback(); }},
        change(
            "UPDATE one row", nullptr,
            [](Subject& subject, int rows) { subject.updateRow(middle(rows), otherDevice()); }, nullptr),
        change(
            "UPDATE all rows", nullptr, [](Subject& subject, int) { subject.updateAllRows(otherDevice()); },
            nullptr),
        change("DELETE one row", insertRow, removeLast, nullptr),
        {"SELECT all rows", false, true, 1, nullptr,
         [expectSome](Subject& subject, int) { expectSome(subject.selectAll()); }, nullptr},
        {"SELECT by text", false, true, 1, nullptr, [](Subject& subject, int) { subject.selectByText(); },
         nullptr},
        {"SELECT by pattern", false, true, 1, nullptr,
         [expectSome](Subject& subject, int) { expectSome(subject.selectByPattern()); }, nullptr},
    };
}

}  // namespace

const std::vector<Operation>& operations() {
    static const std::vector<Operation> kAll = [] {
        std::vector<Operation> all;
        for (const auto& list :
             {operationsOnOthers(), operationsOnMine(), openingOperations(), statementOperations()}) {
            all.insert(all.end(), list.begin(), list.end());
        }
        return all;
    }();
    return kAll;
}
