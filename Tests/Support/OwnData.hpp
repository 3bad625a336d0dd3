#pragma once

#include <cstdlib>
#include <string>

#include "Index/IndexCache.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra::test {

/// During its life, the program keeps its files in a temporary folder.
class OwnData : public TemporaryTree {
public:
    OwnData() { ::setenv("XDG_DATA_HOME", path().c_str(), 1); }
    ~OwnData() { ::unsetenv("XDG_DATA_HOME"); }
    OwnData(const OwnData&) = delete;
    OwnData& operator=(const OwnData&) = delete;

    std::string cachePath(const std::string& root) const { return path("Dovra/" + cacheFileName(root)); }
};

}  // namespace dovra::test
