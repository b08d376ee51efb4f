#pragma once

#include <string>

#include "rows/RowWriter.h"

namespace Kalt::Vemo::Tool {

/// Shows results on standard output. At a prompt it says how many rows there are, and a result that is longer
/// than the terminal goes to the user's pager.
class ResultView {
public:
    ResultView(bool isAtPrompt, CellWidth cellWidth) : isAtPrompt_(isAtPrompt), cellWidth_(cellWidth) {}

    /// Throws: Failure, after the result is shown, when the pager fails.
    void show(const ResultSet& result, Mode mode) const;

    void setCellWidth(CellWidth cellWidth) { cellWidth_ = cellWidth; }
    void setPaging(bool isPaging) { isPaging_ = isPaging; }

private:
    bool isAtPrompt_;
    CellWidth cellWidth_;
    bool isPaging_ = true;
};

}  // namespace Kalt::Vemo::Tool
