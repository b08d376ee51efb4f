#include "BenchDirectory.h"

#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

BenchDirectory::BenchDirectory(Medium medium) {
    const char* disk = std::getenv("VEMO_BENCH_DISK");
    const std::string parent = medium == Medium::memory ? "/dev/shm" : (disk != nullptr ? disk : ".");
    std::string name = parent + "/vemo-bench-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("cannot make a directory in " + parent +
                                 "; set VEMO_BENCH_DISK to one that is writable");
    }
    path_ = name;
}

BenchDirectory::~BenchDirectory() {
    std::error_code ignored;  // a directory that stays behind spoils no measurement
    std::filesystem::remove_all(path_, ignored);
}
