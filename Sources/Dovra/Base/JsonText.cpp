#include "Base/JsonText.hpp"

#include <nlohmann/json.hpp>

namespace dovra {

namespace {

/// Ends the parsing at once: the library's own way, to discard a value, reads on to the end.
struct TooDeep {};

}  // namespace

std::optional<nlohmann::json> parseJson(std::string_view text) {
    // The depth of an event that opens an array or object is the number of those around it.
    const auto limitDepth = [](int depth, nlohmann::json::parse_event_t, nlohmann::json&) {
        if (depth > maxJsonDepth) throw TooDeep();
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
