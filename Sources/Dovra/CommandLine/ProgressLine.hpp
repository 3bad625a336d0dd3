#pragma once

#include <functional>
#include <optional>
#include <string>

#include "Base/PeriodicCall.hpp"

namespace dovra {

/// One line on standard error that is rewritten in place while it lives, and gone afterwards; nothing where
/// that is not a terminal. Nobody else writes there meanwhile.
class ProgressLine {
public:
    /// `text` is called several times a second on a thread of this object's.
    explicit ProgressLine(std::function<std::string()> text);
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

private:
    std::optional<PeriodicCall> rewriting_;
};

}  // namespace dovra
