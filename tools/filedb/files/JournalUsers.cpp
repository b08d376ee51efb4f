#include "files/JournalUsers.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace Kalt::Vemo::Tool {

namespace {

bool hasOpen(const std::filesystem::path& descriptors, const struct stat& file) {
    std::error_code error;
    for (std::filesystem::directory_iterator entry(descriptors, error), end; !error && entry != end;
         entry.increment(error)) {
        struct stat open {};
        if (stat(entry->path().c_str(), &open) == 0 && open.st_dev == file.st_dev &&
            open.st_ino == file.st_ino) {
            return true;
        }
    }
    return false;
}

// The byte of the journal that keeps other processes out is locked; docs/file-format.md tells of both.
bool isLocked(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        return false;
    }
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_len = 1;
    const bool isTold = fcntl(descriptor, F_OFD_GETLK, &lock) == 0;
    close(descriptor);
    return isTold && lock.l_type != F_UNLCK;
}

}  // namespace

std::vector<int> processesWithOpenFile(const std::string& path) {
    std::vector<int> processes;
    struct stat file {};
    if (stat(path.c_str(), &file) != 0) {
        return processes;
    }
    std::error_code error;
    for (std::filesystem::directory_iterator entry("/proc", error), end; !error && entry != end;
         entry.increment(error)) {
        const int process = std::atoi(entry->path().filename().c_str());  // 0 for what is no process
        if (process > 0 && process != getpid() && hasOpen(entry->path() / "fd", file)) {
            processes.push_back(process);
        }
    }
    std::sort(processes.begin(), processes.end());
    return processes;
}

bool isJournalInUse(const std::string& path) {
    return isLocked(path) || !processesWithOpenFile(path).empty();
}

}  // namespace Kalt::Vemo::Tool
