#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Random.hpp"

namespace dovra::benchmarks {

/// Makes up names of files and folders, in the mix of a disk of documents, photos, sources, libraries and
/// caches: words joined in several ways, numbers, dates, hashes, one or two extensions, a few names beyond
/// ASCII. A file's name has 22 bytes on average.
class SyntheticNames {
public:
    explicit SyntheticNames(Random& random);

    /// Both are valid until the next call.
    std::string_view fileName();
    std::string_view folderName();

private:
    using Pattern = void (SyntheticNames::*)();
    struct WeightedPattern {
        std::size_t percent;
        Pattern pattern;
    };
    static const std::vector<WeightedPattern> patterns;

    void joinedWords();
    void camelCase();
    void numbered();
    void withTwoExtensions();
    void title();
    void hash();
    void beyondAscii();
    void hidden();
    void photo();
    void bareWord();

    std::string_view word();
    void addCapitalised(std::string_view word);
    void addExtension();
    void addDigits(std::size_t count);

    Random& random_;
    std::vector<std::string> words_;
    std::string name_;
};

}  // namespace dovra::benchmarks
