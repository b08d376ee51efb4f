#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "FileDatabase.h"
#include "TestSupport.h"

// Power cuts on a real file system: an ext4 image with its default options is copied while it is mounted, at
// the moments at which ext4 writes by itself (every 5 s what files are called and how long they are, after
// 30 s what is in them), and each copy is mounted as after a power cut.
namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::FileDatabase;
using Core::Database::Filedb::Synchronous;

namespace fs = std::filesystem;

constexpr int kRows = 1000;

// ext4 writes names every 5 s, and needs a moment for it.
constexpr int kAllNamesWritten = 8;

/// What keeps this machine from mounting an image.
struct CannotMount : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Throws: CannotMount, with what the command says.
void mustRun(const std::string& command) {
    FILE* const output = popen((command + " 2>&1").c_str(), "r");
    std::string said;
    for (int c = std::fgetc(output); c != EOF; c = std::fgetc(output)) {
        said += static_cast<char>(c);
    }
    if (pclose(output) != 0) {
        throw CannotMount(command + ": " + said);
    }
}

/// Mounts of this process alone: they end with it, however it ends.
void keepMountsPrivate() {
    if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        throw CannotMount("a mount needs root");
    }
}

/// An image that is mounted while the object lives. Its file loses its name at once, so that nothing stays of
/// it when the process is killed.
class MountedImage {
public:
    /// An empty file system.
    MountedImage() : MountedImage(emptyImage()) {}

    /// A copy of an image: what was in its journal is done now, as after a power cut.
    explicit MountedImage(const std::string& image) {
        const TemporaryDirectory place("/dev/shm");
        const std::string name = place.file("image");
        writeFile(name, image);
        image_ = open(name.c_str(), O_RDONLY | O_CLOEXEC);
        mustRun("mount -o loop " + name + " " + directory_.path());
    }

    ~MountedImage() {
        EXPECT_EQ(umount(directory_.path().c_str()), 0);
        close(image_);
    }
    MountedImage(const MountedImage&) = delete;
    MountedImage& operator=(const MountedImage&) = delete;

    std::string file(const std::string& name) const { return directory_.file(name); }

    /// Brings everything to the image.
    void sync() const { mustRun("sync -f " + directory_.path()); }

    /// What has reached the image's file, which is the disk. Two looks that are the same show one moment.
    std::string image() const {
        std::string before = read();
        for (std::string now = read(); now != before; now = read()) {
            before = now;
        }
        return before;
    }

private:
    static constexpr std::size_t kBytes = 32U << 20U;

    static std::string emptyImage() {
        const TemporaryDirectory place("/dev/shm");
        const std::string name = place.file("image");
        writeFile(name, {});
        fs::resize_file(name, kBytes);
        mustRun("mkfs.ext4 -q " + name);
        return readFile(name);
    }

    std::string read() const {
        std::string bytes(kBytes, '\0');
        EXPECT_EQ(pread(image_, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(kBytes));
        return bytes;
    }

    TemporaryDirectory directory_;
    int image_ = -1;
};

std::string manyRows() {
    std::string text = "a~b~ROWID\n1~4~1\n\n";
    for (int row = 1; row <= kRows; ++row) {
        const std::string number = std::to_string(row);
        text += number + "~'subscription of device " + number + "'~" + number + "\n";
    }
    return text;
}

/// A statement in a table of its own, in a directory of its own.
struct Change {
    std::string directory;
    Synchronous level;
    std::string statement;
    std::string before = manyRows();
    std::string after = {};

    std::string table(const MountedImage& disk) const { return disk.file(directory + "_filedb/t.table"); }

    void make(const MountedImage& disk) {
        FileDatabase database(level);
        ASSERT_TRUE(database.init(disk.file(directory)));
        ASSERT_EQ(database.executeUpdate(statement.c_str(), "2000", "new"), 0);
        after = readFile(table(disk));
        ASSERT_NE(after, before);
    }
};

std::vector<Change> allChanges() {
    std::vector<Change> changes;
    const std::pair<const char*, Synchronous> kLevels[] = {
        {"full", Synchronous::full}, {"normal", Synchronous::normal}, {"off", Synchronous::off}};
    for (const auto& [name, level] : kLevels) {
        const std::string prefix = std::string(name) + "_";
        changes.push_back({prefix + "insert", level, "INSERT INTO t (a, b) VALUES (?, '?');"});
        changes.push_back({prefix + "update", level, "UPDATE t SET a=?, b='?' WHERE a = 10;"});
        changes.push_back({prefix + "delete", level, "DELETE FROM t WHERE a = 1;"});
    }
    return changes;
}

/// How many of the rows that the change did not touch are missing.
int lostRows(const Change& change, const std::string& found) {
    const auto lines = [](const std::string& text) {
        std::multiset<std::string> result;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) {
            result.insert(line);
        }
        return result;
    };
    const std::multiset<std::string> there = lines(found);
    const std::multiset<std::string> after = lines(change.after);
    const std::multiset<std::string> before = lines(change.before);
    return static_cast<int>(std::count_if(before.begin(), before.end(), [&](const std::string& line) {
        return after.count(line) != 0 && there.count(line) == 0;
    }));
}

/// Each change as a power cut at the moment of this image leaves it.
void expectWhole(const std::string& image, int secondsAfter, const std::vector<Change>& changes) {
    const MountedImage disk(image);
    for (const Change& change : changes) {
        const std::string where = change.directory + ", " + std::to_string(secondsAfter) + " s after";
        SCOPED_TRACE(where);
        FileDatabase database(change.level);
        EXPECT_TRUE(database.init(disk.file(change.directory)));
        const std::string found = fs::exists(change.table(disk)) ? readFile(change.table(disk)) : "";
        const int lost = lostRows(change, found);
        if (change.level == Synchronous::off) {
            std::cout << "[  at off  ] " << where << ": " << lost << " rows lost that were not changed\n";
            continue;  // nothing is promised
        }
        const bool mayBeMissing = change.level == Synchronous::normal && secondsAfter < kAllNamesWritten;
        EXPECT_TRUE(found == change.after || (mayBeMissing && found == change.before))
            << lost << " rows are lost that were not changed";
    }
}

TEST(Ext4Test, EveryTableIsWholeAtEachMomentAfterAStatement) {
    using std::chrono::seconds;
    using std::chrono::steady_clock;
    const LogCapture log;
    std::optional<MountedImage> disk;
    try {
        keepMountsPrivate();
        disk.emplace();
    } catch (const CannotMount& error) {
        GTEST_SKIP() << "no ext4 image can be mounted here, so nothing is tested: " << error.what();
    }
    std::vector<Change> changes = allChanges();
    for (const Change& change : changes) {
        fs::create_directory(disk->file(change.directory + "_filedb"));
        writeFile(change.table(*disk), change.before);
    }
    disk->sync();
    std::vector<Change> made;
    for (Change& change : changes) {
        change.make(*disk);
        made.push_back(change);
        if (change.level == Synchronous::full) {
            expectWhole(disk->image(), 0, made);
        }
    }
    std::vector<std::pair<int, std::string>> images;
    const auto began = steady_clock::now();
    for (const int wait : {0, 1, 4, 8, 16, 32}) {
        std::this_thread::sleep_until(began + seconds(wait));
        images.emplace_back(wait, disk->image());
    }
    disk.reset();
    for (const auto& [wait, image] : images) {
        expectWhole(image, wait, changes);
    }
}

}  // namespace
}  // namespace Kalt::Vemo::Test
