#include "UnknownCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <numeric>
#include <vector>

#include "console/Printable.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr std::size_t kLargestDistance = 2;

// How many characters are to be added, removed or replaced to make one word of the other.
std::size_t distance(const std::string& from, const std::string& to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 1; i <= from.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t replaced = diagonal + (from[i - 1] == to[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

std::string nearest(const std::string& word, const CLI::App& app) {
    std::string found;
    std::size_t smallest = kLargestDistance + 1;
    for (const CLI::App* command : app.get_subcommands(nullptr)) {
        const std::string& name = command->get_name();
        const bool isBeginning = word.size() > 1 && name.rfind(word, 0) == 0;
        const std::size_t far = isBeginning ? 1 : distance(word, name);
        if (far < smallest && far < name.size()) {
            smallest = far;
            found = name;
        }
    }
    return found;
}

}  // namespace

std::string describeUnknownCommand(const CLI::App& app) {
    const std::vector<CLI::App*> given = app.get_subcommands();
    const CLI::App& asked = given.empty() ? app : *given.back();
    const std::vector<std::string> words = app.remaining(true);
    if (asked.get_require_subcommand_min() == 0 || words.empty() || words.front().rfind('-', 0) == 0) {
        return "";
    }
    const std::string& word = words.front();
    const std::string meant = nearest(word, asked);
    const std::string name = given.empty() ? "filedb" : "filedb " + asked.get_name();
    return "unknown command '" + printable(word) + "'" +
           (meant.empty() ? "" : "; did you mean '" + meant + "'?") + (meant.empty() ? "; \"" : " \"") +
           name + " --help\" lists the commands";
}

}  // namespace Kalt::Vemo::Tool
