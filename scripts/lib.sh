# Shared by the scripts in this folder. Sourced, not run.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# install_missing PACKAGE...: installs those of the Debian packages that are not there yet.
install_missing() {
    local package missing=()
    for package in "$@"; do
        if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
            missing+=("$package")
        fi
    done
    if [ ${#missing[@]} -eq 0 ]; then
        return
    fi
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "$0: these packages are missing: ${missing[*]}. Run the script as root, or install sudo." >&2
            exit 1
        fi
        as_root=(sudo)
    fi
    echo "Installing: ${missing[*]}"
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

build_packages=(g++ cmake ninja-build pkg-config nlohmann-json3-dev libcli11-dev libedit-dev libsqlite3-dev libutf8proc-dev)
package_packages=("${build_packages[@]}" dpkg-dev file)
test_packages=("${package_packages[@]}" ccache libgtest-dev libgmock-dev locales strace binutils make less sqlite3 python3)
disk_packages=(e2fsprogs mount)
bench_packages=(libbenchmark-dev)

# The cache may not shorten the names of source files: the texts of the log have them.
export CCACHE_BASEDIR=

# configure PRESET: makes build/PRESET, which keeps what it compiles in the compiler cache.
configure() {
    echo "== $1: configuring"
    cmake --preset "$1" -DCMAKE_CXX_COMPILER_LAUNCHER=ccache >/dev/null
}

# build PRESET [OPTIONS...]: builds everything, or what the options of "cmake --build" name.
build() {
    configure "$1"
    echo "== $1: building"
    cmake --build --preset "$@"
}

# run_tests PRESET
#
# Where nothing is learnt from the disk that the release was not tested on, its syncs are saved.
run_tests() {
    echo "== $1: testing"
    case $1 in
        asan | tsan | arm | s390x) TMPDIR=/dev/shm ctest --preset "$1" --parallel "$(nproc)" ;;
        *) ctest --preset "$1" --parallel "$(nproc)" ;;
    esac
}
