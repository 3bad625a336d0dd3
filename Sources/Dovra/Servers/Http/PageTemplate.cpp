#include "Servers/Http/PageTemplate.hpp"

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
    for (const JSONValue& element : *array)
        list.push_back(dataOf(element));
    return list;
}

/// The template with those that it includes in their places: the library would parse each of them anew at
/// every place, so once for each row of a table.
std::string expandedTemplate(std::string_view name) {
    constexpr std::string_view opening = "{{>";
    constexpr std::string_view closing = "}}";
    const EmbeddedFile* file = findEmbeddedFile(fmt::format("{}.mustache", name));
    if (file == nullptr) fatalError(fmt::format("there is no page template {}", name));
    std::string expanded;
    std::string_view rest = file->text;
    for (std::size_t at = rest.find(opening); at != std::string_view::npos; at = rest.find(opening)) {
        expanded += rest.substr(0, at);
        rest.remove_prefix(at + opening.size());
        const std::size_t end = rest.find(closing);
        expanded += expandedTemplate(rest.substr(0, end));
        rest.remove_prefix(end + closing.size());
    }
    return expanded += rest;
}

/// Parsed at the first use on each thread, because a parsed template may serve one thread at a time.
mustache::mustache& parsedTemplate(std::string_view name) {
    thread_local std::map<std::string, mustache::mustache, std::less<>> parsed;
    auto found = parsed.find(name);
    if (found == parsed.end()) found = parsed.emplace(name, expandedTemplate(name)).first;
    return found->second;
}

/// Where the pages find their style, script and pictures: each under the first part of its file's name.
void addAssets(mustache::data& data) {
    for (const EmbeddedFile& file : embeddedFiles()) {
        if (file.name.ends_with(".mustache")) continue;
        data.set(std::string(file.name.substr(0, file.name.find('.'))),
                 fmt::format("/assets/{}/{}", file.hash, file.name));
    }
}

}  // namespace

std::string renderPage(std::string_view name, const JSONObject& view) {
    mustache::data data = objectData(view);
    addAssets(data);
    mustache::mustache& page = parsedTemplate(name);
    std::string html;
    page.render(data, [&](const std::string& text) { html += text; });
    if (!page.is_valid()) fatalError(fmt::format("the page template {}: {}", name, page.error_message()));
    return html;
}

}  // namespace dovra
