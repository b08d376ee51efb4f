#pragma once

#include <termios.h>

namespace Kalt::Vemo::Tool {

/// While it lives, Control-C at the terminal is a character like any other, and sends no signal. So the
/// signals' own meaning stays: who sends one means the whole program.
class InterruptKey {
public:
    static constexpr char kCharacter = '\x03';

    enum class Ends {
        kNothing,
        kLine  ///< a read of a line ends with the character, too
    };

    explicit InterruptKey(Ends ends);
    ~InterruptKey();
    InterruptKey(const InterruptKey&) = delete;
    InterruptKey& operator=(const InterruptKey&) = delete;

private:
    bool isChanged_ = false;
    termios previous_{};
};

}  // namespace Kalt::Vemo::Tool
