#include "rows/JsonRowReader.h"

#include <functional>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "console/Printable.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr const char* kNulByte = "not valid JSON: a NUL byte; remove it";

/// What the JSON parser reads its bytes through.
class InputIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = char;

    explicit InputIterator(CountedInput* input) : input_(input) {}

    /// The parser would take a NUL byte for the end of the file, and leave out what follows.
    char operator*() const {
        const int c = input_->peek();
        if (c == '\0') {
            throw ImportError(input_->line(), kNulByte);
        }
        return static_cast<char>(c);
    }
    InputIterator& operator++() {
        input_->get();
        return *this;
    }
    bool operator==(const InputIterator& other) const { return atEnd() == other.atEnd(); }
    bool operator!=(const InputIterator& other) const { return !(*this == other); }

private:
    bool atEnd() const { return input_ == nullptr || input_->peek() == CountedInput::kEnd; }

    CountedInput* input_;  // null for the iterator behind the end
};

/// Puts rows together from what the parser meets. A value is told to stand in its name's line.
class RowBuilder : public nlohmann::json_sax<nlohmann::json> {
public:
    /// What is outside of the objects: an array, or nothing.
    enum class Outside { kArray, kNothing };

    using LineNow = std::function<std::size_t()>;

    RowBuilder(Outside outside, LineNow lineNow, const TakeRow& take)
        : isLine_(outside == Outside::kNothing),
          lineNow_(std::move(lineNow)),
          take_(take),
          depth_(isLine_ ? 1 : 0) {}

    bool null() override { return value({}); }
    bool boolean(bool flag) override { return value({Literal::Kind::kNumber, flag ? "1" : "0"}); }
    bool number_integer(number_integer_t number) override {
        return value({Literal::Kind::kNumber, std::to_string(number)});
    }
    bool number_unsigned(number_unsigned_t number) override {
        return value({Literal::Kind::kNumber, std::to_string(number)});
    }
    bool number_float(number_float_t /*number*/, const string_t& text) override {
        return value({Literal::Kind::kNumber, text});
    }
    bool string(string_t& text) override { return value({Literal::Kind::kText, std::move(text)}); }
    bool binary(binary_t& /*bytes*/) override { return refuse(); }

    bool start_array(std::size_t /*size*/) override {
        if (depth_ > 0) {
            return refuse();
        }
        depth_ = 1;
        return true;
    }
    bool end_array() override {
        depth_ = 0;
        return true;
    }
    bool start_object(std::size_t /*size*/) override {
        if (depth_ != 1) {
            return refuse();
        }
        depth_ = 2;
        row_ = {lineNow_(), {}};
        return true;
    }
    bool key(string_t& name) override {
        const std::size_t line = lineNow_();
        row_.fields.push_back({std::move(name), {}, line});
        return true;
    }
    bool end_object() override {
        depth_ = 1;
        take_(row_);
        return true;
    }

    bool parse_error(std::size_t /*position*/, const std::string& lastToken,
                     const nlohmann::json::exception& error) override {
        constexpr int kNumberOverflow = 406;
        if (error.id == kNumberOverflow) {
            throw ImportError(lineNow_(),
                              "the number " + printable(lastToken) + " is too large for any column");
        }
        const std::string text = error.what();
        const std::size_t reason = text.find("syntax error");
        throw ImportError(lineNow_(),
                          "not valid JSON: " + text.substr(reason == std::string::npos ? 0 : reason));
    }

private:
    bool value(Literal literal) {
        if (depth_ != 2) {
            return refuse();
        }
        row_.fields.back().literal = std::move(literal);
        return true;
    }

    [[noreturn]] bool refuse() const {
        throw ImportError(lineNow_(),
                          std::string(isLine_ ? "a line is an object" : "a table is an array of objects") +
                              " that hold" + (isLine_ ? "s" : "") +
                              " numbers, texts and null; this is something else");
    }

    const bool isLine_;
    const LineNow lineNow_;
    const TakeRow& take_;
    int depth_;  // 1 inside the array, 2 inside an object
    ImportedRow row_{0, {}};
};

}  // namespace

void readJsonRows(CountedInput& input, const TakeRow& take) {
    RowBuilder builder(
        RowBuilder::Outside::kArray, [&input] { return input.line(); }, take);
    nlohmann::json::sax_parse(InputIterator(&input), InputIterator(nullptr), &builder);
}

void readJsonLines(CountedInput& input, const TakeRow& take) {
    while (input.peek() != CountedInput::kEnd) {
        const std::size_t number = input.line();
        const std::string line = input.getLine();
        if (line.find('\0') != std::string::npos) {
            throw ImportError(number, kNulByte);
        }
        if (line.find_first_not_of(" \t\r") != std::string::npos) {
            RowBuilder builder(
                RowBuilder::Outside::kNothing, [number] { return number; }, take);
            nlohmann::json::sax_parse(line, &builder);
        }
    }
}

}  // namespace Kalt::Vemo::Tool
