#include "Servers/Http/PageTemplate.hpp"

#include <fmt/format.h>
#include <kainjow/mustache.hpp>

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

}  // namespace

std::string renderPage(std::string_view name, const JSONObject& view) {
    mustache::data data = objectData(view);
    std::string text;
    for (const EmbeddedFile& file : embeddedFiles()) {
        const std::string stem(file.name.substr(0, file.name.find('.')));
        if (!file.name.ends_with(".mustache")) {
            data.set(stem, fmt::format("/assets/{}/{}", file.hash, file.name));
            continue;
        }
        if (stem == name) text = file.text;
        if (stem.starts_with('_'))
            data.set(stem, mustache::partial([&file] { return std::string(file.text); }));
    }
    mustache::mustache page(text);
    std::string html = page.render(data);
    if (text.empty() || !page.is_valid())
        fatalError(fmt::format("the page template {}: {}", name, page.error_message()));
    return html;
}

}  // namespace dovra
