#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Servers/Http/HttpMessage.hpp"

namespace dovra {

/// Reads the parameters of one request, and keeps the first fault in them for the answer.
class ParameterReader {
public:
    explicit ParameterReader(const HttpParameters& parameters) : parameters_(parameters) {}

    /// Empty when it is not given.
    std::string text(std::string_view name) const;

    /// Whether it is given, and not as "0" or "false".
    bool flag(std::string_view name, bool usual = false) const;

    struct Range {
        std::int64_t usual;  ///< when it is not given, or empty
        std::int64_t least;
        std::int64_t most;
    };

    /// A number outside the range is a fault.
    std::int64_t number(std::string_view name, Range range);

    void noteFault(std::string message) {
        if (!fault_) fault_ = std::move(message);
    }
    const std::optional<std::string>& fault() const { return fault_; }

private:
    const HttpParameters& parameters_;
    std::optional<std::string> fault_;
};

}  // namespace dovra
