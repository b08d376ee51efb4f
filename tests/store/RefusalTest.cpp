#include <functional>

#include "StoreTest.h"

namespace Kalt::Vemo::Test {
namespace {

using Notification::FileSubscriptionDatabase;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr std::size_t kLongestLine = 1023;

std::string filler(std::size_t length) {
    return std::string(length, 'x');
}

/// A value that brings a line with an empty value in its place to `length` bytes.
std::string fillUp(const std::string& lineWithoutValue, std::size_t length) {
    return filler(length - lineWithoutValue.size());
}

/// What a table's file cannot give back as written is refused, and nothing is changed.
class Refusal : public StoreTest {
protected:
    void SetUp() override {
        openProvisioned();
        ASSERT_TRUE(savePending(7, record("lamp", "/on", "/s", "/n")));
        ASSERT_TRUE(save(record("phone", "/door", "/s", "/n")));
        log.clear();
    }

    /// Runs a call that must be refused with one error line, and checks that nothing was sent or changed.
    void expectRefused(const std::function<bool()>& call, const std::string& operation,
                       const std::string& problem) {
        const std::string mine = mySubscriptions();
        const std::string others = subscriptions();
        log.clear();
        EXPECT_FALSE(call());
        EXPECT_THAT(storeErrors(), ElementsAre(AllOf(StartsWith(operation + ": "), HasSubstr(problem))));
        EXPECT_EQ(mySubscriptions(), mine);
        EXPECT_EQ(subscriptions(), others);
        EXPECT_EQ(journal(), "0\n");
        EXPECT_THAT(listDirectory(directory()),
                    ElementsAre("MySubscriptions.table", "Subscriptions.table", "master_rollback"));
    }

