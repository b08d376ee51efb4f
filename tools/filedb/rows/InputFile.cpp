#include "rows/InputFile.h"

#include <filesystem>
#include <iostream>
#include <system_error>

#include "console/ExitStatus.h"
#include "console/Printable.h"

namespace Kalt::Vemo::Tool {

InputFile::InputFile(const std::string& file, const std::string& kinds) : name_(file) {
    if (file == "-") {
        name_ = "<stdin>";
        input_.emplace(std::cin);
        return;
    }
    stream_.open(file, std::ios::binary);
    if (!stream_ || std::filesystem::is_directory(file)) {
        throw Trouble(name_ + ": cannot be read; name " + kinds);
    }
    std::error_code unknown;
    const std::uintmax_t size = std::filesystem::file_size(file, unknown);
    size_ = unknown ? 0 : static_cast<std::size_t>(size);
    input_.emplace(stream_);
}

void InputFile::requireReadToEnd() const {
    if (input_->isBad()) {
        throw Trouble(name_ + ": cannot be read to its end");
    }
}

void InputFile::report(const ImportError& error) const {
    std::cerr << printable(name_) << ':' << error.line() << ": error: " << printable(error.what()) << '\n';
}

}  // namespace Kalt::Vemo::Tool
