#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "Index/NamePool.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

TEST(NamePool, TellsTheNameOfEveryByteAndWhetherBytesBelongToOne) {
    // Names that end exactly with a word or a block, and one that is longer than a block, among short ones.
    constexpr std::size_t special[] = {1, 63, 64, 65, 128, 511, 512, 513, 5000};
    std::mt19937 random(1);
    NamePool pool;
    std::vector<EntryId> owner;  // the name of each byte
    for (EntryId name = 0; name < 2000; ++name) {
        const std::size_t length =
            random() % 8 == 0 ? special[random() % std::size(special)] : 1 + random() % 20;
        const std::string text = test::randomText(random, "ab", length, length);
        EXPECT_EQ(pool.slice(pool.append(text), static_cast<std::uint16_t>(length)), text);
        owner.insert(owner.end(), length, name);
    }
    ASSERT_EQ(pool.size(), owner.size());
    for (std::size_t i = 0; i < owner.size(); ++i) {
        ASSERT_EQ(pool.nameAt(i), owner[i]) << i;
        const std::size_t length = 1 + random() % std::min<std::size_t>(owner.size() - i, 200);
        ASSERT_EQ(pool.isWithinName(i, length), owner[i] == owner[i + length - 1]) << i << " + " << length;
    }
    pool = NamePool();
    EXPECT_EQ(pool.append(std::string(65535, 'x')), 0U);
    EXPECT_EQ(pool.nameAt(65534), 0);
    EXPECT_DEATH(pool.append(std::string(65536, 'x')), "a name is longer than 65535 bytes");
}

}  // namespace
}  // namespace dovra
