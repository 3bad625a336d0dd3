#include <gtest/gtest.h>
#include <plist/plist.h>

#include "Query/TagPropertyList.hpp"

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

// What is made to hurt stands in the corpus of the fuzz target.

}  // namespace
}  // namespace dovra
