#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "DiskRecord.h"
#include "FaultLayer.h"
#include "FileDatabase.h"
#include "TestSupport.h"

namespace Kalt::Vemo::Test {

/// Records what a workload does to a database's files, and holds every state that a power cut may leave to
/// what the level promises:
///
/// - the database opens; a second opening changes nothing, and each table takes a row;
/// - each table is, byte for byte, as some act has left it, not later than the one that the cut has met;
/// - at `full` it is as the last act that was reported done has left it, or the one that the cut has met;
/// - a table that the open transaction has changed and then dropped may be gone.
///
///     PowerCutTrial trial(Synchronous::full);
///     trial.prepare([](FileDatabase& database) { ... });  // is on the disk
///     trial.open();
///     trial.act("INSERT INTO t (a, b) VALUES ({1}, '{one}');");
///     EXPECT_THAT(trial.brokenPromises(), IsEmpty());
class PowerCutTrial {
public:
    using FileDatabase = Core::Database::Filedb::FileDatabase;
    using Synchronous = Core::Database::Filedb::Synchronous;

    explicit PowerCutTrial(Synchronous level);

    /// The directory that stands for the disk.
    std::string file(const std::string& name) const { return disk_.file(name); }
    /// What a database is opened with, and the directory that it then has.
    std::string path() const { return file("db"); }
    std::string directory() const { return path() + "_filedb"; }

    /// Does statements before the record begins: all of that is on the disk. Values are in braces.
    void prepare(const std::vector<std::string>& statements);

    /// From here on is recorded. Called by the first act.
    void begin();

    /// Opens the database as a new process would.
    void open();

    /// One call of the database: a statement, BEGIN, COMMIT or ROLLBACK. It is reported done.
    void act(const std::string& statement);

    /// The same of anything else that uses the files of directory().
    void act(const std::string& name, const std::function<void()>& work);

    /// A process opens the database and does these statements. It is killed just before the `call`-th of its
    /// calls that change files or sync them; the system goes on. False when the process ended before.
    bool isKilledIn(const std::vector<std::string>& statements, int call);

    /// A process does the same while the system refuses the calls that the filter takes, and ends: nothing of
    /// it is reported done.
    void isRefusedIn(const std::vector<std::string>& statements, CallFilter calls);

    /// Only cuts from here on are looked at.
    void skipEarlierCuts();

    /// Tries every state; what is wrong in the first few that break the promise of `level`.
    std::vector<std::string> brokenPromises(Synchronous level);
    std::vector<std::string> brokenPromises() { return brokenPromises(level_); }

    /// How many different states were tried so far, of all objects.
    static std::size_t statesTried();

private:
    /// The tables, by a hash of their files.
    using Tables = std::map<std::string, std::size_t>;

    /// What holds from a number of recorded steps on.
    struct Moment {
        std::size_t steps;
        std::size_t reported;         ///< the version that is safe at `full`
        std::size_t latest;           ///< the version that may be there
        std::set<std::string> goers;  ///< tables that may be gone
        std::string doing;
    };

    /// What became of a state. The same state is tried once for all objects of a level.
    struct Outcome {
        Tables tables;
        std::string trouble;
    };
    using Outcomes = std::unordered_map<std::size_t, Outcome>;

    static Outcomes& outcomesOf(Synchronous level);
    static Tables tablesOf(const std::string& directory);
    std::set<std::string> changedAndDropped() const;
    void run(const std::string& statement);
    void runProcess(const std::string& name, const std::vector<std::string>& statements);
    void expectNoErrors() const;
    void enter(const std::string& name);
    void leave(const std::string& name, bool isReported);
    const Moment& momentOf(std::size_t steps) const;
    const Outcome& outcomeOf(const Disk& state);
    Outcome tryState(const Disk& state);
    std::string wrongTable(const Moment& moment, const Tables& tables, Synchronous level) const;

    Synchronous level_;
    LogCapture log_{-2};
    TemporaryDirectory disk_;
    TemporaryDirectory trial_;
    std::unique_ptr<FileDatabase> database_;
    std::optional<DiskRecord> record_;
    std::vector<Tables> versions_;
    std::vector<Moment> moments_;
    std::size_t firstCut_ = 0;
};

}  // namespace Kalt::Vemo::Test