    bool sentNothing() const { return !log.hasPart("passed SQL:"); }
};

/// One text argument of an operation.
struct TextArgument {
    const char* operation;
    const char* name;
    bool stored;  // it becomes a field of a row
    bool (*call)(FileSubscriptionDatabase& store, std::string value);
};

bool savePendingWith(FileSubscriptionDatabase& store, SubscriptionRecord record) {
    return store.savePendingMySubscription(1, record);
}
bool saveWith(FileSubscriptionDatabase& store, SubscriptionRecord record) {
    return store.saveSubscription(record);
}
bool updateWith(FileSubscriptionDatabase& store, SubscriptionRecord record) {
    return store.updateSubscription(record);
}
bool changeResource(FileSubscriptionDatabase& store, std::string uri, std::string resource) {
    return store.updateMySubscriptionBySubscriptionUri(uri, resource);
}
bool deleteMine(FileSubscriptionDatabase& store, std::string device, std::string uri) {
    return store.deleteMySubscriptionBySubscriptionUri(device, uri);
}
bool findByPath(FileSubscriptionDatabase& store, std::string device, std::string resource) {
    Records found;
    return store.getMySubscriptionByResourcePaths(device, resource, found);
}

const std::vector<TextArgument>& textArguments() {
    using Store = FileSubscriptionDatabase;
    using Text = std::string;
    static const std::vector<TextArgument> all = {
        {"savePendingMySubscription", "deviceId", true,
         [](Store& s, Text v) { return savePendingWith(s, record(v, "/r", "/s", "/n")); }},
        {"savePendingMySubscription", "subscribedResource", true,
         [](Store& s, Text v) { return savePendingWith(s, record("d", v, "/s", "/n")); }},
        {"savePendingMySubscription", "subscriptionUri", true,
         [](Store& s, Text v) { return savePendingWith(s, record("d", "/r", v, "/n")); }},
        {"savePendingMySubscription", "notificationUri", true,
         [](Store& s, Text v) { return savePendingWith(s, record("d", "/r", "/s", v)); }},
        {"updateMySubscription", "subscriptionUri", true,
         [](Store& s, Text v) { return s.updateMySubscription(7, v); }},
        {"updateMySubscriptionBySubscriptionUri", "subscriptionUri", false,
         [](Store& s, Text v) { return changeResource(s, v, "5"); }},
        {"updateMySubscriptionBySubscriptionUri", "subscribedResource", true,
         [](Store& s, Text v) { return changeResource(s, "/s", v); }},
        {"deleteMySubscriptionBySubscriptionUri", "deviceId", false,
         [](Store& s, Text v) { return deleteMine(s, v, "/s"); }},
        {"deleteMySubscriptionBySubscriptionUri", "subscriptionUri", false,
         [](Store& s, Text v) { return deleteMine(s, "lamp", v); }},
        {"getMySubscriptionBySubscriptionUri", "subscriptionUri", false,
         [](Store& s, Text v) {
             SubscriptionRecord found;
             return s.getMySubscriptionBySubscriptionUri(v, found);
         }},
        {"getMySubscriptionByDeviceId", "deviceId", false,
         [](Store& s, Text v) {
             Records found;
             return s.getMySubscriptionByDeviceId(v, found);
         }},
        {"getMySubscriptionByResourcePaths", "deviceId", false,
         [](Store& s, Text v) { return findByPath(s, v, "/on"); }},
        {"getMySubscriptionByResourcePaths", "resource", false,
         [](Store& s, Text v) { return findByPath(s, "lamp", v); }},
        {"saveSubscription", "deviceId", true,
         [](Store& s, Text v) { return saveWith(s, record(v, "/r", "/s", "/n")); }},
        {"saveSubscription", "subscribedResource", true,
         [](Store& s, Text v) { return saveWith(s, record("d", v, "/s", "/n")); }},
        {"saveSubscription", "subscriptionUri", true,
         [](Store& s, Text v) { return saveWith(s, record("d", "/r", v, "/n")); }},
        {"saveSubscription", "notificationUri", true,
         [](Store& s, Text v) { return saveWith(s, record("d", "/r", "/s", v)); }},
        {"getSubscriptionContainingResource", "resource", false,
         [](Store& s, Text v) {
             Records found;
             return s.getSubscriptionContainingResource(v, found);
         }},
        {"getSubscriptionBySubscriptionID", "id", false,
         [](Store& s, Text v) {
             SubscriptionRecord found;
             return s.getSubscriptionBySubscriptionID(v, found);
         }},
        {"updateSubscription", "deviceId", true,
         [](Store& s, Text v) { return updateWith(s, record(v, "/r", "/s", "/n", 1)); }},
        {"updateSubscription", "subscribedResource", true,
         [](Store& s, Text v) { return updateWith(s, record("d", v, "/s", "/n", 1)); }},
        {"updateSubscription", "notificationUri", true,
         [](Store& s, Text v) { return updateWith(s, record("d", "/r", "/s", v, 1)); }},
        {"deleteSubscriptionBySubscriptionID", "id", false,
         [](Store& s, Text v) { return s.deleteSubscriptionBySubscriptionID(v); }},
    };
    return all;
}

TEST_F(Refusal, TextsThatWouldCutARowAreNotStored) {
    const struct {
        char character;
        const char* named;
    } characters[] = {{'~', "holds a \"~\""}, {'\n', "holds a line feed"}, {'\0', "holds a NUL byte"}};
    for (const TextArgument& argument : textArguments()) {
        for (const auto& each : characters) {
            const std::string texts[] = {std::string(1, each.character), std::string("ab") + each.character,
                                         each.character + std::string("ab"),
                                         std::string("a") + each.character + "b"};
            for (const std::string& text : texts) {
                SCOPED_TRACE(std::string(argument.operation) + " " + argument.name + " " + each.named);
                if (argument.stored || each.character == '\0') {
                    expectRefused([&] { return argument.call(*store, text); }, argument.operation,
                                  std::string(argument.name) + " " + each.named);
                    EXPECT_TRUE(sentNothing());
                }
            }
        }
    }
}

/// The texts that are pasted into a statement, or are not part of one.
std::vector<TextArgument> otherTextArguments() {
    using Store = FileSubscriptionDatabase;
    using Text = std::string;
    return {
        {"init", "path", false, [](Store& s, Text v) { return s.init(v, 60); }},
        {"updateSubscription", "subscriptionUri", false,
         [](Store& s, Text v) { return updateWith(s, record("d", "/r", v, "/n", 1)); }},
        {"getMySubscriptionContainingResourceList", "deviceId", false,
         [](Store& s, Text v) {
             Records found;
             return s.getMySubscriptionContainingResourceList(v, {"/on"}, found);
         }},
        {"getMySubscriptionContainingResourceList", "resource", false,
         [](Store& s, Text v) {
             Records found;
             return s.getMySubscriptionContainingResourceList("lamp", {"/on", v, "/off"}, found);
         }},
        {"getSubscriptionContainingResourceList", "resource", false,
         [](Store& s, Text v) {
             Records found;
             return s.getSubscriptionContainingResourceList({"/on", v, "/off"}, found);
         }},
    };
}

TEST_F(Refusal, NoTextMayHoldANulByte) {
    std::vector<TextArgument> all = textArguments();
    for (const TextArgument& argument : otherTextArguments()) {
        all.push_back(argument);
    }
    const struct {
        std::string text;
        int position;
    } rows[] = {{std::string(1, '\0'), 1},
                {std::string("\0ab", 3), 1},
                {std::string("lamp\0", 5), 5},
                {path() + '\0' + "b" + '\0', static_cast<int>(path().size()) + 1}};
    for (const TextArgument& argument : all) {
        for (const auto& row : rows) {
            SCOPED_TRACE(std::string(argument.operation) + " " + argument.name + ", byte " +
                         std::to_string(row.position));
            expectRefused([&] { return argument.call(*store, row.text); }, argument.operation,
                          std::string(argument.name) + " holds a NUL byte, which ends a text (at byte " +
                              std::to_string(row.position) + "); pass it without");
            EXPECT_TRUE(sentNothing());
        }
    }
    EXPECT_EQ(store->getSubExprTimeVal(), 0);
    EXPECT_EQ(allSubscriptions().size(), 1U);
}

TEST_F(Refusal, PathWithANulByteCreatesNothing) {
    Notification::FileSubscriptionDatabase fresh;
    const std::string elsewhere = temporary.file("elsewhere");
    for (const std::string& text : {elsewhere + '\0', elsewhere + '\0' + "x", '\0' + elsewhere}) {
        std::string where = text;
        EXPECT_FALSE(fresh.init(where, 60));
        EXPECT_EQ(fresh.getSubExprTimeVal(), -1);
        EXPECT_THAT(listDirectory(temporary.path()), ElementsAre("home_filedb"));
    }
}

TEST_F(Refusal, TextsOfAConditionMayHoldWhatNoRowHolds) {
    const std::string mine = mySubscriptions();
    const std::string others = subscriptions();
    for (const TextArgument& argument : textArguments()) {
        for (const char* const text : {"a~b", "a\nb"}) {
            if (!argument.stored) {
                SCOPED_TRACE(std::string(argument.operation) + " " + argument.name);
                EXPECT_TRUE(argument.call(*store, text));
            }
        }
    }
    EXPECT_EQ(mySubscriptions(), mine);
    EXPECT_EQ(subscriptions(), others);
}

TEST_F(Refusal, TextThatNoLineCanHoldIsRefusedWhetherOrNotARowMatches) {
    for (const TextArgument& argument : textArguments()) {
        for (const std::size_t length : {kLongestLine, std::size_t{100000}}) {
            SCOPED_TRACE(std::string(argument.operation) + " " + argument.name);
            if (argument.stored) {
                expectRefused([&] { return argument.call(*store, filler(length)); }, argument.operation,
                              "longer than 1023 bytes");
                EXPECT_TRUE(sentNothing());
            } else {
                EXPECT_TRUE(argument.call(*store, filler(length))) << log.dump();
            }
        }
    }
    expectRefused([&] { return answer(999, filler(kLongestLine)); }, "updateMySubscription",
                  "longer than 1023 bytes");
    expectRefused([&] { return changeResource(*store, "/unknown", filler(kLongestLine)); },
                  "updateMySubscriptionBySubscriptionUri", "longer than 1023 bytes");
    expectRefused([&] { return updateWith(*store, record(filler(kLongestLine), "", "", "", 999)); },
                  "updateSubscription", "longer than 1023 bytes");
}

/// Without a matching row, the shortest line that the argument could stand in decides.
TEST_F(Refusal, ArgumentOfAnUpdateIsMeasuredInTheShortestLine) {
    const struct {
        const char* operation;
        std::string line;  // without the argument
        std::function<bool(std::string)> call;
    } rows[] = {
        {"updateMySubscription", "18446744073709551615~1~2~''~3~4\n",
         [this](const std::string& value) { return answer(999, value); }},
        {"updateMySubscriptionBySubscriptionUri", "1~2~''~3~4~5\n",
         [this](const std::string& value) { return changeResource(*store, "/unknown", value); }},
        {"updateSubscription", "''~''~1~''~999\n",
         [this](const std::string& value) { return updateWith(*store, record("", value, "/s", "", 999)); }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.operation);
        const std::string longest = fillUp(row.line, kLongestLine);
        EXPECT_TRUE(row.call(longest));
        expectRefused([&] { return row.call(longest + "x"); }, row.operation, "longer than 1023 bytes");
        EXPECT_TRUE(sentNothing());
    }
}

TEST_F(Refusal, RecordKeepsItsIdentifierWhenItIsRefused) {
    SubscriptionRecord bad = record("a~b", "/r", "/s", "/n", 42);
    EXPECT_FALSE(store->savePendingMySubscription(1, bad));
    EXPECT_FALSE(store->saveSubscription(bad));
    EXPECT_EQ(bad, record("a~b", "/r", "/s", "/n", 42));
}

TEST_F(Refusal, StoreGoesOnAfterARefusal) {
    EXPECT_FALSE(save(record("a~b", "/r", "/s", "/n")));
    EXPECT_FALSE(savePending(1, record(filler(2000), "/r", "/s", "/n")));
    EXPECT_TRUE(save(record("d", "/r", "/s", "/n")));
    EXPECT_TRUE(savePending(1, record("d", "/r", "/s", "/n")));
    EXPECT_EQ(subscriptions(),
              kSubscriptions + "'phone'~'/door'~'/s'~'/n'~NULL~1\n'd'~'/r'~'/s'~'/n'~NULL~2\n");
    EXPECT_EQ(mySubscriptions(), kMySubscriptions + "7~'lamp'~'/on'~'/s'~'/n'~1\n1~'d'~'/r'~'/s'~'/n'~2\n");
}

TEST_F(Refusal, ListQueriesWithTextsThatBreakTheStatementAreNotSent) {
    const std::string cut("/a\0b", 4);
    const struct {
        std::string device;
        Texts resources;
        const char* problem;
    } rows[] = {{"lamp?", {"/on"}, "deviceId holds a \"?\""},
                {"lamp", {"/on?"}, "resource holds a \"?\""},
                {"lamp", {"/on", "?"}, "resource holds a \"?\""},
                {cut, {"/on"}, "deviceId holds a NUL byte"},
                {"lamp", {"/on", cut}, "resource holds a NUL byte"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.problem);
        Records found = {record("as", "it", "was", "before")};
        expectRefused(
            [&] { return store->getMySubscriptionContainingResourceList(row.device, row.resources, found); },
            "getMySubscriptionContainingResourceList", row.problem);
        EXPECT_TRUE(sentNothing());
        EXPECT_THAT(found, ElementsAre(record("as", "it", "was", "before")));
        if (row.device == "lamp") {
            expectRefused([&] { return store->getSubscriptionContainingResourceList(row.resources, found); },
                          "getSubscriptionContainingResourceList", row.problem);
            EXPECT_TRUE(sentNothing());
            EXPECT_EQ(found.size(), 1U);
        }
    }
}

/// Rows whose line has exactly the longest length are stored and read back; one byte more is refused.
class LineLength : public StoreTest {
protected:
    void expectTooLong() {
        EXPECT_THAT(storeErrors(), ElementsAre(HasSubstr("longer than 1023 bytes")));
        EXPECT_EQ(journal(), "0\n");
        for (const std::string& name : listDirectory(directory())) {
            EXPECT_EQ(name.find(".backup"), std::string::npos) << name;
        }
        log.clear();
    }

