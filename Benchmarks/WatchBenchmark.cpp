// What it costs to keep an index current. Prints one line for each figure.
//
// usage: watch_benchmark [folder]     the folder in which trees are made, by default that for temporary files

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "Index/ChangeApplication.hpp"
#include "Services/FSEventsWatcher.hpp"

namespace dovra {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

double milliseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

double processorSeconds() {
    timespec time{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// Runs in a process of its own, so that its processor time is not ours.
void inOtherProcess(const std::function<void()>& body) {
    const pid_t child = ::fork();
    if (child == 0) {
        body();
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
}

void writeFile(const std::string& path) {
    const int file = ::open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    (void)!::write(file, path.data(), path.size());
    ::close(file);
}

void unpack(const std::string& root, int folders, int filesEach) {
    for (int folder = 0; folder < folders; ++folder) {
        const std::string path = fmt::format("{}/pack{}/{}", root, folder % 50, folder);
        std::filesystem::create_directories(path);
        for (int file = 0; file < filesEach; ++file)
            writeFile(fmt::format("{}/file{}", path, file));
    }
}

class Watched {
public:
    Watched(std::string root, WatchMechanism mechanism)
        : root_(std::move(root)),
          watcher_(optionsFor(root_, mechanism),
                   {.callback = [this](const ChangeBatch& batch) { applyChanges(index, batch); },
                    .onMustRescan = [this] { ++rescans; }}) {
        watcher_.arm();
        crawl(index, {root_}, {});
        watcher_.start();
    }

    bool flush() { return watcher_.flush(60s); }
    std::string coverage() const { return watcher_.coverage(); }

    FileIndex index;
    std::atomic<int> rescans{0};

private:
    static WatchOptions optionsFor(const std::string& root, WatchMechanism mechanism) {
        WatchOptions options;
        options.root = root;
        options.mechanism = mechanism;
        return options;
    }

    std::string root_;
    FSEventsWatcher watcher_;
};

void print(std::vector<double> values, const std::string& what) {
    std::ranges::sort(values);
    fmt::print("{}: median {:.1f} ms, 99th percentile {:.1f} ms\n", what, values[values.size() / 2],
               values[values.size() * 99 / 100]);
}

/// From a change to the moment when the index has it.
void measureVisibility(Watched& watched, const std::string& root) {
    std::vector<double> flushed;
    for (int i = 0; i < 200; ++i) {
        const auto start = Clock::now();
        writeFile(fmt::format("{}/flushed{}", root, i));
        watched.flush();
        flushed.push_back(milliseconds(Clock::now() - start));
    }
    print(flushed, "change to visible with a flush");
    std::vector<double> unaided;
    for (int i = 0; i < 40; ++i) {
        // At any time within the latency after the last delivery, and sometimes long after it.
        std::this_thread::sleep_for(std::chrono::milliseconds(i * 37 % 1400));
        const std::uint64_t before = watched.index.generation();
        const auto start = Clock::now();
        writeFile(fmt::format("{}/unaided{}", root, i));
        while (watched.index.generation() == before)
            std::this_thread::sleep_for(500us);
        unaided.push_back(milliseconds(Clock::now() - start));
    }
    print(unaided, "change to visible without");
}

void measureUnpacking(Watched& watched, const std::string& root) {
    const std::int64_t itemsBefore = watched.index.itemCount();
    const double before = processorSeconds();
    const auto start = Clock::now();
    inOtherProcess([&] { unpack(root, 5000, 20); });
    const double took = milliseconds(Clock::now() - start);
    watched.flush();
    fmt::print(
        "100 000 files in 5 000 folders unpacked in {:.0f} ms: {} items more, {} rescans, {:.2f} s of "
        "processor time\n",
        took, watched.index.itemCount() - itemsBefore, watched.rescans.load(), processorSeconds() - before);
    const double beforeDeleting = processorSeconds();
    inOtherProcess([&] {
        for (int pack = 0; pack < 50; ++pack)
            std::filesystem::remove_all(fmt::format("{}/pack{}", root, pack));
    });
    watched.flush();
    fmt::print("and deleted: {} items left, {:.2f} s of processor time\n",
               watched.index.itemCount() - itemsBefore, processorSeconds() - beforeDeleting);
}

/// What watching adds to another process's `write`.
double writeMicroseconds(const std::string& root) {
    constexpr int writes = 400'000;
    const int file = ::open((root + "/log").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    const auto start = Clock::now();
    for (int i = 0; i < writes; ++i)
        (void)!::pwrite(file, "line\n", 5, 0);
    ::close(file);
    return milliseconds(Clock::now() - start) * 1000 / writes;
}

void measure(const std::string& folder, WatchMechanism mechanism) {
    std::string root = folder + "/dovra-watch-XXXXXX";
    if (::mkdtemp(root.data()) == nullptr) return;
    const double unwatched = writeMicroseconds(root);
    {
        Watched watched(root, mechanism);
        fmt::print("\n{}\n", watched.coverage());
        fmt::print("a write takes {:.2f} us instead of {:.2f} us\n", writeMicroseconds(root), unwatched);
        measureUnpacking(watched, root);
        measureVisibility(watched, root);
    }
    std::filesystem::remove_all(root);
}

}  // namespace
}  // namespace dovra

int main(int argc, char** argv) {
    const std::string folder = argc > 1 ? argv[1] : std::filesystem::temp_directory_path().string();
    dovra::measure(folder, dovra::WatchMechanism::best);
    dovra::measure(folder, dovra::WatchMechanism::watches);
    return 0;
}
