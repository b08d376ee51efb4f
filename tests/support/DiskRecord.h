#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Disk.h"
#include "FileCallListener.h"

namespace Kalt::Vemo::Test {

/// One call that has changed a disk, or has made a change safe.
struct DiskStep {
    enum class Kind { makeFile, makeDirectory, rename, remove, write, truncate, syncFile, syncDirectory };

    Kind kind;
    std::string path;        ///< the name that appears or goes, or a name of the file, or the directory
    std::string to;          ///< what a rename makes of it
    Node node = 0;           ///< the file, except for directories
    std::size_t offset = 0;  ///< of a write; the length that a truncation leaves
    std::string bytes;       ///< of a write

    /// For the output of a failing test.
    std::string describe() const;
};

/// While it lives, records what the program does to the files below a directory, which stands for a disk.
/// What is there at the beginning counts as safe. Only one may live at a time; one thread at a time may work
/// on the files.
class DiskRecord : private FileCallListener {
public:
    explicit DiskRecord(const std::string& root);
    ~DiskRecord() override;
    DiskRecord(const DiskRecord&) = delete;
    DiskRecord& operator=(const DiskRecord&) = delete;

    /// What was there at the beginning.
    const Disk& base() const { return base_; }

    const std::vector<DiskStep>& steps() const { return steps_; }

private:
    using Identity = std::pair<unsigned long long, unsigned long long>;  // device and inode

    void fileMade(int descriptor) override;
    void directoryMade(const char* path) override;
    void renamed(const char* from, const char* to) override;
    void removed(const char* path) override;
    void written(int descriptor, std::size_t offset, std::string_view bytes) override;
    void truncated(int descriptor, std::size_t length) override;
    void synced(int descriptor) override;
    void streamWritten(int descriptor) override;

    bool holds(const std::string& path) const;
    std::string relative(const std::string& path) const;
    std::string place(const char* path) const;
    Node nodeOf(int descriptor) const;
    Node removeName(const std::string& path);
    void add(DiskStep step);
    void write(int descriptor, Node node, std::size_t offset, std::string_view bytes);

    std::string root_;
    Disk base_;
    std::vector<DiskStep> steps_;
    std::map<Identity, Node> nodes_;
    std::map<std::string, Node> names_;     // as they are now
    std::map<Node, std::string> contents_;  // the same
    Node lastNode_ = 0;
};

}  // namespace Kalt::Vemo::Test
