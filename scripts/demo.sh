#!/usr/bin/env bash
# The main job: installs the dependencies, builds the library and the vellxml
# tool (Release), then runs the tool on the examples.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

preset=ci
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" -j "$(nproc)" --target vellxml-cli vellxml_docgen vellxml_demo_chip
vellxml="build/$preset/tools/vellxml/vellxml"

# Each line of the example file holds the arguments of one `vellxml eval`: an
# expression followed by its --var options, quoted as on a command line.
echo "Evaluating the expressions of examples/expressions.txt:"
while IFS= read -r line; do
  case "$line" in ''|'#'*) continue ;; esac
  printf '  vellxml eval %s\n    = ' "$line"
  printf '%s\n' "$line" | xargs "$vellxml" eval
done < examples/expressions.txt

# The demo chip's browsable documentation.
echo
echo "Documenting the demo chip (examples/demo):"
"build/$preset/examples/vellxml_docgen" "build/$preset/examples/demo/chip.xml" "build/$preset/demo-doc"
echo "  open build/$preset/demo-doc/index.html in a browser"
