#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Analysis/FolderUsage.hpp"
#include "Servers/Http/HttpMessage.hpp"
#include "Servers/Http/PageContext.hpp"

namespace dovra {

/// The parameters of the disk-usage page.
struct UsageParameters {
    static constexpr std::int64_t usualCount = 200;
    static constexpr std::int64_t mostRows = 1000;

    std::string path;  ///< of the folder; empty for the whole index
    /// All folders below it, largest first, instead of those right in it.
    bool isRecursive = false;
    std::int64_t offset = 0;
    std::int64_t count = usualCount;
    bool wantsJson = false;
    std::optional<std::string> fault = {};  ///< what in the request has no meaning

    static UsageParameters read(const HttpParameters& parameters);

    std::string link() const;
};

/// The data of the disk-usage page and of its JSON form.
struct UsagePage {
    UsageParameters parameters;
    IndexState index;
    std::optional<DirUsage> folder = {};  ///< absent when there is no such folder in the index
    std::vector<DirUsage> rows = {};      ///< largest first
    bool hasMore = false;                 ///< behind these rows
    std::vector<UsageTree> largest = {};  ///< the folders right in it and those in them, for a picture
    std::uint64_t ownBytes = 0;           ///< of the files right in the folder
};

UsagePage makeUsagePage(const PageContext& context, UsageParameters parameters);

}  // namespace dovra
