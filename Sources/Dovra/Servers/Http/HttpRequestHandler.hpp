#pragma once

#include <functional>
#include <stop_token>
#include <vector>

#include "Analysis/FolderUsage.hpp"
#include "Servers/Http/HttpMessage.hpp"
#include "Servers/Http/PageContext.hpp"
#include "Servers/Http/RecentSearches.hpp"
#include "Services/IndexService.hpp"
#include "Stores/SavedSearchStore.hpp"

namespace dovra {

/// The pages and their JSON forms: routes a request and answers it from the index. Any thread, several
/// requests at once.
class HttpRequestHandler {
public:
    struct Options {
        bool allowsDownload = false;
        /// The user's named queries; called for each start page.
        std::function<std::vector<SavedSearch>()> savedSearches = [] { return std::vector<SavedSearch>(); };
    };

    /// `service` outlives this object.
    HttpRequestHandler(const IndexService& service, Options options);

    /// Whether the request may take long, because it reads files (`content:`, duplicates) or its query is
    /// very long. The server bounds how many of these run at once.
    bool isSlow(const HttpRequest& request) const;

    /// Answers from the index as it is. Ends early when `stop` is requested because the client is gone; the
    /// answer is then worth nothing.
    HttpResponse handle(const HttpRequest& request, const std::stop_token& stop) const;

private:
    PageContext makeContext(const std::stop_token& stop) const;
    HttpResponse answerSearch(const HttpRequest& request, const std::stop_token& stop) const;
    HttpResponse answerUsage(const HttpRequest& request, const std::stop_token& stop) const;
    /// The file, opened so that no link leads out of the root; absent when the index has none there.
    std::optional<HttpFile> heldFile(const std::string& path) const;
    HttpResponse answerDownload(const HttpRequest& request) const;

    const IndexService& service_;
    Options options_;
    FolderUsage usage_;
    mutable RecentSearches recent_;
};

}  // namespace dovra