    bool change(SubscriptionRecord record) { return store->updateSubscription(record); }
};

TEST_F(LineLength, OfASavedRequest) {
    open();
    std::string expected = kMySubscriptions;
    for (int rowid = 1; rowid <= 11; ++rowid) {
        SCOPED_TRACE(rowid);
        const std::string head = "7~'";
        const std::string tail = "'~'/r'~'/s'~'/n'~" + std::to_string(rowid) + "\n";
        const std::string longest = fillUp(head + tail, kLongestLine);
        EXPECT_FALSE(savePending(7, record(longest + "x", "/r", "/s", "/n")));
        EXPECT_EQ(mySubscriptions(), expected);
        expectTooLong();

        SubscriptionRecord saved = record(longest, "/r", "/s", "/n");
        EXPECT_TRUE(store->savePendingMySubscription(7, saved));
        EXPECT_EQ(saved.subscriptionId, rowid);
        expected += head + longest + tail;
        EXPECT_EQ(mySubscriptions(), expected);
        EXPECT_EQ(last(allOfDevice(longest)), saved);
    }
    EXPECT_THAT(storeErrors(), IsEmpty());
}

TEST_F(LineLength, OfARequestWithANegativeId) {
    open();
    const std::string head = "18446744073709551615~'";
    const std::string tail = "'~NULL~'/s'~''~1\n";
    const std::string longest = fillUp(head + tail, kLongestLine);
    EXPECT_FALSE(savePending(-1, record(longest + "x", "NULL", "/s", "")));
    expectTooLong();
    EXPECT_TRUE(savePending(-1, record(longest, "NULL", "/s", "")));
    EXPECT_EQ(mySubscriptions(), kMySubscriptions + head + longest + tail);
}

TEST_F(LineLength, OfASavedSubscription) {
    const struct {
        int expiry;
        const char* stored;
    } rows[] = {{0, "NULL"}, {60, "'1700000060'"}};
    openProvisioned();
    std::string expected = kSubscriptions;
    int rowid = 0;
    for (int round = 0; round < 6; ++round) {
        for (const auto& row : rows) {
            open(row.expiry);
            log.clear();
            const std::string head = "'d'~'/r'~'/s'~'";
            const std::string tail = std::string("'~") + row.stored + "~" + std::to_string(++rowid) + "\n";
            const std::string longest = fillUp(head + tail, kLongestLine);
            SCOPED_TRACE(tail);
            SubscriptionRecord tooLong = record("d", "/r", "/s", longest + "x", 42);
            EXPECT_FALSE(store->saveSubscription(tooLong));
            EXPECT_EQ(tooLong.subscriptionId, 42);
            EXPECT_EQ(subscriptions(), expected);
            expectTooLong();

            SubscriptionRecord saved = record("d", "/r", "/s", longest);
            EXPECT_TRUE(store->saveSubscription(saved));
            expected += head + longest + tail;
            EXPECT_EQ(subscriptions(), expected);
            EXPECT_EQ(last(allSubscriptions()), saved);
        }
    }
}

TEST_F(LineLength, OfRowsWithTheLongestIdentifier) {
    const std::string rowid = "~9223372036854775807\n";
    openProvisioned();
    const std::string others = kSubscriptions + "'d'~'/r'~'/s'~'/n'~NULL~9223372036854775806\n";
    const std::string mine = kMySubscriptions + "7~'d'~'/r'~'/s'~'/n'~9223372036854775806\n";
    writeFile(file("Subscriptions.table"), others);
    writeFile(file("MySubscriptions.table"), mine);

    const std::string theirHead = "'d'~'/r'~'/s'~'";
    const std::string theirLongest = fillUp(theirHead + "'~NULL" + rowid, kLongestLine);
    EXPECT_FALSE(save(record("d", "/r", "/s", theirLongest + "x")));
    EXPECT_EQ(subscriptions(), others);
    expectTooLong();
    EXPECT_TRUE(save(record("d", "/r", "/s", theirLongest)));
    EXPECT_EQ(subscriptions(), others + theirHead + theirLongest + "'~NULL" + rowid);

    const std::string myHead = "7~'d'~'/r'~'/s'~'";
    const std::string myLongest = fillUp(myHead + "'" + rowid, kLongestLine);
    EXPECT_FALSE(savePending(7, record("d", "/r", "/s", myLongest + "x")));
    EXPECT_EQ(mySubscriptions(), mine);
    expectTooLong();
    EXPECT_TRUE(savePending(7, record("d", "/r", "/s", myLongest)));
    EXPECT_EQ(mySubscriptions(), mine + myHead + myLongest + "'" + rowid);
}

TEST_F(LineLength, OfASubscriptionInATableOfAnEarlierLayout) {
    makeEarlierLayout();
    open();
    log.clear();
    const std::string head = "'d'~'/r'~'/s'~'";
    const std::string tail = "'~1\n";
    const std::string longest = fillUp(head + tail, kLongestLine);
    EXPECT_FALSE(save(record("d", "/r", "/s", longest + "x")));
    EXPECT_EQ(subscriptions(), kEarlierSubscriptions);
    expectTooLong();
    EXPECT_TRUE(save(record("d", "/r", "/s", longest)));
    EXPECT_EQ(subscriptions(), kEarlierSubscriptions + head + longest + tail);

    SubscriptionRecord changed = record("e", "/r", "", longest + "x", 1);
    EXPECT_FALSE(store->updateSubscription(changed));
    expectTooLong();
    changed.notificationUri = longest;
    EXPECT_TRUE(store->updateSubscription(changed));
    EXPECT_EQ(subscriptions(), kEarlierSubscriptions + "'e'~'/r'~'/s'~'" + longest + tail);
}

TEST_F(LineLength, OfAnAnsweredRequest) {
    open();
    ASSERT_TRUE(savePending(7, record("lamp", "/on", "", "/n")));
    ASSERT_TRUE(savePending(7, record("heater", "NULL", "", "/n")));
    const std::string before = mySubscriptions();
    const std::string head = "18446744073709551615~'";
    const std::string longest = fillUp(head + "heater'~NULL~''~'/n'~2\n", kLongestLine);
    EXPECT_FALSE(answer(7, longest + "x"));
    EXPECT_EQ(mySubscriptions(), before);
    expectTooLong();
    EXPECT_TRUE(answer(8, longest + "x"));
    EXPECT_TRUE(answer(7, longest));
    EXPECT_EQ(mySubscriptions(), kMySubscriptions + head + "lamp'~'/on'~'" + longest + "'~'/n'~1\n" + head +
                                     "heater'~NULL~'" + longest + "'~'/n'~2\n");
    EXPECT_EQ(allOfDevice("heater"), Records({record("heater", "", longest, "/n", 2)}));
}

/// Fields of a single digit, without quotes, are the shortest that a row can have.
TEST_F(LineLength, OfRowsWhoseOtherFieldsAreBareDigits) {
    const struct {
        const char* operation;
        const char* file;
        std::string metadata;
        std::string before;
        std::string head, tail;  // of the row afterwards
        std::function<bool(std::string)> call;
    } rows[] = {
        {"updateMySubscription", "MySubscriptions.table", kMySubscriptions, "7~1~2~3~4~5\n",
         "18446744073709551615~1~2~'", "'~4~5\n",
         [this](const std::string& value) { return answer(7, value); }},
        {"updateMySubscription, a resource alone", "MySubscriptions.table", kMySubscriptions,
         "7~''~2~''~''~5\n", "18446744073709551615~''~2~'", "'~''~5\n",
         [this](const std::string& value) { return answer(7, value); }},
        {"updateSubscription", "Subscriptions.table", kSubscriptions, "1~2~3~4~5~6\n", "'d'~'",
         "'~3~'n'~5~6\n",
         [this](const std::string& value) { return change(record("d", value, "", "n", 6)); }},
        {"updateSubscription, table of an earlier layout", "Subscriptions.table", kEarlierSubscriptions,
         "1~2~3~4~6\n", "''~'", "'~3~''~6\n",
         [this](const std::string& value) { return change(record("", value, "", "", 6)); }},
    };
    openProvisioned();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.operation);
        const std::string before = row.metadata + row.before;
        writeFile(file(row.file), before);
        const std::string longest = fillUp(row.head + row.tail, kLongestLine);
        EXPECT_FALSE(row.call(longest + "x"));
        EXPECT_EQ(readFile(file(row.file)), before);
        expectTooLong();
        EXPECT_TRUE(row.call(longest));
        EXPECT_EQ(readFile(file(row.file)), row.metadata + row.head + longest + row.tail);
        EXPECT_THAT(storeErrors(), IsEmpty());
    }
}

