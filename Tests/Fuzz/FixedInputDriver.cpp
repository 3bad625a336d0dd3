// Stands in for libFuzzer where that is not linked: runs a fuzz target on a fixed set of inputs, so that
// every test run covers the same ground and a fault can be repeated with `--only=NUMBER`. Where a run ends by
// a failed check, an uncaught exception, a signal, a sanitizer's report or an input that takes too long, the
// driver prints the number and the bytes.
#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <signal.h>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include "Fuzz/FuzzInputs.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// The sanitizers' own names; the first is there only where one is linked. The undefined-behaviour sanitizer
// does not know the callback: it is asked to end the program by a signal.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" __attribute__((weak)) void __sanitizer_set_death_callback(void (*callback)());
extern "C" const char* __ubsan_default_options() {
    return "abort_on_error=1:print_stacktrace=1";
}
extern "C" const char* __tsan_default_options() {
    return "halt_on_error=1";
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

using namespace dovra::fuzz;

constexpr unsigned secondsForOneInput = 60;

std::size_t currentNumber = 0;
std::string currentInput;

/// Prints the running input, once. Called while the program dies, so it allocates nothing.
void reportInput() {
    static bool reported = false;
    if (reported) return;
    reported = true;
    std::fprintf(stderr, "failed on input %zu (--only=%zu), %zu bytes: ", currentNumber, currentNumber,
                 currentInput.size());
    for (const char c : currentInput)
        std::fprintf(stderr, "%02x", static_cast<unsigned>(static_cast<std::uint8_t>(c)));
    std::fputc('\n', stderr);
}

extern "C" void reportAndDie(int signalNumber) {
    reportInput();
    // The handler was reset on entry: the second signal ends the program as the first would have.
    raise(signalNumber);
}

void reportWhenDying() {
    // A stack of its own, because a recursion without an end leaves no room on the usual one.
    static std::array<std::byte, 64 * 1024> stack;
    const stack_t alternative{.ss_sp = stack.data(), .ss_flags = 0, .ss_size = stack.size()};
    sigaltstack(&alternative, nullptr);

    struct sigaction action {};
    action.sa_handler = reportAndDie;
    action.sa_flags = static_cast<int>(SA_ONSTACK | SA_RESETHAND | SA_NODEFER);
    for (const int signalNumber : {SIGABRT, SIGALRM})
        sigaction(signalNumber, &action, nullptr);
    if (__sanitizer_set_death_callback != nullptr) {
        __sanitizer_set_death_callback(reportInput);  // It keeps the other signals to itself.
        return;
    }
    for (const int signalNumber : {SIGSEGV, SIGBUS, SIGFPE, SIGILL})
        sigaction(signalNumber, &action, nullptr);
}

struct Options {
    std::filesystem::path corpus;
    std::filesystem::path dictionary;
    /// The run ends at the number of inputs or at the time limit, whichever comes first; the seeds always
    /// run.
    std::size_t inputs = 100'000;
    std::size_t seconds = 5;
    std::optional<std::size_t> only;
};

std::size_t numberIn(std::string_view text) {
    std::size_t number = 0;
    const char* end = text.data() + text.size();
    if (std::from_chars(text.data(), end, number).ptr != end || text.empty()) {
        fail("not a number: " + std::string(text));
    }
    return number;
}

Options parseOptions(int count, char** arguments) {
    Options options;
    for (int i = 1; i < count; ++i) {
        const std::string_view argument = arguments[i];
        const std::size_t equals = std::min(argument.find('='), argument.size() - 1);
        const std::string_view value = argument.substr(equals + 1);
        const std::string_view name = argument.substr(0, equals);
        if (name == "--corpus") {
            options.corpus = value;
        } else if (name == "--dictionary") {
            options.dictionary = value;
        } else if (name == "--inputs") {
            options.inputs = numberIn(value);
        } else if (name == "--seconds") {
            options.seconds = numberIn(value);
        } else if (name == "--only") {
            options.only = numberIn(value);
        } else {
            fail(
                "usage: [--corpus=FOLDER] [--dictionary=FILE] [--inputs=COUNT] [--seconds=LIMIT] "
                "[--only=NUMBER]");
        }
    }
    return options;
}

void runInput(std::size_t number, const Seeds& seeds) {
    currentNumber = number;
    currentInput = makeInput(number, seeds);
    alarm(secondsForOneInput);
    // A copy of exactly its size, so that the address sanitizer sees a read past the end.
    const std::vector<std::uint8_t> exact(currentInput.begin(), currentInput.end());
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
    alarm(0);
}

}  // namespace

int main(int count, char** arguments) {
    const Options options = parseOptions(count, arguments);
    const Seeds seeds = readSeeds(options.corpus, options.dictionary);
    reportWhenDying();

    if (options.only) {
        runInput(*options.only, seeds);
        return 0;
    }
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::seconds(options.seconds);
    const std::size_t inputs = std::max(options.inputs, seeds.size());
    std::size_t number = 0;
    while (number < inputs && (number < seeds.size() || Clock::now() < deadline))
        runInput(number++, seeds);
    std::printf("%zu inputs, %zu of them from corpus and dictionary\n", number, seeds.size());
    return 0;
}
