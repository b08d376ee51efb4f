// What README.md and docs/integration.md show an integrator: the text of the table, and the sample for the
// system log.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <list>
#include <memory>
#include <regex>
#include <string>

#include "FileDatabase.h"
#include "TestSupport.h"
#include "VEMOFileSubscriptionDB.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::FileDatabase;
using Notification::ISubscriptionDB;
using Notification::SubscriptionRecord;
using Notification::VEMOFileSubscriptionDB;
using ::testing::HasSubstr;

std::string page(const std::string& name) {
    return readFile(std::string(SOURCE_DIRECTORY) + "/" + name);
}

/// The text of a page's only fenced block of this language. Fails the test when there is none, or more.
std::string onlyBlock(const std::string& text, const std::string& language) {
    const std::string fence = "```" + language + "\n";
    const std::size_t begin = text.find(fence);
    if (begin == std::string::npos) {
        ADD_FAILURE() << "no block of " << language;
        return "";
    }
    EXPECT_EQ(text.find(fence, begin + 1), std::string::npos) << "more than one block of " << language;
    const std::size_t first = begin + fence.size();
    return text.substr(first, text.find("```", first) - first);
}

std::unique_ptr<ISubscriptionDB> openStore(std::string path, int expirySeconds) {
    std::unique_ptr<ISubscriptionDB> store(VEMOFileSubscriptionDB::createInstance());
    EXPECT_TRUE(store->init(path, expirySeconds));
    return store;
}

TEST(ReadmeTest, TheTableOfTheReadmeTakesWhatTheStoreSaves) {
    const TemporaryDirectory directory;
    const std::string path = directory.file("home");
    {
        FileDatabase database;
        ASSERT_TRUE(database.init(path));
        EXPECT_EQ(database.executeUpdate(onlyBlock(page("README.md"), "sql").c_str()), 0);
    }
    SubscriptionRecord lamp;
    lamp.deviceId = "lamp";
    lamp.subscribedResource = "/light";
    lamp.subscriptionUri = "/subs/1";
    lamp.notificationUri = "coap://lamp/n";
    EXPECT_TRUE(openStore(path, 0)->saveSubscription(lamp));
    EXPECT_TRUE(openStore(path, 3600)->saveSubscription(lamp));
    const std::string table = std::regex_replace(readFile(path + "_filedb/Subscriptions.table"),
                                                 std::regex("'[0-9]{10,}'"), "'INSTANT'");
    EXPECT_EQ(table,
              "deviceId~subscribedResource~subscriptionUri~notificationUri~expireTime~ROWID\n"
              "4~4~4~4~4~1\n"
              "\n"
              "'lamp'~'/light'~'/subs/1'~'coap://lamp/n'~NULL~1\n"
              "'lamp'~'/light'~'/subs/1'~'coap://lamp/n'~'INSTANT'~2\n");
    std::list<SubscriptionRecord> found;
    EXPECT_TRUE(openStore(path, 0)->getSubscriptions(found));
    EXPECT_EQ(found.size(), 2U);
}

TEST(IntegrationPageTest, PrintsTheSyslogSampleAsItIs) {
    EXPECT_THAT(page("docs/integration.md"), HasSubstr("```cpp\n" + page("examples/syslog.cpp") + "```\n"));
}

TEST(IntegrationPageTest, TheSyslogSamplePrintsWhatThePageShows) {
    const TemporaryDirectory directory;
    const std::string output = directory.file("output");
    const std::string command = std::string("rm -rf /tmp/syslog_filedb; '") + SYSLOG_PROGRAM + "' > '" +
                                output + "' 2>&1; status=$?; rm -rf /tmp/syslog_filedb; exit $status";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const std::string lines = std::regex_replace(readFile(output), std::regex("::[0-9]+ "), "::N ");
    EXPECT_THAT(page("docs/integration.md"), HasSubstr("```console\n$ ./syslog\n" + lines + "```\n"));
    EXPECT_NE(lines, "");
}

}  // namespace
}  // namespace Kalt::Vemo::Test
