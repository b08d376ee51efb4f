#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace Kalt::Vemo::Test {

/// A fresh directory, removed with all it holds at the end.
class TemporaryDirectory {
public:
    /// Below the system's temporary directory.
    TemporaryDirectory();

    explicit TemporaryDirectory(const std::string& parent);

    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

/// While it lives, the C library reads and writes numbers as in German, with a decimal comma. The locale is
/// made for the occasion: few machines have one installed. Fails the test when that does not work.
class GermanLocale {
public:
    GermanLocale();
    ~GermanLocale();
    GermanLocale(const GermanLocale&) = delete;
    GermanLocale& operator=(const GermanLocale&) = delete;

private:
    TemporaryDirectory directory_;
};

/// The whole content of a file; fails the test when it cannot be read.
std::string readFile(const std::string& path);

/// Makes `content` the whole content of a file; fails the test when it cannot be written.
void writeFile(const std::string& path, const std::string& content);

bool fileExists(const std::string& path);

/// Name and bytes of every file of a directory.
using Files = std::map<std::string, std::string>;

/// The regular files of a directory.
Files readFiles(const std::string& path);

/// Makes a directory hold these files and nothing else. A file that has the wanted content stays as it is.
void restoreFiles(const std::string& directory, const Files& content);

/// Waits until the files that were written before are so old that their times prove them unchanged.
void letFilesAge();

/// Names of the entries of a directory, sorted.
std::vector<std::string> listDirectory(const std::string& path);

/// One message that went to the log.
struct LoggedMessage {
    int module = 0;
    std::string tag;
    int level = 0;
    std::string text;
};

/// Collects what is logged while it lives, from every thread. Only one may live at a time.
class LogCapture {
public:
    explicit LogCapture(int maxLevel = 1);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LoggedMessage> messages() const;

    /// Texts of the messages of one level, in order.
    std::vector<std::string> texts(int level) const;

    /// Whether a message has exactly this text.
    bool has(const std::string& text) const;

    /// Whether a message contains this text.
    bool hasPart(const std::string& part) const;

    /// How many messages contain this text.
    int count(const std::string& part) const;

    /// All messages, one a line, for the output of a failing test.
    std::string dump() const;

    void clear();

private:
    mutable std::mutex mutex_;
    std::vector<LoggedMessage> messages_;
};

}  // namespace Kalt::Vemo::Test
