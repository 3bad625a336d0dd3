#pragma once

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "Support/FewDescriptors.hpp"
#include "Support/InMemory.hpp"
#include "Support/Privileges.hpp"
#include "Support/TemporaryTree.hpp"
#include "Support/TreeScript.hpp"

namespace dovra::test {

/// A test that performs the steps of scripts: words of its own, and the changes on the disk of `perform`. A
/// path is relative to the root. "." is the root. A path with a slash in front is relative to the temporary
/// tree, in which the root lies.
class ScriptedTest : public testing::Test {
protected:
    using Rest = const std::string&;  ///< the part of a step behind its word

    explicit ScriptedTest(const std::string& rootName = {})
        : root_(rootName.empty() ? tree_.path() : tree_.makeFolder(rootName)) {
        // The group keeps its access: a test may change its user, but not its group.
        std::filesystem::permissions(tree_.path(), std::filesystem::perms(0750));
    }

    /// Performs steps separated by semicolons, and ends at the first failure.
    void run(const std::string& script) {
        for (std::size_t at = 0, end = 0; end != std::string::npos && !HasFailure() && !IsSkipped();
             at = end + 2) {
            end = script.find("; ", at);
            const std::string step = script.substr(at, end - at);
            SCOPED_TRACE(testing::Message() << step << " <- " << script);
            take(step);
        }
    }

    void take(const std::string& step) {
        const std::size_t end = std::min(step.find(' '), step.size());
        const std::string word = step.substr(0, end);
        const std::string rest = end == step.size() ? "" : step.substr(end + 1);
        const auto found = words_.find(word);
        if (found != words_.end()) return found->second(rest);
        std::string line = word;
        for (const std::string& place : placesOf(rest))
            line += " " + place;
        EXPECT_TRUE(perform("/", line));
    }

    std::string placeOf(Rest path) const {
        if (path.starts_with('/')) return tree_.path() + path;
        return path == "." ? root_ : joinPath(root_, path);
    }
    std::vector<std::string> placesOf(Rest paths) const {
        std::istringstream words(paths);
        std::vector<std::string> places;
        for (std::string path; words >> path;)
            places.push_back(placeOf(path));
        return places;
    }

    const InMemory inMemory_;
    const TemporaryTree tree_;
    const std::string root_;
    std::optional<OrdinaryUser> user_;
    std::map<std::string, std::function<void(Rest)>, std::less<>> words_ = {
        {"be-ordinary",
         [this](Rest) {
             if (!user_.emplace().isOrdinary()) GTEST_SKIP() << "cannot give up root's rights";
         }},
        {"be-oneself", [this](Rest) { user_.reset(); }},
        {"with-descriptors",  // a number of one digit, a step
         [this](Rest step) {
             const FewDescriptors shortage(step.at(0) - '0');
             take(step.substr(2));
         }},
    };
};

}  // namespace dovra::test
