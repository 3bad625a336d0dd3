#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "Platform/OpenFolder.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

TEST(OpenFolder, AFolderThatWasDeletedIsEmpty) {
    const test::TemporaryTree tree;
    const auto folder = OpenFolder::open(tree.makeFolder("folder"));
    std::filesystem::remove(tree.path("folder"));
    FolderListing listing;
    EXPECT_TRUE(folder.value().list(ListingDetail::attributes, listing));
    EXPECT_EQ(listing.count(), 0U);
}

TEST(OpenFolder, TellsWhatIsNotThereFromWhatCannotBeAsked) {
    const test::TemporaryTree tree;
    tree.write("file", "bytes");
    const auto folder = OpenFolder::open(tree.path()).value();
    EXPECT_EQ(std::get<RawDirent>(folder.attributes("file")).size, 5U);
    EXPECT_TRUE(std::get<RawDirent>(folder.attributes()).isDir);
    EXPECT_EQ(std::get<OpenFolder::Refusal>(folder.attributes("none")), OpenFolder::Refusal::missing);
}

}  // namespace
}  // namespace dovra
