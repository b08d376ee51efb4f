#pragma once

#include <memory>
#include <string>

#include "shell/Session.h"

namespace Kalt::Vemo::Tool {

/// Where the lines come from that a person types at the prompt.
class LineInput {
public:
    enum class End {
        kLine,
        kInterrupted,  ///< Control-C; `text` is what stood on the line, as far as it is known
        kEndOfInput
    };

    struct Line {
        End end = End::kEndOfInput;
        std::string text;
    };

    virtual ~LineInput() = default;

    virtual Line read(const char* prompt) = 0;

    /// Keeps a statement, which may have several lines, for the arrow keys of this conversation and of later
    /// ones.
    virtual void remember(const std::string& /*statement*/) {}
};

/// Lines that can be edited, with a history in $XDG_STATE_HOME/filedb/history and the completion of keywords,
/// tables, columns and dot commands. Only one may live at a time, and not longer than the session.
std::unique_ptr<LineInput> makeEditedLines(Session& session);

/// Lines as the terminal gives them, for one that understands no escape sequences.
std::unique_ptr<LineInput> makePlainLines();

}  // namespace Kalt::Vemo::Tool
