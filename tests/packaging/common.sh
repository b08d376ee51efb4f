# shellcheck shell=bash
# What the packaging tests share. CMakeLists.txt hands the settings over in the environment.
set -euo pipefail
here=$(dirname "${BASH_SOURCE[0]}")

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

# configure SOURCE BUILD [OPTIONS...]
configure() {
    local source=$1 build=$2
    shift 2
    "$CMAKE" -S "$source" -B "$build" -G "$GENERATOR" -DCMAKE_MAKE_PROGRAM="$MAKE_PROGRAM" \
        -DCMAKE_CXX_COMPILER="$CXX" "$@"
}

# check_files DIRECTORY LIST: the names below DIRECTORY are exactly those of the file LIST
check_files() {
    (cd "$1" && find . ! -type d -printf '%P\n' | LC_ALL=C sort) | diff -u "$2" - ||
        fail "$1 does not hold exactly the files of $2 (- expected, + found)"
}

# run_programs DIRECTORY: both client programs do their work in a fresh directory
run_programs() {
    local data
    data=$(mktemp -d "$WORK/data.XXXXXX")
    "$1/store" "$data/store"
    "$1/database" "$data/database"
}

# build_with_pkg_config PREFIX DIRECTORY
build_with_pkg_config() {
    local flags program
    flags=$(PKG_CONFIG_PATH="$1/$LIBDIR/pkgconfig" "$PKG_CONFIG" --cflags --libs vemofilesubscriptiondb)
    mkdir -p "$2"
    for program in store database; do
        # The flags are several words each.
        # shellcheck disable=SC2086
        "$CXX" $CLIENT_FLAGS "$here/consumer/$program.cpp" -o "$2/$program" $flags
    done
}

rm -rf "$WORK"
mkdir -p "$WORK"
