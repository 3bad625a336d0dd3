#include <deque>
#include <filesystem>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <set>

#include "Base/Utf8.hpp"
#include "Index/Crawl.hpp"
#include "Servers/Http/HttpRequestHandler.hpp"
#include "Servers/Http/HttpRequestHead.hpp"
#include "Support/ToolCaller.hpp"

namespace dovra {
namespace {

using test::at;
using testing::HasSubstr;
using testing::Not;

std::string asJson(const std::string& target) {
    return target + (target.find('?') == std::string::npos ? "?json=1" : "&json=1");
}

/// A folder tree with an index that was made by a scan, and its pages.
class Site : public testing::Test, public IndexService {
protected:
    void scan(HttpRequestHandler::Options options = {}) {
        index_.reset();
        crawl(index_, {root()}, {});
        handler_.emplace(*this, std::move(options));
    }

    HttpResponse get(const std::string& target, const std::string& method = "GET") const {
        const std::size_t mark = std::min(target.find('?'), target.size());
        const std::string query = mark < target.size() ? target.substr(mark + 1) : "";
        return handler_->handle({method, *percentDecoded(target.substr(0, mark)), parseQueryString(query)},
                                {});
    }
    JSONValue json(const std::string& target) const { return *JSONValue::parse(get(asJson(target)).body); }
    /// The names of the results, with blanks between them.
    std::string found(const std::string& parameters) const {
        std::string names;
        const JSONValue list = at(json("/?" + parameters), "results/*/name");
        for (const JSONValue& name : *list.array())
            names += (names.empty() ? "" : " ") + *name.string();
        return names;
    }

    void start(std::function<void()>) override {}
    bool waitUntilReady(std::chrono::milliseconds) override { return status_.isReady; }
    bool flush(std::chrono::milliseconds) override { return true; }
    const FileIndex& index() const override { return index_; }
    const std::string& root() const override { return tree_.path(); }
    IndexStatus status() const override { return status_; }

