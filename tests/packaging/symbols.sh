#!/bin/bash
# Compares what the shared libraries export with lists. The list of the library, symbols.txt, goes class by class:
# compilers differ in the functions they emit for a class, and private members come and go. That of the platform
# libraries, platform-symbols.txt, goes name by name.
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/common.sh"

# exported LIBRARY: its names, without parameters; what precedes the last "::" is then the class
exported() { "$NM" -D --defined-only "$1" | awk '{ print $3 }' | "$CXXFILT" -p; }

exported "$LIBRARY" >"$WORK/names.txt"
sed -E '
    / for /b
    s/\[abi:[^]]*\]//
    s/<.*//
    s/^(.*)::[^:]+$/members of \1/' "$WORK/names.txt" | LC_ALL=C sort -u >"$WORK/symbols.txt"
diff -u "$here/symbols.txt" "$WORK/symbols.txt" ||
    fail "$LIBRARY does not export exactly what $here/symbols.txt lists (- expected, + found)"

# The operations that clients call must be among the members.
while read -r operation; do
    grep -qxF "$operation" "$WORK/names.txt" || fail "$operation is not exported by $LIBRARY"
done <"$here/operations.txt"

for library in "$PLATFORM"/lib*.so; do
    exported "$library" | sed "s|^|${library##*/} |"
done | LC_ALL=C sort -u >"$WORK/platform-symbols.txt"
diff -u "$here/platform-symbols.txt" "$WORK/platform-symbols.txt" ||
    fail "the libraries in $PLATFORM do not export exactly what $here/platform-symbols.txt lists (- expected, + found)"
