#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>

namespace Kalt::Vemo::Tool {

/// A file that is being made under a name that nothing has. Unless it is finished it is removed again.
///
/// Throws, every call: std::system_error with the path in its text.
class NewFile {
public:
    explicit NewFile(std::string path);
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    void takeOwnerAndPermissions(const struct stat& status);

    /// Also the times. Who may not give a file away stays its owner.
    void takeWhatMayBeTaken(const struct stat& status);

    void write(std::string_view text);

    /// The content is on the disk, and the file stays.
    void finish();

private:
    void takeTimes(const struct stat& status);
    void require(bool succeeded) const;

    const std::string path_;
    int descriptor_;
};

}  // namespace Kalt::Vemo::Tool
