#include "requests/Request.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>

#include "console/Printable.h"

namespace Kalt::Vemo::Requests {

using nlohmann::json;
using Tool::Escapes;
using Tool::printable;

namespace {

/// Fields that a request of any operation may have.
constexpr Field kAt{"at", Kind::text, true};

/// How deep a line may nest. A request has a list inside its object.
constexpr int kDeepest = 16;

std::string inQuotes(const std::string& name) {
    return '"' + printable(name, Escapes::kReversible) + '"';
}

const char* expected(Kind kind) {
    switch (kind) {
        case Kind::text:
            return "a text";
        case Kind::texts:
            return "a list of texts";
        case Kind::number32:
            return "a whole number from -2147483648 to 2147483647";
        case Kind::number64:
            return "a whole number from -9223372036854775808 to 9223372036854775807";
        case Kind::instant:
            return "a text of ten digits (seconds since the epoch) or null";
    }
    return "";
}

bool isText(const json& value) {
    return value.is_string();
}

bool isNumber(const json& value, std::int64_t least, std::int64_t most) {
    if (value.is_number_unsigned()) {
        return value.get<std::uint64_t>() <= static_cast<std::uint64_t>(most);
    }
    return value.is_number_integer() && value.get<std::int64_t>() >= least &&
           value.get<std::int64_t>() <= most;
}

bool isInstant(const json& value) {
    if (!value.is_string()) {
        return value.is_null();
    }
    const std::string text = value.get<std::string>();
    return text.size() == 10 && text.find_first_not_of("0123456789") == std::string::npos;
}

bool isOfKind(const json& value, Kind kind) {
    switch (kind) {
        case Kind::text:
            return isText(value);
        case Kind::texts:
            return value.is_array() && std::all_of(value.begin(), value.end(), isText);
        case Kind::number32:
            return isNumber(value, std::numeric_limits<std::int32_t>::min(),
                            std::numeric_limits<std::int32_t>::max());
        case Kind::number64:
            return isNumber(value, std::numeric_limits<std::int64_t>::min(),
                            std::numeric_limits<std::int64_t>::max());
        case Kind::instant:
            return isInstant(value);
    }
    return false;
}

std::string listed(const std::vector<Field>& fields) {
    std::string result;
    for (const Field& field : fields) {
        result += std::string(result.empty() ? "" : ", ") + field.name;
    }
    return result.empty() ? "no field but op and at" : result;
}

/// The object on the line. A name that stands twice in it would hide one of the two values, and printing a
/// value that is nested without a limit would take a stack without a limit.
json parseObject(const std::string& line) {
    std::set<std::string> names;
    const auto refuseRepeatedAndDeep = [&](int depth, json::parse_event_t event, json& parsed) {
        if (depth > kDeepest) {
            throw MalformedRequest("the line nests lists or objects more than " + std::to_string(kDeepest) +
                                   " deep; expected one object, for example {\"op\": \"getSubscriptions\"}");
        }
        if (event == json::parse_event_t::key && depth == 1 &&
            !names.insert(parsed.get<std::string>()).second) {
            throw MalformedRequest("field " + inQuotes(parsed.get<std::string>()) +
                                   " stands twice; expected once");
        }
        return true;
    };
    const auto notJson = [](std::size_t byte) {
        return MalformedRequest("the line is not JSON, from byte " + std::to_string(byte) +
                                " on; expected one object, for example {\"op\": \"getSubscriptions\"}");
    };
    // The parser would take it for the end of the line, and leave out what follows.
    if (const std::size_t nul = line.find('\0'); nul != std::string::npos) {
        throw notJson(nul + 1);
    }
    try {
        json object = json::parse(line, refuseRepeatedAndDeep);
        if (!object.is_object()) {
            throw MalformedRequest(std::string("the line is a JSON ") + object.type_name() +
                                   "; expected one object, for example {\"op\": \"getSubscriptions\"}");
        }
        return object;
    } catch (const json::parse_error& error) {
        throw notJson(error.byte);
    } catch (const json::out_of_range&) {
        throw MalformedRequest(
            "a number on the line is too large; expected one object, for example {\"op\": "
            "\"getSubscriptions\"}");
    }
}

std::string operationOf(const json& object) {
    const auto op = object.find("op");
    if (op == object.end()) {
        throw MalformedRequest("field \"op\" is missing; expected the name of an operation (see --help)");
    }
    if (!op->is_string()) {
        throw MalformedRequest(std::string("field \"op\" is a JSON ") + op->type_name() +
                               "; expected the name of an operation (see --help)");
    }
    return op->get<std::string>();
}

}  // namespace

Request Request::parse(const std::string& line, const FieldsOf& fieldsOf) {
    const json object = parseObject(line);
    Request request;
    request.operation_ = operationOf(object);
    const std::vector<Field>* const taken = fieldsOf(request.operation_);
    if (taken == nullptr) {
        throw MalformedRequest("field \"op\" names the unknown operation " + inQuotes(request.operation_) +
                               "; expected one of those that --help lists");
    }
    std::vector<Field> fields = *taken;
    fields.push_back(kAt);

    for (const auto& item : object.items()) {
        const bool known =
            item.key() == "op" || std::any_of(fields.begin(), fields.end(),
                                              [&](const Field& field) { return field.name == item.key(); });
        if (!known) {
            throw MalformedRequest(request.operation_ + ": field " + inQuotes(item.key()) +
                                   " is unknown; expected " + listed(*taken));
        }
    }
    for (const Field& field : fields) {
        const auto value = object.find(field.name);
        if (value == object.end()) {
            if (field.optional) {
                continue;
            }
            throw MalformedRequest(request.operation_ + ": field " + inQuotes(field.name) +
                                   " is missing; expected " + expected(field.kind));
        }
        if (!isOfKind(*value, field.kind)) {
            throw MalformedRequest(request.operation_ + ": field " + inQuotes(field.name) + " is " +
                                   printable(value->dump(), Escapes::kReversible) + "; expected " +
                                   expected(field.kind));
        }
        if (value->is_string()) {
            request.values_[field.name] = value->get<std::string>();
        } else if (value->is_array()) {
            request.values_[field.name] = value->get<std::list<std::string>>();
        } else if (value->is_number()) {
            request.values_[field.name] = value->get<std::int64_t>();
        }
    }
    return request;
}

}  // namespace Kalt::Vemo::Requests
