#include <string>
#include <vector>

#include "ProgramRun.h"

namespace Kalt::Vemo::Test {
namespace {

class SubsTest : public ProgramTest {
protected:
    void SetUp() override { ASSERT_EQ(subs({"provision"}), (ProgramResult{0, "", ""})); }

    ProgramResult subs(const std::vector<std::string>& rest) const { return run("subs", rest); }

    void save(const std::string& resource) const {
        ASSERT_EQ(
            subs({"save", "--device", "lamp", "--resource", resource, "--uri", "/s", "--notify", "n"}).status,
            0);
    }

    std::string listed(std::vector<std::string> rest) const {
        rest.insert(rest.end(), {"--mode", "csv"});
        const ProgramResult result = subs(rest);
        EXPECT_EQ(result.status, 0) << result;
        EXPECT_EQ(result.err, "");
        return result.out;
    }
};

const std::string kHeading = "id,device,resource,uri,notify\r\n";

TEST_F(SubsTest, ProvisionMakesBothTables) {
    EXPECT_EQ(listDirectory(directory()),
              (std::vector<std::string>{"MySubscriptions.table", "Subscriptions.table", "master_rollback"}));
    save("/light");
    EXPECT_EQ(subs({"provision"}), (ProgramResult{0, "", ""}));
    EXPECT_EQ(listed({"list"}), kHeading + "1,lamp,/light,/s,n\r\n");
}

TEST_F(SubsTest, SubscriptionsOfOthers) {
    EXPECT_EQ(subs({"save", "--device", "lamp", "--resource", "/light", "--resource", "/heat", "--uri",
                    "/s/1", "--notify", "n1"}),
              (ProgramResult{0, "saved as 1\n", ""}));
    EXPECT_EQ(subs({"save", "--device", "fan", "--resource", "/lighter", "--uri", "/s/2", "--notify", "n2"}),
              (ProgramResult{0, "saved as 2\n", ""}));
    EXPECT_EQ(subs({"list"}), (ProgramResult{0,
                                             "id  device  resource      uri   notify\n"
                                             "--  ------  ------------  ----  ------\n"
                                             " 1  lamp    /light /heat  /s/1  n1\n"
                                             " 2  fan     /lighter      /s/2  n2\n",
                                             ""}));
    EXPECT_EQ(listed({"find", "--id", "2"}), kHeading + "2,fan,/lighter,/s/2,n2\r\n");
    EXPECT_EQ(listed({"find", "--id", "9"}), kHeading);
    EXPECT_EQ(listed({"find", "--resource", "/light"}), kHeading + "1,lamp,/light /heat,/s/1,n1\r\n");
    EXPECT_EQ(listed({"find", "--resource", "/light", "--resource", "/none"}),
              kHeading + "1,lamp,/light /heat,/s/1,n1\r\n2,fan,/lighter,/s/2,n2\r\n");
    EXPECT_EQ(subs({"update", "--id", "2", "--device", "fan", "--resource", "/air", "--notify", "n3"}),
              (ProgramResult{0, "", ""}));
    EXPECT_EQ(subs({"delete", "--id", "1"}), (ProgramResult{0, "", ""}));
    EXPECT_EQ(listed({"list"}), kHeading + "2,fan,/air,/s/2,n3\r\n");
}

TEST_F(SubsTest, SubscriptionsOfThisDevice) {
    EXPECT_EQ(subs({"save", "--mine", "--request", "7", "--device", "boiler", "--resource", "/heat",
                    "--notify", "me"}),
              (ProgramResult{0, "saved as 1\n", ""}));
    EXPECT_EQ(subs({"update", "--mine", "--request", "7", "--uri", "/s/9"}), (ProgramResult{0, "", ""}));
    const std::string row = kHeading + "1,boiler,/heat,/s/9,me\r\n";
    EXPECT_EQ(listed({"list", "--mine", "--device", "boiler"}), row);
    EXPECT_EQ(listed({"find", "--mine", "--uri", "/s/9"}), row);
    EXPECT_EQ(listed({"find", "--mine", "--device", "boiler", "--resource", "/heat"}), row);
    EXPECT_EQ(subs({"delete", "--mine", "--device", "boiler", "--uri", "/s/9"}), (ProgramResult{0, "", ""}));
    EXPECT_EQ(listed({"list", "--mine", "--device", "boiler"}), kHeading);
    ASSERT_EQ(subs({"save", "--mine", "--request", "8", "--device", "b", "--resource", "r", "--notify", "me"})
                  .status,
              0);
    EXPECT_EQ(subs({"delete", "--mine", "--request", "8"}), (ProgramResult{0, "", ""}));
    EXPECT_EQ(listed({"list", "--mine", "--device", "b"}), kHeading);
}

TEST_F(SubsTest, ExpireDeletesWhatIsOver) {
    ASSERT_EQ(subs({"--expiry", "1000000", "save", "--device", "a", "--resource", "r", "--uri", "u",
                    "--notify", "n"})
                  .status,
              0);
    save("/light");
    EXPECT_EQ(subs({"expire"}), (ProgramResult{0, "", ""}));
    EXPECT_EQ(listed({"list"}), kHeading + "1,a,r,u,n\r\n2,lamp,/light,/s,n\r\n");
    prepare({"UPDATE Subscriptions SET expireTime = '1000000000' WHERE rowid = 1"});
    EXPECT_EQ(subs({"expire"}), (ProgramResult{0, "", ""}));
    EXPECT_EQ(listed({"list"}), kHeading + "2,lamp,/light,/s,n\r\n");
}

TEST_F(SubsTest, WhatOnlyTheLogTellsIsAFailure) {
    save("/light");
    EXPECT_EQ(
        subs({"--expiry", "60", "update", "--id", "1", "--device", "d", "--resource", "r", "--notify", "n"}),
        (ProgramResult{1, "", "filedb subs update: Column expireTimer not found in Table Definition\n"}));
    EXPECT_EQ(subs({"save", "--device", "a~b", "--resource", "r", "--uri", "u", "--notify", "n"}).status, 1);
    prepare({"DROP TABLE Subscriptions"});
    EXPECT_EQ(subs({"list"}).status, 1);
    EXPECT_EQ(subs({"save", "--device", "d", "--resource", "r", "--uri", "u", "--notify", "n"}),
              (ProgramResult{1, "", "filedb subs save: DB Error: No such Table...(Subscriptions)\n"}));
}

TEST_F(SubsTest, OptionsThatMakeNoOperationAreWrongUsage) {
    for (const std::vector<std::string>& rest :
         std::vector<std::vector<std::string>>{{"list", "--mine"},
                                               {"list", "--device", "d"},
                                               {"find"},
                                               {"find", "--id", "1", "--resource", "r"},
                                               {"find", "--mine", "--id", "1"},
                                               {"update", "--id", "1"},
                                               {"delete"},
                                               {"delete", "--mine", "--id", "1"},
                                               {"save", "--mine", "--device", "d"},
                                               {"save", "--request", "1"}}) {
        SCOPED_TRACE(::testing::PrintToString(rest));
        const ProgramResult result = subs(rest);
        EXPECT_EQ(result.status, 2);
        EXPECT_NE(result.err.find("these options do not make an operation"), std::string::npos) << result;
    }
    EXPECT_EQ(subs({}).status, 2);
    EXPECT_EQ(subs({"find", "--id", "x"}).status, 2);
    EXPECT_EQ(listed({"list"}), kHeading);
}

TEST_F(SubsTest, ReplayAppliesRequestsLineByLine) {
    const std::string file = temporary.file("requests.jsonl");
    const std::string save =
        R"({"op":"saveSubscription","deviceId":"lamp","subscribedResource":"/light","subscriptionUri":"/s","notificationUri":"n"})";
    writeFile(file, save + "\n\n" + R"({"op":"getSubscriptions"})" + "\n");
    EXPECT_EQ(subs({"replay", file}),
              (ProgramResult{0,
                             file + ":1: saveSubscription: ok, saved as #1\n" + file +
                                 ":3: getSubscriptions: ok, found 1: #1 lamp /light\n",
                             ""}));
    writeFile(file, "nonsense\n" + save + "\n");
    const ProgramResult result = subs({"replay", file});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, file + ":2: saveSubscription: ok, saved as #2\n");
    EXPECT_EQ(result.err.rfind(file + ":1: error: ", 0), 0U) << result;
    EXPECT_EQ(subs({"replay", temporary.file("none")}).status, 2);
}

}  // namespace
}  // namespace Kalt::Vemo::Test
