#include "Tokenizer.h"

Tokenizer::Tokenizer() : delimiter_(DEFAULT_DELIMITER) {}

Tokenizer::Tokenizer(const std::string& str, const std::string& delimiter)
    : buffer_(str), delimiter_(delimiter) {}

void Tokenizer::set(const std::string& str, const std::string& delimiter) {
    buffer_ = str;
    delimiter_ = delimiter;
    position_ = 0;
}

void Tokenizer::setString(const std::string& str) {
    buffer_ = str;
    position_ = 0;
}

void Tokenizer::setDelimiter(const std::string& delimiter) {
    delimiter_ = delimiter;
    position_ = 0;
}

bool Tokenizer::isDelimiter(char c) const {
    return delimiter_.find(c) != std::string::npos;
}

void Tokenizer::skipDelimiter() {
    while (position_ < buffer_.size() && isDelimiter(buffer_[position_])) {
        ++position_;
    }
}

std::string Tokenizer::next() {
    skipDelimiter();
    const std::size_t end = buffer_.find_first_of(delimiter_, position_);
    std::string token = buffer_.substr(position_, end == std::string::npos ? end : end - position_);
    position_ += token.size();
    return token;
}

std::vector<std::string> Tokenizer::split(int maxTokens) {
    std::vector<std::string> tokens;
    for (std::string token = next(); !token.empty(); token = next()) {
        tokens.push_back(token);
        // The count is compared after it was raised, so that 0 sets no limit.
        if (maxTokens > 0 && tokens.size() == static_cast<std::size_t>(maxTokens)) {
            break;
        }
    }
    return tokens;
}

std::string Tokenizer::remainder() const {
    return buffer_.substr(position_);
}
