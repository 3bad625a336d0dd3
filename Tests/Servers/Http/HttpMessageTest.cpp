#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "Servers/Http/HttpAccess.hpp"
#include "Servers/Http/HttpFraming.hpp"
#include "Servers/Http/HttpRequestHead.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

HttpRequestHead headWith(std::string_view target, std::string_view headers) {
    const auto head = parseRequestHead("GET " + std::string(target) + " HTTP/1.1\r\n" + std::string(headers));
    if (!head) throw std::invalid_argument("no head");
    return *head;
}

TEST(HttpRequestHead, ReadsTheTarget) {
    const auto head = headWith("/d%C3%a9%ff?a=1+2%2B&&b&a=%zz+&%3d=x=y&=n", "");
    EXPECT_EQ(head.request.path, "/d\xC3\xA9\xFF");
    EXPECT_EQ(head.request.query, (HttpParameters{{"a", "%zz+"}, {"b", ""}, {"=", "x=y"}, {"", "n"}}));
    EXPECT_EQ(headWith("/a%2?b=1+2%2B", "").request.path, "/a%2");
    EXPECT_EQ(headWith("/?b=1+2%2B", "").request.query, (HttpParameters{{"b", "1 2+"}}));
    EXPECT_EQ(parseRequestHead("  GET   /  \r\nHOST:\t a \r\nhost:b\r\nOther: c\r\nno colon")->headers,
              (std::map<std::string, std::string, std::less<>>{{"host", "a, b"}}));
}

TEST(HttpAccess, AsksWhoAsks) {
    struct Case {
        const char* headers;
        int open;       ///< what is answered instead; 0 when it is handled
        int withToken;  ///< the same on a server that asks for a token
    };
    for (const Case& one : {
             Case{"", 0, 401},
             Case{"Host: 127.0.0.1:80", 0, 401},
             Case{"Host: [::1]:80", 0, 401},
             Case{"Host: [fe80::1]", 0, 401},
             Case{"Host: LocalHost", 0, 401},
             Case{"Host: box.example:1", 0, 401},
             Case{"Host: evil.example:80", 403, 403},
             Case{"Host: localhost.evil.example", 403, 403},
             Case{"Host: localhost\r\nHost: evil.example", 403, 403},
             Case{"Host: [x].evil.example", 403, 403},
             Case{"Host: ", 403, 403},
             Case{"Host: localhost:80\r\nOrigin: http://localhost:80", 0, 401},
             Case{"Host: localhost:80\r\nOrigin: http://localhost:81", 403, 403},
             Case{"Host: localhost:80\r\nOrigin: null", 403, 403},
             Case{"Sec-Fetch-Site: none\r\nSec-Fetch-Dest: document", 0, 401},
             Case{"Sec-Fetch-Site: same-origin\r\nSec-Fetch-Dest: script", 0, 401},
             Case{"Sec-Fetch-Site: cross-site\r\nSec-Fetch-Dest: document", 0, 401},
             Case{"Sec-Fetch-Site: same-site\r\nSec-Fetch-Dest: image", 403, 403},
             Case{"Sec-Fetch-Site: cross-site\r\nSec-Fetch-Dest: iframe", 403, 403},
             Case{"Cookie: a=b; dovra-80=secret", 0, 0},
             Case{"Cookie: dovra-80=secre", 0, 401},
             Case{"Cookie: dovra-81=secret", 0, 401},
             Case{"Cookie: xdovra-80=secret", 0, 401},
             Case{"Authorization: bearer secret", 0, 0},
             Case{"Authorization: secret", 0, 401},
             Case{"Host: evil.example\r\nAuthorization: Bearer secret", 403, 403},
         }) {
        const HttpRequestHead head = headWith("/", one.headers);
        const auto status = [&](const char* token) {
            const auto answer = HttpAccess("box.example", 80, token).answerInstead(head);
            return answer ? answer->status : 0;
        };
        EXPECT_EQ(status(""), one.open) << one.headers;
        EXPECT_EQ(status("secret"), one.withToken) << one.headers;
    }
}

TEST(HttpAccess, TakesTheTokenOutOfTheAddress) {
    const HttpAccess access("::1", 80, "secret");
    const auto welcome = access.answerInstead(headWith("/du" + access.addressSuffix(), ""));
    ASSERT_TRUE(welcome);
    EXPECT_EQ(welcome->status, 303);
    EXPECT_EQ(welcome->extraHeaders.at("Location"), "/");
    EXPECT_FALSE(access.answerInstead(headWith("/", "Cookie: " + welcome->extraHeaders.at("Set-Cookie"))));
}

TEST(HttpFraming, SendsThePartThatIsAskedFor) {
    const test::TemporaryTree tree;
    const std::string path = tree.write("ten", "0123456789");
    struct Case {
        const char* headers;
        int status;
        std::uint64_t offset;
        std::uint64_t count;
    };
    for (const Case& one : {
             Case{"", 200, 0, 10},
             Case{"Range: bytes=2-4", 206, 2, 3},
             Case{"Range: BYTES=2-", 206, 2, 8},
             Case{"Range: bytes=-3", 206, 7, 3},
             Case{"Range: bytes=-99", 206, 0, 10},
             Case{"Range: bytes=9-99999999999999999999", 206, 9, 1},
             Case{"Range: bytes=10-", 416, 0, 0},
             Case{"Range: bytes=-0", 416, 10, 0},
             Case{"Range: bytes=4-2", 200, 0, 10},
             Case{"Range: bytes=1-2,4-5", 200, 0, 10},
             Case{"Range: bytes=-", 200, 0, 10},
             Case{"Range: lines=1-2", 200, 0, 10},
             Case{"Range: bytes=+1-2", 200, 0, 10},
             Case{"Range: bytes=2-4\r\nIf-Range: \"x\"", 200, 0, 10},
         }) {
        HttpResponse response;
        response.file = RegularFile::open(path);
        const HttpOutput output = framed(headWith("/", one.headers), std::move(response));
        EXPECT_EQ(output.head.substr(9, 3), std::to_string(one.status)) << one.headers;
        EXPECT_EQ(output.file.has_value(), one.status != 416);
        EXPECT_EQ(std::pair(output.offset, output.count), std::pair(one.offset, one.count)) << one.headers;
    }
}

}  // namespace
}  // namespace dovra
