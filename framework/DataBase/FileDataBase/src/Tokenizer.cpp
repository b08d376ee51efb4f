#include "Tokenizer.h"

#include <utility>

Tokenizer::Tokenizer() : Tokenizer(std::string(), DEFAULT_DELIMITER) {}

Tokenizer::Tokenizer(std::string str, const std::string& delimiter) {
    set(std::move(str), delimiter);
}

void Tokenizer::set(std::string str, const std::string& delimiter) {
    buffer_ = std::move(str);
    setDelimiter(delimiter);
}

void Tokenizer::setString(std::string str) {
    buffer_ = std::move(str);
    position_ = 0;
}

void Tokenizer::setDelimiter(const std::string& delimiter) {
    delimits_.fill(false);
    for (const char c : delimiter) {
        delimits_[static_cast<unsigned char>(c)] = true;
    }
    position_ = 0;
}

bool Tokenizer::isDelimiter(char c) const {
    return delimits_[static_cast<unsigned char>(c)];
}

void Tokenizer::skipDelimiter() {
    while (position_ < buffer_.size() && isDelimiter(buffer_[position_])) {
        ++position_;
    }
}

std::string Tokenizer::next() {
    skipDelimiter();
    const std::size_t start = position_;
    while (position_ < buffer_.size() && !isDelimiter(buffer_[position_])) {
        ++position_;
    }
    return buffer_.substr(start, position_ - start);
}

std::vector<std::string> Tokenizer::split(int maxTokens) {
    constexpr std::size_t kUsualTokens = 8;
    std::vector<std::string> tokens;
    tokens.reserve(kUsualTokens);
    for (std::string token = next(); !token.empty(); token = next()) {
        tokens.push_back(std::move(token));
        if (maxTokens > 0 && tokens.size() == static_cast<std::size_t>(maxTokens)) {
            break;
        }
    }
    return tokens;
}

std::string Tokenizer::remainder() const {
    return buffer_.substr(position_);
}
