#include "Disk.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "TestSupport.h"

namespace Kalt::Vemo::Test {

namespace fs = std::filesystem;

void Disk::writeTo(const std::string& root) const {
    for (const auto& entry : fs::directory_iterator(root)) {
        fs::remove_all(entry);
    }
    for (const std::string& directory : directories) {
        fs::create_directories(fs::path(root) / directory);
    }
    for (const auto& [name, target] : links) {
        fs::create_symlink(target, fs::path(root) / name);
    }
    std::map<Node, fs::path> written;
    for (const auto& [name, node] : names) {
        const fs::path path = fs::path(root) / name;
        const auto [first, isNew] = written.emplace(node, path);
        if (isNew) {
            writeFile(path, contents.at(node));
        } else {
            fs::create_hard_link(first->second, path);
        }
    }
}

std::size_t Disk::fingerprint() const {
    std::string text;
    for (const std::string& directory : directories) {
        text += directory + '\n';
    }
    for (const auto& [name, target] : links) {
        text += name + '>' + target + '\n';
    }
    std::map<Node, std::string> firstNames;
    for (const auto& [name, node] : names) {
        const std::string& content = contents.at(node);
        text += name + '=' + firstNames.emplace(node, name).first->second + ':';
        text += std::to_string(content.size()) + ':' + content;
    }
    return std::hash<std::string>{}(text);
}

std::string Disk::describe() const {
    constexpr std::size_t kMostBytes = 80;
    std::string text;
    for (const std::string& directory : directories) {
        text += "  " + directory + "/\n";
    }
    for (const auto& [name, target] : links) {
        text += "  " + name + " -> " + target + "\n";
    }
    for (const auto& [name, node] : names) {
        const std::string& content = contents.at(node);
        text += "  " + name + " (" + std::to_string(content.size()) +
                " bytes): " + ::testing::PrintToString(content.substr(0, kMostBytes)) + "\n";
    }
    return text;
}

std::string parentOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

}  // namespace Kalt::Vemo::Test
