# Compile options of every target in the web build (Emscripten): exceptions
# that can be caught, since the library reports failures by throwing; -O2 for a
# lean build; and what Emscripten's standard library lacks of C++20.
add_compile_options(-fexceptions "SHELL:-include ${CMAKE_CURRENT_LIST_DIR}/compat/missing_std.hpp")
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")
