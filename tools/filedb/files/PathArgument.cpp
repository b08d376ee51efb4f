#include "files/PathArgument.h"

#include <filesystem>
#include <string_view>

#include "FileUtils.h"
#include "console/ExitStatus.h"

namespace Kalt::Vemo::Tool {

namespace {

using Core::Database::Filedb::kDirectorySuffix;

bool endsInSuffix(const std::string& path) {
    const std::string_view suffix = kDirectorySuffix;
    return path.size() > suffix.size() &&
           std::string_view(path).substr(path.size() - suffix.size()) == suffix;
}

// "dir/.", "dir//" and "." become what they stand for, so that the name at the end can be looked at.
std::string plain(const std::string& path) {
    std::error_code ignored;
    std::filesystem::path result = path;
    if (result.filename().empty() || result.filename() == "." || result.filename() == "..") {
        result = std::filesystem::absolute(result, ignored).lexically_normal();
    }
    std::string name = result.string();
    while (name.size() > 1 && name.back() == '/') {
        name.pop_back();
    }
    return name;
}

}  // namespace

PathArgument::PathArgument(const std::string& text) : text_(text) {
    if (text.empty()) {
        throw Trouble("PATH is empty; name a database or its directory");
    }
    base_ = plain(text);
    std::error_code ignored;
    const bool isDirectory = std::filesystem::is_directory(base_ + kDirectorySuffix, ignored);
    if (endsInSuffix(base_) && !isDirectory) {
        base_.resize(base_.size() - std::string_view(kDirectorySuffix).size());
    }
    directory_ = base_ + kDirectorySuffix;
}

void PathArgument::requireDirectory() const {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(directory_, error);
    if (status.type() == std::filesystem::file_type::directory) {
        return;
    }
    // Of a link that leads in a circle and of a path without permission nobody knows what is behind it.
    if (status.type() == std::filesystem::file_type::none) {
        throw Trouble(
            directory_ + ": cannot be looked at: " + error.message() +
            "; run the command as a user who may, or check the permissions of the directories above");
    }
    throw Trouble("no database at " + text_ + ": " + directory_ + " is not a directory; check the path");
}

}  // namespace Kalt::Vemo::Tool
