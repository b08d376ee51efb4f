#pragma once

#include <cerrno>
#include <system_error>

namespace Kalt::Vemo::Tool {

/// What a person can do when a file could not be written for this cause.
inline const char* remedyFor(const std::error_code& cause) {
    if (cause == std::errc::no_space_on_device || cause == std::error_code(EDQUOT, std::generic_category())) {
        return "make room on that file system";
    }
    if (cause == std::errc::operation_not_permitted) {
        return "run it as the user who owns the files, or as root";
    }
    if (cause == std::errc::permission_denied || cause == std::errc::read_only_file_system) {
        return "run it as a user who may write there, or name a directory for what is set aside with --aside "
               "DIR";
    }
    return "see to the cause, or name another directory for what is set aside with --aside DIR";
}

}  // namespace Kalt::Vemo::Tool
