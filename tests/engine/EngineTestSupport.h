#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <locale>
#include <memory>
#include <string>

#include "DatabaseException.h"

namespace Kalt::Vemo::Test {

/// Takes the message "function::line ->text" and a line feed apart; gives "function: text".
inline std::string withoutLine(const std::string& message) {
    const std::size_t colons = message.find("::");
    const std::size_t arrow = message.find(" ->");
    if (colons == std::string::npos || arrow == std::string::npos || arrow < colons + 3 ||
        message.back() != '\n') {
        return "malformed message [" + message + "]";
    }
    const std::string line = message.substr(colons + 2, arrow - colons - 2);
    if (!std::all_of(line.begin(), line.end(), [](unsigned char c) { return std::isdigit(c) != 0; })) {
        return "malformed line number [" + message + "]";
    }
    const std::string text = message.substr(arrow + 3, message.size() - arrow - 4);
    return message.substr(0, colons) + ": " + text;
}

/// "function: text" of the DatabaseException that `call` raises.
template <typename Call>
std::string raisedBy(Call&& call) {
    try {
        call();
    } catch (const Core::Database::DatabaseException& error) {
        return withoutLine(error.what());
    }
    return "nothing was raised";
}

/// The text alone of the DatabaseException that `call` raises, whichever function raised it.
template <typename Call>
std::string raisedText(Call&& call) {
    const std::string raised = raisedBy(call);
    const std::size_t separator = raised.find(": ");
    return separator == std::string::npos ? raised : raised.substr(separator + 2);
}

constexpr const char* kShortRecord = "DB Error: Record has fewer fields than Table Definition";

struct CloseStream {
    void operator()(FILE* stream) const { EXPECT_EQ(std::fclose(stream), 0); }
};
using Stream = std::unique_ptr<FILE, CloseStream>;

/// A nameless file with this content, positioned at its start.
inline Stream streamOf(const std::string& content) {
    Stream stream(std::tmpfile());
    if (!stream) {
        ADD_FAILURE() << "cannot make a temporary file";
        return stream;
    }
    EXPECT_EQ(std::fwrite(content.data(), 1, content.size(), stream.get()), content.size());
    std::rewind(stream.get());
    return stream;
}

/// All bytes of a stream that can be read, from its start.
inline std::string contentOf(const Stream& stream) {
    std::string content;
    std::rewind(stream.get());
    for (int c = std::fgetc(stream.get()); c != EOF; c = std::fgetc(stream.get())) {
        content.push_back(static_cast<char>(c));
    }
    return content;
}

/// While it lives, streams print 1234.5 as "1.2.3.4,5" unless they are told otherwise.
class CommaLocale {
public:
    CommaLocale() : previous_(std::locale::global(std::locale(std::locale::classic(), new Punctuation))) {}
    ~CommaLocale() { std::locale::global(previous_); }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

private:
    class Punctuation : public std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\1"; }
    };

    std::locale previous_;
};

}  // namespace Kalt::Vemo::Test
