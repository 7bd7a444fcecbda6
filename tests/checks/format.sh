#!/bin/sh
# Every C++ file stands as clang-format would set it; "format.sh -i" sets them so.
cd "$(dirname "$0")/../.." || exit 1
[ "$1" = -i ] && how=-i || how="--dry-run --Werror"
# shellcheck disable=SC2086
find benchmarks framework propertyhandler readers streamlib tests tools \( -name '*.cpp' -o -name '*.h' \) -print0 2>/dev/null |
  xargs -0 clang-format $how
