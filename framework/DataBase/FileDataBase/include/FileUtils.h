#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Kalt::Vemo::Core::Database::Filedb {

/// The character that joins the fields of a line, and the longest line, line feed included, that reads back
/// whole.
inline constexpr char FIELD_SEPARATOR = '~';
inline constexpr std::size_t kMaxLineLength = 1023;

/// What the names of a database's files are made of; docs/file-format.md draws the directory.
inline constexpr const char* kDirectorySuffix = "_filedb";
inline constexpr const char* kJournalName = "master_rollback";
inline constexpr const char* kTableSuffix = ".table";
inline constexpr const char* kBackupSuffix = ".backup";

/// Tells one version of a file from another: two equal identities mean the same, unchanged file. The identity
/// of no file equals none, not even itself.
struct FileIdentity {
    unsigned long long device = 0;
    unsigned long long node = 0;
    long long size = -1;
    long long seconds = 0;
    long nanoseconds = 0;

    static FileIdentity of(FILE* stream);
    static FileIdentity of(const std::string& fileName);

    bool sameFile(const FileIdentity& other) const {
        return size >= 0 && other.size >= 0 && device == other.device && node == other.node;
    }
    bool operator==(const FileIdentity& other) const {
        return sameFile(other) && size == other.size && seconds == other.seconds &&
               nanoseconds == other.nanoseconds;
    }
};

/// The only code that opens, reads and writes the files of a database.
///
/// Streams: the caller owns every stream, also after an error; StreamHandle closes one on every path. Nothing
/// here locks: one thread at a time may use a stream.
///
/// Throws: DatabaseException, where a function says so.
///
///     StreamHandle stream(FileUtils::openFile(name, "r"));
///     std::vector<std::string> fields;
///     while (FileUtils::getNextRecordFromTableFile(stream.get(), fields)) { ... }
class FileUtils {
public:
    /// Opens `fileName` and stands at its start. A named pipe or a device never makes the call wait.
    ///
    /// @param mode as for `fopen`
    /// Throws: "DataBase Error: Couldn't open the corresponding file".
    static FILE* openFile(const std::string& fileName, const std::string& mode);

    /// Opens an existing file for reading, or for reading and writing; null when the system refuses. No log
    /// line, no exception: the caller knows what a missing file means.
    static FILE* openExisting(const std::string& fileName, bool forWriting);

    /// Opens `fileName` for writing its whole content anew with overwrite(); made when missing. Where mode
    /// "w+" would cut the file to nothing first, this keeps the old bytes until they are overwritten: cutting
    /// a file that holds data is the dearest thing one can ask of a disk file system, and blocks that a file
    /// already has cannot run into a full disk.
    ///
    /// Throws: as openFile.
    static FILE* openForOverwrite(const std::string& fileName);

    /// Closes `stream` unless it is null.
    static void closeFile(FILE* stream);

    /// Whether `fileName` can be opened for reading; so a directory exists, too.
    static bool fileExist(const std::string& fileName);

    /// Does nothing and returns true: whoever must delete a file calls `remove` and logs its failure.
    static bool fileRemove(const std::string& fileName);

    /// Copies the lines of `source`, from its start, to the start of `destination`. Text is copied byte for
    /// byte; of a line with a NUL byte the part before it is copied.
    ///
    /// @return not zero
    /// Throws: "DB Error: Error occurred during file reading", "File Error: File write error".
    static int copyWholeFile(FILE* destination, FILE* source);

    /// Appends one line, wherever the stream stands: the fields joined by FIELD_SEPARATOR, then a line feed.
    /// Whether the system took the bytes is known after a flush; the result of the write itself is not looked
    /// at.
    ///
    /// Throws: "File Error: File Seek error", also for a null stream.
    static void writeRecordToTableFile(FILE* stream, const std::vector<std::string>& fields);

    /// Reads one line and cuts it into fields, see RecordReader for the rules.
    ///
    /// @param fields replaced on success; unchanged at the end of the file and after an error
    /// @return false at the end of the file
    /// Throws: "DB Error: Error occurred during file reading".
    static bool getNextRecordFromTableFile(FILE* stream, std::vector<std::string>& fields);

    /// Reads the lines from the stream's position to its end.
    ///
    /// @param rows receives them; it is left longer than the count, at the next multiple of 5 above it
    /// @return how many lines were read
    static int readAllRecordFromTableFile(FILE* stream, std::vector<std::vector<std::string>>& rows);

    /// The line that writeRecordToTableFile appends, line feed included.
    static std::string recordLine(const std::vector<std::string>& fields);

    /// Reads the whole file, past the stream's own buffer and position.
    ///
    /// Throws: "DB Error: Error occurred during file reading", also for what is no regular file.
    static std::string readWhole(FILE* stream);

    /// Reads up to `size` bytes at `offset`, past the stream's own buffer; 0 at the end of the file.
    ///
    /// Throws: as readWhole.
    static std::size_t readAt(FILE* stream, long offset, char* buffer, std::size_t size);

    /// Number of bytes in the file.
    ///
    /// Throws: as readWhole, for a directory, a pipe or a device under the name of a table.
    static long lengthOfRegularFile(FILE* stream);

    /// Makes `text` the whole content of the file: overwrites from the start, then cuts what is left of the
    /// old. Requires: nothing was written through the stream's own buffer.
    ///
    /// @return what to know the file by, as it is now
    /// Throws: "File Error: File write error: ..." when the system does not take every byte.
    static FileIdentity overwrite(FILE* stream, std::string_view text);

    /// Copies `source` over `destination` as copyWholeFile does, and cuts what is left of the old content.
    ///
    /// Throws: as copyWholeFile and overwrite.
    static void overwriteFrom(FILE* destination, FILE* source);

    /// Writes `text` at `offset` (at the end when the stream was opened for appending).
    ///
    /// Throws: as overwrite.
    static void writeAt(FILE* stream, long offset, std::string_view text);

    /// Cuts the file to `length` bytes. Throws: as overwrite.
    static void cut(FILE* stream, long length);

    /// What copyWholeFile logs at the end of every copy: the end of the file is only noticed by a read that
    /// fails.
    static void logEndOfCopy();

    /// Closes a stream that was written to and looks at the result: some systems report a failed write only
    /// now.
    ///
    /// Throws: as overwrite; the stream is closed all the same.
    static void closeWritten(std::unique_ptr<FILE, void (*)(FILE*)> stream);
};

/// Owns a stream and closes it.
using StreamHandle = std::unique_ptr<FILE, void (*)(FILE*)>;

inline StreamHandle ownStream(FILE* stream) {
    return {stream, &FileUtils::closeFile};
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
