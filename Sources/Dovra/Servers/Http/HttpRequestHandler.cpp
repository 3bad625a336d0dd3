#include "Servers/Http/HttpRequestHandler.hpp"

#include <algorithm>
#include <chrono>
#include <fmt/format.h>
#include <utility>

#include "Base/PathText.hpp"
#include "Base/UrlText.hpp"
#include "Base/Utf8.hpp"
#include "Servers/Http/EmbeddedFile.hpp"
#include "Servers/Http/HttpError.hpp"
#include "Servers/Http/PageJson.hpp"
#include "Servers/Http/PageTemplate.hpp"
#include "Servers/Http/PageViews.hpp"
#include "Servers/Http/ParameterReader.hpp"

namespace dovra {

namespace {

constexpr std::string_view assetsPath = "/assets/";

struct Status {
    int code;
    std::string_view text;
};
constexpr Status ok{200, "OK"};
constexpr Status badRequest{400, "Bad Request"};
constexpr Status notFound{404, "Not Found"};

HttpResponse response(Status status, std::string contentType, std::string body) {
    HttpResponse made;
    made.status = status.code;
    made.statusText = status.text;
    made.contentType = std::move(contentType);
    made.body = std::move(body);
    return made;
}

HttpResponse htmlResponse(Status status, std::string_view page, const JSONObject& view) {
    return response(status, "text/html; charset=utf-8", renderPage(page, view));
}

HttpResponse jsonResponse(JSONObject document) {
    return response(ok, "application/json", JSONValue(std::move(document)).serializedString() + "\n");
}

/// The answer to a faulty request, as JSON or as a page.
HttpResponse faultResponse(const HttpRequest& request, Status status, const std::string& message) {
    if (ParameterReader(request.query).flag("json"))
        return errorResponse(request, status.code, std::string(status.text), message);
    return htmlResponse(status, "message", messageView(status.text, message));
}

HttpResponse answerAsset(const HttpRequest& request) {
    const std::string_view path = std::string_view(request.path).substr(assetsPath.size());
    const std::size_t slash = path.find('/');
    const EmbeddedFile* file =
        slash == std::string_view::npos ? nullptr : findEmbeddedFile(path.substr(slash + 1));
    if (file == nullptr || file->hash != path.substr(0, slash) || file->name.ends_with(".mustache"))
        return faultResponse(request, notFound, "There is no such page.");
    const std::string_view type = file->name.ends_with(".css")  ? "text/css; charset=utf-8"
                                  : file->name.ends_with(".js") ? "text/javascript; charset=utf-8"
                                                                : "image/svg+xml";
    HttpResponse asset = response(ok, std::string(type), std::string(file->text));
    asset.extraHeaders["Cache-Control"] = "public, max-age=31536000, immutable";
    return asset;
}

HttpResponse answerIcon() {
    return response(ok, "image/svg+xml", std::string(findEmbeddedFile("icon.svg")->text));
}

/// Whether the index holds a file (not a folder or a link) at the absolute path.
bool holdsFile(const FileIndex& index, const std::string& path) {
    const std::string_view name = std::string_view(path).substr(path.rfind('/') + 1);
    const ReadGuard guard(index.rwlock);
    const auto folder = index.directoriesLocked().find(parentPath(path));
    if (!folder || !index.entriesByDirLocked().contains(*folder)) return false;
    bool isHeld = false;
    index.entriesByDirLocked().forEach(*folder, [&](EntryId id) {
        const FileEntry& entry = index.entriesLocked()[static_cast<std::size_t>(id)];
        const bool isFile = !entry.isTombstone() && !entry.isFolder() && !entry.isSymbolicLink();
        isHeld = isHeld || (isFile && index.nameLocked(entry) == name);
    });
    return isHeld;
}

/// Makes the browser save the file under its name: in plain ASCII for old browsers, unchanged for others.
std::string contentDisposition(std::string_view path) {
    const std::string_view name = path.substr(path.rfind('/') + 1);
    std::string plain(name);
    std::ranges::replace_if(
        plain, [](char c) { return c < ' ' || c > '~' || c == '"' || c == '\\' || c == '%'; }, '_');
    return fmt::format("attachment; filename=\"{}\"; filename*=UTF-8''{}", plain,
                       percentEncoded(repairUtf8(name)));
}

}  // namespace

HttpRequestHandler::HttpRequestHandler(const IndexService& service, Options options)
    : service_(service), options_(std::move(options)), usage_(service.index()) {}

bool HttpRequestHandler::isSlow(const HttpRequest& request) const {
    return request.path == "/" && readsFiles(SearchParameters::read(request.query));
}

PageContext HttpRequestHandler::makeContext(const std::stop_token& stop) const {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return {.index = service_.index(),
            .usage = usage_,
            .state = {.isIndexing = !service_.status().isReady,
                      .items = service_.index().itemCount(),
                      .root = service_.root()},
            .now = std::chrono::duration<double>(sinceEpoch).count(),
            .allowsDownload = options_.allowsDownload,
            .stop = stop};
}

HttpResponse HttpRequestHandler::answerSearch(const HttpRequest& request, const std::stop_token& stop) const {
    const PageContext context = makeContext(stop);
    const SearchPage page = makeSearchPage(context, SearchParameters::read(request.query));
    const auto& fault = page.parameters.fault;
    if (page.parameters.wantsJson)
        return fault ? faultResponse(request, badRequest, *fault) : jsonResponse(searchJSON(page));
    const auto saved = page.parameters.isEmpty() ? options_.savedSearches() : std::vector<SavedSearch>();
    return htmlResponse(fault ? badRequest : ok, "search", searchView(context, page, saved));
}

HttpResponse HttpRequestHandler::answerUsage(const HttpRequest& request, const std::stop_token& stop) const {
    const PageContext context = makeContext(stop);
    const UsagePage page = makeUsagePage(context, UsageParameters::read(request.query));
    if (page.parameters.fault) return faultResponse(request, badRequest, *page.parameters.fault);
    if (!page.folder && !page.parameters.path.empty()) {
        return faultResponse(request, notFound,
                             fmt::format("\"{}\" is no folder in the index, which holds what lies below {}.",
                                         page.parameters.path, context.state.root));
    }
    if (page.parameters.wantsJson) return jsonResponse(usageJSON(page));
    return htmlResponse(ok, "usage", usageView(page));
}

std::optional<HttpFile> HttpRequestHandler::heldFile(const std::string& path) const {
    const std::string& root = service_.root();
    if (!isAtOrBelow(path, root) || !holdsFile(service_.index(), path)) return std::nullopt;
    return RegularFile::openBelow(root, path.substr(root == "/" ? 1 : root.size() + 1));
}

HttpResponse HttpRequestHandler::answerDownload(const HttpRequest& request) const {
    if (!options_.allowsDownload) {
        return errorResponse(
            request, 403, "Forbidden",
            "File download is disabled. Start the server with --allow-download to enable it.");
    }
    const std::string path = ParameterReader(request.query).text("path");
    auto file = heldFile(path);
    if (!file) return faultResponse(request, notFound, fmt::format("\"{}\" is no file in the index.", path));
    HttpResponse download = response(ok, "application/octet-stream", {});
    download.extraHeaders["Content-Disposition"] = contentDisposition(path);
    download.file = std::move(file);
    return download;
}

HttpResponse HttpRequestHandler::handle(const HttpRequest& request, const std::stop_token& stop) const {
    if (request.method != "GET" && request.method != "HEAD") {
        HttpResponse refusal = errorResponse(request, 405, "Method Not Allowed", "Method Not Allowed");
        refusal.extraHeaders["Allow"] = "GET, HEAD";
        return refusal;
    }
    if (request.path == "/") return answerSearch(request, stop);
    if (request.path == "/du") return answerUsage(request, stop);
    if (request.path == "/download") return answerDownload(request);
    if (request.path == "/favicon.ico") return answerIcon();
    if (request.path.starts_with(assetsPath)) return answerAsset(request);
    return faultResponse(request, notFound, "There is no such page.");
}

}  // namespace dovra