TEST_F(LineLength, OfABareRowWhoseResourceBecomesANumber) {
    open();
    std::string uri = "3";
    std::string number = "12345678901234567890";
    const std::string tail = "~12345678901234567890~3~4~5\n";
    const std::string longest = fillUp("7~" + tail, kLongestLine);
    const std::string tooLong = kMySubscriptions + "7~" + longest + "x~2~3~4~5\n";
    writeFile(file("MySubscriptions.table"), tooLong);
    EXPECT_FALSE(store->updateMySubscriptionBySubscriptionUri(uri, number));
    EXPECT_EQ(mySubscriptions(), tooLong);
    expectTooLong();
    writeFile(file("MySubscriptions.table"), kMySubscriptions + "7~" + longest + "~2~3~4~5\n");
    EXPECT_TRUE(store->updateMySubscriptionBySubscriptionUri(uri, number));
    EXPECT_EQ(mySubscriptions(), kMySubscriptions + "7~" + longest + tail);
}

/// A resource that is set must be a number, and -1 becomes one of twenty digits.
TEST_F(LineLength, OfARequestWhoseResourceBecomesANumber) {
    const std::string head = "7~'";
    const std::string tail = "'~18446744073709551615~'/s'~'/n'~1\n";
    const std::string longest = fillUp(head + tail, kLongestLine);
    std::string uri = "/s";
    std::string number = "-1";
    open();
    ASSERT_TRUE(savePending(7, record(longest + "x", "/r", "/s", "/n")));
    const std::string before = mySubscriptions();
    EXPECT_FALSE(store->updateMySubscriptionBySubscriptionUri(uri, number));
    EXPECT_EQ(mySubscriptions(), before);
    expectTooLong();

    ASSERT_TRUE(store->deletePendingMySubscription(7));
    ASSERT_TRUE(savePending(7, record(longest, "/r", "/s", "/n")));
    EXPECT_TRUE(store->updateMySubscriptionBySubscriptionUri(uri, number));
    EXPECT_EQ(mySubscriptions(), kMySubscriptions + head + longest + tail);
    EXPECT_EQ(allOfDevice(longest), Records({record(longest, "18446744073709551615", "/s", "/n", 1)}));
}

