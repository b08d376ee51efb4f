#!/bin/bash
# Makes Debian packages of the build, checks all that is in them, and uses them as they are in a root of their own.
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/common.sh"

echo "== make the packages"
"$CPACK" --config "$BUILD/CPackConfig.cmake" -G DEB -B "$WORK/packages" >"$WORK/cpack.log" 2>&1 ||
    fail "$(cat "$WORK/cpack.log")"
rm -r "$WORK/packages/_CPack_Packages"
architecture=$(dpkg --print-architecture)
major=${VERSION%%.*}
check_files "$WORK/packages" <(LC_ALL=C sort <<END
filedb_${VERSION}_$architecture.deb
libvemofilesubscriptiondb${major}_${VERSION}_$architecture.deb
libvemofilesubscriptiondb-dev_${VERSION}_$architecture.deb
END
)

# deb PACKAGE: its file
deb() { echo "$WORK/packages/$1_${VERSION}_$architecture.deb"; }

# check_package PACKAGE SECTION DEPENDENCIES SYNOPSIS LAST_LINES CONTROL_FILES: standard input lists its files. The
# compiler says whether its own library is needed (libgcc-s1), and which versions of libraries.
check_package() {
    local package=$1 section=$2 dependencies=$3 synopsis=$4 last_lines=$5 control_files=$6
    echo "== $package"
    LC_ALL=C sort -k 3 >"$WORK/$package.expected"
    dpkg-deb --field "$(deb "$package")" >"$WORK/$package.control"
    sed -E -e '/^$/d' -e '/^Depends:/{ s/ \(>= [^)]*\)//g; s/, libgcc-s1//; }' -e 's/^(Installed-Size:) [0-9]+$/\1 SIZE/' \
        "$WORK/$package.control" | diff -u <(cat <<END
Architecture: $architecture
Depends: $dependencies
Description: $synopsis
 A persistent store of subscriptions for a device's notification framework,
 kept in plain text files that people can read and edit, by way of a small
 relational engine that takes a subset of SQL.
 .
$last_lines
Maintainer: Vemo developers <vemo@example.invalid>
Package: $package
Priority: optional
Section: $section
Version: $VERSION
Installed-Size: SIZE
END
) - || fail "the control fields of $package are not these (- expected, + found)"
    dpkg-deb --ctrl-tarfile "$(deb "$package")" | tar t | sed 's|^\./||' | LC_ALL=C sort | tr '\n' ' ' >"$WORK/$package.files"
    [[ "$(cat "$WORK/$package.files")" == "$control_files " ]] ||
        fail "$package has the control files $(cat "$WORK/$package.files"), not $control_files"
    # Mode, owner and name; a link's target.
    dpkg-deb --fsys-tarfile "$(deb "$package")" | tar tv | awk '$1 !~ /^d/ { $3 = $4 = $5 = ""; print }' |
        tr -s ' ' | LC_ALL=C sort -k 3 | diff -u "$WORK/$package.expected" - ||
        fail "the files of $package are not these (- expected, + found)"
    dpkg-deb --fsys-tarfile "$(deb "$package")" | tar tv | awk '/^d/ { print $1, $2 }' | sort -u |
        diff -u <(echo "drwxr-xr-x root/root") - || fail "the folders of $package are not these (- expected, + found)"
}

