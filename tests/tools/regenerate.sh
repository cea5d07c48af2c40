#!/bin/sh
# Rewrites the expected transcripts of the flowspec tool's tests
# (tests/tools/expected/*.txt) from what the tool does now. Review the
# change with `git diff tests/tools/expected` before committing it.
#
#   tests/tools/regenerate.sh [BUILD_DIR]     (default: build/dev)
set -e
cd "$(dirname "$0")/../.."
build=${1:-build/dev}
cmake --build "$build" --target flowspec
FLOWSPEC_REGENERATE_EXPECTED=1 ctest --test-dir "$build" -R '^tool\.' --output-on-failure
