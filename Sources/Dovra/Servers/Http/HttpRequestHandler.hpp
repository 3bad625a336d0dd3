#pragma once

#include <functional>
#include <stop_token>
#include <vector>

#include "Analysis/FolderUsage.hpp"
#include "Servers/Http/HttpMessage.hpp"
#include "Servers/Http/PageContext.hpp"
#include "Services/IndexService.hpp"
#include "Stores/SavedSearchTable.hpp"

namespace dovra {

/// The pages and their JSON forms: routes a request and answers it from the index. Any thread, several
/// requests at once.
class HttpRequestHandler {
public:
    struct Options {
        bool allowsDownload = false;
        /// The user's named queries, asked for each start page.
        std::function<std::vector<SavedSearch>()> savedSearches = [] { return std::vector<SavedSearch>(); };
        /// The file at a path below the root, opened so that no link leads out; absent when it is no regular
        /// one or may not be read.
        std::function<std::optional<HttpFile>(const std::string& root, const std::string& path)> openFile =
            [](const std::string&, const std::string&) { return std::nullopt; };
    };

    /// `service` outlives this object.
    HttpRequestHandler(IndexService& service, Options options);

    /// Whether the request may take long, because files are read for it (`content:`, duplicates): whoever
    /// serves bounds how many of these run at once.
    bool isSlow(const HttpRequest& request) const;

    /// Answers from what is indexed by now; once the index is whole, with every change that was made before
    /// the call. Ends early when `stop` is requested because the client is gone: the answer is worth nothing
    /// then.
    HttpResponse handle(const HttpRequest& request, const std::stop_token& stop) const;

private:
    PageContext makeContext(const std::stop_token& stop) const;
    HttpResponse answerSearch(const HttpRequest& request, const std::stop_token& stop) const;
    HttpResponse answerUsage(const HttpRequest& request, const std::stop_token& stop) const;
    HttpResponse answerDownload(const HttpRequest& request, const std::stop_token& stop) const;

    IndexService& service_;
    Options options_;
    FolderUsage usage_;
};

}  // namespace dovra
