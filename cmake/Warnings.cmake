# Every warning is an error: a warning that is left standing hides the next one.
add_library(dovra_warnings INTERFACE)
target_compile_options(dovra_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wcast-qual -Wnon-virtual-dtor -Woverloaded-virtual -Werror)
