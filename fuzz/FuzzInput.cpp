#include "FuzzInput.h"

#include <cstdio>
#include <cstdlib>
#include <limits>

#include "LogSink.h"

namespace Kalt::Vemo::Fuzz {

namespace {

constexpr char kPieceEnd = '\f';

std::string nameOf(char key) {
    switch (key) {
        case 'j':
            return "master_rollback";
        case 't':
        case 'u':
        case 'v':
            return std::string(1, key) + ".table";
        case 'T':
        case 'U':
        case 'V':
            return std::string(1, static_cast<char>(key - 'A' + 'a')) + ".backup";
        default:
            return {};
    }
}

}  // namespace

std::string_view textOf(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

std::vector<std::string_view> piecesOf(std::string_view input) {
    std::vector<std::string_view> pieces;
    for (std::size_t end = 0; (end = input.find(kPieceEnd)) != std::string_view::npos;) {
        pieces.push_back(input.substr(0, end));
        input.remove_prefix(end + 1);
    }
    pieces.push_back(input);
    return pieces;
}

Files databaseFilesOf(std::string_view input) {
    Files files;
    for (const std::string_view piece : piecesOf(input)) {
        const std::string name = piece.empty() ? std::string() : nameOf(piece.front());
        if (!name.empty()) {
            files[name] = piece.substr(1);
        }
    }
    return files;
}

bool leadsElsewhere(std::string_view text) {
    return text.find("..") != std::string_view::npos;
}

void silenceLog() {
    static const bool isDone = [] {
        Log::setLogSink([](const Log::LogMessage&) {}, std::numeric_limits<int>::min());
        return true;
    }();
    static_cast<void>(isDone);
}

void finding(const std::string& text) {
    static_cast<void>(std::fprintf(stderr, "FINDING: %s\n", text.c_str()));
    std::abort();
}

void require(bool condition, const char* text) {
    if (!condition) {
        finding(text);
    }
}

std::string shown(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if (c >= ' ' && c <= '~' && c != '\\') {
            result += c;
            continue;
        }
        constexpr const char* kDigits = "0123456789abcdef";
        const auto byte = static_cast<unsigned char>(c);
        result +=
            c == '\n' ? std::string("\\n") : std::string("\\x") + kDigits[byte / 16] + kDigits[byte % 16];
    }
    return '"' + result + '"';
}

std::string shown(const Files& files) {
    std::string result;
    for (const auto& [name, content] : files) {
        result += "\n    " + name + " " + shown(content);
    }
    return result;
}

}  // namespace Kalt::Vemo::Fuzz

// Most of a run is small allocations; what the sanitizer keeps of each is kept small.
extern "C" const char* __asan_default_options() {  // NOLINT(bugprone-reserved-identifier)
    return "quarantine_size_mb=8:malloc_context_size=8";
}
