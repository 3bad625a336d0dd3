#include "Base/JsonText.hpp"

#include <nlohmann/json.hpp>

namespace dovra {

namespace {

/// Ends the parsing at once: the library's own way, to discard a value, reads on to the end.
struct TooDeep {};

}  // namespace

std::optional<nlohmann::json> parseJson(std::string_view text) {
    // The library takes a NUL for the end of the text.
    if (text.find('\0') != std::string_view::npos) return std::nullopt;
    using Event = nlohmann::json::parse_event_t;
    const auto limitDepth = [](int depth, Event event, nlohmann::json&) {
        // The depth of a start is the number of arrays and objects around it.
        const bool isStart = event == Event::array_start || event == Event::object_start;
        if (isStart && depth >= maxJsonDepth) throw TooDeep();
        return true;
    };
    try {
        constexpr bool mayThrow = false;
        nlohmann::json value = nlohmann::json::parse(text, limitDepth, mayThrow);
        if (value.is_discarded()) return std::nullopt;
        return value;
    } catch (const TooDeep&) {
        return std::nullopt;
    }
}

}  // namespace dovra
