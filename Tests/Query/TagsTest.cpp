#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <plist/plist.h>

#include "Query/Tags.hpp"
#include "Support/ExtendedAttribute.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

using Strings = std::vector<std::string>;

/// The document as the library writes it.
template <typename Write>
std::string written(plist_t node, const Write& write) {
    char* bytes = nullptr;
    std::uint32_t length = 0;
    write(node, &bytes, &length);
    std::string document(bytes, length);
    plist_to_bin_free(bytes);
    return document;
}

/// Frees the list.
void expectTags(plist_t node, const Strings& expected) {
    EXPECT_EQ(decodeTagPropertyList(written(node, plist_to_bin)), expected);
    EXPECT_EQ(decodeTagPropertyList(written(node, plist_to_xml)), expected);
    plist_free(node);
}

plist_t arrayOf(const Strings& strings) {
    plist_t array = plist_new_array();
    for (const std::string& text : strings)
        plist_array_append_item(array, plist_new_string(text.c_str()));
    return array;
}

TEST(TagPropertyList, ReadsWhatTheLibraryWrites) {
    Strings many(400);
    for (std::size_t i = 0; i < many.size(); ++i)
        many[i] = "tag " + std::to_string(i);
    const Strings cases[] = {{},
                             many,
                             {"Red\n6"},
                             {"", "a", "fourteen bytes", "fifteen bytes!!", std::string(300, 'x')},
                             {"Wichtig", "Ärger", "日本語", "🎈 party", "é", "<&>\"'"},
                             {"twice", "twice"}};
    for (const Strings& strings : cases)
        expectTags(arrayOf(strings), strings);
}

TEST(TagPropertyList, IsEmptyForOtherShapes) {
    plist_t nested = plist_new_array();
    plist_array_append_item(nested, arrayOf({"inner"}));
    plist_t mixed = arrayOf({"text"});
    plist_array_append_item(mixed, plist_new_uint(7));
    plist_t dictionary = plist_new_dict();
    plist_dict_set_item(dictionary, "key", plist_new_string("value"));
    for (plist_t root : {nested, mixed, dictionary, plist_new_string("text")})
        expectTags(root, {});
    for (const char* document : {"", "bplist00", "<array", "<plist><array><string>a</plist>", "no list"})
        EXPECT_EQ(decodeTagPropertyList(document), Strings()) << document;
    EXPECT_EQ(decodeTagPropertyList("<plist><array>" + std::string(70000, ' ') + "</array></plist>"),
              Strings());
}

// Hostile documents are in the corpus of the fuzz target.

constexpr const char* tagAttribute = "user.com.apple.metadata:_kMDItemUserTags";

/// A file whose extended attributes the tests set.
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
