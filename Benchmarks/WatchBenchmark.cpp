// The cost of keeping an index current. Prints one line for each figure.
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

#include "Services/AppServices.hpp"

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

/// Runs in a process of its own, whose processor time is not counted as ours.
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

/// A live index as a server has it, with a cache of its own.
class Watched {
public:
    Watched(const std::string& root, WatchMechanism mechanism)
        : services(AppServices::make({.root = root, .mechanism = mechanism})) {
        services->start();
        services->waitUntilReady(60s);
        flush();
    }
    ~Watched() { services->close(); }

    bool flush() { return services->flush(60s); }
    const FileIndex& index() const { return services->index(); }

    std::shared_ptr<AppServices> services;
};

void print(std::vector<double> values, const std::string& what) {
    std::ranges::sort(values);
    fmt::print("{}: median {:.1f} ms, 99th percentile {:.1f} ms\n", what, values[values.size() / 2],
               values[values.size() * 99 / 100]);
}

/// The time from a change until the index has it.
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
        // The pause ends anywhere within the latency after the last delivery, and sometimes long after it.
        std::this_thread::sleep_for(std::chrono::milliseconds(i * 37 % 1400));
        const std::uint64_t before = watched.index().generation();
        const auto start = Clock::now();
        writeFile(fmt::format("{}/unaided{}", root, i));
        while (watched.index().generation() == before)
            std::this_thread::sleep_for(500us);
        unaided.push_back(milliseconds(Clock::now() - start));
    }
    print(unaided, "change to visible without");
}

void measureUnpacking(Watched& watched, const std::string& root) {
    const std::int64_t itemsBefore = watched.index().itemCount();
    const double before = processorSeconds();
    const auto start = Clock::now();
    inOtherProcess([&] { unpack(root, 5000, 20); });
    const double took = milliseconds(Clock::now() - start);
    watched.flush();
    fmt::print(
        "100 000 files in 5 000 folders unpacked in {:.0f} ms: {} items more, {:.2f} s of processor time\n",
        took, watched.index().itemCount() - itemsBefore, processorSeconds() - before);
    const double beforeDeleting = processorSeconds();
    inOtherProcess([&] {
        for (int pack = 0; pack < 50; ++pack)
            std::filesystem::remove_all(fmt::format("{}/pack{}", root, pack));
    });
    watched.flush();
    fmt::print("and deleted: {} items left, {:.2f} s of processor time\n",
               watched.index().itemCount() - itemsBefore, processorSeconds() - beforeDeleting);
}

/// The time that a search waits for the index while it changes, is built anew and saved.
void measureWaits(Watched& watched, const std::string& root) {
    std::atomic<bool> isOver = false;
    std::vector<double> waits;
    std::thread reader([&] {
        while (!isOver) {
            const auto start = Clock::now();
            { const ReadGuard guard(watched.index().rwlock); }
            waits.push_back(milliseconds(Clock::now() - start));
            std::this_thread::sleep_for(200us);
        }
    });
    std::thread flusher([&] {
        while (!isOver)
            watched.flush();
    });
    std::thread builder([&] {
        for (int i = 0; i < 3 && !isOver; ++i) {
            std::this_thread::sleep_for(200ms);
            watched.services->rebuild();
        }
    });
    inOtherProcess([&] { unpack(root, 5000, 20); });
    isOver = true;
    reader.join();
    flusher.join();
    builder.join();
    fmt::print(
        "a search waits while 100 000 files are unpacked, applied, scanned and saved: worst {:.1f} ms\n",
        std::ranges::max(waits));
    for (int pack = 0; pack < 50; ++pack)
        std::filesystem::remove_all(fmt::format("{}/pack{}", root, pack));
    watched.flush();
}

/// The cost of following one file that changes all the time in a folder of many.
void measureBusyFile(const std::string& folder, WatchMechanism mechanism, int files) {
    const std::string root = folder + "/many";
    std::filesystem::create_directory(root);
    for (int i = 0; i < files; ++i)
        writeFile(fmt::format("{}/file {} of many", root, i));
    {
        Watched watched(root, mechanism);
        std::atomic<bool> isOver = false;
        std::thread writer([&] {
            for (int i = 0; !isOver; ++i) {
                (void)!::truncate((root + "/file 17 of many").c_str(), i);
                std::this_thread::sleep_for(1ms);
            }
        });
        std::this_thread::sleep_for(2s);
        const double before = processorSeconds();
        std::this_thread::sleep_for(5s);
        const double share = (processorSeconds() - before) / 5 * 100;
        std::vector<double> calls;
        for (int i = 0; i < 100; ++i) {
            const auto start = Clock::now();
            writeFile(fmt::format("{}/new {}", root, i));
            watched.flush();
            calls.push_back(milliseconds(Clock::now() - start));
        }
        isOver = true;
        writer.join();
        fmt::print("one file of {} changes all the time: {:.1f} % of a processor\n", files, share);
        print(calls, "a new file among them to visible with a flush");
    }
    std::filesystem::remove_all(root);
}

/// The processor time of a whole round of comparing the index with the disk.
void measureRound(const std::string& folder) {
    const std::string root = folder + "/round";
    unpack(root, 50'000, 20);
    LiveIndex::Time now = Clock::now();
    LiveIndex::Options options;
    options.root = root;
    options.openFeed = [] { return nullptr; };
    options.now = [&] { return now; };
    options.isOnBattery = [] { return false; };
    LiveIndex live(options);
    live.start();
    live.step();
    const double before = processorSeconds();
    std::size_t pieces = 0;
    for (; !live.lastRound(); now += 10min) {
        live.flush(0ms);
        while (auto task = live.nextTask()) {
            task->run()();
            ++pieces;
        }
    }
    fmt::print("\na round over {} entries: {:.2f} s of processor time in {} pieces\n",
               live.index().itemCount(), processorSeconds() - before, pieces);
    std::filesystem::remove_all(root);
}

/// The time of one `write`; watching adds to it.
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
        fmt::print("\n{}\n", watched.services->status().coverage);
        fmt::print("a write takes {:.2f} us instead of {:.2f} us\n", writeMicroseconds(root), unwatched);
        measureUnpacking(watched, root);
        measureWaits(watched, root);
        measureVisibility(watched, root);
    }
    for (const int files : {200'000, 1'000'000})
        measureBusyFile(root, mechanism, files);
    std::filesystem::remove_all(root);
}

}  // namespace
}  // namespace dovra

int main(int argc, char** argv) {
    // The caches lie with the trees.
    ::setenv("XDG_DATA_HOME", std::filesystem::temp_directory_path().c_str(), 0);
    const std::string folder = argc > 1 ? argv[1] : std::filesystem::temp_directory_path().string();
    dovra::measure(folder, dovra::WatchMechanism::best);
    dovra::measure(folder, dovra::WatchMechanism::watches);
    dovra::measureRound(folder);
    return 0;
}
