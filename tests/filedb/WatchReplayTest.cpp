// A writer makes random changes while `filedb watch --json` runs. Its lines, applied one after the other to
// the first state, must give committed states only, in the order of the commits, and at last the last one.

#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "FileDatabase.h"
#include "WatchRun.h"

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::FileDatabase;
using Core::Database::Filedb::Synchronous;
using nlohmann::json;

// ---- What the files say, read by a few lines of the test's own

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) {
        parts.push_back(part);
    }
    return parts;
}

json valueOf(const std::string& field) {
    if (field == "NULL") {
        return nullptr;
    }
    return field.front() == '\'' ? json(field.substr(1, field.size() - 2))
                                 : json(static_cast<std::int64_t>(std::stoull(field)));
}

json tableOf(const std::string& text) {
    const std::vector<std::string> lines = split(text, '\n');
    const std::vector<std::string> names = split(lines[0], '~');
    const bool hasHiddenRowId = names.back() == "ROWID";
    json rows = json::object();
    for (std::size_t line = 3; line < lines.size(); ++line) {
        const std::vector<std::string> fields = split(lines[line], '~');
        json row = json::object();
        for (std::size_t i = 0; i < names.size() - (hasHiddenRowId ? 1 : 0); ++i) {
            row[names[i]] = valueOf(fields[i]);
        }
        rows[hasHiddenRowId ? fields.back() : fields.front()] = row;
    }
    return rows;
}

json stateOf(const std::string& directory) {
    json state = json::object();
    for (const auto& [name, text] : readFiles(directory)) {
        if (name.size() > 6 && name.substr(name.size() - 6) == ".table") {
            state[name.substr(0, name.size() - 6)] = tableOf(text);
        }
    }
    return state;
}

// ---- What the lines say

void apply(const json& change, json& state) {
    const std::string table = change["table"];
    const std::string kind = change["change"];
    if (kind == "created") {
        ASSERT_FALSE(state.contains(table));
        state[table] = json::object();
        return;
    }
    ASSERT_TRUE(state.contains(table)) << change;
    if (kind == "dropped") {
        ASSERT_EQ(state[table], json::object()) << "its rows go first";
        state.erase(table);
        return;
    }
    const std::string id = change["rowid"].dump();
    ASSERT_EQ(state[table].contains(id), kind != "added") << change;
    if (kind == "added") {
        state[table][id] = change["row"];
    } else if (kind == "gone") {
        ASSERT_EQ(state[table][id], change["row"]);
        state[table].erase(id);
    } else {
        ASSERT_EQ(kind, "changed");
        for (const auto& [name, value] : change["from"].items()) {
            ASSERT_EQ(state[table][id][name], value);
            state[table][id][name] = change["to"][name];
        }
    }
}

// ---- The writer

class Writer {
public:
    Writer(const std::string& path, Synchronous level, unsigned int seed) : database_(level), random_(seed) {
        EXPECT_TRUE(database_.init(path.c_str()));
        EXPECT_EQ(database_.executeUpdate("CREATE TABLE rooms (name TEXT, floor INTEGER);"), 0);
        EXPECT_EQ(database_.executeUpdate("CREATE TABLE boxes (id INTEGER PRIMARY KEY, note TEXT);"), 0);
    }

    /// One statement, or a transaction of several.
    void commitSomething() {
        if (roll(3) != 0) {
            changeSomething(false);
            return;
        }
        ASSERT_TRUE(database_.beginTransaction());
        for (unsigned int i = roll(5); i < 6; ++i) {
            changeSomething(true);
        }
        ASSERT_TRUE(database_.commitTransaction());
    }

private:
    unsigned int roll(unsigned int limit) { return static_cast<unsigned int>(random_() % limit); }

    std::string number(unsigned int limit) { return std::to_string(roll(limit)); }

    // Of any length, so that a table shrinks and grows.
    std::string text() {
        return std::string(roll(200), static_cast<char>('a' + static_cast<char>(roll(26)))) + number(9);
    }

