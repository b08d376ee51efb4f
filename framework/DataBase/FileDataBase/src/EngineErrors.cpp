#include "EngineErrors.h"

#include <cerrno>
#include <system_error>

namespace Kalt::Vemo::Core::Database::Filedb {

SystemRefusal openError(int line) {
    return {"openFile", line, "DataBase Error: Couldn't open the corresponding file"};
}

SystemRefusal readError(int line) {
    return {"getNextRecordFromTableFile", line, "DB Error: Error occurred during file reading"};
}

SystemRefusal seekError(int line) {
    return {"writeRecordToTableFile", line, "File Error: File Seek error"};
}

SystemRefusal writeError(int line) {
    return {"overwrite", line, "File Error: File write error: " + std::generic_category().message(errno)};
}

DatabaseException shortRecordError(const char* function, int line) {
    return {function, line, "DB Error: Record has fewer fields than Table Definition"};
}

}  // namespace Kalt::Vemo::Core::Database::Filedb
