#include "check/AsideDirectory.h"

#include <filesystem>

#include "files/DurableFiles.h"

namespace Kalt::Vemo::Tool {

namespace {

// Beside the directory itself, not beside a link to it: moving needs the same file system.
std::string beside(const std::string& database) {
    return std::filesystem::is_symlink(database) ? std::filesystem::canonical(database).string() : database;
}

}  // namespace

AsideDirectory::AsideDirectory(const std::string& database)
    : database_(database), base_(beside(database)), path_(nextPath()) {}

std::string AsideDirectory::nextPath() {
    std::string path;
    do {
        ++number_;
        path = base_ + ".repair-" + std::to_string(number_);
    } while (std::filesystem::exists(std::filesystem::symlink_status(path)));
    return path;
}

void AsideDirectory::make() {
    while (!isMade_) {
        isMade_ = DurableFiles::makeDirectory(path_);
        if (!isMade_) {  // somebody was faster
            path_ = nextPath();
        }
    }
}

void AsideDirectory::keepCopy(const std::string& name) {
    make();
    DurableFiles::copy(database_, path_, name);
}

void AsideDirectory::moveIn(const std::string& name) {
    make();
    DurableFiles::move(database_, path_, name);
}

void AsideDirectory::write(const std::string& name, std::string_view text) {
    make();
    DurableFiles::writeNew(path_, name, text);
}

}  // namespace Kalt::Vemo::Tool
