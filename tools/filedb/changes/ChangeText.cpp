#include "changes/ChangeText.h"

#include <nlohmann/json.hpp>

#include "TableFormat.h"
#include "Utils.h"
#include "console/Printable.h"
#include "console/Terminal.h"
#include "sql/Literals.h"

namespace Kalt::Vemo::Tool {

using Core::Database::Filedb::kNullWord;
using Core::Database::Filedb::Utils;
using Json = nlohmann::ordered_json;

namespace {

bool isAdded(const Change& change) {
    return change.kind == Change::Kind::kRowAdded || change.kind == Change::Kind::kTableCreated ||
           change.kind == Change::Kind::kLineAdded;
}

bool hasPlainRowId(const Change& change) {
    return change.rowId.find_first_not_of("0123456789") == std::string::npos;
}

// A number as INTEGER values are shown, signed.
std::string shownRowId(const Change& change) {
    return hasPlainRowId(change) ? shownValue({"", Column::Type::kInteger, false, false}, change.rowId)
                                 : change.rowId;
}

// ---- For people

// A quoted number in an INTEGER column stays what it is, a text.
std::string lineValue(const Column& column, const std::string& stored) {
    const bool isShown = stored == kNullWord || column.type != Column::Type::kInteger;
    return printable(isShown ? stored : shownValue(column, stored));
}

std::string rowLine(const Change& change) {
    const char* const arrow = isUtf8Locale() ? " → " : " -> ";
    std::string text;
    for (std::size_t i = 0; i < change.schema->columns.size(); ++i) {
        const Column& column = change.schema->columns[i];
        const std::string label = " " + printable(column.name) + "=";
        if (change.before == nullptr || change.after == nullptr) {
            const StoredRow& row = change.before == nullptr ? *change.after : *change.before;
            text += label + lineValue(column, row[i]);
        } else if ((*change.before)[i] != (*change.after)[i]) {
            text += label + lineValue(column, (*change.before)[i]) + arrow +
                    lineValue(column, (*change.after)[i]);
        }
    }
    return printable(shownRowId(change)) + text;
}

// ---- For programs

Json jsonText(const std::string& text) {
    return isUtf8(text) ? Json(text) : Json{{"hex", hexadecimal(text)}};
}

Json jsonValue(const Column& column, const std::string& stored) {
    if (stored == kNullWord) {
        return nullptr;
    }
    if (stored.front() == '\'') {
        return jsonText(Utils::removeSingleQuote(stored));
    }
    const std::string shown = shownValue(column, stored);
    if (isShownAsNumber(column, shown) && Json::accept(shown)) {
        return Json::parse(shown);
    }
    return jsonText(shown);
}

Json jsonRow(const Change& change, const StoredRow& row, bool isChangedOnly) {
    Json object = Json::object();
    for (std::size_t i = 0; i < row.size(); ++i) {
        const Column& column = change.schema->columns[i];
        if (!isChangedOnly || (*change.before)[i] != (*change.after)[i]) {
            object[printable(column.name)] = jsonValue(column, row[i]);
        }
    }
    return object;
}

const char* wordFor(Change::Kind kind) {
    switch (kind) {
        case Change::Kind::kTableCreated:
            return "created";
        case Change::Kind::kTableDropped:
            return "dropped";
        case Change::Kind::kRowAdded:
            return "added";
        case Change::Kind::kRowChanged:
            return "changed";
        case Change::Kind::kRowGone:
            return "gone";
        case Change::Kind::kLineAdded:
            return "line added";
        case Change::Kind::kLineGone:
            return "line gone";
    }
    return "";
}

Json rowId(const Change& change) {
    const std::string shown = shownRowId(change);
    return hasPlainRowId(change) && Json::accept(shown) ? Json::parse(shown) : jsonText(change.rowId);
}

}  // namespace

std::string lineOf(const Change& change) {
    const std::string sign = isAdded(change) ? "+" : change.kind == Change::Kind::kRowChanged ? "~" : "-";
    const std::string start = printable(change.table) + " " + sign;
    if (change.line != nullptr) {
        return start + "? \"" + printable(change.line->text) + "\" line " +
               std::to_string(change.line->number) + ": " + change.line->problem;
    }
    const bool isTable =
        change.kind == Change::Kind::kTableCreated || change.kind == Change::Kind::kTableDropped;
    if (!isTable) {
        return start + rowLine(change);
    }
    return start + " (" + (change.schema == nullptr ? "not readable" : change.schema->definition()) + ")";
}

std::string jsonOf(const Change& change) {
    Json object = {{"table", printable(change.table)}, {"change", wordFor(change.kind)}};
    if (change.line != nullptr) {
        object["line"] = change.line->number;
        object["text"] = jsonText(change.line->text);
        object["problem"] = change.line->problem;
    } else if (change.kind == Change::Kind::kRowChanged) {
        object["rowid"] = rowId(change);
        object["from"] = jsonRow(change, *change.before, true);
        object["to"] = jsonRow(change, *change.after, true);
    } else if (change.before != nullptr || change.after != nullptr) {
        object["rowid"] = rowId(change);
        object["row"] = jsonRow(change, change.before == nullptr ? *change.after : *change.before, false);
    } else {
        object["definition"] = change.schema == nullptr ? Json(nullptr) : Json(change.schema->definition());
    }
    return printableJson(object.dump());
}

}  // namespace Kalt::Vemo::Tool
