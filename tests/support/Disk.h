#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>

namespace Kalt::Vemo::Test {

/// A file, whatever names lead to it.
using Node = int;

/// What is on a disk: directories, files under one or more names, symbolic links. Paths are relative to the
/// directory that stands for the whole disk, which is "".
struct Disk {
    std::set<std::string> directories;
    std::map<std::string, std::string> links;
    std::map<std::string, Node> names;
    std::map<Node, std::string> contents;

    /// Makes the directory `root` hold this and nothing else.
    void writeTo(const std::string& root) const;

    /// Equal for disks that nobody can tell apart.
    std::size_t fingerprint() const;

    /// One line for each name, for the output of a failing test.
    std::string describe() const;
};

/// The directory that a name stands in.
std::string parentOf(const std::string& path);

}  // namespace Kalt::Vemo::Test
