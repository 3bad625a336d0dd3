#include "Fuzz/FuzzInputs.hpp"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <string_view>

namespace dovra::fuzz {

namespace {

constexpr std::size_t longestInput = 32 * 1024;

/// SplitMix64 (Steele, Lea, Flood: "Fast Splittable Pseudorandom Number Generators", 2014): good from any
/// seed, so that each input can have a generator of its own.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    /// A number below `bound`, which is at least 1.
    std::size_t below(std::size_t bound) {
        state_ += 0x9E3779B97F4A7C15;
        std::uint64_t z = state_;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
        return (z ^ (z >> 31)) % bound;
    }

    std::string bytes(std::size_t count) {
        std::string made(count, '\0');
        std::ranges::generate(made, [this] { return static_cast<char>(below(256)); });
        return made;
    }

private:
    std::uint64_t state_;
};

/// Makes one random change: to a bit, a byte or a range, or with a piece of the seeds.
void mutate(std::string& text, const Seeds& seeds, Random& random) {
    const std::string& other = seeds[random.below(seeds.size())];
    const std::size_t at = random.below(text.size() + 1);
    const std::size_t length = random.below(std::min<std::size_t>(text.size() - at, 16) + 1);
    switch (random.below(8)) {
        case 0:
            if (at < text.size()) text[at] = static_cast<char>(text[at] ^ (1 << random.below(8)));
            break;
        case 1:
            text.replace(at, length, random.bytes(length));
            break;
        case 2:
            text.insert(at, random.bytes(1 + random.below(8)));
            break;
        case 3:
            text.erase(at, length);
            break;
        case 4:
        case 5:
            text.insert(at, other);
            break;
        case 6:
            text.replace(at, std::string::npos, other, random.below(other.size() + 1), std::string::npos);
            break;
        default:
            text.insert(at, text.substr(at, length));
            break;
    }
}

/// The text over and over, up to a random length.
std::string repeated(const std::string& text, Random& random) {
    const std::size_t length = random.below(longestInput);
    std::string made;
    while (!text.empty() && made.size() < length)
        made += text;
    return made;
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) fail("cannot read " + path.string());
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Appends the files of the folder, if there is one, in the order of their names.
void addCorpus(const std::filesystem::path& folder, Seeds& seeds) {
    if (!std::filesystem::exists(folder)) return;
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        files.push_back(entry.path());
    std::ranges::sort(files);
    for (const auto& file : files)
        seeds.push_back(readFile(file));
}

/// The word of a dictionary line in libFuzzer's form: [name=]"word", with \\, \" and \xHH as escapes; absent
/// when the line is not of that form.
std::optional<std::string> dictionaryWord(std::string_view line) {
    const std::size_t open = line.find('"');
    const std::size_t close = line.rfind('"');
    if (close == std::string_view::npos || close == open) return std::nullopt;
    std::string_view rest = line.substr(open + 1, close - open - 1);
    std::string word;
    while (!rest.empty()) {
        const std::string_view escape = rest.substr(0, 2);
        unsigned byte = static_cast<std::uint8_t>(rest.front());
        std::size_t length = 1;
        if (escape == "\\\\" || escape == "\\\"") {
            byte = static_cast<std::uint8_t>(rest[1]);
            length = 2;
        } else if (rest.front() == '\\') {
            length = 4;
            if (escape != "\\x" || rest.size() < length) return std::nullopt;
            const char* digits = rest.data() + 2;
            if (std::from_chars(digits, digits + 2, byte, 16).ptr != digits + 2) return std::nullopt;
        }
        word += static_cast<char>(byte);
        rest.remove_prefix(length);
    }
    return word;
}

/// Appends the words of the dictionary, if there is one.
void addDictionary(const std::filesystem::path& path, Seeds& seeds) {
    if (!std::filesystem::exists(path)) return;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line.front() == '#') continue;
        const auto word = dictionaryWord(line);
        if (!word) fail(path.string() + ": not a dictionary line: " + line);
        seeds.push_back(*word);
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
