// Runs the built program on declared input and compares its exact output, exit status and files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace Kalt::Vemo::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

const std::string kMySubscriptions =
    "requestId~deviceId~subscribedResource~subscriptionUri~notificationUri~ROWID\n"
    "1~4~4~4~4~1\n"
    "\n";
const std::string kSubscriptions =
    "deviceId~subscribedResource~subscriptionUri~notificationUri~expireTime~ROWID\n"
    "4~4~4~4~4~1\n"
    "\n";
const std::string kEmptyTables =
    "\n"
    "home_filedb/MySubscriptions.table: 0 rows\n"
    "  ROWID   requestId   deviceId   subscribedResource   subscriptionUri   notificationUri\n"
    "\n"
    "home_filedb/Subscriptions.table: 0 rows\n"
    "  ROWID   expireTime   deviceId   subscribedResource   subscriptionUri   notificationUri\n";
const std::string kUnprovisionedTables =
    "\n"
    "home_filedb/MySubscriptions.table: 0 rows\n"
    "  ROWID   requestId   deviceId   subscribedResource   subscriptionUri   notificationUri\n"
    "\n"
    "home_filedb/Subscriptions.table: cannot be read, or is not there\n";

void replaceAll(std::string& text, const std::string& what, const std::string& with) {
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size())) {
        text.replace(at, what.size(), with);
    }
}

class NotifierTest : public ::testing::Test {
protected:
    struct Run {
        int status = -1;
        std::string output;
        std::string errors;
    };

    /// Runs the program in a directory of its own. The arguments are words of a shell command.
    Run run(const std::string& arguments, const std::string& input = "",
            const std::string& output = "output") const {
        writeFile(temporary.file("input"), input);
        const std::string command = "cd '" + temporary.path() + "' && '" NOTIFIER_PROGRAM "' " + arguments +
                                    " < input > '" + output + "' 2> errors";
        const int status = std::system(command.c_str());
        Run result;
        result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        if (output == "output") {
            result.output = readFile(temporary.file("output"));
        }
        result.errors = readFile(temporary.file("errors"));
        return result;
    }

    void provide(const std::string& file, const std::string& lines) const {
        writeFile(temporary.file(file), lines);
    }

    std::string table(const std::string& name) const {
        return readFile(temporary.file("home_filedb/" + name + ".table"));
    }

    std::string journal() const { return readFile(temporary.file("home_filedb/master_rollback")); }

    TemporaryDirectory temporary;
};

std::string expectedFile(const std::string& name) {
    return readFile(std::string(NOTIFIER_EXPECTED "/") + name);
}

/// The expected files give instants as the time of the save plus the expiry; both forms have ten characters.
void replaceInstants(std::string& text, std::time_t began, std::time_t ended) {
    for (std::time_t second = began; second <= ended; ++second) {
        replaceAll(text, std::to_string(second + 3600), "NOW+003600");
        replaceAll(text, std::to_string(second + 86400), "NOW+086400");
    }
}

TEST_F(NotifierTest, PlaysADayOfAHome) {
    provide("home-day.jsonl", readFile(NOTIFIER_DATA "/home-day.jsonl"));
    const std::time_t began = std::time(nullptr);
    Run day = run("home home-day.jsonl");
    const std::time_t ended = std::time(nullptr);
    EXPECT_EQ(day.status, 0);
    EXPECT_EQ(day.errors, expectedFile("home-day.err"));
    std::string expected = expectedFile("home-day.out");
    replaceAll(expected, "HOME_filedb", "home_filedb");
    replaceInstants(day.output, began, ended);
    EXPECT_EQ(day.output, expected);

    EXPECT_THAT(listDirectory(temporary.file("home_filedb")),
                ElementsAre("MySubscriptions.table", "Subscriptions.table", "master_rollback"));
    EXPECT_EQ(journal(), "0\n");
    EXPECT_EQ(table("MySubscriptions"), expectedFile("MySubscriptions.table"));
    std::string subscriptions = table("Subscriptions");
    replaceInstants(subscriptions, began, ended);
    EXPECT_EQ(subscriptions, expectedFile("Subscriptions.table"));

    // Opened again, and once more, the store is the same.
    const std::string tables = expected.substr(expected.find("\nhome_filedb/MySubscriptions.table"));
    for (int opening = 0; opening < 2; ++opening) {
        Run again = run("home");
        EXPECT_EQ(again.status, 0);
        EXPECT_EQ(again.errors, "");
        replaceInstants(again.output, began, ended);
        EXPECT_EQ(again.output, "\n0 requests: 0 ok, 0 failed; 0 malformed lines\n" + tables);
    }
}

