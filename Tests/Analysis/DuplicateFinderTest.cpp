#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <random>

#include "Analysis/DuplicateFinder.hpp"
#include "Support/DigestOf.hpp"
#include "Support/RandomText.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {

bool operator==(const DuplicateFinder::SizeGroup& a, const DuplicateFinder::SizeGroup& b) {
    return a.size == b.size && a.ids == b.ids;
}

std::ostream& operator<<(std::ostream& out, const DuplicateFinder::DigestRequest& request) {
    return out << "{" << request.id << ", " << request.offset << ", " << request.length << "}";
}

namespace {

using Finder = DuplicateFinder;
using Groups = std::vector<Finder::IdGroup>;
using Request = Finder::DigestRequest;
using test::digestOf;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t slice = Finder::sliceBytes;

/// Files that exist in memory only, identified by their position, and what is read of them.
class Contents {
public:
    explicit Contents(std::vector<std::string> bytes) : bytes_(std::move(bytes)) {}

    Groups refined() {
        Finder::IdGroup ids;
        for (std::size_t i = 0; i < bytes_.size(); ++i)
            ids.push_back(static_cast<EntryId>(i));
        return Finder::refine(bytes_.front().size(), ids, [&](std::span<const Request> batch) {
            requests.insert(requests.end(), batch.begin(), batch.end());
            Finder::Digests digests;
            for (const auto& [id, offset, length] : batch) {
                const std::string_view whole = bytes_[static_cast<std::size_t>(id)];
                digests.emplace_back(digestOf(whole.substr(offset, static_cast<std::size_t>(length))));
            }
            return digests;
        });
    }

    /// What the groups must be.
    Groups equalOnes() const {
        std::map<std::string_view, Finder::IdGroup> byBytes;
        for (std::size_t i = 0; i < bytes_.size(); ++i)
            byBytes[bytes_[i]].push_back(static_cast<EntryId>(i));
        Groups groups;
        for (auto& [bytes, ids] : byBytes) {
            if (ids.size() > 1) groups.push_back(ids);
        }
        std::ranges::sort(groups);
        return groups;
    }

