#include <syslog.h>

#include <memory>
#include <string>

#include "Log.h"
#include "LogSink.h"
#include "VEMOFileSubscriptionDB.h"

using namespace Kalt::Vemo;

/// Two error lines belong to work going well: the first ends every copy of a table, the second every opening
/// of a store.
bool isHarmless(const std::string& text) {
    return text == "line is NULL" || text.find("No ; found at end of Statement") != std::string::npos;
}

void toSystemLog(const Log::LogMessage& message) {
    if (!isHarmless(message.text)) {
        syslog(message.level < 0 ? LOG_ERR : LOG_INFO, "%s: %s", message.tag, message.text);
    }
}

int main() {
    openlog("subscriptions", LOG_PERROR, LOG_DAEMON);  // LOG_PERROR: on standard error, too
    Log::setLogSink(toSystemLog, Log::log_error);

    const std::unique_ptr<Notification::ISubscriptionDB> store(
        Notification::VEMOFileSubscriptionDB::createInstance());
    std::string path = "/tmp/syslog";  // without the table Subscriptions
    if (!store->init(path, 3600)) {
        return 1;
    }
    Notification::SubscriptionRecord record;
    record.deviceId = "sensor-7";
    store->saveSubscription(record);
}