file="-rw-r--r-- root/root ./usr"
link="lrwxrwxrwx root/root ./usr"
libraries=(subscriptionmanager vemo vemofilesubscriptiondb vemoplatform)
check_package "libvemofilesubscriptiondb$major" libs "libc6, libstdc++6" \
    "subscription store in plain text files - shared libraries" \
    " This package holds the library and the platform libraries of its host
 edition." "control md5sums postinst postrm shlibs" < <(
    echo "$file/share/doc/libvemofilesubscriptiondb$major/changelog.gz"
    for library in "${libraries[@]}"; do
        echo "$file/$LIBDIR/lib$library.so.$VERSION"
        echo "$link/$LIBDIR/lib$library.so.$major -> lib$library.so.$VERSION"
    done
)
check_package libvemofilesubscriptiondb-dev libdevel "libvemofilesubscriptiondb$major (= $VERSION)" \
    "subscription store in plain text files - development files" \
    " This package holds the headers, the CMake package and the pkg-config file." "control md5sums" < <(
    echo "$file/share/doc/libvemofilesubscriptiondb-dev/changelog.gz"
    sed "s|^|$file/$INCLUDEDIR/vemofilesubscriptiondb/|" "$here/headers.txt"
    for library in "${libraries[@]}"; do
        echo "$link/$LIBDIR/lib$library.so -> lib$library.so.$major"
    done
    for name in Config ConfigVersion Targets "Targets-${BUILD_TYPE,,}"; do
        echo "$file/$LIBDIR/cmake/VemoFileSubscriptionDB/VemoFileSubscriptionDB$name.cmake"
    done
    echo "$file/$LIBDIR/pkgconfig/vemofilesubscriptiondb.pc"
)
check_package filedb database "libvemofilesubscriptiondb$major (= $VERSION), libc6, libedit2, libsqlite3-0, libstdc++6, libutf8proc2" \
    "look into, check and mend databases of the subscription store" \
    " This package holds the command filedb, which shows, queries, changes, checks
 and repairs such a database, and the extension vemofiledb, with which any
 program that has SQLite reads and writes its tables." "control md5sums postinst postrm" < <(
    echo "-rwxr-xr-x root/root ./usr/bin/filedb"
    echo "$file/$LIBDIR/vemofiledb.so"
    echo "$file/share/doc/filedb/changelog.gz"
    echo "$file/share/man/man1/filedb.1.gz"
)

echo "== unpack"
root=$WORK/root
for package in "$WORK"/packages/*.deb; do
    dpkg-deb --extract "$package" "$root"
done
mkdir "$WORK/control"
dpkg-deb --control "$(deb "libvemofilesubscriptiondb$major")" "$WORK/control"
for library in "${libraries[@]}"; do
    echo "lib$library $major libvemofilesubscriptiondb$major (>= $VERSION)"
done | LC_ALL=C sort | diff -u - <(LC_ALL=C sort "$WORK/control/shlibs") || fail "shlibs is not this (- expected, + found)"
for script in postinst postrm; do
    grep -q "^[[:space:]]*ldconfig$" "$WORK/control/$script" || fail "$script does not call ldconfig"
done
for binary in "$root/usr/bin/filedb" "$root/usr/$LIBDIR"/*.so; do
    "$OBJDUMP" -p "$binary" | grep -E "RPATH|RUNPATH" && fail "$binary tells the loader where to look"
    "$FILE" -L "$binary" | grep -q ", stripped" || fail "$binary is not stripped"
done
gzip -dc "$root/usr/share/man/man1/filedb.1.gz" | cmp - "$SOURCE/docs/filedb.1" || fail "the manual page is another one"
for package in filedb "libvemofilesubscriptiondb$major" libvemofilesubscriptiondb-dev; do
    gzip -dc "$root/usr/share/doc/$package/changelog.gz" | cmp - "$SOURCE/CHANGELOG.md" || fail "another changelog"
done

echo "== client programs"
export LD_LIBRARY_PATH=$root/usr/$LIBDIR
configure_consumer "$WORK/package" -DCMAKE_PREFIX_PATH="$root/usr"
"$CMAKE" --build "$WORK/package"
run_programs "$WORK/package"
PKG_CONFIG_SYSROOT_DIR=$root build_with_pkg_config "$root/usr" "$WORK/plain"
run_programs "$WORK/plain"

echo "== filedb"
version=$("$root/usr/bin/filedb" --version)
[[ $version == *"$VERSION"* ]] || fail "filedb --version gives '$version'"
"$WORK/plain/store" "$WORK/database"
"$root/usr/bin/filedb" check "$WORK/database"

echo "== extension of SQLite"
tables=$(sqlite3 :memory: ".load vemofiledb" "SELECT vemofiledb_attach('$WORK/database')")
[[ $tables -gt 0 ]] || fail "the extension attaches '$tables' tables"
