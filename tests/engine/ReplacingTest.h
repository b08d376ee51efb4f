#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "FaultTest.h"

namespace Kalt::Vemo::Test {

/// A database of a level that puts working copies in the tables' places, with the tables t and u.
class ReplacingTest : public FaultTest,
                      public ::testing::WithParamInterface<Core::Database::Filedb::Synchronous> {
protected:
    ReplacingTest() { useLevel(GetParam()); }

    static constexpr const char* kInserted = "a~b~ROWID\n1~4~1\n\n1~'one'~1\n2~'two'~2\n9~'nine'~3\n";
    static constexpr const char* kInsertedTwice =
        "a~b~ROWID\n1~4~1\n\n1~'one'~1\n2~'two'~2\n9~'nine'~3\n9~'nine'~4\n";

    static struct stat statusOf(const std::string& path) {
        struct stat status {};
        EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
        return status;
    }

    void expectAtRest() {
        using ::testing::Contains;
        using ::testing::HasSubstr;
        using ::testing::Not;
        EXPECT_EQ(journal(), "0\n");
        EXPECT_THAT(listDirectory(directory()), Not(Contains(HasSubstr(".backup"))));
        EXPECT_THAT(listDirectory(directory()), Not(Contains(HasSubstr(".new"))));
    }

    void insertWorks(const std::string& table = "t") {
        takeErrors();
        EXPECT_EQ(insertInto(table), 0);
        EXPECT_THAT(takeErrors(), ::testing::IsEmpty());
    }
};

}  // namespace Kalt::Vemo::Test
