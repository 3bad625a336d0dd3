#include "Platform/Terminal.hpp"

#include <cstdlib>
#include <unistd.h>

namespace dovra {

bool isTerminal(StandardStream stream) {
    return ::isatty(stream == StandardStream::output ? STDOUT_FILENO : STDERR_FILENO) == 1;
}

namespace {

bool colourIsUnwanted() {
    const char* value = std::getenv("NO_COLOR");
    return value != nullptr && value[0] != '\0';
}

}  // namespace

TerminalStyle::TerminalStyle(StandardStream stream) : isOn_(isTerminal(stream) && !colourIsUnwanted()) {}

std::string TerminalStyle::styled(std::string_view escape, std::string_view text) const {
    if (!isOn_) return std::string(text);
    return std::string(escape).append(text).append("\x1b[0m");
}

std::string TerminalStyle::bold(std::string_view text) const {
    return styled("\x1b[1m", text);
}

std::string TerminalStyle::accent(std::string_view text) const {
    return styled("\x1b[38;2;207;58;78m", text);
}

std::string TerminalStyle::dim(std::string_view text) const {
    return styled("\x1b[2m", text);
}

}  // namespace dovra
