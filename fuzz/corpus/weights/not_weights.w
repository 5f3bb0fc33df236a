hello
this is no weights file
