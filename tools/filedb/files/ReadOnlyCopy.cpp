#include "files/ReadOnlyCopy.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "File.h"
#include "FileUtils.h"
#include "console/ExitStatus.h"
#include "files/RawFile.h"

namespace Kalt::Vemo::Tool {

namespace {

using Core::Database::Filedb::File;
using Core::Database::Filedb::kCopyingState;
using Core::Database::Filedb::kJournalName;

constexpr int kAttempts = 50;  // together one second
constexpr auto kPause = std::chrono::milliseconds(20);

// ---- Removal by a signal. The handler may only use what was prepared, and system calls.

constexpr std::array<int, 3> kEndingSignals{SIGINT, SIGTERM, SIGHUP};
std::atomic<const std::vector<std::string>*> entriesToRemove{nullptr};
static_assert(std::atomic<const std::vector<std::string>*>::is_always_lock_free, "a signal handler reads it");

extern "C" void removeAndEnd(int number) {
    if (const std::vector<std::string>* const names = entriesToRemove) {
        for (const std::string& name : *names) {
            if (unlink(name.c_str()) != 0) {
                static_cast<void>(rmdir(name.c_str()));
            }
        }
    }
    static_cast<void>(signal(number, SIG_DFL));
    static_cast<void>(raise(number));
}

std::atomic<bool> areSignalsHandled{true};

void handleEndingSignals(void (*handler)(int)) {
    if (!areSignalsHandled) {
        return;
    }
    for (const int number : kEndingSignals) {
        static_cast<void>(signal(number, handler));
    }
}

// ---- Reading the original

using Contents = std::map<std::string, std::string>;

std::vector<std::string> namesIn(const std::string& directory) {
    try {
        return entriesOf(directory);
    } catch (const std::system_error& error) {
        throw Trouble(directory + ": cannot be read: " + error.code().message());
    }
}

// The regular files. What vanishes meanwhile is left out.
Contents contentsOf(const std::string& directory) {
    Contents result;
    for (const std::string& name : namesIn(directory)) {
        const std::string fileName = (std::filesystem::path(directory) / name).string();
        RawFile file = RawFile::read(fileName);
        if (file.kind == RawFile::Kind::kUnreadable) {
            throw Trouble(fileName + ": " + file.problem);
        }
        if (file.isRegular()) {
            result[name] = std::move(file.text);
        }
    }
    return result;
}

// A commit is under way: some tables are new by now and others still old.
bool isCopyingOver(const Contents& contents) {
    const auto journal = contents.find(kJournalName);
    return journal != contents.end() && journal->second.rfind(kCopyingState, 0) == 0;
}

// All files as they were at one moment: reading them twice gave the same. A commit that was interrupted for
// good is taken as it stands.
Contents snapshotOf(const std::string& directory) {
    for (int attempt = 1;; ++attempt) {
        Contents contents = contentsOf(directory);
        const bool atRest = contentsOf(directory) == contents;
        if (atRest && (attempt == kAttempts || !isCopyingOver(contents))) {
            return contents;
        }
        if (attempt == kAttempts) {
            throw Trouble(directory + ": another program keeps changing it; try again");
        }
        std::this_thread::sleep_for(kPause);
    }
}

void writeFile(const std::string& fileName, const std::string& content) {
    File file = File::open(fileName, "w+");
    file.writeAt(0, content);
    file.close();
}

}  // namespace

std::string ReadOnlyCopy::makeTemporaryDirectory() {
    std::error_code error;
    std::string name = (std::filesystem::temp_directory_path(error) / "filedb-XXXXXX").string();
    if (error || mkdtemp(name.data()) == nullptr) {
        throw Trouble(name +
                      ": cannot be made: " + std::generic_category().message(error ? error.value() : errno) +
                      "; set TMPDIR to a directory that can be written");
    }
    return name;
}

ReadOnlyCopy::ReadOnlyCopy(const PathArgument& original)
    : temporary_(makeTemporaryDirectory()), path_(temporary_ + "/copy") {
    try {
        original.requireDirectory();
        const Contents contents = snapshotOf(original.directory());
        for (const auto& [name, content] : contents) {
            entries_.push_back(path_.directory() + "/" + name);
        }
        entries_.push_back(path_.directory() + "/" + kJournalName);
        entries_.push_back(path_.directory());
        entries_.push_back(temporary_);
        entriesToRemove = &entries_;
        handleEndingSignals(&removeAndEnd);
        std::filesystem::create_directory(path_.directory());
        for (const auto& [name, content] : contents) {
            writeFile(path_.directory() + "/" + name, content);
        }
    } catch (const Trouble&) {
        remove();
        throw;
    } catch (const std::exception& error) {
        remove();
        throw Trouble("copying " + original.directory() + " to " + temporary_ + " failed: " + error.what() +
                      "; set TMPDIR to a directory with room for it");
    }
}

void ReadOnlyCopy::leaveSignalsAlone() {
    areSignalsHandled = false;
}

ReadOnlyCopy::~ReadOnlyCopy() {
    remove();
}

void ReadOnlyCopy::remove() {
    handleEndingSignals(SIG_DFL);
    entriesToRemove = nullptr;
    std::error_code ignored;
    std::filesystem::remove_all(temporary_, ignored);
}

}  // namespace Kalt::Vemo::Tool