    test::TemporaryTree tree_;
    FileIndex index_;
    IndexStatus status_{.isReady = true};
    std::optional<HttpRequestHandler> handler_;
};

TEST_F(Site, SearchesAsTheParametersSay) {
    tree_.write("a/Report.txt", "0123456789");
    tree_.write("a/report-2.md", "0123456789");
    tree_.write("b/reports.txt", "something longer");
    tree_.makeFolder("b/reporting");
    scan();
    struct Case {
        const char* parameters;
        const char* found;
    };
    for (const auto& [parameters, expected] : std::initializer_list<Case>{
             {"search=report+file%3A", "report-2.md Report.txt reports.txt"},
             {"search=Report&case=1", "Report.txt"},
             {"search=report&wholeword=on", "report-2.md Report.txt"},
             {"search=b/rep", "reporting reports.txt"},
             {"search=a&path=1&wholeword=1", "a report-2.md Report.txt"},
             {"search=%5Ereport.t&regex=1", "Report.txt"},
             {"search=rt2&fuzzy=1", "report-2.md"},
             {"search=report&dupes=1", "Report.txt report-2.md"},
             {"duplicates=true&search=ext:txt", ""},
             {"search=report&case=0&sort=size&ascending=0&count=1", "reports.txt"},
             {"search=ext:txt;md&sort=path&ascending=false", "reports.txt Report.txt report-2.md"},
             {"search=report&offset=1&count=2", "Report.txt reporting"},
             {"search=report&offset=9", ""},
             {"search=folder:", "a b reporting"},
         })
        EXPECT_EQ(found(parameters), expected) << parameters;
    EXPECT_EQ(found("within=" + tree_.path("b/")), "reporting reports.txt");
    EXPECT_THAT(get("/?search=report&offset=9&count=2").body,
                AllOf(HasSubstr("none of 4"), HasSubstr("search=report&amp;offset=2&amp;count=2")));
    EXPECT_EQ(at(json("/"), "totalResults"), 6) << "everything";
}

TEST_F(Site, FormsOfJson) {
    std::filesystem::last_write_time(tree_.write("a/x\xFF", "12345"),
                                     std::filesystem::file_time_type::clock::now());
    scan();
    const std::string search = get("/?search=folder:&size_column=1&json=1").body;
    EXPECT_TRUE(search.starts_with(fmt::format(
        R"({{"totalResults":1,"offset":0,"results":[{{"type":"folder","name":"a","path":"{}","size":5}}],)"
        R"("sorted":true,"abandoned":0,"indexing":false,"indexedItems":2,"milliseconds":)",
        tree_.path())))
        << search;
    const JSONValue file = at(json("/?search=file:&date_modified_column=1"), "results").array()->at(0);
    EXPECT_EQ(at(file, "uri"), "file://" + tree_.path("a/x%FF"));
    EXPECT_TRUE(std::regex_match(*at(file, "date_modified").string(),
                                 std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ)")));
    EXPECT_EQ(file.object()->find("size"), nullptr);
    EXPECT_EQ(
        get("/du?json=1").body,
        fmt::format(R"({{"directories":[{{"path":"{0}/a","size":5,"files":1}}],"offset":0,"more":false,)"
                    R"("folder":{{"path":"{0}","size":5,"files":1}},"indexing":false,"indexedItems":2}})"
                    "\n",
                    tree_.path()));
    EXPECT_EQ(at(json("/du?recursive=1&count=1"), "directories/*/path"), JSONValue::Array{tree_.path("a")});
    status_.isReady = false;
    EXPECT_EQ(at(json("/"), "indexing"), true);
    EXPECT_EQ(at(json("/du"), "indexing"), true);
    EXPECT_THAT(get("/").body, HasSubstr("Weaving index"));
    index_.reset();
    EXPECT_TRUE(get("/du?json=1").body.starts_with(R"({"directories":[],)"));
    EXPECT_THAT(get("/du").body, HasSubstr("No directories indexed yet"));
    EXPECT_THAT(get("/?search=a").body, HasSubstr("No results"));
}

TEST_F(Site, KnownResultsAreThoseOfTheIndexAsItIs) {
    tree_.write("a1");
    scan();
    std::stop_source stopped;
    stopped.request_stop();
    (void)handler_->handle({"GET", "/", parseQueryString("search=file:+a&json=1")}, stopped.get_token());
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(found("search=file:+a"), "a1");
    tree_.write("a2");
    index_.reset();
    crawl(index_, {root()}, {});
    EXPECT_EQ(found("search=file:+a"), "a1 a2");
    EXPECT_EQ(found("search=file:+a&ascending=0"), "a2 a1");
    EXPECT_EQ(found("search=file:+a&offset=1"), "a2");
    EXPECT_EQ(found("search=file:+a&within=/a2"), "a2");
}

TEST_F(Site, EqualFilesComeInSetsOverPages) {
    for (const char* name : {"a", "b", "c"})
        tree_.write(name, "equal");
    for (const char* name : {"d", "e"})
        tree_.write(name, "larger, and equal");
    scan();
    const JSONValue page = json("/?dupes=1&offset=1&count=3&size_column=1");
    EXPECT_EQ(at(page, "totalResults"), 5);
    EXPECT_EQ(at(page, "duplicateSets"), 2);
    EXPECT_EQ(at(page, "reclaimableBytes"), 17 + 2 * 5);
    EXPECT_EQ(at(page, "results/*/size"), (JSONValue::Array{17, 5, 5}));
    EXPECT_EQ(at(page, "sets/*/firstResult"), (JSONValue::Array{0, 1}));
    EXPECT_EQ(at(page, "sets/*/copies"), (JSONValue::Array{2, 3}));
    EXPECT_THAT(get("/?search=dupe:content").body,
                HasSubstr("3 copies of 5 bytes each · 10 bytes could be freed"));
    EXPECT_THAT(get("/?search=dupe:content").body, Not(HasSubstr("sort="))) << "their order is fixed";
    for (const char* slow : {"/?dupes=1", "/?search=content:x", "/?search=!a|dupe:content"})
        EXPECT_TRUE(handler_->isSlow({"GET", "/", parseQueryString(std::string(slow).substr(2))})) << slow;
    EXPECT_TRUE(handler_->isSlow({"GET", "/", {{"search", std::string(5000, 'a')}}}));
    EXPECT_FALSE(handler_->isSlow({"GET", "/", parseQueryString("search=content")}));
}

TEST_F(Site, FaultsAreToldInTheFormThatWasAskedFor) {
    scan();
    struct Case {
        const char* target;
        int status;
        const char* message;
    };
    for (const auto& [target, status, message] : std::initializer_list<Case>{
             {"/?offset=-1", 400, "\"offset\" is a whole number from 0 to 2147483647."},
             {"/?count=1001", 400, "\"count\" is a whole number from 1 to 1000."},
             {"/du?count=x", 400, "\"count\" is a whole number from 1 to 1000."},
             {"/?sort=colour", 400, "\"sort\" is one of name, path, size, date_modified, relevance."},
             {"/?search=(&regex=1", 400,
              "This is no valid regular expression: missing closing parenthesis (at character 2)."},
             {"/nowhere", 404, "There is no such page."},
             {"/assets/0/style.css", 404, "There is no such page."},
             {"/assets/style.css", 404, "There is no such page."},
             {"/download?path=/etc/passwd", 403,
              "File download is disabled. Start the server with --allow-download to enable it."},
         }) {
        EXPECT_EQ(get(target).status, status) << target;
        EXPECT_EQ(get(asJson(target)).body,
                  JSONValue(JSONObject{{"error", message}}).serializedString() + "\n");
    }
    EXPECT_THAT(get("/?search=a&offset=x").body, Not(HasSubstr("No results"))) << "nothing was searched";
    const HttpResponse unknown = get("/du?path=/%3Cb%3E");
    EXPECT_EQ(unknown.status, 404);
    EXPECT_THAT(unknown.body, HasSubstr("&quot;/&lt;b&gt;&quot; is no folder in the index"));
    const HttpResponse refused = get("/", "POST");
    EXPECT_EQ(refused.status, 405);
    EXPECT_EQ(refused.body, "Method Not Allowed\n");
    EXPECT_EQ(get("/", "HEAD").body, get("/", "HEAD").body);
    EXPECT_EQ(get("/favicon.ico").contentType, "image/svg+xml");
}

/// All that a page refers to.
std::set<std::string> linksOf(const std::string& html) {
    static const std::regex reference("(?:href|src)=\"(/[^\"]*)\"");
    std::set<std::string> links;
    for (std::sregex_iterator at(html.begin(), html.end(), reference), end; at != end; ++at)
        links.insert(std::regex_replace((*at)[1].str(), std::regex("&amp;"), "&"));
    return links;
}

TEST_F(Site, EveryLinkLeadsSomewhereWhateverTheNames) {
    std::string everyByte;
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '/') everyByte += static_cast<char>(byte);
    }
    for (std::size_t first = 0; first < everyByte.size(); first += 50)
        tree_.write(fmt::format("x{0}/{0}", everyByte.substr(first, 50)), "text");
    tree_.write("<script>alert(1)</script>/\"' onload=x {{root}} &amp;", "text");
    std::filesystem::create_symlink("nowhere", tree_.path("link"));
    scan({.allowsDownload = true, .savedSearches = [] {
              return std::vector<SavedSearch>{{"<b>", "size:<1mb \"a b\""}};
          }});
    std::deque<std::string> toVisit = {"/", "/du", "/?search=text+!x&regex=1",
                                       "/?search=file:", "/?search=dupe:content"};
    std::set<std::string> seen(toVisit.begin(), toVisit.end());
    std::size_t downloads = 0;
    for (; !toVisit.empty() && seen.size() < 600; toVisit.pop_front()) {
        const HttpResponse page = get(toVisit.front());
        EXPECT_EQ(page.status, 200) << toVisit.front();
        downloads += page.file ? 1 : 0;
        if (!page.contentType.starts_with("text/html")) continue;
        for (const char* foreign : {"<script>", "\" onload", "\x1B", "style="})
            EXPECT_THAT(page.body, Not(HasSubstr(foreign))) << toVisit.front();
        EXPECT_TRUE(isValidUtf8(page.body));
        for (const std::string& link : linksOf(page.body)) {
            if (seen.insert(link).second) toVisit.push_back(link);
        }
    }
    EXPECT_EQ(downloads, 7) << "each file once";
}

TEST_F(Site, DownloadsWhatTheIndexHoldsAndNothingElse) {
    const std::string file = tree_.write("a \"b\xC3\xA9\xFF.txt", "contents");
    tree_.makeFolder("folder");
    std::filesystem::create_symlink(file, tree_.path("link"));
    scan({.allowsDownload = true});
    const HttpResponse download = get("/download?path=" + tree_.path("a+%22b%C3%A9%FF.txt"));
    ASSERT_EQ(download.status, 200);
    EXPECT_EQ(download.file->size(), 8);
    EXPECT_EQ(download.contentType, "application/octet-stream");
    EXPECT_EQ(download.extraHeaders.at("Content-Disposition"),
              "attachment; filename=\"a _b___.txt\"; filename*=UTF-8''a%20%22b%C3%A9%EF%BF%BD.txt");
    const std::string later = tree_.write("later");
    for (const std::string& path :
         {tree_.path("folder"), tree_.path("link"), later, tree_.path("none"), tree_.path("folder/../a \"b"),
          std::string("/etc/passwd"), std::string("a"), std::string(), tree_.path() + "/"})
        EXPECT_EQ(get("/download?path=" + path).status, 404) << path;
}

}  // namespace
}  // namespace dovra