    void changeSomething(bool isInTransaction) {
        const std::string value = text();
        const std::string id = number(20);
        switch (roll(9)) {
            case 0:
            case 1:
            case 2:
                database_.executeUpdate("INSERT INTO rooms (name, floor) VALUES ('?', ?);", value.c_str(),
                                        id.c_str());
                break;
            case 3:
                database_.executeUpdate("UPDATE rooms SET name = '?' WHERE floor = ?;", value.c_str(),
                                        id.c_str());
                break;
            case 4:
                database_.executeUpdate("DELETE FROM rooms WHERE floor = ?;", id.c_str());
                break;
            case 5:
            case 6:
                database_.executeUpdate("INSERT INTO boxes (id, note) VALUES (?, '?');",
                                        std::to_string(++box_).c_str(), value.c_str());
                break;
            case 7:
                database_.executeUpdate("DELETE FROM boxes WHERE id < ?;", std::to_string(box_ - 5).c_str());
                break;
            default:
                // What a transaction makes of a table that it drops and makes again is another matter.
                if (!isInTransaction) {
                    remake();
                }
        }
    }

    void remake() {
        if (roll(2) == 0) {
            database_.executeUpdate("DROP TABLE IF EXISTS extra;");
        } else {
            database_.executeUpdate("CREATE TABLE IF NOT EXISTS extra (text TEXT);");
        }
    }

    FileDatabase database_;
    std::mt19937 random_;
    unsigned int box_ = 100;
};

struct Load {
    std::string name;
    Synchronous level;
    int commits;
};

class WatchReplayTest : public ProgramTest, public ::testing::WithParamInterface<Load> {
protected:
    // Statements outside of a transaction are commits of their own, so the state is noted after each of them.
    void note() {
        const std::string state = stateOf(directory()).dump();
        if (committed_.empty() || committed_.back() != state) {
            committed_.push_back(state);
        }
    }

    /// Applies the whole lines that have come since the last call.
    void replay(const std::string& out) {
        const std::string lines = out.substr(taken_, out.rfind('\n') + 1 - std::min(taken_, out.size()));
        taken_ += lines.size();
        for (const std::string& line : split(lines, '\n')) {
            const json commit = json::parse(line);
            for (const json& change : commit["changes"]) {
                apply(change, state_);
                ASSERT_FALSE(HasFatalFailure()) << line;
            }
            ++boundaries_;
            const auto found = std::find(committed_.begin() + at_, committed_.end(), state_.dump());
            ASSERT_NE(found, committed_.end())
                << "line " << boundaries_ << " leads to no committed state: " << line;
            at_ = found - committed_.begin();
        }
    }

    std::vector<std::string> committed_;
    json state_;             // that the lines have led to
    std::ptrdiff_t at_ = 0;  // where that stands among those that were committed
    std::size_t taken_ = 0;
    int boundaries_ = 0;
};

TEST_P(WatchReplayTest, LinesLeadFromCommittedStateToCommittedState) {
    const unsigned int seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    Writer writer(path(), GetParam().level, seed);
    note();
    state_ = stateOf(directory());
    WatchRun watch({path(), "--json"});
    watch.waitForErr("watching");
    for (int i = 0; i < GetParam().commits; ++i) {
        writer.commitSomething();
        ASSERT_FALSE(HasFatalFailure());
        note();
        if (i % 50 == 0) {  // lets it see some of them singly
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (state_.dump() != committed_.back()) {
        ASSERT_LT(std::chrono::steady_clock::now(), end)
            << "the last state never came: " << boundaries_ << " lines, "
            << json::diff(state_, json::parse(committed_.back())) << watch.err();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        replay(watch.out());
        ASSERT_FALSE(HasFatalFailure());
    }
    EXPECT_EQ(watch.end(), 0);
    EXPECT_GT(boundaries_, GetParam().commits / 50);
    EXPECT_EQ(split(watch.err(), '\n').size(), 1U) << watch.err();
}

INSTANTIATE_TEST_SUITE_P(Levels, WatchReplayTest,
                         ::testing::Values(Load{"off", Synchronous::off, 1000},
                                           Load{"normal", Synchronous::normal, 1000},
                                           Load{"full", Synchronous::full, 200}),
                         [](const auto& load) { return load.param.name; });

}  // namespace
}  // namespace Kalt::Vemo::Test
