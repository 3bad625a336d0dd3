#pragma once

#include <cstddef>
#include <fmt/format.h>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Base/Utf8.hpp"

namespace dovra {

/// Collects the violations of rules, the first few of each rule in full and fit to be shown on a terminal.
class ViolationList {
public:
    /// Notes a violation of `rule` unless `holds`; the rest describes it, as for `fmt::format`.
    template <typename... Values>
    void require(bool holds, const std::string& rule, fmt::format_string<Values...> detail,
                 Values&&... values) {
        if (holds) return;
        if (++counts_[rule] > shownPerRule) return;
        texts_.push_back(visibleText(rule + ": " + fmt::format(detail, std::forward<Values>(values)...)));
    }

    /// All that was noted, and for each rule how often it was violated beyond that.
    std::vector<std::string> take() {
        for (const auto& [rule, count] : counts_) {
            if (count > shownPerRule)
                texts_.push_back(fmt::format("{}: {} more", rule, count - shownPerRule));
        }
        return std::move(texts_);
    }

private:
    static constexpr std::size_t shownPerRule = 3;

    std::map<std::string, std::size_t> counts_;
    std::vector<std::string> texts_;
};

}  // namespace dovra
