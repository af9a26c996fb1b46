#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the unit tests and tells which lines and branches of src/ they reach. With --missed: each one that they do not.
set -euo pipefail
source "$(dirname "$0")/setup.sh"

install_missing clang llvm libgtest-dev libgmock-dev
build coverage --target unit_tests
cd build/coverage
LLVM_PROFILE_FILE=unit.profraw bin/unit_tests >unit.log || die "the unit tests failed; see $PWD/unit.log"
llvm-profdata merge -sparse unit.profraw -o unit.profdata
library=(bin/unit_tests -instr-profile=unit.profdata '-ignore-filename-regex=(include|platform|tests)/')
if [[ ${1:-} == --missed ]]; then
  # A line that never ran, or a branch of which one way was never taken.
  llvm-cov show "${library[@]}" --show-branches=count | grep -E '^[^ ].*:$|^ +[0-9]+\| +0\||True: 0,|False: 0\]' || true
else
  llvm-cov report "${library[@]}" --show-region-summary=false
fi
