#include <gtest/gtest.h>

#include <string>

#include "TestSupport.h"

namespace Kalt::Vemo::Test {
namespace {

TEST(ManualTest, TheManualPageNamesEveryCommand) {
    const std::string page = readFile(FILEDB_MANUAL_PAGE);
    for (const char* command : {"shell", "tables", "schema", "export", "import", "check", "repair", "subs"}) {
        EXPECT_NE(page.find(".B filedb " + std::string(command) + "\n"), std::string::npos) << command;
    }
}

}  // namespace
}  // namespace Kalt::Vemo::Test
