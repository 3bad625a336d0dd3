#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "Index/Crawl.hpp"
using namespace dovra;
int main(int, char** argv) {
    FileIndex index;
    auto t = std::chrono::steady_clock::now();
    crawl(index, {argv[1]},
          {.detail = argv[2][0] == 'n' ? ListingDetail::namesAndTypes : ListingDetail::attributes,
           .threads = (size_t)atoi(argv[3])});
    auto d = std::chrono::steady_clock::now() - t;
    printf("%ld items %.1f ms, %zu dirs %.1f B/entry\n", index.itemCount(), d.count() / 1e6,
           index.directoriesLocked().count(), double(index.memoryBytes()) / index.itemCount());
}
