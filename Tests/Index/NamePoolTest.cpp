#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "Index/NamePool.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

/// Mostly short names, some that end exactly with a word or a block, some longer than a block.
std::size_t randomLength(std::mt19937& random) {
    constexpr std::size_t special[] = {1, 63, 64, 65, 128, 511, 512, 513, 5000};
    return random() % 8 == 0 ? special[random() % std::size(special)] : 1 + random() % 20;
}

class NamePoolTest : public testing::Test {
protected:
    NamePoolTest() {
        for (int i = 0; i < 2000; ++i) {
            const std::size_t length = randomLength(random_);
            names_.push_back(test::randomText(random_, "ab", length, length));
            offsets_.push_back(pool_.append(names_.back()));
            owner_.insert(owner_.end(), length, i);
        }
    }

    std::mt19937 random_{1};
    NamePool pool_;
    std::vector<std::string> names_;
    std::vector<std::uint32_t> offsets_;
    std::vector<EntryId> owner_;  ///< the name of each byte
};

TEST_F(NamePoolTest, TellsTheNameOfEveryByte) {
    ASSERT_EQ(pool_.size(), owner_.size());
    for (std::size_t i = 0; i < owner_.size(); ++i) {
        ASSERT_EQ(pool_.nameAt(i), owner_[i]) << i;
        const bool isEnd = i + 1 == owner_.size() || owner_[i + 1] != owner_[i];
        ASSERT_EQ((pool_.nameEnds()[i / 64] >> (i % 64) & 1) != 0, isEnd) << i;
    }
    for (std::size_t i = 0; i < names_.size(); ++i) {
        EXPECT_EQ(pool_.slice(offsets_[i], static_cast<std::uint16_t>(names_[i].size())), names_[i]);
    }
}

TEST_F(NamePoolTest, TellsWhetherBytesBelongToOneName) {
    for (int i = 0; i < 20000; ++i) {
        const std::size_t offset = random_() % owner_.size();
        const std::size_t length = 1 + random_() % std::min<std::size_t>(owner_.size() - offset, 200);
        ASSERT_EQ(pool_.isWithinName(offset, length), owner_[offset] == owner_[offset + length - 1])
            << offset << " + " << length;
    }
}

TEST_F(NamePoolTest, StartsAnewAfterClear) {
    pool_.clear();
    EXPECT_EQ(pool_.append("x"), 0U);
    EXPECT_EQ(pool_.nameAt(0), 0);
    EXPECT_EQ(pool_.nameCount(), 1U);
}

TEST(NamePoolLimits, RefusesANameThatIsTooLong) {
    NamePool pool;
    EXPECT_EQ(pool.append(std::string(65535, 'x')), 0U);
    EXPECT_TRUE(pool.isWithinName(0, 65535));
    EXPECT_DEATH(pool.append(std::string(65536, 'x')), "a name is longer than 65535 bytes");
}

}  // namespace
}  // namespace dovra
