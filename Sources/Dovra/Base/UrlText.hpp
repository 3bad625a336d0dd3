#pragma once

#include <string>
#include <string_view>

namespace dovra {

/// Any bytes as a part of a URL: all but unreserved characters, "/" and those of `alsoKept` become "%" and
/// two hexadecimal digits.
std::string percentEncoded(std::string_view bytes, std::string_view alsoKept = {});

/// The "file:" URL of an absolute path, whatever bytes it has.
inline std::string fileUrl(std::string_view path) {
    return "file://" + percentEncoded(path);
}

/// A path and parameters as a reference within this server: "/du?path=/home&count=5". Without parameters the
/// path alone.
class Link {
public:
    explicit Link(std::string_view path) : text_(path) {}

    Link& with(std::string_view name, std::string_view value) {
        text_ += text_.find('?') == std::string::npos ? '?' : '&';
        text_ += name;
        text_ += '=';
        text_ += percentEncoded(value);
        return *this;
    }

    const std::string& text() const { return text_; }

private:
    std::string text_;
};

}  // namespace dovra
