#include "Preview/PreviewMessage.hpp"

#include "Base/JSONValue.hpp"
#include "Base/Utf8.hpp"

namespace dovra {

namespace {

constexpr std::size_t mostFacts = 32;
constexpr std::size_t mostFactBytes = 512;
constexpr std::size_t bytesOfPixel = 4;

std::string cleanText(const std::string& text) {
    const std::string shown = visibleText(text);
    const std::string_view start = std::string_view(shown).substr(0, mostFactBytes);
    return std::string(start.substr(0, wellFormedPrefix(start)));
}

std::optional<std::vector<PreviewFact>> factsOf(const JSONObject& header) {
    const JSONValue* list = header.find("facts");
    if (list == nullptr || list->array() == nullptr || list->array()->size() > mostFacts) return std::nullopt;
    std::vector<PreviewFact> facts;
    for (const JSONValue& row : *list->array()) {
        const JSONValue::Array* pair = row.array();
        if (pair == nullptr || pair->size() != 2) return std::nullopt;
        const std::string* label = (*pair)[0].string();
        const std::string* value = (*pair)[1].string();
        if (label == nullptr || value == nullptr) return std::nullopt;
        facts.push_back({cleanText(*label), cleanText(*value)});
    }
    return facts;
}

std::optional<int> sideOf(const JSONObject& header, std::string_view key, int mostPixels) {
    const JSONValue* value = header.find(key);
    const std::int64_t* number = value == nullptr ? nullptr : value->integer();
    if (number == nullptr || *number < 0 || *number > mostPixels) return std::nullopt;
    return static_cast<int>(*number);
}

/// A message without its pixels yet.
std::optional<PreviewMessage> parseHeader(std::string_view line, int mostPixels) {
    const auto json = JSONValue::parse(line);
    const JSONObject* header = json ? json->object() : nullptr;
    if (header == nullptr) return std::nullopt;
    const auto width = sideOf(*header, "width", mostPixels);
    const auto height = sideOf(*header, "height", mostPixels);
    auto facts = factsOf(*header);
    if (!width || !height || !facts || (*width == 0) != (*height == 0)) return std::nullopt;
    return PreviewMessage{{*width, *height, {}}, *std::move(facts)};
}

}  // namespace

std::string previewHeader(int width, int height, const std::vector<PreviewFact>& facts) {
    JSONValue::Array rows;
    for (const auto& [label, value] : facts)
        rows.emplace_back(JSONValue::Array{label, value});
    return JSONValue(JSONObject{{"width", width}, {"height", height}, {"facts", std::move(rows)}})
               .serializedString() +
           "\n";
}

std::optional<PreviewMessage> lastPreviewMessage(std::string_view output, int mostPixels) {
    PreviewMessage last;
    for (;;) {
        const std::size_t end = output.substr(0, mostPreviewHeaderBytes).find('\n');
        if (end == std::string_view::npos)
            return output.size() < mostPreviewHeaderBytes ? std::optional(last) : std::nullopt;
        auto next = parseHeader(output.substr(0, end), mostPixels);
        if (!next) return std::nullopt;
        output.remove_prefix(end + 1);
        const auto [width, height] = std::pair(next->picture.width, next->picture.height);
        const std::size_t bytes =
            bytesOfPixel * static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
        if (bytes > output.size()) return last;
        next->picture.pixels = output.substr(0, bytes);
        output.remove_prefix(bytes);
        last = *std::move(next);
    }
}

}  // namespace dovra
