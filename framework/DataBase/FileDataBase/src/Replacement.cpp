#include "Replacement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <string_view>
#include <system_error>
#include <vector>

#include "EngineErrors.h"
#include "EngineLog.h"

namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

constexpr const char* kLogTag = "FileDatabase";

std::string message(int error) {
    return std::generic_category().message(error);
}

// Failures that a repetition may not meet.
bool mayPass(int error) {
    return error == EIO || error == ENOSPC || error == EDQUOT || error == ENOMEM;
}

std::string refusal(const std::string& target, int error) {
    return "File Error: File write error: " + message(error) + ": " + target +
           " cannot be replaced by its working copy";
}

NotReplaceable notReplaceable(const std::string& target, int error, int line = __builtin_LINE()) {
    return {"replace", line,
            refusal(target, error) +
                "; keep the table's file, or what its link leads to, on the file system of the database's "
                "directory, no mount point, and where this user may replace files"};
}

void logRefused(const char* what, const std::string& target) {
    const int error = errno;
    FILEDB_LOG(kLogInfo, "Cannot give the new '%s' the old one's %s: %s", target.c_str(), what,
               message(error).c_str());
}

using Names = std::vector<std::string>;

// Attributes that the kernel writes itself, about the very file that they are on.
bool isKernelsOwn(const std::string& name) {
    return name == "security.ima" || name == "security.evm" || name.rfind("trusted.overlay.", 0) == 0 ||
           name.rfind("user.overlay.", 0) == 0;
}

// What `list(buffer, size)` gives, one after the other; empty when the system refuses.
template <typename List>
Names namesFrom(List list) {
    if (list(nullptr, 0) <= 0) {
        return {};  // as nearly always; the room for the names is large
    }
    std::vector<char> buffer(XATTR_LIST_MAX);
    const ssize_t length = list(buffer.data(), buffer.size());
    Names names;
    for (auto begin = buffer.begin(); length > begin - buffer.begin();) {
        std::string name(&*begin);
        begin += static_cast<std::ptrdiff_t>(name.size()) + 1;
        if (!isKernelsOwn(name)) {
            names.push_back(std::move(name));
        }
    }
    return names;
}

void giveExtendedAttributes(int copy, const std::string& target) {
    const Names wanted =
        namesFrom([&](char* names, std::size_t size) { return listxattr(target.c_str(), names, size); });
    const Names present =
        namesFrom([&](char* names, std::size_t size) { return flistxattr(copy, names, size); });
    for (const std::string& name : present) {
        // A directory gives its new files an access list and a label.
        const bool isWanted = std::find(wanted.begin(), wanted.end(), name) != wanted.end();
        if (!isWanted && fremovexattr(copy, name.c_str()) != 0) {
            logRefused(name.c_str(), target);
        }
    }
    std::vector<char> value(wanted.empty() ? 0 : XATTR_SIZE_MAX);
    for (const std::string& name : wanted) {
        const ssize_t size = getxattr(target.c_str(), name.c_str(), value.data(), value.size());
        if (size < 0 || fsetxattr(copy, name.c_str(), value.data(), static_cast<std::size_t>(size), 0) != 0) {
            logRefused(name.c_str(), target);
        }
    }
}

// Who may not give a file away may give it to another group of its own.
void giveGroup(int copy, const std::string& target, const struct stat& from, const struct stat& own) {
    constexpr uid_t kSameOwner = static_cast<uid_t>(-1);
    if (from.st_gid != own.st_gid && fchown(copy, kSameOwner, from.st_gid) != 0) {
        logRefused("group", target);
    }
}

}  // namespace

std::string Replacement::target(const std::string& tableName) {
    constexpr int kMostLinks = 40;  // as many as the kernel follows
    std::string name = tableName;
    for (int links = 0; links < kMostLinks; ++links) {
        std::array<char, PATH_MAX> link{};
        const ssize_t length = readlink(name.c_str(), link.data(), link.size());
        if (length <= 0) {
            return name;
        }
        const std::string_view next(link.data(), static_cast<std::size_t>(length));
        if (next.front() == '/') {
            name.clear();
        } else {
            name = directoryOf(name).append("/");
        }
        name.append(next);
    }
    return name;
}

std::string Replacement::directoryOf(const std::string& fileName) {
    const std::size_t slash = fileName.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : fileName.substr(0, slash);
}

void Replacement::giveAttributes(const File& copy, const std::string& target) {
    struct stat from {};
    struct stat own {};
    if (stat(target.c_str(), &from) != 0 || fstat(copy.descriptor(), &own) != 0) {
        return;  // a new table, or one whose opening tells the cause
    }
    if (from.st_dev != own.st_dev) {
        throw notReplaceable(target, EXDEV);
    }
    // The owner before the mode: a change of owner takes bits from the mode.
    if ((from.st_uid != own.st_uid || from.st_gid != own.st_gid) &&
        fchown(copy.descriptor(), from.st_uid, from.st_gid) != 0) {
        logRefused("owner", target);
        giveGroup(copy.descriptor(), target, from, own);
    }
    giveExtendedAttributes(copy.descriptor(), target);
    // An access list is kept in the mode, too, so the mode comes last.
    constexpr mode_t kModeBits = 07777;
    if (fstat(copy.descriptor(), &own) == 0 && ((from.st_mode ^ own.st_mode) & kModeBits) != 0 &&
        fchmod(copy.descriptor(), from.st_mode & kModeBits) != 0) {
        logRefused("mode", target);
    }
}

void Replacement::requireWritable(const std::string& target) {
    if (const File table = File::openExisting(target, File::Access::readAndWrite); table) {
        table.requireRegular();
    } else if (errno != ENOENT) {
        throw openError();
    }
}

void Replacement::replace(const std::string& copyName, const std::string& target) {
    if (std::rename(copyName.c_str(), target.c_str()) == 0) {
        return;
    }
    const int error = errno;
    if (mayPass(error)) {
        throw SystemRefusal("replace", __LINE__, refusal(target, error));
    }
    throw notReplaceable(target, error);
}

void Replacement::syncDirectory(const std::string& directory) {
    const int descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    int error = descriptor < 0 || fsync(descriptor) != 0 ? errno : 0;
    if (descriptor >= 0) {
        static_cast<void>(close(descriptor));
    }
    if (error == EIO || error == ENOSPC) {
        errno = error;
        throw writeError();
    }
    if (error != 0) {
        FILEDB_LOG(kLogInfo, "Cannot sync the directory '%s', it counts as synced: %s", directory.c_str(),
                   message(error).c_str());
    }
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
