#include "shell/InterruptKey.h"

#include <unistd.h>

namespace Kalt::Vemo::Tool {

InterruptKey::InterruptKey(Ends ends) {
    if (tcgetattr(STDIN_FILENO, &previous_) != 0) {
        return;
    }
    termios changed = previous_;
    changed.c_cc[VINTR] = _POSIX_VDISABLE;
    if (ends == Ends::kLine) {
        changed.c_cc[VEOL] = static_cast<cc_t>(kCharacter);
    }
    isChanged_ = tcsetattr(STDIN_FILENO, TCSADRAIN, &changed) == 0;
}

InterruptKey::~InterruptKey() {
    if (isChanged_) {
        tcsetattr(STDIN_FILENO, TCSADRAIN, &previous_);
    }
}

}  // namespace Kalt::Vemo::Tool
