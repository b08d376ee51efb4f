#include <benchmark/benchmark.h>

#include <chrono>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "LogSink.h"
#include "Operations.h"
#include "Subject.h"

// Times every operation at every size, on both media, beside the same work on SQLite; what writes to the
// disk, at all three levels of what both do for power cuts. Each benchmark is named
// OPERATION/ENGINE/MEDIUM/ROWS, with an ENGINE such as file-off or sqlite-full; report.py makes the tables of
// it.

namespace {

constexpr int kSizes[] = {10, 100, 1000, 10000};
struct Engine {
    bool isSqlite;
    Level level;

    std::string name() const { return (isSqlite ? "sqlite-" : "file-") + nameOf(level); }
};

constexpr Engine kEngines[] = {{false, Level::off},   {true, Level::off},   {false, Level::normal},
                               {true, Level::normal}, {false, Level::full}, {true, Level::full}};

// Before queries are timed: a file that was changed a moment ago proves nothing by its age.
constexpr std::chrono::milliseconds kQuiet(20);

constexpr int kErrors = -2;
constexpr int kNothing = -3;

// Seconds that the operation's own work took.
double run(const Operation& operation, Subject& subject, int rows) {
    if (operation.before) {
        operation.before(subject, rows);
    }
    const auto start = std::chrono::steady_clock::now();
    operation.timed(subject, rows);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    if (operation.after) {
        operation.after(subject, rows);
    }
    return time.count();
}

// A failed statement looks like a quick one, because most failures only reach the log. So every operation is
// tried once, with somebody listening, before the log is turned off for the measurement.
void tryOperations(Subject& subject, const Engine& engine, int rows) {
    std::string errors;
    Kalt::Vemo::Log::setLogSink(
        [&errors](const Kalt::Vemo::Log::LogMessage& message) {
            // Harmless: the line that ends every copy, and the statement of the store's opening that is
            // refused.
            const std::string text = message.text;
            if (text != "line is NULL" && text.find("No ; found at end of Statement") == std::string::npos) {
                errors += text;
            }
        },
        kErrors);
    for (const Operation& operation : operations()) {
        if (!engine.isSqlite || operation.onSqlite) {
            run(operation, subject, rows);
        }
    }
    if (!errors.empty()) {
        throw std::runtime_error("an operation failed: " + errors);
    }
    Kalt::Vemo::Log::setLogSink([](const Kalt::Vemo::Log::LogMessage&) {}, kNothing);
}

// Stores live only while benchmarks of their medium and size follow each other.
Subject& subjectFor(const Engine& engine, Medium medium, int rows) {
    static std::pair<Medium, int> place;
    static std::map<std::string, std::unique_ptr<Subject>> subjects;
    if (place != std::pair(medium, rows)) {
        subjects.clear();
        place = {medium, rows};
    }
    std::unique_ptr<Subject>& subject = subjects[engine.name()];
    if (subject == nullptr) {
        subject = engine.isSqlite ? makeSqliteSubject(engine.level, medium, rows)
                                  : makeFileSubject(engine.level, medium, rows);
        tryOperations(*subject, engine, rows);
    }
    return *subject;
}

void measure(benchmark::State& state, const Operation& operation, const Engine& engine, Medium medium,
             int rows) {
    Subject& subject = subjectFor(engine, medium, rows);
    if (!operation.changes) {
        std::this_thread::sleep_for(kQuiet);
    }
    run(operation, subject, rows);  // nothing that is paid once
    for (auto _ : state) {
        state.SetIterationTime(run(operation, subject, rows));
    }
    state.SetItemsProcessed(state.iterations() * operation.repeats);
}

// Operation by operation, the order in which the report lists them.
void registerAll() {
    const std::map<std::string, Medium> media = {{"memory", Medium::memory}, {"disk", Medium::disk}};
    for (const auto& [mediumName, medium] : media) {
        for (const int rows : kSizes) {
            for (const Operation& operation : operations()) {
                for (const Engine& engine : kEngines) {
                    const bool isSynced = engine.level != Level::off;
                    if ((engine.isSqlite && !operation.onSqlite) ||
                        (isSynced && !(operation.changes && medium == Medium::disk))) {
                        continue;
                    }
                    const std::string name =
                        operation.name + "/" + engine.name() + "/" + mediumName + "/" + std::to_string(rows);
                    const Medium where = medium;
                    benchmark::RegisterBenchmark(name.c_str(),
                                                 [&operation, engine, where, rows](benchmark::State& state) {
                                                     measure(state, operation, engine, where, rows);
                                                 })
                        ->UseManualTime()
                        ->Unit(benchmark::kMicrosecond);
                }
            }
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    Kalt::Vemo::Log::setLogSink([](const Kalt::Vemo::Log::LogMessage&) {}, kNothing);
    benchmark::Initialize(&argc, argv);
    registerAll();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
