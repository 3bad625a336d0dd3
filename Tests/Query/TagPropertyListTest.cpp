#include <gmock/gmock.h>
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

/// A document of one-byte offsets and references: the objects, then where each begins, then the trailer.
std::string handMade(const std::vector<std::string>& objects) {
    std::string document = "bplist00";
    std::string offsets;
    for (const std::string& object : objects) {
        offsets += static_cast<char>(document.size());
        document += object;
    }
    const auto table = static_cast<char>(document.size());
    document += offsets + std::string(6, '\0') + "\x01\x01" + std::string(7, '\0');
    document += static_cast<char>(objects.size());
    return document + std::string(15, '\0') + table;
}

TEST(TagPropertyList, SurvivesDocumentsMadeToHurt) {
    using std::string_literals::operator""s;
    EXPECT_EQ(decodeTagPropertyList(handMade({"\xA1\x01", "\x51x"})), Strings({"x"}));
    EXPECT_EQ(decodeTagPropertyList(handMade({"\xA1\x01", "\x61\xD8\x3D"})), Strings({"\uFFFD"}));
    EXPECT_EQ(decodeTagPropertyList(handMade({"\xA1\x01", "\x51\xFF"})), Strings({"\uFFFD"}));
    const Strings hurting[] = {
        {"\xA1\0"s},                                                // holds itself
        {"\xA1\x07", "\x51x"},                                      // refers to nothing
        {"\xA1\x01", "\xA1\0"s},                                    // a cycle
        {"\xAF\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01", "\x51x"},  // more elements than bytes
        {"\xA1\x01", "\x6F\x13\x80\0\0\0\0\0\0\0"s},                // twice the length overflows
        {"\xAF\x14", "\x51x"},                                      // a count of sixteen bytes
        {"\xAF\x10\x20" + std::string(32, '\x01'), "\x5F\x10\x20" + std::string(32, 'x')},  // multiplied
    };
    for (const Strings& objects : hurting)
        EXPECT_EQ(decodeTagPropertyList(handMade(objects)), Strings());
}

}  // namespace
}  // namespace dovra
