#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

#include "Buffer.h"

namespace Kalt::Vemo::Core::Database::Filedb {

/// Tells one version of a file from another: two equal identities mean the same, unchanged file. The identity
/// of no file equals none, not even itself.
struct FileIdentity {
    unsigned long long device = 0;
    unsigned long long node = 0;
    long long size = -1;
    long long seconds = 0;  // of the last change, be it to the content or to the file's owner and permissions
    long nanoseconds = 0;

    /// The identity of the file that the name leads to; that of no file when there is none.
    static FileIdentity of(const std::string& fileName);

    bool sameFile(const FileIdentity& other) const {
        return size >= 0 && other.size >= 0 && device == other.device && node == other.node;
    }
    bool operator==(const FileIdentity& other) const {
        return sameFile(other) && size == other.size && seconds == other.seconds &&
               nanoseconds == other.nanoseconds;
    }
};

/// Where a text differs from the text that it was made of: the bytes in front of `begin` and those from `end`
/// on are the same, at the same places. An `end` of npos says that the rest has moved, or is not known.
struct Difference {
    std::size_t begin = 0;
    std::size_t end = std::string::npos;

    static Difference none() { return {std::string::npos, 0}; }

    /// What both make together, one after the other.
    Difference with(const Difference& later) const;
};

/// An open file, closed by its owner's end. Reads and writes go to the system at once and name their place,
/// so there is no position and nothing is held back.
///
/// Threads: as for the descriptor beneath. Throws: DatabaseException, where a function says so.
///
///     File file = File::openExisting(name, false);
///     if (file) { use(file.readWhole().view()); }
class File {
public:
    /// No file.
    File() = default;
    ~File();
    File(File&& other) noexcept : descriptor_(other.release()) {}
    File& operator=(File&& other) noexcept;
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    /// Opens `fileName` with the mode of an `fopen`. A named pipe or a device never makes the call wait.
    ///
    /// Throws: "DataBase Error: Couldn't open the corresponding file", also for a mode that does not begin
    /// with "r", "w" or "a".
    static File open(const std::string& fileName, const std::string& mode);

    /// Whether the name leads to anything. It is missing only when the system says so.
    ///
    /// Throws: as open, when that cannot be told: no permission, no descriptor left, an I/O error.
    static bool exists(const std::string& fileName);

    enum class Access { read, readAndWrite };

    /// Opens an existing file; no file when the system refuses.
    static File openExisting(const std::string& fileName, Access access);

    /// Opens `fileName` for writing its whole content anew with overwrite(); made when missing. Where mode
    /// "w+" would cut the file to nothing first, this keeps the old bytes until they are overwritten: cutting
    /// a file that holds data is the dearest thing one can ask of a disk file system, and blocks that a file
    /// already has cannot run into a full disk.
    ///
    /// Throws: as open.
    static File openForOverwrite(const std::string& fileName);

    /// Whether there is a file.
    explicit operator bool() const { return descriptor_ >= 0; }

    /// Logs what opening `fileName` logs, for one that was opened earlier and is used now.
    static void logUse(const std::string& fileName, const char* mode);

    /// Closes the file and looks at the result: some systems report a failed write only now.
    ///
    /// Throws: as overwrite; the file is closed all the same.
    void close();

    /// Hands the file over to a stream of the C library, which starts at the file's start.
    ///
    /// @return owned by the caller
    /// Throws: as open.
    FILE* intoStream(const std::string& mode) &&;

    /// What to know the file by, as it is now.
    ///
    /// Throws: "DB Error: Error occurred during file reading", also for what is no regular file: a directory,
    /// a pipe or a device under the name of a table.
    FileIdentity identity() const;

    /// Throws: as identity, for what is no regular file.
    void requireRegular() const;

    /// All bytes of the file. A read that comes back short is gone on with.
    ///
    /// Throws: as identity, also when the system gives fewer bytes than the file has.
    Buffer readWhole() const { return readWhole(identity()); }

    /// The same, of a file whose identity is known: spares asking for it.
    Buffer readWhole(const FileIdentity& identity) const;

    /// Reads up to `size` bytes at `offset`; 0 at the end of the file. Throws: as identity.
    std::size_t readAt(std::size_t offset, char* buffer, std::size_t size) const;

    /// Writes `text` at `offset` (at the end when the file was opened for appending).
    ///
    /// Throws: "File Error: File write error: ..." when the system does not take every byte.
    void writeAt(std::size_t offset, std::string_view text);

    /// Cuts the file to `length` bytes. Throws: as writeAt.
    void cut(std::size_t length);

    /// Makes `text` the whole content of the file: overwrites what differs, then cuts what is left of the old
    /// content.
    ///
    /// @param difference how `text` differs from what the file holds
    /// @return the file's identity now
    /// Throws: as writeAt.
    FileIdentity overwrite(std::string_view text, const Difference& difference = {});

    /// The same, of a file that is known to have the identity `old`; spares asking for it.
    void overwrite(std::string_view text, const Difference& difference, const FileIdentity& old);

private:
    explicit File(int descriptor) : descriptor_(descriptor) {}
    static File openOrThrow(const std::string& fileName, int flags, const char* mode);
    void writeDifference(std::string_view text, const Difference& difference);
    int release() noexcept;

    int descriptor_ = -1;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
