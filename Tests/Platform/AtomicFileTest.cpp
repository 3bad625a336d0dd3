#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "Platform/AtomicFile.hpp"
#include "Support/FileFacts.hpp"
#include "Support/FullDisk.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

using test::bytesOf;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::size_t anySize = 1000000;

TEST(ReadWholeFile, TellsMissingFromUnreadable) {
    const test::TemporaryTree tree;
    const FileContents missing = readWholeFile(tree.path("absent"), anySize);
    EXPECT_FALSE(missing.bytes || missing.error);
    const std::string pipe = tree.path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path : {pipe, tree.path(), std::string("/dev/zero"), tree.write("file") + "/x"}) {
        const FileContents contents = readWholeFile(path, anySize);
        EXPECT_FALSE(contents.bytes) << path;
        ASSERT_TRUE(contents.error) << path;
        EXPECT_THAT(contents.error->message, HasSubstr(path));
    }
}

TEST(ReadWholeFile, ReadsUpToItsLimit) {
    const test::TemporaryTree tree;
    const std::string bytes(5000, 'x');
    const std::string path = tree.write("file", bytes);
    EXPECT_EQ(readWholeFile(path, 5000).bytes, bytes);
    EXPECT_EQ(readWholeFile(path, 4999).error.value().code, EFBIG);
    EXPECT_EQ(readWholeFile(tree.write("empty"), 0).bytes, "");
    // Files of the system itself have the size 0, and may hold bytes all the same.
    EXPECT_GT(readWholeFile("/proc/self/status", anySize).bytes.value().size(), 100U);
}

TEST(WriteFileAtomically, ReadersSeeOneContentOrTheOtherWhoeverWrites) {
    const test::TemporaryTree tree;
    const std::string contents[] = {std::string(100'000, 'a'), std::string(200'000, 'b'),
                                    std::string(50'000, 'c')};
    const std::string path = tree.write("file", contents[0]);
    std::filesystem::permissions(path, std::filesystem::perms(0644));
    std::atomic<std::size_t> writing = std::size(contents);
    std::vector<std::jthread> writers;
    for (const std::string& content : contents) {
        writers.emplace_back([&] {
            for (std::size_t i = 0; i < 50; ++i) {
                const auto error = writeFileAtomically(path, content);
                EXPECT_EQ(error ? error->code : EWOULDBLOCK, EWOULDBLOCK) << error->message;
            }
            --writing;
        });
    }
    while (writing > 0)
        EXPECT_THAT(contents, testing::Contains(readWholeFile(path, anySize).bytes.value_or("none")));
    EXPECT_THAT(test::namesIn(tree.path()), ElementsAre("file"));
    EXPECT_FALSE(writeFileAtomically(path, "last"));
    EXPECT_EQ(bytesOf(path), "last");
    EXPECT_EQ(test::modeOf(path), 0600U);
}

TEST(WriteFileAtomically, KeepsALinkToAFileAndReplacesAnyOther) {
    const test::TemporaryTree tree;
    const std::string target = tree.write("elsewhere/file", "old");
    const std::string pipe = tree.path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& each : {target, pipe}) {
        const std::string link = each + " link";
        std::filesystem::create_symlink(each, link);
        EXPECT_FALSE(writeFileAtomically(link, "new"));
        EXPECT_EQ(std::filesystem::is_symlink(link), each == target);
        EXPECT_EQ(bytesOf(link), "new");
    }
    EXPECT_EQ(bytesOf(target), "new");
    EXPECT_TRUE(std::filesystem::is_fifo(pipe));
}

TEST(WriteFileAtomically, LeavesTheOldFileWhenItFails) {
    const test::TemporaryTree tree;
    const std::string path = tree.write("file", "old");
    {
        const test::FullDisk full(100);
        AtomicFile file(path);
        file.write(std::string(101, 'x'));
        file.write("y");  // which would fit
        const auto error = file.commit();
        ASSERT_TRUE(error);
        EXPECT_EQ(error->code, EFBIG);
        EXPECT_THAT(error->message, HasSubstr(path));
    }
    EXPECT_EQ(writeFileAtomically(tree.makeFolder("folder"), "x").value().code, EISDIR);
    EXPECT_EQ(writeFileAtomically(tree.path("absent/file"), "x").value().code, ENOENT);
    { AtomicFile(path).write("dropped"); }
    EXPECT_EQ(bytesOf(path), "old");
    EXPECT_THAT(test::namesIn(tree.path()), ElementsAre("file", "folder"));
}

TEST(AtomicFile, NothingIsLeftOfWritersThatWereKilled) {
    const test::TemporaryTree tree;
    const std::string path = tree.write("file", "old");
    for (int i = 0; i < 3; ++i) {
        const pid_t writer = ::fork();
        if (writer == 0) {
            AtomicFile file(path);
            file.write("more than what comes later");
            ::raise(SIGKILL);
        }
        ASSERT_EQ(::waitpid(writer, nullptr, 0), writer);
        EXPECT_LE(test::namesIn(tree.path()).size(), 2U);
        EXPECT_EQ(bytesOf(path), "old");
    }
    EXPECT_FALSE(writeFileAtomically(path, "new"));
    EXPECT_EQ(bytesOf(path), "new");
    EXPECT_THAT(test::namesIn(tree.path()), ElementsAre("file"));
}

TEST(AtomicFile, WritesIntoNothingThatWasThere) {
    const test::TemporaryTree tree;
    const std::string path = tree.path("file");
    std::string temporary;
    {
        const AtomicFile file(path);
        temporary = tree.path(test::namesIn(tree.path()).at(0));
    }
    const std::string other = tree.write("other", "");
    std::filesystem::create_hard_link(other, temporary);
    EXPECT_FALSE(writeFileAtomically(path, "new"));
    EXPECT_EQ(bytesOf(path), "new");
    std::filesystem::create_symlink(other, temporary);
    EXPECT_EQ(writeFileAtomically(path, "newer").value().code, ELOOP);
    EXPECT_EQ(bytesOf(other), "");
}

}  // namespace
}  // namespace dovra