TEST_F(NotifierTest, DayHoldsEveryOperationThatTheHelpLists) {
    const std::string help = run("--help").output;
    const std::string list =
        help.substr(help.find("\nOperations"), help.find("\nOutput") - help.find("\nOperations"));
    const std::string day = readFile(NOTIFIER_DATA "/home-day.jsonl");
    int operations = 0;
    for (std::size_t at = list.find("\n  "); at != std::string::npos; at = list.find("\n  ", at + 1)) {
        if (list[at + 3] != ' ') {
            const std::string name = list.substr(at + 3, list.find(':', at) - at - 3);
            EXPECT_THAT(day, HasSubstr("\"op\": \"" + name + "\""));
            ++operations;
        }
    }
    EXPECT_EQ(operations, 21);
}

/// A line that is no request, and what is said of it.
struct MalformedLine {
    std::string line;
    std::string error;
};

const std::vector<MalformedLine> kMalformedLines{
    {"{",
     "the line is not JSON, from byte 2 on; expected one object, for example {\"op\": "
     "\"getSubscriptions\"}"},
    {"{\"op\": \"getSubscriptions\"} {}",
     "the line is not JSON, from byte 28 on; expected one object, for example {\"op\": "
     "\"getSubscriptions\"}"},
    {"{\"op\": \"\xff\"}",
     "the line is not JSON, from byte 9 on; expected one object, for example {\"op\": "
     "\"getSubscriptions\"}"},
    {std::string("{\"op\": \"getSubscriptions\"}\0 more", 32),
     "the line is not JSON, from byte 27 on; expected one object, for example {\"op\": "
     "\"getSubscriptions\"}"},
    {"{\"op\": \"deletePendingMySubscription\", \"requestId\": 1e400}",
     "a number on the line is too large; expected one object, for example {\"op\": \"getSubscriptions\"}"},
    {"{\"op\": \"deleteExpiredSubscriptions\", \"at\": " + std::string(200000, '[') + "7" +
         std::string(200000, ']') + "}",
     "the line nests lists or objects more than 16 deep; expected one object, for example {\"op\": "
     "\"getSubscriptions\"}"},
    {"{\"op\": \"deleteExpiredSubscriptions\", \"at\": " + std::string(15, '[') + "7" + std::string(15, ']') +
         "}",
     "deleteExpiredSubscriptions: field \"at\" is [[[[[[[[[[[[[[[7]]]]]]]]]]]]]]]; expected a text"},
    {"[]", "the line is a JSON array; expected one object, for example {\"op\": \"getSubscriptions\"}"},
    {"7", "the line is a JSON number; expected one object, for example {\"op\": \"getSubscriptions\"}"},
    {"{}", "field \"op\" is missing; expected the name of an operation (see --help)"},
    {"{\"op\": 7}", "field \"op\" is a JSON number; expected the name of an operation (see --help)"},
    {"{\"op\": \"get\\u001bSubscriptions\"}",
     "field \"op\" names the unknown operation \"get\\x1bSubscriptions\"; expected one of those that "
     "--help "
     "lists"},
    {"{\"op\": \"getSubscriptions\", \"id\": \"1\"}",
     "getSubscriptions: field \"id\" is unknown; expected no field but op and at"},
    {"{\"op\": \"getMySubscriptionByResourcePaths\", \"deviceID\": \"x\"}",
     "getMySubscriptionByResourcePaths: field \"deviceID\" is unknown; expected deviceId, resource"},
    {"{\"op\": \"getMySubscriptionByResourcePaths\", \"deviceId\": \"x\"}",
     "getMySubscriptionByResourcePaths: field \"resource\" is missing; expected a text"},
    {"{\"op\": \"getMySubscriptionByDeviceId\", \"deviceId\": null}",
     "getMySubscriptionByDeviceId: field \"deviceId\" is null; expected a text"},
    {"{\"op\": \"deleteExpiredSubscriptions\", \"at\": 7}",
     "deleteExpiredSubscriptions: field \"at\" is 7; expected a text"},
    {"{\"op\": \"deletePendingMySubscription\", \"requestId\": \"7\"}",
     "deletePendingMySubscription: field \"requestId\" is \"7\"; expected a whole number from "
     "-2147483648 to "
     "2147483647"},
    {"{\"op\": \"deletePendingMySubscription\", \"requestId\": 2147483648}",
     "deletePendingMySubscription: field \"requestId\" is 2147483648; expected a whole number from "
     "-2147483648 "
     "to 2147483647"},
    {"{\"op\": \"deletePendingMySubscription\", \"requestId\": -2147483649}",
     "deletePendingMySubscription: field \"requestId\" is -2147483649; expected a whole number from "
     "-2147483648 to 2147483647"},
    {"{\"op\": \"deletePendingMySubscription\", \"requestId\": 1.5}",
     "deletePendingMySubscription: field \"requestId\" is 1.5; expected a whole number from -2147483648 "
     "to "
     "2147483647"},
    {"{\"op\": \"deletePendingMySubscription\", \"requestId\": 1, \"requestId\": 2}",
     "field \"requestId\" stands twice; expected once"},
    {"{\"op\": \"updateSubscription\", \"subscriptionId\": 9223372036854775808, \"deviceId\": \"\", "
     "\"subscribedResource\": \"\", \"notificationUri\": \"\"}",
     "updateSubscription: field \"subscriptionId\" is 9223372036854775808; expected a whole number from "
     "-9223372036854775808 to 9223372036854775807"},
    {"{\"op\": \"getSubscriptionContainingResourceList\", \"resources\": \"/a\"}",
     "getSubscriptionContainingResourceList: field \"resources\" is \"/a\"; expected a list of texts"},
    {"{\"op\": \"getSubscriptionContainingResourceList\", \"resources\": [\"/a\", 1]}",
     "getSubscriptionContainingResourceList: field \"resources\" is [\"/a\",1]; expected a list of "
     "texts"},
    {"{\"op\": \"setExpireTime\", \"subscriptionId\": 1, \"expireTime\": \"12345\"}",
     "setExpireTime: field \"expireTime\" is \"12345\"; expected a text of ten digits (seconds since the "
     "epoch) "
     "or null"},
    {"{\"op\": \"setExpireTime\", \"subscriptionId\": 1, \"expireTime\": \"12345~7890\"}",
     "setExpireTime: field \"expireTime\" is \"12345~7890\"; expected a text of ten digits (seconds "
     "since the "
     "epoch) or null"},
};

