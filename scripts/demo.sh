#!/usr/bin/env bash
# The main job: installs the dependencies, builds the library and the vellxml
# tool (Release), then runs the tool on the examples.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

preset=ci
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" -j "$(nproc)" --target vellxml-cli
vellxml="build/$preset/tools/vellxml/vellxml"

# Each line of the example file is one `vellxml eval` command line: an
# expression followed by its --var options, as a description would write them.
echo "Evaluating the expressions of examples/expressions.txt:"
while IFS= read -r line; do
  case "$line" in ''|'#'*) continue ;; esac
  eval "args=($line)"
  printf '  vellxml eval %s\n    = ' "$line"
  "$vellxml" eval "${args[@]}"
done < examples/expressions.txt
