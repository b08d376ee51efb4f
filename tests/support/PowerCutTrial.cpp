#include "PowerCutTrial.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <regex>

#include "PowerCut.h"
#include "TableFormat.h"

namespace Kalt::Vemo::Test {

namespace {

namespace fs = std::filesystem;
namespace Filedb = Core::Database::Filedb;

constexpr std::size_t kMostMessages = 3;

// Files in memory: nothing waits for a disk.
std::string memory() {
    const std::string shared = "/dev/shm";
    return access(shared.c_str(), W_OK) == 0 ? shared : fs::temp_directory_path().string();
}

// How many states are tried where there are many more, see PowerCut. The environment may ask for more.
std::size_t mostStates() {
    constexpr std::size_t kFew = 8;
    const char* const asked = std::getenv("VEMO_POWER_CUT_STATES");
    return asked == nullptr ? kFew : std::strtoul(asked, nullptr, 10);
}

std::size_t hashOf(const std::string& text) {
    return std::hash<std::string>{}(text);
}

bool changesFiles(const FileCall& call) {
    switch (call.call) {
        case Call::kOpen:
            return call.makes;
        case Call::kWrite:
        case Call::kStreamWrite:
        case Call::kTruncate:
        case Call::kRemove:
        case Call::kRename:
        case Call::kSync:
        case Call::kMakeDirectory:
            return true;
        default:
            return false;
    }
}

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// Values that are given in braces.
void update(Core::Database::Filedb::FileDatabase& database, const std::string& statement) {
    static const std::regex value(R"(\{([^}]*)\})");
    std::vector<std::string> values;
    for (std::sregex_iterator next(statement.begin(), statement.end(), value), end; next != end; ++next) {
        values.push_back((*next)[1]);
    }
    values.resize(4);
    database.executeUpdate(std::regex_replace(statement, value, "?").c_str(), values[0].c_str(),
                           values[1].c_str(), values[2].c_str(), values[3].c_str());
}

}  // namespace

PowerCutTrial::PowerCutTrial(Synchronous level) : level_(level), disk_(memory()), trial_(memory()) {}

std::size_t PowerCutTrial::statesTried() {
    return outcomesOf(Synchronous::off).size() + outcomesOf(Synchronous::normal).size() +
           outcomesOf(Synchronous::full).size();
}

// ---- The workload ----

void PowerCutTrial::run(const std::string& statement) {
    if (statement == "BEGIN") {
        database_->beginTransaction();
    } else if (statement == "COMMIT") {
        database_->commitTransaction();
    } else if (statement == "ROLLBACK") {
        database_->rollbackTransaction();
    } else {
        update(*database_, statement);
    }
}

void PowerCutTrial::prepare(const std::vector<std::string>& statements) {
    database_ = std::make_unique<FileDatabase>(level_);
    EXPECT_TRUE(database_->init(path()));
    for (const std::string& statement : statements) {
        run(statement);
    }
    database_.reset();
    expectNoErrors();
}

void PowerCutTrial::begin() {
    if (record_) {
        return;
    }
    versions_.push_back(tablesOf(directory()));
    moments_.push_back({0, 0, 0, changedAndDropped(), "before"});
    record_.emplace(disk_.path());
}

void PowerCutTrial::open() {
    enter("open");
    database_.reset();  // as the end of the process before would
    database_ = std::make_unique<FileDatabase>(level_);
    EXPECT_TRUE(database_->init(path())) << log_.dump();
    leave("open", false);
}

void PowerCutTrial::act(const std::string& statement) {
    act(statement, [&] {
        log_.clear();
        run(statement);
        expectNoErrors();
    });
}

void PowerCutTrial::expectNoErrors() const {
    for (const std::string& text : log_.texts(-2)) {
        EXPECT_EQ(text, "line is NULL");
    }
}

void PowerCutTrial::act(const std::string& name, const std::function<void()>& work) {
    enter(name);
    work();
    leave(name, true);
}

bool PowerCutTrial::isKilledIn(const std::vector<std::string>& statements, int call) {
    begin();
    const FaultLayer dead(Fault::kIoError, call, true, changesFiles);
    runProcess("a process that is killed at call " + std::to_string(call), statements);
    return FaultLayer::hits() > 0;
}

void PowerCutTrial::isRefusedIn(const std::vector<std::string>& statements, CallFilter calls) {
    begin();
    const FaultLayer refuses(Fault::kIoError, std::move(calls));
    runProcess("a process that the system refuses something", statements);
    EXPECT_GT(FaultLayer::hits(), 0);
}

// A transaction that it leaves is open until the next process has done its recovery.
void PowerCutTrial::runProcess(const std::string& name, const std::vector<std::string>& statements) {
    enter(name);
    database_ = std::make_unique<FileDatabase>(level_);
    static_cast<void>(database_->init(path()));
    for (const std::string& statement : statements) {
        run(statement);
        moments_.back().goers.merge(changedAndDropped());
    }
    database_.reset();
    leave(name, false);
    moments_.back().goers = moments_[moments_.size() - 2].goers;
}

void PowerCutTrial::skipEarlierCuts() {
    firstCut_ = record_->steps().size();
}

void PowerCutTrial::enter(const std::string& name) {
    begin();
    const Moment last = moments_.back();
    moments_.push_back({record_->steps().size(), last.reported, versions_.size(), last.goers, "in " + name});
}

void PowerCutTrial::leave(const std::string& name, bool isReported) {
    const std::set<std::string> goers = changedAndDropped();
    Moment& entered = moments_.back();
    entered.goers.insert(goers.begin(), goers.end());
    versions_.push_back(tablesOf(directory()));
    const std::size_t latest = versions_.size() - 1;
    const std::size_t reported = isReported ? latest : entered.reported;
    moments_.push_back({record_->steps().size(), reported, latest, goers, "after " + name});
}

// ---- The promise ----

PowerCutTrial::Tables PowerCutTrial::tablesOf(const std::string& directory) {
    Tables tables;
    for (const std::string& name :
         fs::exists(directory) ? listDirectory(directory) : std::vector<std::string>()) {
        const std::string file = directory + "/" + name;
        if (endsWith(name, Filedb::kTableSuffix) && fs::exists(file)) {
            tables[name.substr(0, name.rfind('.'))] = hashOf(readFile(file));
        }
    }
    return tables;
}

// The tables that a digit in the journal removes.
std::set<std::string> PowerCutTrial::changedAndDropped() const {
    std::set<std::string> names;
    const std::string journal = directory() + "/" + Filedb::kJournalName;
    const std::string text = fs::exists(journal) ? readFile(journal) : "";
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        if (text.compare(begin, 2, "5~") == 0) {
            names.insert(text.substr(begin + 2, end - begin - 2));
        }
        begin = end + 1;
    }
    return names;
}

