// Stands in for libFuzzer where that is not linked: runs a fuzz target on a fixed set of inputs, so that
// every test run covers the same ground. The inputs run in a process of their own: however that ends (a
// failed check, an exception, a signal, a sanitizer's report, an input that takes too long), the input is
// printed, and the command that runs it alone.
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <new>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "Fuzz/FuzzInputs.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using namespace dovra::fuzz;

constexpr unsigned secondsForOneInput = 60;
/// The run ends at the number of inputs or at the time, whichever comes first; the seeds always run.
constexpr std::size_t inputs = 100'000;
constexpr std::chrono::seconds time(5);

void runInput(std::size_t number, const Seeds& seeds) {
    const std::string input = makeInput(number, seeds);
    // A copy of exactly its size, so that the address sanitizer sees a read past the end.
    const std::vector<std::uint8_t> exact(input.begin(), input.end());
    alarm(secondsForOneInput);
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
    alarm(0);
}

void runAll(const Seeds& seeds, std::size_t& number) {
    const auto deadline = std::chrono::steady_clock::now() + time;
    while (number < seeds.size() || (number < inputs && std::chrono::steady_clock::now() < deadline))
        runInput(number++, seeds);
    std::printf("%zu inputs, %zu of them from corpus and dictionary\n", number, seeds.size());
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 3 || count > 4) fail("usage: CORPUS DICTIONARY [NUMBER]");
    const Seeds seeds = readSeeds(arguments[1], arguments[2]);
    if (count == 4) {
        runInput(std::stoul(arguments[3]), seeds);
        return 0;
    }
    void* shared =
        mmap(nullptr, sizeof(std::size_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) fail("no shared memory");
    auto& started = *new (shared) std::size_t(0);
    const pid_t child = fork();
    if (child == 0) {
        runAll(seeds, started);
        return 0;
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) fail("no process of its own");
    if (status == 0) return 0;
    const std::size_t number = std::max<std::size_t>(started, 1) - 1;
    std::fprintf(stderr, "failed; to repeat: %s %s %s %zu\n", arguments[0], arguments[1], arguments[2],
                 number);
    for (const char c : makeInput(number, seeds))
        std::fprintf(stderr, "%02x", static_cast<unsigned>(static_cast<std::uint8_t>(c)));
    std::fputc('\n', stderr);
    return 1;
}
