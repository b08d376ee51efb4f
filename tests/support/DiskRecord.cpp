#include "DiskRecord.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "TestSupport.h"

namespace Kalt::Vemo::Test {

namespace {

namespace fs = std::filesystem;

// By calls that the fault layer does not count.
struct stat statusOf(int descriptor) {
    struct stat status {};
    EXPECT_EQ(fstatat(descriptor, "", &status, AT_EMPTY_PATH), 0);
    return status;
}

struct stat statusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(fstatat(AT_FDCWD, path.c_str(), &status, AT_SYMLINK_NOFOLLOW), 0) << path;
    return status;
}

std::string pathOf(int descriptor) {
    return fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
}

}  // namespace

std::string DiskStep::describe() const {
    constexpr std::size_t kMostBytes = 60;
    switch (kind) {
        case Kind::makeFile:
            return "make " + path;
        case Kind::makeDirectory:
            return "make directory " + path;
        case Kind::rename:
            return "rename " + path + " to " + to;
        case Kind::remove:
            return "remove " + path;
        case Kind::write:
            return "write " + path + " at " + std::to_string(offset) + ", " + std::to_string(bytes.size()) +
                   " bytes: " + ::testing::PrintToString(bytes.substr(0, kMostBytes));
        case Kind::truncate:
            return "truncate " + path + " to " + std::to_string(offset);
        case Kind::syncFile:
            return "sync " + path;
        case Kind::syncDirectory:
            return "sync directory " + path;
    }
    return {};
}

DiskRecord::DiskRecord(const std::string& root) : root_(fs::canonical(root)) {
    for (const auto& entry : fs::recursive_directory_iterator(root_)) {
        const std::string path = relative(entry.path());
        if (entry.is_symlink()) {
            base_.links[path] = fs::read_symlink(entry.path());
        } else if (entry.is_directory()) {
            base_.directories.insert(path);
        } else {
            const struct stat status = statusOf(entry.path().string());
            const auto [node, isNew] = nodes_.try_emplace({status.st_dev, status.st_ino}, lastNode_ + 1);
            lastNode_ += isNew ? 1 : 0;
            base_.names[path] = node->second;
            base_.contents[node->second] = readFile(entry.path());
        }
    }
    names_ = base_.names;
    contents_ = base_.contents;
    setFileCallListener(this);
}

DiskRecord::~DiskRecord() {
    setFileCallListener(nullptr);
}

bool DiskRecord::holds(const std::string& path) const {
    return path == root_ || path.rfind(root_ + "/", 0) == 0;
}

std::string DiskRecord::relative(const std::string& path) const {
    return path == root_ ? "" : path.substr(root_.size() + 1);
}

// A name may be written in many ways: "./t" and "t".
std::string DiskRecord::place(const char* path) const {
    const fs::path name(path);
    return fs::canonical(name.parent_path()) / name.filename();
}

Node DiskRecord::nodeOf(int descriptor) const {
    const struct stat status = statusOf(descriptor);
    const auto node = nodes_.find({status.st_dev, status.st_ino});
    return node == nodes_.end() ? 0 : node->second;
}

Node DiskRecord::removeName(const std::string& path) {
    const auto name = names_.find(path);
    if (name == names_.end()) {
        return 0;  // a symbolic link or a directory
    }
    const Node node = name->second;
    names_.erase(name);
    return node;
}

void DiskRecord::add(DiskStep step) {
    steps_.push_back(std::move(step));
}

void DiskRecord::fileMade(int descriptor) {
    const std::string path = pathOf(descriptor);
    if (!holds(path)) {
        return;
    }
    const struct stat status = statusOf(descriptor);
    // The number of an inode that is gone may be used again.
    nodes_[{status.st_dev, status.st_ino}] = ++lastNode_;
    names_[relative(path)] = lastNode_;
    contents_[lastNode_] = {};
    add({DiskStep::Kind::makeFile, relative(path), {}, lastNode_, 0, {}});
}

void DiskRecord::directoryMade(const char* path) {
    if (const std::string name = place(path); holds(name)) {
        add({DiskStep::Kind::makeDirectory, relative(name), {}, 0, 0, {}});
    }
}

void DiskRecord::renamed(const char* from, const char* to) {
    const std::string source = place(from);
    const std::string target = place(to);
    EXPECT_EQ(holds(source), holds(target)) << source << " to " << target;
    if (!holds(source)) {
        return;
    }
    const Node node = removeName(relative(source));
    EXPECT_NE(node, 0) << source << " is no file that the record knows";
    names_[relative(target)] = node;
    add({DiskStep::Kind::rename, relative(source), relative(target), node, 0, {}});
}

void DiskRecord::removed(const char* path) {
    if (const std::string name = place(path); holds(name)) {
        add({DiskStep::Kind::remove, relative(name), {}, removeName(relative(name)), 0, {}});
    }
}

void DiskRecord::written(int descriptor, std::size_t offset, std::string_view bytes) {
    if (const Node node = nodeOf(descriptor); node != 0) {
        write(descriptor, node, offset, bytes);
    }
}

void DiskRecord::write(int descriptor, Node node, std::size_t offset, std::string_view bytes) {
    std::string& content = contents_[node];
    content.resize(std::max(content.size(), offset + bytes.size()));
    content.replace(offset, bytes.size(), bytes);
    add({DiskStep::Kind::write, relative(pathOf(descriptor)), {}, node, offset, std::string(bytes)});
}

void DiskRecord::truncated(int descriptor, std::size_t length) {
    if (const Node node = nodeOf(descriptor); node != 0) {
        contents_[node].resize(length);
        add({DiskStep::Kind::truncate, relative(pathOf(descriptor)), {}, node, length, {}});
    }
}

void DiskRecord::synced(int descriptor) {
    const std::string path = pathOf(descriptor);
    if (const Node node = nodeOf(descriptor); node != 0) {
        add({DiskStep::Kind::syncFile, relative(path), {}, node, 0, {}});
    } else if (S_ISDIR(statusOf(descriptor).st_mode) && holds(path)) {
        add({DiskStep::Kind::syncDirectory, relative(path), {}, 0, 0, {}});
    }
}

void DiskRecord::streamWritten(int descriptor) {
    const Node node = nodeOf(descriptor);
    if (node == 0) {
        return;
    }
    const std::string now = readFile("/proc/self/fd/" + std::to_string(descriptor));
    const std::string before = contents_[node];
    EXPECT_GE(now.size(), before.size()) << "a stream does not truncate";
    const auto differs = std::mismatch(before.begin(), before.end(), now.begin());
    const auto begin = static_cast<std::size_t>(differs.second - now.begin());
    if (begin < now.size()) {
        write(descriptor, node, begin, std::string_view(now).substr(begin));
    }
}

}  // namespace Kalt::Vemo::Test
