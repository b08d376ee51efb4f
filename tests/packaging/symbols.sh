#!/bin/bash
# Compares what the shared library exports with symbols.txt, class by class: compilers differ in the functions they
# emit for a class (copies of constructors, for example), and private members come and go.
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/common.sh"

# Without its parameters, what precedes the last "::" of a name is its class.
"$NM" -D --defined-only "$LIBRARY" | awk '{ print $3 }' | "$CXXFILT" -p >"$WORK/names.txt"
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
