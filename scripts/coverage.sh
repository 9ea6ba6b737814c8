#!/usr/bin/env bash
# Builds the coverage preset, runs the whole test suite once and reports the line and branch
# coverage of the library (ZAR_DAWControl/, without the generated protobuf code) with gcovr.
# The summary goes to the terminal; build/coverage/coverage.txt lists the figures per file and
# build/coverage/html/index.html shows each line and branch.
# Extra arguments go to ctest (for example -R SimElement to see what one suite covers).
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset coverage >/dev/null
cmake --build --preset coverage
find build/coverage -name '*.gcda' -delete
ctest --preset coverage "$@" || echo "coverage: some tests failed; the figures count what ran"

mkdir -p build/coverage/html
# Branches the compiler adds for exceptions and for code it proved unreachable are not the
# library's own decisions: counting them would measure the compiler, not the tests.
# The library's inline code counts wherever it was compiled, so every object of the build is read
# except CMake's compiler probes and the scratch build of the install test.
gcovr --root . --filter 'ZAR_DAWControl/' --exclude '.*\.pb\.(h|cc)$' \
  --exclude-directories 'build/coverage/CMakeFiles' --exclude-directories 'build/coverage/tests/install/work' \
  --exclude-throw-branches --exclude-unreachable-branches -j 2 \
  --txt build/coverage/coverage.txt --json-summary-pretty --json-summary build/coverage/summary.json \
  --html-details build/coverage/html/index.html --print-summary build/coverage