TEST_F(NotifierTest, MalformedLinesAreReportedAndTheOthersApplied) {
    std::string lines = "{\"op\": \"provision\"}\n";
    std::string errors;
    int number = 1;
    for (const MalformedLine& row : kMalformedLines) {
        lines += row.line + "\n";
        errors += "bad.jsonl:" + std::to_string(++number) + ": error: " + row.error + "\n";
    }
    lines += "{\"op\": \"getSubscriptions\"}\n";
    provide("bad.jsonl", lines);

    const Run bad = run("home bad.jsonl");
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.errors, errors);
    EXPECT_EQ(bad.output,
              "bad.jsonl:1: provision: ok\n"
              "bad.jsonl:" +
                  std::to_string(number + 1) +
                  ": getSubscriptions: ok, found nothing\n"
                  "\n2 requests: 2 ok, 0 failed; " +
                  std::to_string(kMalformedLines.size()) + " malformed lines\n" + kEmptyTables);
    EXPECT_EQ(table("MySubscriptions"), kMySubscriptions);
    EXPECT_EQ(table("Subscriptions"), kSubscriptions);
}

TEST_F(NotifierTest, ReadsStandardInput) {
    for (const char* const arguments : {"home", "home -"}) {
        const Run piped = run(arguments, "{\"op\": \"provision\"}\n{\"op\": \"none\"}\n");
        EXPECT_EQ(piped.status, 1);
        EXPECT_EQ(piped.output,
                  "<stdin>:1: provision: ok\n\n1 request: 1 ok, 0 failed; 1 malformed line\n" + kEmptyTables);
        EXPECT_THAT(piped.errors, StartsWith("<stdin>:2: error: field \"op\" names the unknown operation"));
    }
}