TEST_F(LineLength, OfALongNumberCountsAsItIsStored) {
    open();
    ASSERT_TRUE(savePending(7, record("lamp", "/on", "/s", "/n")));
    std::string uri = "/s";
    const std::string zeros(5000, '0');
    for (std::string number : {zeros + "12", "+" + zeros + "13", "14." + zeros, zeros + "15."}) {
        SCOPED_TRACE(number.size());
        EXPECT_TRUE(store->updateMySubscriptionBySubscriptionUri(uri, number));
        const std::string stored = std::to_string(std::stoi(number));
        EXPECT_EQ(mySubscriptions(), kMySubscriptions + "7~'lamp'~" + stored + "~'/s'~'/n'~1\n");
    }
}

TEST_F(LineLength, OfAnUpdatedSubscription) {
    openProvisioned(60);
    ASSERT_TRUE(save(record("phone", "/door", "/s/1", "/n")));
    open(0);
    ASSERT_TRUE(save(record("phone", "/door", "/s/1", "/n")));
    std::string first = "'phone'~'/door'~'/s/1'~'/n'~'1700000060'~1\n";
    std::string second = "'phone'~'/door'~'/s/1'~'/n'~NULL~2\n";
    ASSERT_EQ(subscriptions(), kSubscriptions + first + second);
    log.clear();

    const struct {
        std::int64_t id;
        std::string* line;
        std::string tail;
    } rows[] = {{1, &first, "'~'/s/1'~'/m'~'1700000060'~1\n"}, {2, &second, "'~'/s/1'~'/m'~NULL~2\n"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.id);
        const std::string head = "'d'~'";
        const std::string longest = fillUp(head + row.tail, kLongestLine);
        SubscriptionRecord changed = record("d", longest + "x", "", "/m", row.id);
        EXPECT_FALSE(store->updateSubscription(changed));
        EXPECT_EQ(subscriptions(), kSubscriptions + first + second);
        expectTooLong();
        changed.subscribedResource = longest;
        EXPECT_TRUE(store->updateSubscription(changed));
        *row.line = head + longest + row.tail;
        EXPECT_EQ(subscriptions(), kSubscriptions + first + second);
    }
    EXPECT_EQ(allSubscriptions().size(), 2U);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
