#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace Kalt::Vemo::Requests {

/// What a field of a request may hold.
enum class Kind {
    text,
    texts,     ///< a list of texts
    number32,  ///< a whole number of 32 bits
    number64,
    instant,  ///< ten digits, seconds since the epoch, as a text; null for none
};

struct Field {
    const char* name = "";
    Kind kind = Kind::text;
    bool optional = false;
};

/// A line that is no request. Says what is wrong, in which field, and what is expected.
class MalformedRequest : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// One line of the input: an operation and its arguments, checked against the fields that the operation
/// takes.
class Request {
public:
    /// The fields of an operation; null for a name that is no operation.
    using FieldsOf = std::function<const std::vector<Field>*(const std::string& operation)>;

    /// Throws: MalformedRequest.
    static Request parse(const std::string& line, const FieldsOf& fieldsOf);

    const std::string& operation() const { return operation_; }

    bool has(const std::string& field) const { return values_.count(field) > 0; }

    // The value of a field that the operation takes, in the field's kind. An instant is a text.
    const std::string& text(const std::string& field) const { return get<std::string>(field); }
    const std::list<std::string>& texts(const std::string& field) const {
        return get<std::list<std::string>>(field);
    }
    int number32(const std::string& field) const { return static_cast<int>(number64(field)); }
    std::int64_t number64(const std::string& field) const { return get<std::int64_t>(field); }

private:
    template <typename Type>
    const Type& get(const std::string& field) const {
        return std::get<Type>(values_.at(field));
    }

    std::string operation_;
    /// Without the fields that are null.
    std::map<std::string, std::variant<std::string, std::list<std::string>, std::int64_t>> values_;
};

}  // namespace Kalt::Vemo::Requests
