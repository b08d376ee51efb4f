#include "shell/Prompt.h"

#include <unistd.h>

#include <iostream>
#include <memory>
#include <string>

#include "console/Terminal.h"
#include "shell/LineInput.h"

namespace Kalt::Vemo::Tool {

namespace {

constexpr const char* kFirstPrompt = "filedb> ";
constexpr const char* kNextPrompt = "   ...> ";
constexpr const char* kBlanks = " \t\r\n";

bool isBlank(const std::string& text) {
    return text.find_first_not_of(kBlanks) == std::string::npos;
}

class Conversation {
public:
    Conversation(Shell& shell, LineInput& input) : shell_(shell), input_(input) {}

    void run() {
        while (!shell_.isOver() && !isLeft_) {
            const LineInput::Line line = input_.read(shell_.isInsideStatement() ? kNextPrompt : kFirstPrompt);
            switch (line.end) {
                case LineInput::End::kLine:
                    wasInterrupted_ = false;
                    take(line.text);
                    break;
                case LineInput::End::kInterrupted:
                    interrupt(line.text);
                    break;
                case LineInput::End::kEndOfInput:
                    shell_.abandonStatement();
                    isLeft_ = true;
                    break;
            }
        }
        shell_.endOfInput();
    }

private:
    void take(const std::string& line) {
        typed_ += (shell_.isInsideStatement() ? "\n" : "") + line;
        shell_.takeLine(line, "");
        if (shell_.isInsideStatement()) {
            return;
        }
        if (!isBlank(typed_)) {
            input_.remember(typed_);
        }
        typed_.clear();
    }

    void interrupt(const std::string& line) {
        const bool isNothingBegun = isBlank(line) && !shell_.isInsideStatement();
        isLeft_ = wasInterrupted_ && isNothingBegun;
        if (isNothingBegun && !isLeft_) {
            std::cout << "Control-C once more leaves\n";
        }
        wasInterrupted_ = true;
        shell_.abandonStatement();
        typed_.clear();
    }

    Shell& shell_;
    LineInput& input_;
    std::string typed_;  // of the statement that has begun
    bool wasInterrupted_ = false;
    bool isLeft_ = false;
};

}  // namespace

void runPrompt(Shell& shell) {
    const std::unique_ptr<LineInput> input =
        understandsEscapes(STDOUT_FILENO) ? makeEditedLines(shell.session()) : makePlainLines();
    Conversation(shell, *input).run();
}

}  // namespace Kalt::Vemo::Tool
