#include "Query/RegexLimits.hpp"

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include "Base/PathText.hpp"

namespace dovra {

namespace {

/// The number of texts to measure, shared among a query's expressions.
constexpr std::size_t sampledTexts = 256;

/// Longer paths are left out, because building one could cost more than all others.
constexpr std::size_t longestSampledFolder = 4096;

/// Counted steps, of some 10 ns, for all entries of an index together. A large index takes its time anyway,
/// so each entry has at least the second number.
constexpr std::size_t stepsForAll = 100'000'000;
constexpr std::size_t fewestStepsEach = 500;

/// Uncounted steps that take the time of one counted step.
constexpr std::size_t uncountedPerCounted = 4;

std::vector<std::uint32_t> sampledSteps(const FileIndex& index, const RegexNode& regex, std::size_t texts) {
    const auto entries = index.entriesLocked();
    const std::size_t count = std::min(texts, entries.size());
    std::vector<std::uint32_t> steps;
    for (std::size_t i = 0; i < count; ++i) {
        const FileEntry& entry = entries[i * entries.size() / count];
        const std::string_view name = index.nameLocked(entry);
        if (regex.target != MatchTarget::fullPath) {
            steps.push_back(regex.expression.stepsFor(name));
        } else if (index.directoriesLocked().pathBytes(entry.dirIndex) <= longestSampledFolder) {
            const std::string folder = index.directoriesLocked().path(entry.dirIndex);
            steps.push_back(regex.expression.stepsFor(joinPath(folder, name)));
        }
    }
    return steps;
}

/// The largest limit under which matches of these lengths take at most `average` counted steps on average.
std::uint32_t fittingLimit(std::vector<std::uint32_t> steps, std::size_t average) {
    std::size_t left = average * steps.size();
    if (std::reduce(steps.begin(), steps.end(), std::size_t{0}) <= left * uncountedPerCounted)
        return RegularExpression::mostSteps;
    std::ranges::sort(steps);
    for (std::size_t others = steps.size(); others > 0; --others) {
        const std::size_t next = steps[steps.size() - others];
        if (next * others > left) return static_cast<std::uint32_t>(left / others);
        left -= next;
    }
    return RegularExpression::mostSteps;
}

}  // namespace

RegexLimits::RegexLimits(const FileIndex& index, const QueryTree& tree) {
    std::vector<const RegexNode*> expressions;
    for (NodeIndex node = 0; node <= tree.root(); ++node) {
        if (const auto* regex = std::get_if<RegexNode>(&tree[node])) expressions.push_back(regex);
    }
    const std::size_t entries = std::max<std::size_t>(index.entriesLocked().size(), 1);
    for (const RegexNode* regex : expressions) {
        const std::size_t texts = std::max<std::size_t>(sampledTexts / expressions.size(), 1);
        const std::size_t average = std::max(stepsForAll / entries, fewestStepsEach) / expressions.size();
        const std::uint32_t limit = fittingLimit(sampledSteps(index, *regex, texts), average);
        if (limit < RegularExpression::mostSteps) limits_.emplace(regex, limit);
    }
}

}  // namespace dovra
