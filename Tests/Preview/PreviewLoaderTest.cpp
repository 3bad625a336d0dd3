#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>

#include "Platform/RegularFile.hpp"
#include "Preview/PreviewLoader.hpp"
#include "Preview/TextHead.hpp"
#include "Support/Privileges.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

using namespace std::chrono_literals;

/// Loads previews with a shell script for a decoder, or with the real one.
class PreviewLoading : public testing::Test {
protected:
    Preview load(const std::string& path, const std::string& script = "exit 1") const {
        const std::string decoder = tree_.write("decoder", "#!/bin/sh\n" + script + "\n");
        std::filesystem::permissions(decoder, std::filesystem::perms::owner_all);
        return loadWith(decoder, path, script.ends_with("sleep 1000") ? 2s : 60s);
    }
    Preview loadWith(const std::string& decoder, const std::string& path,
                     std::chrono::milliseconds patience = 60s) const {
        return PreviewLoader(decoder, ThumbnailCache(tree_.path("thumbnails")), patience).load(path, 16, {});
    }

    const test::TemporaryTree tree_;
    const std::string binary_ = tree_.write("binary", std::string(100, '\0'));
};

TEST_F(PreviewLoading, WhateverTheDecoderDoesCostsNoMoreThanThePicture) {
    const std::string fact = R"(echo '{"width":0,"height":0,"facts":[["Kind","JPEG"]]}'; )";
    const std::string picture =
        R"(echo '{"width":2,"height":1,"facts":[["Kind","PNG"]]}'; printf 12345678; )";
    const std::tuple<std::string, std::string, std::string, std::string> cases[] = {
        {picture, "12345678", "PNG", ""},
        {fact + picture + "sleep 1000", "12345678", "PNG", ""},
        {fact + "sleep 1000", "", "JPEG", "drawing it takes too long"},
        {fact + "kill -SEGV $$", "", "JPEG", "the decoder crashed on it (signal 11)"},
        {fact, "", "JPEG", ""},
        {"printf 'library noise\nit is\\033[31m broken\n' >&2; exit 1", "", "", R"(it is\x1B[31m broken)"},
        {"exit 1", "", "", "it cannot be decoded"},
        {"yes", "", "", "the decoder gave no sense"},
        {R"(echo '{"width":16,"height":1,"facts":[["Kind","PNG"]]}'; printf short)", "", "",
         "it cannot be decoded"},
    };
    for (const auto& [script, pixels, kind, reason] : cases) {
        const Preview preview = load(binary_, script);
        EXPECT_EQ(preview.picture ? preview.picture->pixels : "", pixels) << script;
        EXPECT_EQ(preview.facts.empty() ? "" : preview.facts[0].value, kind) << script;
        EXPECT_EQ(preview.reason, reason) << script;
    }
    EXPECT_EQ(loadWith("/missing", binary_).reason, "cannot start /missing: No such file or directory");
}

TEST_F(PreviewLoading, SaysWhyAFileCannotBeRead) {
    std::filesystem::create_symlink("nowhere", tree_.path("link"));
    const std::string closed = tree_.write("closed", "secret");
    std::filesystem::permissions(closed, {});
    const auto reasonOf = [&](const std::string& path) { return loadWith("/missing", path).reason; };
    EXPECT_EQ(reasonOf("/dev/zero"), "it is a device, a pipe or a socket");
    EXPECT_EQ(reasonOf(tree_.path("gone")), "it is not there any more");
    EXPECT_EQ(reasonOf(tree_.path("link")), "the link leads nowhere");
    EXPECT_EQ(reasonOf(tree_.path()), "it is a folder");
    const test::OrdinaryUser user;
    if (!user.isOrdinary()) GTEST_SKIP() << "cannot give up the rights of root";
    EXPECT_EQ(reasonOf(closed), "you may not read it");
}

TEST_F(PreviewLoading, ReadsTheHeadOfTextItself) {
    std::string wide = "x";
    while (wide.size() < 2 * textHeadBytes)
        wide += "é";
    const std::pair<std::string, std::string> texts[] = {
        {"", ""},
        {"caf\xE9\n", "caf\xEF\xBF\xBD\n"},
        {"half \xC3", "half \xEF\xBF\xBD"},
        {wide, wide.substr(0, textHeadBytes - 1)},
        {"\x1b[1mlog\x1b[0m", "\x1b[1mlog\x1b[0m"},
    };
    for (const auto& [bytes, shown] : texts)
        EXPECT_EQ(load(tree_.write("text", bytes)).text, shown);
    std::filesystem::resize_file(tree_.write("large", wide), std::uintmax_t{10} << 30);
    EXPECT_EQ(load(tree_.path("large")).text, wide.substr(0, textHeadBytes - 1));
    for (const std::string& bytes :
         {std::string("a\0b", 3), std::string("\x01\x02words"), std::string("%PDF-1.7 broken")})
        EXPECT_EQ(load(tree_.write("data", bytes)).text, std::nullopt);
    // What is drawn when that is possible.
    const std::string drawing = "<?xml version='1.0'?><svg/>";
    EXPECT_EQ(load(tree_.write("drawing", drawing), "echo it is broken >&2; exit 1").text, drawing);
}

TEST_F(PreviewLoading, TakesTheThumbnailOfTheUnchangedFileWhenThereIsNoPicture) {
    EXPECT_EQ(ThumbnailCache("/cache").placesOf("/a;b (1)[é]~\\")[3],
              "/cache/normal/c113d7a49cbc503a0e540772144e9dc1.png");
    const std::string file = tree_.write("film", std::string(10, '\0'));
    const auto places = ThumbnailCache(tree_.path("thumbnails")).placesOf(file);
    std::filesystem::create_directories(std::filesystem::path(places[1]).parent_path());
    std::filesystem::rename(tree_.write("made", "1234"), places[1]);
    const auto made = RegularFile::open(file).value().modified();
    // As the real one does, it takes a thumbnail of that time only, and knows nothing but facts of the file.
    const std::string header = R"('{"width":%d,"height":%d,"facts":[["Kind","Film"]]}\n')";
    const auto script = [&](std::int64_t time) {
        return "[ -z \"$2\" ] && printf " + header + " 0 0 && exit; [ \"$2\" = " + std::to_string(time) +
               " ] && printf " + header + " 1 1 && cat";
    };
    const Preview preview = load(file, script(made));
    ASSERT_TRUE(preview.picture);
    EXPECT_EQ(preview.picture->pixels, "1234");
    EXPECT_EQ(preview.facts.at(0).value, "Film");
    EXPECT_FALSE(load(file, script(made - 1)).picture);
}

#ifdef DOVRA_PREVIEW_DECODER
TEST_F(PreviewLoading, TheRealDecoderDrawsFromTheFileItIsGiven) {
    const std::string image = "P6 32 16 255\n" + std::string(std::size_t{32} * 16 * 3, '\0');
    const Preview preview = loadWith(DOVRA_PREVIEW_DECODER, tree_.write("no-extension", image));
    ASSERT_TRUE(preview.picture) << preview.reason;
    EXPECT_EQ(std::tuple(preview.picture->width, preview.picture->height), std::tuple(16, 8));
    EXPECT_EQ(preview.picture->pixels.substr(0, 4), std::string("\0\0\0\xFF", 4));
    EXPECT_EQ(loadWith(DOVRA_PREVIEW_DECODER, binary_).reason, "its kind is not known");
}
#endif

}  // namespace
}  // namespace dovra
