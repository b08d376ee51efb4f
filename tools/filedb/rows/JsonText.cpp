#include "rows/JsonText.h"

#include <nlohmann/json.hpp>

#include "console/Printable.h"
#include "sql/Literals.h"

namespace Kalt::Vemo::Tool {

std::string jsonText(const std::string& text) {
    return printableJson(nlohmann::json(text).dump());
}

std::string jsonValue(const Column& column, const Cell& cell) {
    if (!cell) {
        return "null";
    }
    // JSON has no numbers as .5, 05 or 1. of a file that was edited by hand.
    return isShownAsNumber(column, *cell) && nlohmann::json::accept(*cell) ? *cell : jsonText(*cell);
}

}  // namespace Kalt::Vemo::Tool
