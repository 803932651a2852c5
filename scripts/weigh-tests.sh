#!/usr/bin/env bash
# Prints how many lines the code and the tests have, blanks and comments aside, and fails when the tests, their data
# included, weigh more than they may.
set -euo pipefail
cd "$(dirname "$0")/.."
most=36  # percent of the code

lines() { xargs -d '\n' cat | grep -vcE '^[[:space:]]*(//.*|\*.*|/\*.*|#.*)?$'; }
code=$(git ls-files src include | grep -E '\.(cpp|h|c)$' | lines)
tests=$(git ls-files tests | grep -v CMakeLists.txt | lines)
echo "Lines without blanks and comments: code $code, tests with their data $tests, $((100 * tests / code)) % (at most $most)"
[ $((100 * tests)) -le $((most * code)) ]
