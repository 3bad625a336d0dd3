#include "Fuzz/FuzzInputs.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>

namespace dovra::fuzz {

namespace {

constexpr std::size_t longestInput = 32 * 1024;

/// Gives each input numbers of its own.
class Random {
public:
    explicit Random(std::size_t seed) : engine_(seed) {}

    /// A number below `bound`, which is at least 1.
    std::size_t below(std::size_t bound) { return engine_() % bound; }

    std::string bytes(std::size_t count) {
        std::string made(count, '\0');
        std::ranges::generate(made, [this] { return static_cast<char>(below(256)); });
        return made;
    }

private:
    std::mt19937_64 engine_;
};

/// Makes one random change: to a bit, a byte or a range, or with a piece of the seeds.
void mutate(std::string& text, const Seeds& seeds, Random& random) {
    const std::string& other = seeds[random.below(seeds.size())];
    const std::size_t at = random.below(text.size() + 1);
    const std::size_t length = random.below(std::min<std::size_t>(text.size() - at, 16) + 1);
    const std::size_t kind = random.below(8);
    if (kind == 0 && at < text.size()) text[at] = static_cast<char>(text[at] ^ (1 << random.below(8)));
    if (kind == 1) text.replace(at, length, random.bytes(random.below(8)));
    if (kind == 2) text.erase(at, length);
    if (kind == 3) text.replace(at, std::string::npos, other, random.below(other.size() + 1));
    if (kind == 4) text.insert(at, text.substr(at, length));
    if (kind > 4) text.insert(at, other);
}

/// The text over and over, up to a random length.
std::string repeated(const std::string& text, Random& random) {
    const std::size_t length = random.below(longestInput);
    std::string made;
    while (!text.empty() && made.size() < length)
        made += text;
    return made;
}

/// Appends the files of the folder, if there is one, in the order of their names.
void addCorpus(const std::filesystem::path& folder, Seeds& seeds) {
    if (!std::filesystem::exists(folder)) return;
    const std::filesystem::directory_iterator entries(folder);
    std::vector<std::filesystem::path> files(begin(entries), end(entries));
    std::ranges::sort(files);
    for (const auto& path : files) {
        std::ifstream file(path, std::ios::binary);
        if (!file) fail("cannot read " + path.string());
        seeds.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
}

/// The word of a dictionary line "word", with \\, \" and \xHH as escapes.
std::string dictionaryWord(const std::string& line) {
    std::string word;
    for (std::size_t i = 1; i + 1 < line.size(); ++i) {
        if (line[i] == '\\' && line[i + 1] == 'x') {
            word += static_cast<char>(std::stoi(line.substr(i + 2, 2), nullptr, 16));
            i += 3;
        } else {
            i += line[i] == '\\' ? 1 : 0;
            word += line[i];
        }
    }
    return word;
}

/// Appends the words of the dictionary, if there is one.
void addDictionary(const std::filesystem::path& path, Seeds& seeds) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with('"')) seeds.push_back(dictionaryWord(line));
    }
}

}  // namespace

void fail(const std::string& message) {
    std::fprintf(stderr, "%s\n", message.c_str());
    std::exit(2);
}

Seeds readSeeds(const std::filesystem::path& corpus, const std::filesystem::path& dictionary) {
    Seeds seeds{""};
    addCorpus(corpus, seeds);
    addDictionary(dictionary, seeds);
    return seeds;
}

std::string makeInput(std::size_t number, const Seeds& seeds) {
    if (number < seeds.size()) return seeds[number];
    Random random(number);
    std::string text =
        random.below(8) == 0 ? random.bytes(random.below(64)) : seeds[random.below(seeds.size())];
    for (std::size_t step = random.below(8) + 1; step > 0; --step)
        mutate(text, seeds, random);
    return random.below(256) == 0 ? repeated(text, random) : text;
}

}  // namespace dovra::fuzz
