#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>

#include "Base/JoinPath.hpp"
#include "Index/DirectoryTable.hpp"
#include "Index/FileIndex.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

/// A table beside a map that says what it should.
class ModelledTable {
public:
    explicit ModelledTable(unsigned seed) : random_(seed) {}

    /// Interns and looks up at random. Folders come before their parents, and "/" after what lies below it.
    void step() {
        const std::string path = randomPath();
        note(path, table_.intern(path));
        const auto [parent, name] = randomChild();
        note(joinPath(table_.path(parent), name), table_.internChild(parent, name));
        const std::string other = randomPath();
        ASSERT_EQ(table_.find(other), expected(other)) << other;
        const auto [folder, child] = randomChild();
        ASSERT_EQ(table_.findChild(folder, child), expected(joinPath(table_.path(folder), child))) << child;
    }

    void check() const {
        ASSERT_EQ(table_.count(), positions_.size());
        for (const auto& [path, folder] : positions_) {
            ASSERT_EQ(table_.path(folder), path);
            ASSERT_EQ(table_.find(path), folder) << path;
            const auto parent = table_.parent(folder);
            if (!parent) continue;
            ASSERT_LT(*parent, folder);
            ASSERT_EQ(joinPath(table_.path(*parent), table_.name(folder)), path);
        }
    }

private:
    std::string randomName() { return test::randomText(random_, "abA", 1, 2); }
    std::string randomPath() {
        std::string path = "/";
        for (std::size_t depth = random_() % 5; depth > 0; --depth)
            path = joinPath(path, randomName());
        return path;
    }
    std::pair<DirIndex, std::string> randomChild() {
        return {static_cast<DirIndex>(random_() % positions_.size()), randomName()};
    }

    void note(const std::string& path, DirIndex given) {
        const auto next = static_cast<DirIndex>(positions_.size());
        ASSERT_EQ(given, positions_.emplace(path, next).first->second) << path;
    }
    std::optional<DirIndex> expected(const std::string& path) const {
        const auto found = positions_.find(path);
        return found == positions_.end() ? std::nullopt : std::optional(found->second);
    }

    std::mt19937 random_;
    DirectoryTable table_;
    std::map<std::string, DirIndex> positions_;
};

TEST(DirectoryTable, AnswersLikeAMapOfWholePaths) {
    for (unsigned seed = 0; seed < 50; ++seed) {
        ModelledTable model(seed);
        for (int i = 0; i < 300; ++i)
            model.step();
        model.check();
    }
}

}  // namespace
}  // namespace dovra
