#include "Base/Print.hpp"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace dovra {

namespace {

std::atomic<int> firstError = 0;

}  // namespace

bool writeOutput(std::string_view text) {
    errno = 0;
    const bool wasWritten =
        std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
    int none = 0;
    if (!wasWritten) firstError.compare_exchange_strong(none, errno);
    return firstError == 0;
}

int outputError() {
    return firstError;
}

void fatalError(std::string_view message) {
    printError("dovra: fatal: {}\n", message);
    std::abort();
}

}  // namespace dovra
