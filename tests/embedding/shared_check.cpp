// A shared library made of the whole static library, so that the symbols it
// exports can be checked without compiling the library a second time.
