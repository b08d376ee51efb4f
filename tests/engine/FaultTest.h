#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "FaultLayer.h"
#include "RefusedCalls.h"
#include "StatementTest.h"

namespace Kalt::Vemo::Test {

/// What a full disk refuses of a file that is there.
inline bool writesOrTruncates(const FileCall& call) {
    return call.call == Call::kWrite || call.call == Call::kStreamWrite || call.call == Call::kTruncate;
}

/// Takes the writes to the file of this name, and the calls that change its length.
inline CallFilter writesTo(const std::string& file) {
    return [file](const FileCall& call) { return writesOrTruncates(call) && call.file == file; };
}

/// Takes calls of this kind on the file of this name.
inline CallFilter callsOn(const std::string& file, Call kind) {
    return [file, kind](const FileCall& call) { return call.call == kind && call.file == file; };
}

/// An open database with the tables t and u, each with the rows 1|one|1 and 2|two|2.
class FaultTest : public StatementTest {
protected:
    using Rows = std::vector<std::string>;

    void SetUp() override {
        StatementTest::SetUp();
        for (const char* name : {"t", "u"}) {
            run(std::string("CREATE TABLE ") + name + " (a INTEGER, b TEXT);");
            run(std::string("INSERT INTO ") + name + " (a, b) VALUES (?, '?');", "1", "one");
            run(std::string("INSERT INTO ") + name + " (a, b) VALUES (?, '?');", "2", "two");
        }
    }

    static constexpr const char* kTable = "a~b~ROWID\n1~4~1\n\n1~'one'~1\n2~'two'~2\n";

    int insertInto(const std::string& table) {
        return exec(("INSERT INTO " + table + " (a, b) VALUES (?, '?');").c_str(), "9", "nine");
    }

    int updateOf(const std::string& table) {
        return exec(("UPDATE " + table + " SET a=?, b='?' WHERE a = 2;").c_str(), "2", "two and much more");
    }

    Rows rowsOf(const std::string& table) {
        return rows(query(("SELECT *, ROWID FROM " + table + ";").c_str()), 3);
    }

    /// At least one error line, and one of them with this part.
    void expectErrorWith(const std::string& part) {
        EXPECT_THAT(takeErrors(), ::testing::Contains(::testing::HasSubstr(part)));
    }

    /// The table takes a row, whatever it holds, and the files are at rest.
    void expectWorksOn(const std::string& table) {
        takeErrors();
        Rows wanted = rowsOf(table);
        const int rowId =
            wanted.empty() ? 1 : std::stoi(wanted.back().substr(wanted.back().rfind('|') + 1)) + 1;
        EXPECT_EQ(insertInto(table), 0);
        EXPECT_THAT(takeErrors(), ::testing::IsEmpty());
        wanted.push_back("9|nine|" + std::to_string(rowId));
        EXPECT_EQ(rowsOf(table), wanted);
        EXPECT_EQ(journal(), "0\n");
        EXPECT_THAT(listDirectory(directory()), ::testing::Not(::testing::Contains(table + ".backup")));
        mustEnd("another thread's query", [&] { rowsOf(table); });
    }
};

}  // namespace Kalt::Vemo::Test