TEST_F(NotifierTest, BlankLinesOtherLineEndsAndAMissingLastOneAreAccepted) {
    const Run loose = run("home", "\n  \t\r\n{\"op\": \"provision\"}\r\n\n  {\"op\": \"getSubscriptions\"}");
    EXPECT_EQ(loose.status, 0);
    EXPECT_EQ(loose.errors, "");
    EXPECT_EQ(loose.output,
              "<stdin>:3: provision: ok\n"
              "<stdin>:5: getSubscriptions: ok, found nothing\n"
              "\n2 requests: 2 ok, 0 failed; 0 malformed lines\n" +
                  kEmptyTables);
}

TEST_F(NotifierTest, FreshDirectoryHasNoTableForOthersUntilProvisioned) {
    const Run fresh =
        run("home",
            "{\"op\": \"saveSubscription\", \"deviceId\": \"phone\", \"subscribedResource\": \"/a\", "
            "\"subscriptionUri\": \"/s\", \"notificationUri\": \"/n\"}\n"
            "{\"op\": \"getSubscriptions\"}\n");
    EXPECT_EQ(fresh.status, 0);
    EXPECT_EQ(fresh.output,
              "<stdin>:1: saveSubscription: ok, saved as #0\n"
              "<stdin>:2: getSubscriptions: failed\n"
              "\n2 requests: 1 ok, 1 failed; 0 malformed lines\n" +
                  kUnprovisionedTables);
    EXPECT_EQ(fresh.errors,
              "<stdin>:1: note: DB Error: No such Table...(Subscriptions)\n"
              "<stdin>:2: note: DB Error: Table does not exists...\n"
              "<stdin>:2: note: Failed to execute SQL Select Statement\n");
    EXPECT_THAT(listDirectory(temporary.file("home_filedb")),
                ElementsAre("MySubscriptions.table", "master_rollback"));
}

TEST_F(NotifierTest, SubscriptionsExpireAtTheInstantThatAnotherClientSets) {
    const std::string save =
        "{\"op\": \"saveSubscription\", \"deviceId\": \"phone\", \"subscribedResource\": \"/a\", "
        "\"subscriptionUri\": \"/s\", \"notificationUri\": \"/n\"}\n";
    const Run expiring =
        run("home --expiry 60",
            "{\"op\": \"provision\"}\n" + save + save + save + save +
                "{\"op\": \"setExpireTime\", \"subscriptionId\": 1, \"expireTime\": \"1000000000\"}\n"
                "{\"op\": \"setExpireTime\", \"subscriptionId\": 2, \"expireTime\": null}\n"
                "{\"op\": \"setExpireTime\", \"subscriptionId\": 3, \"expireTime\": \"9999999999\"}\n"
                "{\"op\": \"setExpireTime\", \"subscriptionId\": 5, \"expireTime\": \"9999999999\"}\n"
                "{\"op\": \"deleteExpiredSubscriptions\"}\n"
                "{\"op\": \"deleteSubscriptionBySubscriptionID\", \"id\": \"4\"}\n"
                "{\"op\": \"getSubscriptions\"}\n");
    EXPECT_EQ(expiring.status, 0);
    EXPECT_EQ(expiring.errors, "");
    EXPECT_EQ(expiring.output,
              "<stdin>:1: provision: ok\n"
              "<stdin>:2: saveSubscription: ok, saved as #1\n"
              "<stdin>:3: saveSubscription: ok, saved as #2\n"
              "<stdin>:4: saveSubscription: ok, saved as #3\n"
              "<stdin>:5: saveSubscription: ok, saved as #4\n"
              "<stdin>:6: setExpireTime: ok\n"
              "<stdin>:7: setExpireTime: ok\n"
              "<stdin>:8: setExpireTime: ok\n"
              "<stdin>:9: setExpireTime: failed\n"
              "<stdin>:10: deleteExpiredSubscriptions: ok\n"
              "<stdin>:11: deleteSubscriptionBySubscriptionID: ok\n"
              "<stdin>:12: getSubscriptions: ok, found 2: #2 phone /a, #3 phone /a\n"
              "\n12 requests: 11 ok, 1 failed; 0 malformed lines\n"
              "\n"
              "home_filedb/MySubscriptions.table: 0 rows\n"
              "  ROWID   requestId   deviceId   subscribedResource   subscriptionUri   notificationUri\n"
              "\n"
              "home_filedb/Subscriptions.table: 2 rows\n"
              "  ROWID   expireTime   deviceId   subscribedResource   subscriptionUri   notificationUri\n"
              "      2   NULL         phone      /a                   /s                /n\n"
              "      3   9999999999   phone      /a                   /s                /n\n");
    EXPECT_EQ(table("Subscriptions"), kSubscriptions +
                                          "'phone'~'/a'~'/s'~'/n'~NULL~2\n"
                                          "'phone'~'/a'~'/s'~'/n'~'9999999999'~3\n");
}

