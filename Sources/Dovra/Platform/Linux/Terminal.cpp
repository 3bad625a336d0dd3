#include "Platform/Terminal.hpp"

#include <unistd.h>

namespace dovra {

bool isTerminal(StandardStream stream) {
    return ::isatty(stream == StandardStream::output ? STDOUT_FILENO : STDERR_FILENO) == 1;
}

}  // namespace dovra
