#!/usr/bin/env bash
# The main job: installs the dependencies, builds the library and the vellxml
# tool (Release), then generates every output of the demo chip and shows the tool
# at work on it.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

preset=ci
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" -j "$(nproc)" --target vellxml-cli vellxml_demo_chip
vellxml="build/$preset/tools/vellxml/vellxml"
demo="build/$preset/examples/demo/chip.xml"
out="build/$preset/demo-output"

echo "== vellxml check $demo"
"$vellxml" check "$demo" 2>/dev/null

echo
echo "== vellxml gen $demo -o $out"
rm -rf "$out"
"$vellxml" gen "$demo" -o "$out" --bitfields both >/dev/null
echo "  C headers:          $(find "$out" -name '*.h' ! -name '*_asm*.h' | wc -l) files, e.g. $out/periph/uart.h"
echo "  assembly headers:   $(find "$out" -name '*_asm*.h' | wc -l) files, e.g. $out/periph/uart_asm.h"
echo "  VHDL packages:      $(find "$out" -name '*.vhd' | wc -l) files, e.g. $out/periph/uart_reg_pkg.vhd"
echo "  HTML documentation: open $out/index.html in a browser"

echo
echo "== vellxml shell $demo (a simulated target at reset, commands from a pipe)"
"$vellxml" shell "$demo" <<'SHELL' | sed 's/^/  /'
UART0.ISR.r
UART0.CR1.WL.w BITS_9
UART0.CR1.UE.set
UART0.CR1.r
UART0.CR1.WL.r
UART0.BRR.address
show UART0.CR1
find 0x4000440C
SHELL

echo
echo "== vellxml eval over examples/expressions.txt"
# Each line holds the arguments of one `vellxml eval`: an expression followed by
# its --var options, quoted as on a command line.
while IFS= read -r line; do
  case "$line" in ''|'#'*) continue ;; esac
  printf '  vellxml eval %s\n    = ' "$line"
  printf '%s\n' "$line" | xargs "$vellxml" eval
done < examples/expressions.txt
