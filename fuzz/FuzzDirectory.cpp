#include "FuzzDirectory.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <vector>

#include "FuzzInput.h"

namespace Kalt::Vemo::Fuzz {

namespace {

void requireDone(bool isDone, const char* what, const std::string& path) {
    if (!isDone) {
        finding(std::string("cannot ") + what + " " + path);
    }
}

std::string parentDirectory() {
    const char* const chosen = std::getenv("TMPDIR");
    if (chosen != nullptr) {
        return chosen;
    }
    return std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";
}

std::vector<std::string> namesIn(const std::string& directory) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir(directory.c_str()), closedir);
    requireDone(stream != nullptr, "look into", directory);
    while (const dirent* const entry = readdir(stream.get())) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") {
            names.push_back(name);
        }
    }
    return names;
}

void removeEntries(const std::string& directory) {
    for (const std::string& name : namesIn(directory)) {
        const std::string path = directory + "/" + name;
        if (unlink(path.c_str()) != 0) {
            removeEntries(path);
            requireDone(rmdir(path.c_str()) == 0, "remove", path);
        }
    }
}

}  // namespace

FuzzDirectory::FuzzDirectory() : path_(parentDirectory() + "/vemo-fuzz-XXXXXX") {
    requireDone(mkdtemp(path_.data()) != nullptr, "make", path_);
}

FuzzDirectory::~FuzzDirectory() {
    removeEntries(path_);
    static_cast<void>(rmdir(path_.c_str()));
}

FuzzDirectory& FuzzDirectory::emptied() {
    static FuzzDirectory directory;
    removeEntries(directory.path_);
    return directory;
}

void putFile(const std::string& path, const std::string& content) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    const bool isWritten = descriptor >= 0 && write(descriptor, content.data(), content.size()) ==
                                                  static_cast<ssize_t>(content.size());
    requireDone(isWritten && close(descriptor) == 0, "write", path);
}

void putFiles(const std::string& directory, const Files& files) {
    if (mkdir(directory.c_str(), 0777) != 0) {
        removeEntries(directory);
    }
    for (const auto& [name, content] : files) {
        putFile(directory + "/" + name, content);
    }
}

Files filesOf(const std::string& directory) {
    Files files;
    for (const std::string& name : namesIn(directory)) {
        const std::string path = directory + "/" + name;
        struct stat status {};
        if (lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
            files[name] = contentOf(path);
        }
    }
    return files;
}

std::string contentOf(const std::string& file) {
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    requireDone(descriptor >= 0, "read", file);
    std::string content;
    std::array<char, 4096> block{};
    ssize_t length = 0;
    while ((length = read(descriptor, block.data(), block.size())) > 0) {
        content.append(block.data(), static_cast<std::size_t>(length));
    }
    requireDone(length == 0 && close(descriptor) == 0, "read", file);
    return content;
}

}  // namespace Kalt::Vemo::Fuzz
