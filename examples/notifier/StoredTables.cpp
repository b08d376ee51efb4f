#include "StoredTables.h"

#include <vector>

#include "console/Printable.h"
#include "console/TablePrinter.h"
#include "requests/OtherClient.h"

namespace Notifier {

using Kalt::Vemo::Requests::OtherClient;
using Kalt::Vemo::Tool::Escapes;
using Kalt::Vemo::Tool::kIndentedLayout;
using Kalt::Vemo::Tool::TableRow;

namespace {

bool isNumber(const std::string& text) {
    const std::size_t sign = text.compare(0, 1, "-") == 0 ? 1 : 0;
    return text.size() > sign && text.find_first_not_of("0123456789", sign) == std::string::npos;
}

TableRow rowOf(const std::vector<std::string>& cells) {
    TableRow row;
    for (const std::string& cell : cells) {
        row.push_back({printable(cell, Escapes::kReversible), isNumber(cell), ""});
    }
    return row;
}

void print(std::ostream& out, const OtherClient::Table& table) {
    out << '\n' << table.file;
    if (!table.readable) {
        out << ": cannot be read, or is not there\n";
        return;
    }
    out << ": " << table.rows.size() << (table.rows.size() == 1 ? " row\n" : " rows\n");
    std::vector<TableRow> rows;
    for (const std::vector<std::string>& cells : table.rows) {
        rows.push_back(rowOf(cells));
    }
    printTable(out, kIndentedLayout, rowOf(table.columns), rows);
}

}  // namespace

void printStoredTables(std::ostream& out, const std::string& path) {
    const OtherClient client(path);
    const OtherClient::Table mine = client.read(
        "MySubscriptions",
        {"ROWID", "requestId", "deviceId", "subscribedResource", "subscriptionUri", "notificationUri"});
    const OtherClient::Table others = client.read(
        "Subscriptions",
        {"ROWID", "expireTime", "deviceId", "subscribedResource", "subscriptionUri", "notificationUri"});
    print(out, mine);
    print(out, others);
}

}  // namespace Notifier