const PowerCutTrial::Moment& PowerCutTrial::momentOf(std::size_t steps) const {
    return *std::find_if(moments_.rbegin(), moments_.rend(),
                         [&](const Moment& moment) { return moment.steps <= steps; });
}

std::vector<std::string> PowerCutTrial::brokenPromises(Synchronous level) {
    database_.reset();
    std::vector<std::string> messages;
    const std::vector<DiskStep>& steps = record_->steps();
    for (std::size_t cut = firstCut_; cut <= steps.size(); ++cut) {
        const Moment& moment = momentOf(cut);
        PowerCut(*record_, cut).forEachState(mostStates(), [&](const Disk& state) {
            if (messages.size() == kMostMessages) {
                return;
            }
            const Outcome& outcome = outcomeOf(state);
            const std::string wrong =
                outcome.trouble.empty() ? wrongTable(moment, outcome.tables, level) : outcome.trouble;
            if (!wrong.empty()) {
                messages.push_back(wrong + ", cut " + moment.doing + ", at step " + std::to_string(cut) +
                                   ", after " + (cut == 0 ? "nothing" : steps[cut - 1].describe()) +
                                   ", with\n" + state.describe());
            }
        });
    }
    return messages;
}

std::string PowerCutTrial::wrongTable(const Moment& moment, const Tables& tables, Synchronous level) const {
    const std::size_t first = level == Synchronous::full ? moment.reported : 0;
    std::set<std::string> names;
    for (const Tables& version : versions_) {
        for (const auto& [name, content] : version) {
            names.insert(name);
        }
    }
    for (const std::string& name : names) {
        const auto of = [&](const Tables& version) {
            const auto table = version.find(name);
            return table == version.end() ? std::nullopt : std::make_optional(table->second);
        };
        bool isRight = !of(tables) && moment.goers.count(name) != 0;
        for (std::size_t version = first; version <= moment.latest && !isRight; ++version) {
            isRight = of(versions_[version]) == of(tables);
        }
        if (!isRight) {
            return "table " + name + (of(tables) ? " has another content" : " is gone");
        }
    }
    return {};
}

PowerCutTrial::Outcomes& PowerCutTrial::outcomesOf(Synchronous level) {
    static std::map<Synchronous, Outcomes> all;
    return all[level];
}

const PowerCutTrial::Outcome& PowerCutTrial::outcomeOf(const Disk& state) {
    const auto [outcome, isNew] = outcomesOf(level_).try_emplace(state.fingerprint());
    if (isNew) {
        outcome->second = tryState(state);
    }
    return outcome->second;
}

PowerCutTrial::Outcome PowerCutTrial::tryState(const Disk& state) {
    state.writeTo(trial_.path());
    log_.clear();
    const std::string path = trial_.file("db");
    const std::string directory = trial_.file("db_filedb");
    Outcome outcome;
    if (FileDatabase database(level_); !database.init(path)) {
        outcome.trouble = "the database does not open: " + log_.dump();
        return outcome;
    }
    outcome.tables = tablesOf(directory);
    const Files opened = readFiles(directory);
    FileDatabase database(level_);
    if (!database.init(path) || readFiles(directory) != opened || opened.at(Filedb::kJournalName) != "0\n") {
        outcome.trouble = "the second opening is not without effect: " + log_.dump();
        return outcome;
    }
    for (const auto& [name, hash] : outcome.tables) {
        const std::string file = directory + "/" + name + Filedb::kTableSuffix;
        const std::string before = readFile(file);
        const std::string column = before.substr(0, before.find(Filedb::FIELD_SEPARATOR));
        update(database, "INSERT INTO " + name + " (" + column + ") VALUES ({7});");
        const std::string after = readFile(file);
        if (after.size() <= before.size() || after.compare(0, before.size(), before) != 0) {
            outcome.trouble = "table " + name + " takes no row: " + log_.dump();
        }
    }
    return outcome;
}

}  // namespace Kalt::Vemo::Test
