#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "Query/Comparison.hpp"

namespace dovra {

/// A comparison of a file's length in bytes. Whether folders have a size is for the caller to say.
struct SizeFilter {
    using Op = Comparison;

    Op op;
    std::uint64_t bytes;

    bool matches(std::uint64_t size) const {
        switch (op) {
            case Op::gt:
                return size > bytes;
            case Op::lt:
                return size < bytes;
            case Op::ge:
                return size >= bytes;
            case Op::le:
                return size <= bytes;
            case Op::eq:
                return size == bytes;
        }
        return false;
    }

    friend bool operator==(const SizeFilter&, const SizeFilter&) = default;
};

/// Reads ">=1.5gb", "<10k", "0": an operator (none means equal), a decimal number, and a unit in powers of
/// 1024 in any case; a fraction of a byte is cut off. Absent when the value is not of that form.
///
/// A number that 64 bits cannot hold becomes the largest one. The answers stay right, because a file is
/// shorter than 2^63 bytes: nothing equals or exceeds either number, and everything is below both.
std::optional<SizeFilter> parseSize(std::string_view value);

}  // namespace dovra
