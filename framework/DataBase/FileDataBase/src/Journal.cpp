#include "Journal.h"

#include <cstdlib>
#include <vector>

#include "DatabaseException.h"
#include "RecordReader.h"
#include "Utils.h"

namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

constexpr std::string_view kAtRest = "0\n";
constexpr std::string_view kCopying = "1\n";

// The code of a journal line: cut to 8 bits, after a conversion that is as wide on every device. The raw byte
// of a line that was never overwritten is no digit and gives 0, which makes recovery discard the table's
// working copy.
signed char toOperation(std::string_view field) {
    return static_cast<signed char>(std::strtoll(std::string(field).c_str(), nullptr, 10));
}

}  // namespace

FILE* Journal::requireStream() const {
    if (stream_ == nullptr) {
        throw DatabaseException("writeRecordToTableFile", __LINE__, "File Error: File Seek error");
    }
    return stream_.get();
}

void Journal::open(const std::string& path) {
    close();
    stream_ = ownStream(FileUtils::openFile(path, "a+"));
    end_ = FileUtils::lengthOfRegularFile(stream_.get());
    appends_ = true;
}

void Journal::close() {
    stream_.reset();
}

bool Journal::read(const std::function<void(signed char operation, const std::string& table)>& report) {
    const std::string text = FileUtils::readWhole(requireStream());
    RecordReader records{std::string_view(text)};
    bool found = false;
    bool stateLine = true;
    while (records.next()) {
        found = true;
        const std::vector<std::string_view>& fields = records.fields();
        if (stateLine) {
            // A line "1" tells of an interrupted copy-over; the line behind it is taken for a state line as
            // well, so the first table's working copy stays where it is.
            stateLine = !fields.empty() && fields[0] == "1";
        } else if (fields.size() == 2) {
            report(toOperation(fields[0]), std::string(fields[1]));
        }
    }
    return found;
}

void Journal::appendTable(signed char operation, const std::string& table) {
    const std::string line = FileUtils::recordLine({Utils::toString<signed char>(operation), table});
    try {
        FileUtils::writeAt(requireStream(), end_, line);
    } catch (const DatabaseException&) {
        if (stream_ != nullptr) {
            FileUtils::cut(stream_.get(), end_);
        }
        throw;
    }
    end_ += static_cast<long>(line.size());
}

void Journal::markDropped(const std::string& table) {
    const std::string text = FileUtils::readWhole(requireStream());
    RecordReader records{std::string_view(text)};
    for (bool isStateLine = true; records.next(); isStateLine = false) {
        const std::vector<std::string_view>& fields = records.fields();
        if (!isStateLine && fields.size() > 1 && fields[1] == table) {
            FileUtils::writeAt(stream_.get(), static_cast<long>(records.line().data() - text.data()), "5");
            return;
        }
    }
}

void Journal::writeState(bool copying) {
    atRest_ = false;
    FileUtils::writeAt(requireStream(), 0, copying ? kCopying : kAtRest);
    atRest_ = !copying;
}

void Journal::reset(const std::string& path) {
    if (stream_ == nullptr || appends_ || !identity_.sameFile(FileIdentity::of(path))) {
        close();
        stream_ = ownStream(FileUtils::openForOverwrite(path));
        identity_ = FileIdentity::of(stream_.get());
        appends_ = false;
        atRest_ = false;
    }
    // Cut first: tables behind a state line "0" would have their working copies removed by the next init,
    // also those that an interrupted copy-over still needs.
    end_ = static_cast<long>(kAtRest.size());
    FileUtils::cut(stream_.get(), end_);
    if (!atRest_) {
        writeState(false);
    }
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