TEST_F(NotifierTest, OtherClientRefusesAnInstantThatARowHasNoRoomFor) {
    const std::string line = "''~'/a'~'/s'~'/n'~NULL~1\n";
    const std::string device(1023 - line.size(), 'x');
    const Run full =
        run("home", "{\"op\": \"provision\"}\n{\"op\": \"saveSubscription\", \"deviceId\": \"" + device +
                        "\", \"subscribedResource\": \"/a\", \"subscriptionUri\": \"/s\", "
                        "\"notificationUri\": \"/n\"}\n{\"op\": \"setExpireTime\", "
                        "\"subscriptionId\": 1, \"expireTime\": \"9999999999\"}\n");
    EXPECT_THAT(full.output, HasSubstr("<stdin>:2: saveSubscription: ok, saved as #1\n"
                                       "<stdin>:3: setExpireTime: failed\n"));
    EXPECT_EQ(table("Subscriptions"), kSubscriptions + "'" + device + "'~'/a'~'/s'~'/n'~NULL~1\n");
}

TEST_F(NotifierTest, StoreCanBeClosedAndOpenedElsewhere) {
    const std::string pending =
        "{\"op\": \"savePendingMySubscription\", \"requestId\": 7, \"deviceId\": \"lamp\", "
        "\"subscribedResource\": \"/on\", \"subscriptionUri\": \"\", \"notificationUri\": \"/n\"}\n";
    const Run moved =
        run("home", pending + "{\"op\": \"deinit\"}\n" + pending + "{\"op\": \"provision\"}\n" + pending +
                        "{\"op\": \"init\", \"expiryTimeVal\": 0, \"path\": \"\"}\n"
                        "{\"op\": \"init\", \"expiryTimeVal\": 0, \"path\": \"no/where\"}\n"
                        "{\"op\": \"init\", \"expiryTimeVal\": 0, \"path\": \"other\"}\n");
    EXPECT_EQ(moved.status, 0);
    EXPECT_EQ(moved.errors,
              "<stdin>:3: note: savePendingMySubscription: the store is not open; call init first\n"
              "<stdin>:5: note: savePendingMySubscription: the store is not open; call init first\n"
              "<stdin>:6: note: failed!.. DB path is empty\n"
              "<stdin>:7: note: DataBase Init: DB Directory creation failed\n"
              "<stdin>:7: note: File DB initialization failed!\n");
    std::string tables = kUnprovisionedTables;
    replaceAll(tables, "home_filedb", "other_filedb");
    EXPECT_EQ(moved.output,
              "<stdin>:1: savePendingMySubscription: ok, saved as #1\n"
              "<stdin>:2: deinit: ok\n"
              "<stdin>:3: savePendingMySubscription: failed\n"
              "<stdin>:4: provision: ok\n"
              "<stdin>:5: savePendingMySubscription: failed\n"
              "<stdin>:6: init: failed\n"
              "<stdin>:7: init: failed\n"
              "<stdin>:8: init: ok\n"
              "\n8 requests: 4 ok, 4 failed; 0 malformed lines\n" +
                  tables);
    EXPECT_EQ(table("MySubscriptions"), kMySubscriptions + "7~'lamp'~'/on'~''~'/n'~1\n");
    EXPECT_EQ(table("Subscriptions"), kSubscriptions);
    EXPECT_THAT(listDirectory(temporary.file("other_filedb")),
                ElementsAre("MySubscriptions.table", "master_rollback"));
}

