#include "Base/JSONValue.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <numeric>

#include "Base/Utf8.hpp"

namespace dovra {

namespace {

using Members = std::vector<JSONObject::Member>;

/// The positions of the members by their keys, equal keys in the order of the members.
std::vector<std::size_t> positionsByKey(const Members& members) {
    std::vector<std::size_t> positions(members.size());
    std::iota(positions.begin(), positions.end(), std::size_t{0});
    std::ranges::stable_sort(
        positions, {}, [&](std::size_t i) -> const auto& { return members[i].key; });
    return positions;
}

Members withFirstOfEachKey(Members members) {
    const std::vector<std::size_t> positions = positionsByKey(members);
    std::vector<bool> isRepeated(members.size());
    for (std::size_t i = 1; i < positions.size(); ++i)
        isRepeated[positions[i]] = members[positions[i]].key == members[positions[i - 1]].key;
    std::size_t position = 0;
    std::erase_if(members, [&](const auto&) { return isRepeated[position++]; });
    return members;
}

Members withLastOfEachKey(Members members) {
    std::ranges::reverse(members);
    members = withFirstOfEachKey(std::move(members));
    std::ranges::reverse(members);
    return members;
}

/// Builds the value from the events of the library's parser. A handler that returns false ends the parsing.
class Builder final : public nlohmann::json_sax<nlohmann::json> {
public:
    std::optional<JSONValue> take() { return std::move(root_); }

    bool null() override { return add(nullptr); }
    bool boolean(bool value) override { return add(value); }
    bool number_integer(number_integer_t value) override { return add(value); }
    bool number_unsigned(number_unsigned_t value) override { return add(value); }
    bool number_float(number_float_t value, const string_t&) override { return add(value); }
    bool string(string_t& value) override { return add(std::move(value)); }
    bool binary(binary_t&) override { return false; }
    bool start_object(std::size_t) override { return open(); }
    bool start_array(std::size_t) override { return open(); }
    bool key(string_t& value) override {
        open_.back().key = std::move(value);
        return true;
    }
    bool end_object() override {
        Members members = std::move(open_.back().members);
        open_.pop_back();
        return add(JSONObject(withLastOfEachKey(std::move(members))));
    }
    bool end_array() override {
        JSONValue::Array elements;
        elements.swap(open_.back().elements);
        open_.pop_back();
        return add(std::move(elements));
    }
    bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception&) override {
        return false;
    }

private:
    /// An array, or an object when there was a key.
    struct Open {
        std::optional<std::string> key;
        Members members;
        JSONValue::Array elements;
    };

    bool open() {
        if (open_.size() >= maxJSONDepth) return false;
        open_.emplace_back();
        return true;
    }

    bool add(JSONValue value) {
        if (++count_ > maxJSONValues) return false;
        if (open_.empty()) {
            root_ = std::move(value);
        } else if (Open& parent = open_.back(); parent.key) {
            parent.members.push_back({*std::exchange(parent.key, std::nullopt), std::move(value)});
        } else {
            parent.elements.push_back(std::move(value));
        }
        return true;
    }

    std::vector<Open> open_;
    std::optional<JSONValue> root_;
    std::size_t count_ = 0;
};

void append(const JSONValue& value, std::string& text);

void appendString(std::string_view bytes, std::string& text) {
    text += nlohmann::json(repairUtf8(bytes)).dump();
}

void appendObject(const JSONObject& object, std::string& text) {
    text += '{';
    for (const auto& [key, value] : object.members()) {
        if (text.back() != '{') text += ',';
        appendString(key, text);
        text += ':';
        append(value, text);
    }
    text += '}';
}

void appendArray(const JSONValue::Array& array, std::string& text) {
    text += '[';
    for (const JSONValue& element : array) {
        if (&element != &array.front()) text += ',';
        append(element, text);
    }
    text += ']';
}

void append(const JSONValue& value, std::string& text) {
    switch (value.kind()) {
        case JSONValue::Kind::object:
            return appendObject(*value.object(), text);
        case JSONValue::Kind::array:
            return appendArray(*value.array(), text);
        case JSONValue::Kind::string:
            return appendString(*value.string(), text);
        case JSONValue::Kind::integer:
            text += std::to_string(*value.integer());
            return;
        case JSONValue::Kind::floating:
            text += nlohmann::json(*value.floating()).dump();
            return;
        case JSONValue::Kind::boolean:
            text += *value.boolean() ? "true" : "false";
            return;
        case JSONValue::Kind::null:
            text += "null";
            return;
    }
}

}  // namespace

JSONObject::JSONObject() = default;
JSONObject::JSONObject(std::initializer_list<Member> members) : JSONObject(std::vector<Member>(members)) {}
JSONObject::JSONObject(std::vector<Member> members) : members_(withFirstOfEachKey(std::move(members))) {}
JSONObject::JSONObject(const JSONObject& other) = default;
JSONObject::JSONObject(JSONObject&& other) noexcept = default;
JSONObject& JSONObject::operator=(const JSONObject& other) = default;
JSONObject& JSONObject::operator=(JSONObject&& other) noexcept = default;
JSONObject::~JSONObject() = default;

const JSONValue* JSONObject::find(std::string_view key) const {
    const auto member = std::ranges::find(members_, key, &Member::key);
    return member == members_.end() ? nullptr : &member->value;
}

bool JSONObject::operator==(const JSONObject& other) const {
    const auto positions = positionsByKey(members_);
    const auto otherPositions = positionsByKey(other.members_);
    return std::ranges::equal(positions, otherPositions,
                              [&](std::size_t a, std::size_t b) { return members_[a] == other.members_[b]; });
}

std::optional<JSONValue> JSONValue::parse(std::string_view text) {
    // The library takes a NUL for the end of the text.
    if (text.find('\0') != std::string_view::npos) return std::nullopt;
    Builder builder;
    if (!nlohmann::json::sax_parse(text, &builder)) return std::nullopt;
    return builder.take();
}

std::string JSONValue::serializedString() const {
    std::string text;
    append(*this, text);
    return text;
}

}  // namespace dovra