    std::vector<Request> requests;

private:
    std::vector<std::string> bytes_;
};

std::string changedAt(std::string bytes, std::size_t position) {
    bytes[position] = static_cast<char>(bytes[position] + 1);
    return bytes;
}

TEST(SizeGroups, AreTheSizesThatAreShared) {
    const std::vector<Finder::Item> items = {{7, 10}, {3, 20}, {5, 10}, {9, 0}, {2, 30}, {1, 0}, {8, 20}};
    EXPECT_THAT(Finder::sizeGroups(items),
                ElementsAre(Finder::SizeGroup{20, {3, 8}}, Finder::SizeGroup{10, {5, 7}}));
    EXPECT_THAT(Finder::sizeGroups({}), IsEmpty());
}

TEST(Partition, DropsWhatHasNoDigestOrNoEqual) {
    const Digest a = digestOf("a");
    const Digest b = digestOf("b");
    const Finder::IdGroup ids = {9, 2, 7, 4, 5, 1};
    const Finder::Digests digests = {a, b, std::nullopt, b, a, digestOf("c")};
    EXPECT_THAT(Finder::partition(ids, digests), ElementsAre(ElementsAre(2, 4), ElementsAre(5, 9)));
}

TEST(Refine, ReadsInStagesAndOnlyWhatStillAgrees) {
    const auto requestsFor = [](std::vector<std::string> bytes) {
        Contents contents(std::move(bytes));
        contents.refined();
        return contents.requests;
    };
    const auto equalPair = [](std::size_t size) {
        return std::vector<std::string>(2, std::string(size, 'x'));
    };

    EXPECT_THAT(requestsFor({std::string(10, 'x')}), IsEmpty());
    EXPECT_THAT(requestsFor(equalPair(1)), ElementsAre(Request{0, 0, 1}, Request{1, 0, 1}));
    EXPECT_THAT(requestsFor(equalPair(4096)), ElementsAre(Request{0, 0, 4096}, Request{1, 0, 4096}));
    EXPECT_THAT(requestsFor(equalPair(4097)), ElementsAre(Request{0, 0, 4096}, Request{1, 0, 4096},
                                                          Request{0, 1, 4096}, Request{1, 1, 4096}));
    EXPECT_THAT(requestsFor(equalPair(8192)), ElementsAre(Request{0, 0, 4096}, Request{1, 0, 4096},
                                                          Request{0, 4096, 4096}, Request{1, 4096, 4096}));
    EXPECT_THAT(requestsFor(equalPair(8193)),
                ElementsAre(Request{0, 0, 4096}, Request{1, 0, 4096}, Request{0, 4097, 4096},
                            Request{1, 4097, 4096}, Request{0, 4096, 1}, Request{1, 4096, 1}));

    const std::string base(8192 + slice + 5, 'x');
    EXPECT_THAT(requestsFor({base, changedAt(base, 0)}),
                ElementsAre(Request{0, 0, 4096}, Request{1, 0, 4096}));
    EXPECT_EQ(requestsFor({base, changedAt(base, base.size() - 1)}).size(), 4);
    EXPECT_EQ(requestsFor({base, changedAt(base, 4096 + slice - 1)}).size(), 6);
    EXPECT_EQ(requestsFor({base, changedAt(base, 4096 + slice)}).size(), 8);
    const auto whole = requestsFor({base, base, changedAt(base, 4096)});
    EXPECT_EQ(whole.size(), 3 * 3 + 2);
    EXPECT_EQ(whole.back(), (Request{1, 4096 + slice, 5}));
}

TEST(Refine, GroupsAsComparingEveryByteWould) {
    std::mt19937 random(4);
    for (const std::size_t size :
         {std::size_t{1}, std::size_t{4095}, std::size_t{4096}, std::size_t{4097}, std::size_t{8191},
          std::size_t{8192}, std::size_t{8193}, std::size_t{8192 + slice}, std::size_t{8193 + slice}}) {
        for (int round = 0; round < 8; ++round) {
            std::vector<std::string> bytes = {test::randomText(random, "ab", size, size)};
            while (bytes.size() < 2 + random() % 6) {
                const std::string& like = bytes[random() % bytes.size()];
                // The edges of the stages are where a byte would be missed.
                const std::size_t edges[] = {0,
                                             4095,
                                             4096,
                                             size - 1,
                                             size - std::min<std::size_t>(size, 4096),
                                             4095 + slice,
                                             4096 + slice,
                                             random() % size};
                const std::size_t position = edges[random() % std::size(edges)];
                bytes.push_back(random() % 2 == 0 || position >= size ? like : changedAt(like, position));
            }
            Contents contents(bytes);
            EXPECT_EQ(contents.refined(), contents.equalOnes()) << size;
        }
    }
}

DuplicateGroup groupOf(std::size_t rows, std::uint64_t size) {
    return {size, std::vector<FileRow>(rows)};
}

TEST(ReclaimableBytes, AreThoseOfAllButOne) {
    EXPECT_EQ(Finder::reclaimableBytes({}), 0);
    const std::vector groups = {groupOf(3, 10), groupOf(2, 5), groupOf(1, 100), groupOf(0, 100)};
    EXPECT_EQ(Finder::reclaimableBytes(groups), 25);
}

TEST(ReclaimableBytesDeathTest, OverflowEndsTheProcess) {
    constexpr std::uint64_t half = std::uint64_t{1} << 63;
    const std::vector groups = {groupOf(2, half), groupOf(2, half)};
    EXPECT_DEATH(Finder::reclaimableBytes(groups), "reclaimable");
    const std::vector group = {groupOf(3, half)};
    EXPECT_DEATH(Finder::reclaimableBytes(group), "reclaimable");
}

}  // namespace
}  // namespace dovra