TEST_F(NotifierTest, TextsFromOutsideAreShownWithoutControlCharacters) {
    const Run shown =
        run("home",
            "{\"op\": \"savePendingMySubscription\", \"at\": \"7\\t\", \"requestId\": 7, \"deviceId\": "
            "\"\\u001b[2J\", \"subscribedResource\": \"/gro\xc3\x9f\", \"subscriptionUri\": \"\\u0007\", "
            "\"notificationUri\": \"NULL\"}\n"
            "{\"op\": \"getMySubscriptionByDeviceId\", \"deviceId\": \"\\u001b[2J\"}\n"
            "{\"op\": \"getMySubscriptionBySubscriptionUri\", \"subscriptionUri\": \"a\\u0000b\"}\n");
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(
        shown.errors,
        "<stdin>:3: note: getMySubscriptionBySubscriptionUri: subscriptionUri holds a NUL byte, which ends a "
        "text (at byte 2); pass it without\n");
    EXPECT_THAT(shown.output, StartsWith("<stdin>:1: 7\\t savePendingMySubscription: ok, saved as #1\n"
                                         "<stdin>:2: getMySubscriptionByDeviceId: ok, found 1: #1 \\x1b[2J "
                                         "/gro\xc3\x9f\n"
                                         "<stdin>:3: getMySubscriptionBySubscriptionUri: failed\n"));
    EXPECT_THAT(
        shown.output,
        HasSubstr("  ROWID   requestId   deviceId   subscribedResource   subscriptionUri   notificationUri\n"
                  "      1           7   \\x1b[2J    /gro\xc3\x9f                \\x07              NULL\n"));
}

TEST_F(NotifierTest, HelpTellsUsageOperationsAndExitStatus) {
    const Run help = run("--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.errors, "");
    for (const char* const part :
         {"notifier [OPTIONS] PATH [FILE]", "--expiry", "PATH_filedb", "provision", "Exit status",
          "savePendingMySubscription: requestId deviceId subscribedResource subscriptionUri notificationUri",
          "init: expiryTimeVal [path]"}) {
        EXPECT_THAT(help.output, HasSubstr(part));
    }
    EXPECT_FALSE(fileExists(temporary.file("home_filedb")));
}

TEST_F(NotifierTest, TroubleIsToldApartFromMalformedLines) {
    const struct {
        const char* arguments;
        const char* errors;
    } rows[] = {
        {"", "PATH is required\nRun with --help for more information.\n"},
        {"home file more",
         "The following argument was not expected: more\nRun with --help for more information.\n"},
        {"home --expiry soon", "Could not convert: --expiry = soon\nRun with --help for more information.\n"},
        {"home missing.jsonl",
         "notifier: cannot open missing.jsonl; give a file of JSON lines that can be read\n"},
        {"no/such/parent/home",
         "notifier: cannot open a store at no/such/parent/home; give a path in a directory that exists and "
         "can be "
         "written\n"
         "notifier: note: DataBase Init: DB Directory creation failed\n"
         "notifier: note: File DB initialization failed!\n"},
        {"''",
         "notifier: cannot open a store at ; give a path in a directory that exists and can be written\n"
         "notifier: note: failed!.. DB path is empty\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.arguments);
        const Run trouble = run(row.arguments);
        EXPECT_EQ(trouble.status, 2);
        EXPECT_EQ(trouble.output, "");
        EXPECT_EQ(trouble.errors, row.errors);
    }
    EXPECT_FALSE(fileExists(temporary.file("home_filedb")));
}

TEST_F(NotifierTest, DirectoryInPlaceOfTheFileIsTrouble) {
    const Run trouble = run("home .");
    EXPECT_EQ(trouble.status, 2);
    EXPECT_EQ(trouble.errors, "notifier: . cannot be read to its end\n");
}

TEST_F(NotifierTest, OutputThatCannotBeWrittenIsTrouble) {
    const Run trouble = run("home", "{\"op\": \"provision\"}\n", "/dev/full");
    EXPECT_EQ(trouble.status, 2);
    EXPECT_EQ(trouble.errors, "notifier: standard output cannot be written\n");
    EXPECT_EQ(table("Subscriptions"), kSubscriptions);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
