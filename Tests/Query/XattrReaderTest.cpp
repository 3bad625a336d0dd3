#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Query/TagMatcher.hpp"
#include "Query/XattrReader.hpp"
#include "Support/ExtendedAttribute.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

constexpr const char* tagAttribute = "user.com.apple.metadata:_kMDItemUserTags";

/// A file whose attributes each test sets.
class Tags : public testing::Test {
protected:
    void SetUp() override {
        if (!test::setAttribute(file_, "user.probe", "1")) GTEST_SKIP() << "no extended attributes here";
    }
    void write(std::string_view propertyList, std::string_view commaSeparated) {
        ASSERT_TRUE(test::setAttribute(file_, tagAttribute, propertyList));
        ASSERT_TRUE(test::setAttribute(file_, "user.xdg.tags", commaSeparated));
    }

    test::TemporaryTree tree_;
    std::string file_ = tree_.write("file");
};

TEST_F(Tags, AreTheUnionOfBothAttributes) {
    EXPECT_THAT(XattrReader::userTags(file_), testing::IsEmpty());
    write("<plist><array><string>Red\n6</string><string>Work</string></array></plist>",
          " home ,,Work,\t, big deal");
    EXPECT_THAT(XattrReader::userTags(file_), testing::ElementsAre("Red", "Work", "home", "big deal"));
    write("damaged", "a\xFF");
    EXPECT_THAT(XattrReader::userTags(file_), testing::ElementsAre("a\uFFFD"));
}

TEST_F(Tags, AreMatchedWithoutRegardToCase) {
    write("<plist><array><string>Reddish\n6</string></array></plist>", "ÉCOLE");
    for (const char* needle : {"", "red", "dish", "école", "e\u0301co"})
        EXPECT_TRUE(TagMatcher(needle).matchesFile(file_)) << needle;
    for (const char* needle : {"6", "blue", "ecole", "reddish\n"})
        EXPECT_FALSE(TagMatcher(needle).matchesFile(file_)) << needle;
    EXPECT_FALSE(TagMatcher("").matchesFile(tree_.write("untagged")));
    EXPECT_FALSE(TagMatcher("").matchesFile(tree_.path("absent")));
}

}  // namespace
}  // namespace dovra
