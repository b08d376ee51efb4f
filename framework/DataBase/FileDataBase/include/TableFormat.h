#pragma once

#include <cstddef>

/// What the files of a database are made of: names, separators, limits and words. docs/file-format.md draws
/// them.
namespace Kalt::Vemo::Core::Database::Filedb {

/// Joins the fields of a line.
inline constexpr char FIELD_SEPARATOR = '~';

/// The longest line, line feed included, that reads back whole.
inline constexpr std::size_t kMaxLineLength = 1023;

// Names of a database's directory and files: the directory is the path followed by its suffix, a table's file
// and its working copy are the table's name followed by theirs.
inline constexpr const char* kDirectorySuffix = "_filedb";
inline constexpr const char* kJournalName = "master_rollback";
inline constexpr const char* kTableSuffix = ".table";
inline constexpr const char* kBackupSuffix = ".backup";

/// Follows a file's name while a new file is made that takes its place.
inline constexpr const char* kNewSuffix = ".new";

/// The journal's state line, without its line feed.
inline constexpr const char* kAtRestState = "0";
inline constexpr const char* kCopyingState = "1";

/// The word that stands for a missing value, in statements and in files.
inline constexpr const char* kNullWord = "NULL";

/// The name of the hidden last column of a table without a single INTEGER primary key.
inline constexpr const char* kRowIdColumn = "ROWID";

// The bits of a column's flag number.
inline constexpr long kIntegerFlag = 1;
inline constexpr long kRealFlag = 2;
inline constexpr long kTextFlag = 4;
inline constexpr long kTypeMask = kIntegerFlag | kRealFlag | kTextFlag;
inline constexpr long kNotNullFlag = 256;

/// How the values of a column compare: the type bits of its flag number. A damaged file may give other
/// values.
enum class ValueType : unsigned char { integer = kIntegerFlag, real = kRealFlag, text = kTextFlag };

}  // namespace Kalt::Vemo::Core::Database::Filedb
