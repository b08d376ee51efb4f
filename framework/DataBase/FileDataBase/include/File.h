#pragma once

#include <cstddef>
#include <cstdio>
#include <ctime>
#include <string>
#include <string_view>

#include "Buffer.h"

namespace Kalt::Vemo::Core::Database::Filedb {

/// What the system says of a file at one moment. The identity of no file, which is the default, equals none,
/// not even itself.
///
/// Equal identities do not prove that the file is unchanged: KnownFile says what does.
struct FileIdentity {
    unsigned long long device = 0;
    unsigned long long node = 0;
    long long size = -1;
    timespec changed{};  ///< when content, owner, permissions or name were changed last
    timespec modified{};

    /// The identity of the file that the name leads to; that of no file when there is none.
    [[nodiscard]] static FileIdentity of(const std::string& fileName);

    /// The same for what has the name itself: a symbolic link is not followed.
    [[nodiscard]] static FileIdentity ofName(const std::string& fileName);

    bool isFile() const { return size >= 0; }
    bool sameFile(const FileIdentity& other) const {
        return isFile() && other.isFile() && device == other.device && node == other.node;
    }
    bool operator==(const FileIdentity& other) const;
};

/// Where a text differs from the text that it was made of: the bytes before `begin` and those from `end` on
/// are the same, at the same places. An `end` of npos says that the rest has moved, or is not known.
struct Difference {
    std::size_t begin = 0;
    std::size_t end = std::string::npos;

    static Difference none() { return {std::string::npos, 0}; }

    /// The difference that both make together, one after the other.
    [[nodiscard]] Difference with(const Difference& later) const;
};

/// An open file, closed by its destructor. Reads and writes name their place and go to the system at once:
/// there is no position and no buffer.
///
/// Threads: as for a file descriptor. Throws: DatabaseException, where a function says so.
///
///     const File file = File::openExisting(name, File::Access::read);
///     if (file) { use(file.readWhole().view()); }
class File {
public:
    enum class Access { read, readAndWrite };

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
    [[nodiscard]] static File open(const std::string& fileName, const std::string& mode);

    /// Whether the name leads to anything. It is missing only when the system says so.
    ///
    /// Throws: as open, when that cannot be told: no permission, no descriptor left, an I/O error.
    [[nodiscard]] static bool exists(const std::string& fileName);

    /// Opens an existing file; no file when the system refuses.
    [[nodiscard]] static File openExisting(const std::string& fileName, Access access);

    /// Opens `fileName` to write over what it holds; made when missing. It is not truncated, as mode "w+"
    /// would do: that is slow on disk file systems, and blocks that the file keeps cannot run into a full
    /// disk.
    ///
    /// Throws: as open.
    [[nodiscard]] static File openForOverwrite(const std::string& fileName);

    /// Makes a file; no file when the system refuses, also when anything of the name is there, a link that
    /// leads nowhere included.
    [[nodiscard]] static File makeNew(const std::string& fileName);

    /// Makes a file in the place of what has the name.
    ///
    /// Throws: as open; what had the name is then still there.
    [[nodiscard]] static File makeAnew(const std::string& fileName);

    /// Opens an existing file for reading and writing, without a word to the log; no file when the system
    /// refuses.
    [[nodiscard]] static File openQuietly(const std::string& fileName);

    /// The same; no file for a symbolic link either.
    [[nodiscard]] static File openNoLink(const std::string& fileName);

    /// Whether this is a file.
    explicit operator bool() const { return descriptor_ >= 0; }

    /// Logs what opening `fileName` logs, when a file that was opened earlier is used.
    static void logUse(const std::string& fileName, const char* mode);

    /// Logs what write() logs of a text.
    static void logWrite(std::string_view text);

    /// Closes the file and checks the result: some systems report a failed write only here.
    ///
    /// Throws: as writeAt; the file is then closed as well.
    void close();

    /// Makes the file a stream of the C library, at the file's start.
    ///
    /// @return owned by the caller
    /// Throws: as open.
    [[nodiscard]] FILE* intoStream(const std::string& mode) &&;

    /// The file's identity now.
    ///
    /// Throws: "DB Error: Error occurred during file reading", also for what is no regular file: a directory,
    /// a pipe or a device under the name of a table.
    [[nodiscard]] FileIdentity identity() const;

    /// The same without an exception: the identity of no file when the system refuses, or when it is no
    /// regular file.
    [[nodiscard]] FileIdentity status() const noexcept;

    /// Throws: as identity, for what is no regular file.
    void requireRegular() const;

    /// For calls of the system that this class does not have.
    int descriptor() const { return descriptor_; }

    /// Brings content and size to the disk. After a failure the system may have forgotten what it could not
    /// write, so the file must not be trusted any more: it is not tried again.
    ///
    /// Throws: as writeAt.
    void sync();

    /// Sets the time of the last modification; false when the system refuses.
    [[nodiscard]] bool setModificationTime(const timespec& time);

    /// Whether the file is on a file system whose time stamps this machine gives: not on a network or a FUSE
    /// file system.
    [[nodiscard]] bool isOnLocalDisk() const;

    /// All bytes of the file. A read that comes back short is continued.
    ///
    /// Throws: as identity, also when the system gives fewer bytes than the file has.
    [[nodiscard]] Buffer readWhole() const { return readWhole(identity()); }

    /// The same for a file whose identity is known.
    [[nodiscard]] Buffer readWhole(const FileIdentity& identity) const;

    /// Reads up to `size` bytes at `offset`; 0 at the end of the file. Throws: as identity.
    [[nodiscard]] std::size_t readAt(std::size_t offset, char* buffer, std::size_t size) const;

    /// Writes `text` at `offset`, or at the end when the file was opened for appending.
    ///
    /// Throws: "File Error: File write error: ..." unless every byte is written.
    void writeAt(std::size_t offset, std::string_view text);

    /// Shortens the file to `length` bytes. Throws: as writeAt.
    void truncate(std::size_t length);

    /// Writes `text` over what the file holds. What is left of a longer old content stays.
    ///
    /// @param difference how `text` differs from what the file holds: only that part is written
    /// Throws: as writeAt.
    void write(std::string_view text, const Difference& difference);

private:
    explicit File(int descriptor) : descriptor_(descriptor) {}
    static File openOrThrow(const std::string& fileName, int flags, const char* mode);
    int release() noexcept;

    int descriptor_ = -1;
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
