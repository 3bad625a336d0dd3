#pragma once

#include <string_view>

#include "Analysis/Hashing.hpp"

namespace dovra::test {

inline Digest digestOf(std::string_view bytes) {
    Sha256 hash;
    hash.update(bytes);
    return hash.finish();
}

}  // namespace dovra::test
