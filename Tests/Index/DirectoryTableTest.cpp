#include <gtest/gtest.h>
#include <map>
#include <random>
#include <string>

#include "Base/JoinPath.hpp"
#include "Index/DirectoryTable.hpp"
#include "Index/FileIndex.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

/// A table and what it should say, kept as whole paths.
class ModelledTable {
public:
    explicit ModelledTable(unsigned seed) : random_(seed) {}

    std::string randomPath() {
        std::string path = "/";
        for (std::size_t depth = random_() % 5; depth > 0; --depth)
            path = joinPath(path, randomName());
        return path;
    }
    std::string randomName() { return test::randomText(random_, "abA", 1, 2); }
    DirIndex randomFolder() { return static_cast<DirIndex>(random_() % positions_.size()); }

    void intern(const std::string& path) { note(path, table.intern(path)); }
    void internChild(DirIndex parent, const std::string& name) {
        note(joinPath(table.path(parent), name), table.internChild(parent, name));
    }

    std::optional<DirIndex> expected(const std::string& path) const {
        const auto found = positions_.find(path);
        return found == positions_.end() ? std::nullopt : std::optional(found->second);
    }

    void check() const {
        ASSERT_EQ(table.count(), positions_.size());
        for (const auto& [path, folder] : positions_) {
            ASSERT_EQ(table.path(folder), path);
            ASSERT_EQ(table.find(path), folder) << path;
            const auto parent = table.parent(folder);
            if (!parent) continue;
            ASSERT_LT(*parent, folder);
            ASSERT_EQ(joinPath(table.path(*parent), table.name(folder)), path);
        }
    }

    DirectoryTable table;

private:
    void note(const std::string& path, DirIndex given) {
        const auto next = static_cast<DirIndex>(positions_.size());
        ASSERT_EQ(given, positions_.emplace(path, next).first->second) << path;
    }

    std::mt19937 random_;
    std::map<std::string, DirIndex> positions_;
};

void compareWithModel(unsigned seed) {
    ModelledTable model(seed);
    // Folders come before their parents, and "/" after what lies below it.
    for (int i = 0; i < 300; ++i) {
        model.intern(model.randomPath());
        model.internChild(model.randomFolder(), model.randomName());
        const std::string path = model.randomPath();
        ASSERT_EQ(model.table.find(path), model.expected(path)) << path;
        const DirIndex parent = model.randomFolder();
        const std::string name = model.randomName();
        const std::string child = joinPath(model.table.path(parent), name);
        ASSERT_EQ(model.table.findChild(parent, name), model.expected(child)) << child;
    }
    model.check();
}

TEST(DirectoryTable, AnswersLikeAMapOfWholePaths) {
    for (unsigned seed = 0; seed < 50; ++seed)
        compareWithModel(seed);
}

TEST(DirectoryTable, StartsAnewAfterClear) {
    DirectoryTable table;
    table.internChild(table.intern("/a"), "b");
    table.intern("/c");
    table.clear();
    EXPECT_EQ(table.find("/a"), std::nullopt);
    EXPECT_EQ(table.intern("/a"), 0);
    EXPECT_EQ(table.findChild(0, "b"), std::nullopt);
    EXPECT_EQ(table.roots().size(), 1U);
}

TEST(DirectoryTable, AVeryDeepTreeCostsWhatItsNamesCost) {
    DirectoryTable table;
    DirIndex folder = table.intern("/scan/root");
    constexpr std::size_t levels = 100000;
    std::string path = "/scan/root";
    for (std::size_t i = 0; i < levels; ++i) {
        folder = table.internChild(folder, "d");
        path += "/d";
    }
    EXPECT_LT(table.memoryBytes(), levels * 60);
    EXPECT_EQ(table.path(folder), path);
    EXPECT_EQ(table.find(path), folder);
    EXPECT_EQ(table.intern(path + "/e"), folder + 1);
}

}  // namespace
}  // namespace dovra
