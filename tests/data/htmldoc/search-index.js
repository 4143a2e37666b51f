vellxmlSearch.index({"pages":[
["UART0.html","UART0"],
["chip_2.html","chip"],
["x_.._y.html","x/../y"]],
"chunks":[
["0x40000000","y"]]});
