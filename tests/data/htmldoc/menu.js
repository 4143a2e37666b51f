vellxmlMenu.tree({"chip":"chip","groups":[
["Unclassified",[
["s","UART0","UART0.html",0],
["s","chip","chip_2.html",0],
["s","x/../y","x_.._y.html",0]]]
],"archives":[
["chip.xml","chip.html#archive-1"]]});
