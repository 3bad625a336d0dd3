#include "Servers/Http/PageTemplate.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <functional>
#include <kainjow/mustache.hpp>
#include <map>

#include "Base/Print.hpp"
#include "Servers/Http/EmbeddedFile.hpp"

namespace dovra {

namespace {

namespace mustache = kainjow::mustache;

mustache::data dataOf(const JSONValue& value);

mustache::data objectData(const JSONObject& object) {
    mustache::data data;
    for (const auto& [key, value] : object.members())
        data[key] = dataOf(value);
    return data;
}

mustache::data dataOf(const JSONValue& value) {
    if (const JSONObject* object = value.object()) return objectData(*object);
    if (const bool* boolean = value.boolean())
        return *boolean ? mustache::data::type::bool_true : mustache::data::type::bool_false;
    if (const std::string* text = value.string()) {
        // A section of an empty text would be shown.
        return text->empty() ? mustache::data(mustache::data::type::bool_false) : mustache::data(*text);
    }
    if (const std::int64_t* integer = value.integer()) return fmt::to_string(*integer);
    if (const double* number = value.floating()) return fmt::format("{:.3f}", *number);
    const JSONValue::Array* array = value.array();
    if (array == nullptr) return mustache::data::type::bool_false;
    mustache::list list;
    list.reserve(array->size());  // Growing copies.
    for (const JSONValue& element : *array)
        list.push_back(dataOf(element));
    return list;
}

/// What stands in a template for "{{>name}}": the template of that name, or the address of the asset.
std::string included(std::string_view name);

/// The library would parse an included template anew at every place, so once for each row of a table.
std::string withIncludes(std::string_view text) {
    constexpr std::string_view opening = "{{>";
    constexpr std::string_view closing = "}}";
    std::string whole;
    for (std::size_t at = text.find(opening); at != std::string_view::npos; at = text.find(opening)) {
        whole += text.substr(0, at);
        text.remove_prefix(at + opening.size());
        const std::size_t end = std::min(text.find(closing), text.size() - closing.size());
        whole += included(text.substr(0, end));
        text.remove_prefix(end + closing.size());
    }
    return whole += text;
}

std::string included(std::string_view name) {
    for (const EmbeddedFile& file : embeddedFiles()) {
        if (file.name.substr(0, file.name.find('.')) != name) continue;
        return file.name.ends_with(".mustache") ? withIncludes(file.text)
                                                : fmt::format("/assets/{}/{}", file.hash, file.name);
    }
    fatalError(fmt::format("there is no page template {}", name));
}

/// Parsed at the first use on each thread, because a parsed template may serve one thread at a time.
mustache::mustache& parsedTemplate(std::string_view name) {
    thread_local std::map<std::string, mustache::mustache, std::less<>> parsed;
    auto found = parsed.find(name);
    if (found == parsed.end()) found = parsed.emplace(name, included(name)).first;
    return found->second;
}

}  // namespace

std::string renderTemplate(std::string_view name, const JSONObject& view) {
    mustache::mustache& parsed = parsedTemplate(name);
    std::string html;
    parsed.render(objectData(view), [&](const std::string& text) { html += text; });
    if (!parsed.is_valid()) fatalError(fmt::format("the page template {}: {}", name, parsed.error_message()));
    return html;
}

}  // namespace dovra
