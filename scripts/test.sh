#!/usr/bin/env bash
# Installs the dependencies, then builds and runs every test in both CI
# configurations: Qt 6 Release with warnings as errors, and Qt 5.15 under
# AddressSanitizer, UndefinedBehaviorSanitizer and LeakSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

jobs=$(nproc)
status=0
for preset in ci ci-qt5-asan; do
  echo "==== $preset: configure and build"
  cmake --preset "$preset"
  cmake --build --preset "$preset" -j "$jobs"
  echo "==== $preset: test"
  if ! ctest --preset "$preset" -j "$jobs"; then
    status=1
  fi
done
exit $status
