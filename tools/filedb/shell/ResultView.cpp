#include "shell/ResultView.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <optional>
#include <sstream>

#include "console/ExitStatus.h"
#include "console/Pager.h"
#include "console/Printable.h"
#include "console/Terminal.h"

namespace Kalt::Vemo::Tool {

namespace {

// The last line of the terminal is the next prompt's.
bool isLongerThanTerminal(const std::string& text) {
    const std::optional<TerminalSize> terminal = terminalSize(STDOUT_FILENO);
    return terminal && static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) >= terminal->rows;
}

}  // namespace

void ResultView::show(const ResultSet& result, Mode mode) const {
    if (!isAtPrompt_) {
        Tool::show(std::cout, result, mode, cellWidth_);
        return;
    }
    std::ostringstream text;
    Tool::show(text, result, mode, cellWidth_);
    if (mode == Mode::kTable || mode == Mode::kLine) {
        text << counted(result.rows.size(), "row") << '\n';
    }
    const std::string pager =
        isPaging_ && understandsEscapes(STDOUT_FILENO) && isLongerThanTerminal(text.str()) ? pagerCommand()
                                                                                           : "";
    if (pager.empty()) {
        std::cout << text.str();
        return;
    }
    std::cout.flush();
    if (!runPager(pager, text.str())) {
        std::cout << text.str();
        throw Failure(
            "the pager " + pager +
            " cannot be run or has failed; set FILEDB_PAGER to another one, or turn it off with .pager off");
    }
}

}  // namespace Kalt::Vemo::Tool
