#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "File.h"
#include "TableFormat.h"

namespace Kalt::Vemo::Core::Database::Filedb {

/// Lines and records of a database's files, read and written through streams of the C library; File does it
/// without a stream.
///
/// FileUtils, TableMetaData and FileResultTable share FileUtils.cpp, and the log tag "FileResultTable".
///
/// Streams: the caller owns every stream, also after an error; StreamHandle closes one on every path. No call
/// locks: one thread at a time may use a stream.
///
/// Throws: DatabaseException, where a function says so.
///
///     const StreamHandle stream = ownStream(FileUtils::openFile(name, "r"));
///     std::vector<std::string> fields;
///     while (FileUtils::getNextRecordFromTableFile(stream.get(), fields)) { ... }
class FileUtils {
public:
    /// Opens `fileName` and stands at its start. A named pipe or a device never makes the call wait.
    ///
    /// @param mode as for `fopen`; it begins with "r", "w" or "a". With an "x" after "w" or "a" the file must
    ///             not exist.
    /// Throws: "DataBase Error: Couldn't open the corresponding file".
    static FILE* openFile(const std::string& fileName, const std::string& mode);

    /// Closes `stream` unless it is null.
    static void closeFile(FILE* stream);

    /// Copies the lines of `source`, from its start, to the start of `destination`. Text is copied byte for
    /// byte; of a line with a NUL byte the part before it is copied.
    ///
    /// @return not zero
    /// Throws: "DB Error: Error occurred during file reading", "File Error: File write error".
    static int copyWholeFile(FILE* destination, FILE* source);

    /// Makes `source` the whole content of `destination`, as copyWholeFile does it, and closes both.
    ///
    /// Throws: as copyWholeFile and File::write.
    static void overwriteFrom(File destination, File source);

    /// The same without a word to the log, for a copy that logCopyOf() tells of later.
    static void overwriteSilently(File destination, File source);

    /// Logs what a copy of `source` with copyWholeFile logs, as far as it can be read again.
    static void logCopyOf(File source) noexcept;

    /// Reads one line and splits it into fields, see Record for the rules.
    ///
    /// @param fields replaced on success; unchanged at the end of the file and after an error
    /// @return false at the end of the file
    /// Throws: "DB Error: Error occurred during file reading".
    static bool getNextRecordFromTableFile(FILE* stream, std::vector<std::string>& fields);

    /// The line of a record: the fields joined by FIELD_SEPARATOR, then a line feed.
    [[nodiscard]] static std::string recordLine(const std::vector<std::string>& fields);

    /// Logs what copyWholeFile logs at the end of a file, which it finds by a read that fails.
    static void logEndOfCopy();

    // For programs that use this class by itself

    /// Whether `fileName` can be opened for reading; so a directory exists, too.
    static bool fileExist(const std::string& fileName);

    /// Does nothing and returns true: a file is deleted by `remove`, whose failure the caller logs.
    static bool fileRemove(const std::string& fileName);

    /// Appends recordLine() to the file, wherever the stream stands. The result of the write is not checked:
    /// a flush tells whether the system has written the bytes.
    ///
    /// Throws: "File Error: File Seek error", also for a null stream.
    static void writeRecordToTableFile(FILE* stream, const std::vector<std::string>& fields);

    /// Reads the lines from the stream's position to its end.
    ///
    /// @param rows receives them; its size becomes the next multiple of 5 above the count
    /// @return how many lines were read
    static int readAllRecordFromTableFile(FILE* stream, std::vector<std::vector<std::string>>& rows);
};

/// Owns a stream and closes it.
using StreamHandle = std::unique_ptr<FILE, void (*)(FILE*)>;

[[nodiscard]] inline StreamHandle ownStream(FILE* stream) {
    return {stream, &FileUtils::closeFile};
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
