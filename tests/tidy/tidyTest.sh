#!/bin/sh
# clang-tidy, with the checks of the .clang-tidy files, over every source of src/, platform/linux and
# client/ that the tree builds.
#
#   tidyTest.sh tree SOURCE-FOLDER BUILD-FOLDER    nothing to complain about
#   tidyTest.sh sample SOURCE-FOLDER               each line marked "refused" of the sample is refused
set -eu

mode=$1
source=$2
: "${CLANG_TIDY:=clang-tidy}"

if ! command -v "$CLANG_TIDY" >/dev/null 2>&1; then
    echo "$CLANG_TIDY is not installed"
    [ "${CI:-}" != true ] || exit 1 # there it must be
    exit 77 # ctest counts it as skipped
fi

check_tree() {
    files=$(sed -n 's/^ *"file": "\(.*\)",*$/\1/p' "$1/compile_commands.json" | sort -u |
        grep -E "^$source/(src|platform/linux|client)/")
    count=$(echo "$files" | wc -l)
    echo "$count sources"
    # What no part of the program can be left out of; fewer means that the list was not understood.
    [ "$count" -ge 50 ]
    # Each warning is an error, and so is a file that cannot be read.
    echo "$files" | tr '\n' '\0' |
        xargs -0 -n 4 -P "$(nproc)" "$CLANG_TIDY" -p "$1" --quiet 2>&1
}

check_sample() {
    sample=$source/tests/tidy/sample.cpp
    expected=$(sed -n '/\/\/ refused/=' "$sample")
    found=$("$CLANG_TIDY" --config-file="$source/.clang-tidy" --quiet "$sample" -- -std=c++17 2>&1 |
        sed -n 's/^.*sample\.cpp:\([0-9]*\):[0-9]*: error: .*$/\1/p' | sort -nu)
    echo "Lines to refuse:" $expected
    echo "Lines refused:  " $found
    [ -n "$expected" ] && [ "$found" = "$expected" ]
}

case $mode in
    tree) check_tree "$3" ;;
    sample) check_sample ;;
    *) exit 2 ;;
esac
