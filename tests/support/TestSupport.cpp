#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "LogSink.h"

namespace Kalt::Vemo::Test {

TemporaryDirectory::TemporaryDirectory() : TemporaryDirectory(std::filesystem::temp_directory_path()) {}

TemporaryDirectory::TemporaryDirectory(const std::string& parent) {
    std::string name = parent + "/vemo-test-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        ADD_FAILURE() << "cannot make a directory " << name;
    }
    path_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
}

GermanLocale::GermanLocale() {
    // German numbers alone: the letters and the order of a whole locale take seconds to make.
    std::string source;
    for (const char* category : {"IDENTIFICATION", "CTYPE", "COLLATE", "MONETARY", "NUMERIC", "TIME",
                                 "MESSAGES", "PAPER", "NAME", "ADDRESS", "TELEPHONE", "MEASUREMENT"}) {
        const std::string name = std::string("LC_") + category;
        const std::string model = name == "LC_NUMERIC" ? "de_DE" : "POSIX";
        source += name + "\ncopy \"" + model + "\"\nEND " + name + "\n";
    }
    writeFile(directory_.file("source"), source);
    // The byte order of this program, which an emulator may run.
    const std::string order = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? "--big-endian" : "--little-endian";
    const std::string command = "localedef --quiet -c " + order + " -i '" + directory_.file("source") +
                                "' -f UTF-8 '" + directory_.file("de_DE.UTF-8") + "'";
    const int result = std::system(command.c_str());
    setenv("LOCPATH", directory_.path().c_str(), 1);
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr || *std::localeconv()->decimal_point != ',') {
        ADD_FAILURE() << command << " made no usable locale (status " << result
                      << "); install the package locales";
    }
}

GermanLocale::~GermanLocale() {
    unsetenv("LOCPATH");
    static_cast<void>(std::setlocale(LC_ALL, "C"));
}

std::string readFile(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        ADD_FAILURE() << "cannot read " << path;
    }
    // In blocks: one character after the other would take most of the time of tests on large tables.
    std::array<char, 65536> block{};
    std::string content;
    do {
        stream.read(block.data(), block.size());
        content.append(block.data(), static_cast<std::size_t>(stream.gcount()));
    } while (stream);
    return content;
}

void writeFile(const std::string& path, const std::string& content) {
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
    stream.close();
    if (!stream) {
        ADD_FAILURE() << "cannot write " << path;
    }
}

bool fileExists(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(std::filesystem::symlink_status(path, error));
}

Files readFiles(const std::string& path) {
    Files result;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
        if (entry.is_regular_file()) {
            result[entry.path().filename().string()] = readFile(entry.path().string());
        }
    }
    return result;
}

void restoreFiles(const std::string& directory, const Files& content) {
    std::filesystem::create_directory(directory);
    const Files found = readFiles(directory);
    for (const auto& [name, bytes] : found) {
        if (content.count(name) == 0) {
            std::filesystem::remove(directory + "/" + name);
        }
    }
    for (const auto& [name, bytes] : content) {
        const auto old = found.find(name);
        if (old == found.end() || old->second != bytes) {
            // A new file: some file systems put one that is emptied and written anew on the disk at once.
            std::filesystem::remove(directory + "/" + name);
            writeFile(directory + "/" + name, bytes);
        }
    }
}

void letFilesAge() {
    // Times advance every 10 ms at most where tests run.
    std::this_thread::sleep_for(std::chrono::milliseconds(25));
}

std::vector<std::string> listDirectory(const std::string& path) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

LogCapture::LogCapture(int maxLevel) {
    Log::setLogSink(
        [this](const Log::LogMessage& message) {
            const std::lock_guard<std::mutex> guard(mutex_);
            messages_.push_back({message.module, message.tag, message.level, message.text});
        },
        maxLevel);
}

LogCapture::~LogCapture() {
    Log::setLogSink({}, 0);
}

std::vector<LoggedMessage> LogCapture::messages() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return messages_;
}

std::vector<std::string> LogCapture::texts(int level) const {
    std::vector<std::string> result;
    for (const LoggedMessage& message : messages()) {
        if (message.level == level) {
            result.push_back(message.text);
        }
    }
    return result;
}

bool LogCapture::has(const std::string& text) const {
    const std::vector<LoggedMessage> all = messages();
    return std::any_of(all.begin(), all.end(),
                       [&](const LoggedMessage& message) { return message.text == text; });
}

bool LogCapture::hasPart(const std::string& part) const {
    return count(part) > 0;
}

int LogCapture::count(const std::string& part) const {
    const std::vector<LoggedMessage> all = messages();
    return static_cast<int>(std::count_if(all.begin(), all.end(), [&](const LoggedMessage& message) {
        return message.text.find(part) != std::string::npos;
    }));
}

std::string LogCapture::dump() const {
    std::ostringstream out;
    for (const LoggedMessage& message : messages()) {
        out << message.level << ' ' << message.tag << ": " << message.text << '\n';
    }
    return out.str();
}

void LogCapture::clear() {
    const std::lock_guard<std::mutex> guard(mutex_);
    messages_.clear();
}

}  // namespace Kalt::Vemo::Test
