# shellcheck shell=bash
# What the packaging tests share. CMakeLists.txt hands the settings over in the environment.
set -euo pipefail
here=$(dirname "${BASH_SOURCE[0]}")

# The client programs of consumer/.
programs=(store database log)

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

# configure_consumer BUILD [OPTIONS...]: the client programs, through the CMake package
configure_consumer() {
    local build=$1 list
    shift
    list=$(IFS=";"; echo "${programs[*]}")
    configure "$here/consumer" "$build" -DCMAKE_CXX_FLAGS="$CLIENT_FLAGS" -DPROGRAMS="$list" "$@"
}

# check_files DIRECTORY LIST: the names below DIRECTORY are exactly those of the file LIST
check_files() {
    (cd "$1" && find . ! -type d -printf '%P\n' | LC_ALL=C sort) | diff -u "$2" - ||
        fail "$1 does not hold exactly the files of $2 (- expected, + found)"
}

# run_programs DIRECTORY: the client programs do their work in a fresh directory
run_programs() {
    local data program
    data=$(mktemp -d "$WORK/data.XXXXXX")
    for program in "${programs[@]}"; do
        "$1/$program" "$data/$program"
    done
}

# build_with_pkg_config PREFIX DIRECTORY [OPTIONS...]: the client programs, with what pkg-config says with these options
build_with_pkg_config() {
    local flags program prefix=$1 directory=$2
    shift 2
    flags=$(PKG_CONFIG_PATH="$prefix/$LIBDIR/pkgconfig" "$PKG_CONFIG" --cflags --libs "$@" vemofilesubscriptiondb)
    mkdir -p "$directory"
    for program in "${programs[@]}"; do
        # The flags are several words each.
        # shellcheck disable=SC2086
        "$CXX" $CLIENT_FLAGS -std=c++17 "$here/consumer/$program.cpp" -o "$directory/$program" $flags
    done
}

# copy_sources DIRECTORY: what the library is built from
copy_sources() {
    mkdir -p "$1"
    cp -R "$SOURCE"/{CMakeLists.txt,cmake,framework,platform} "$1"
}

# installed_files: the files of an installation without filedb, in the library folder "lib"
installed_files() {
    local name
    {
        sed "s|^|include/vemofilesubscriptiondb/|" "$here/headers.txt"
        for name in Config ConfigVersion Targets-release Targets; do
            echo "lib/cmake/VemoFileSubscriptionDB/VemoFileSubscriptionDB$name.cmake"
        done
        for name in subscriptionmanager vemo vemofilesubscriptiondb vemoplatform; do
            printf '%s\n' "lib/lib$name.so" "lib/lib$name.so.${VERSION%%.*}" "lib/lib$name.so.$VERSION"
        done
        echo lib/pkgconfig/vemofilesubscriptiondb.pc
    } | LC_ALL=C sort
}

rm -rf "$WORK"
mkdir -p "$WORK"
