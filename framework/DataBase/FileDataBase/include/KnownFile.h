#pragma once

#include <map>
#include <optional>
#include <utility>

#include "File.h"

namespace Kalt::Vemo::Core::Database::Filedb {

/// What is remembered of a file between two looks at it, and whether that proves anything: what the engine
/// keeps of a file's content counts only while the file is provably the one that it left or read.
///
/// Size and times alone prove nothing: time stamps advance in ticks of 1 to 10 ms, on some file systems of
/// seconds, so a second change in the same tick leaves them as they are. Two things do:
///
/// - the engine's mark: a modification time more than two ticks in the past, which no later write can give;
/// - age: the last change was at least two ticks ago when the file was looked at, so that any later one gives
///   another time.
///
/// On network and FUSE file systems, whose stamps come from elsewhere or from a cache, nothing is proof.
///
/// A write of the engine's own, by whatever name, ends what is remembered of the file before: the owner of
/// the memory calls distrust().
class KnownFile {
public:
    class Memory;

    /// Nothing is remembered, and nothing is proven.
    KnownFile() = default;

    /// Whether the file that looks like this now is provably the one that is remembered.
    [[nodiscard]] bool isStill(const FileIdentity& now) const { return isProof_ && identity_ == now; }

    /// Whether a file that looks the same is this one.
    bool isProof() const { return isProof_; }

    /// The file as it looked; also when it proves nothing.
    const FileIdentity& identity() const { return identity_; }

    /// The marked file after the engine has changed its name, mode or owner, but not its content: the mark
    /// stays. Nothing is proven when another program has changed it meanwhile.
    ///
    /// @param now how it looks after that
    [[nodiscard]] KnownFile withStatus(const FileIdentity& now) const;

    /// From now on nothing is proven.
    void distrust() { isProof_ = false; }

private:
    KnownFile(const FileIdentity& identity, bool isProof) : identity_(identity), isProof_(isProof) {}

    FileIdentity identity_;
    bool isProof_ = false;
};

/// What the engine knows of the files of one database: one memory for all names of a file.
class KnownFile::Memory {
public:
    /// Forgets everything and begins with a database whose journal is `journal`, which stays open as long as
    /// the memory is used.
    ///
    /// Throws: as File::identity.
    void begin(const File& journal);

    /// A file that is about to be read: to be called before the first byte is. Throws: as File::identity.
    [[nodiscard]] KnownFile read(const File& file) const;

    /// A file that the engine has written: sets the mark, so it must be the last call that changes the file
    /// or its status. What the system refuses is no error; there is no proof then.
    [[nodiscard]] KnownFile left(File& file) const;

    /// Replaces what is remembered of the file: it was left so. Nothing is remembered of no file.
    void remember(const KnownFile& file);

private:
    const KnownFile* of(const FileIdentity& file) const;
    bool isOnLocalDisk(const File& file, const FileIdentity& identity) const;

    /// Of the journal, if it is on a local disk. Its number is no other disk's as long as the journal is
    /// open.
    std::optional<unsigned long long> localDevice_;
    std::map<std::pair<unsigned long long, unsigned long long>, KnownFile> files_;  // by device and node
};

}  // namespace Kalt::Vemo::Core::Database::Filedb
