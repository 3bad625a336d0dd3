#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace dovra {

class JSONValue;

/// The members of a JSON object. Keys are unique and written in the order given; equality ignores the order.
/// The search for a key is linear: objects that are searched have few members.
class JSONObject {
public:
    struct Member;

    JSONObject();
    /// Of several members with one key the first counts.
    JSONObject(std::initializer_list<Member> members);
    explicit JSONObject(std::vector<Member> members);

    JSONObject(const JSONObject& other);
    JSONObject(JSONObject&& other) noexcept;
    JSONObject& operator=(const JSONObject& other);
    JSONObject& operator=(JSONObject&& other) noexcept;
    ~JSONObject();

    /// The value of a key; null when there is no such key.
    const JSONValue* find(std::string_view key) const;

    const std::vector<Member>& members() const { return members_; }

    bool operator==(const JSONObject& other) const;

private:
    std::vector<Member> members_;
};

/// The most values in a document for `JSONValue::parse`: far more than any message or file of ours has. A
/// value needs many times the memory of its text, which may be a single digit.
inline constexpr std::size_t maxJSONValues = 1'000'000;

/// The most levels of arrays and objects for `JSONValue::parse`: far more than any format of ours has, and
/// few enough for a recursive walk.
inline constexpr std::size_t maxJSONDepth = 64;

/// An immutable JSON document, the form of the tool server's messages and of the user's stores.
///
/// Strings are bytes that need not be well-formed UTF-8: names of files become values as they are, and are
/// repaired when they are written.
class JSONValue {
public:
    using Array = std::vector<JSONValue>;

    /// The cases in the order of the variant.
    enum class Kind : std::uint8_t { object, array, string, integer, floating, boolean, null };

    // Implicit, so that a document can be written down as it looks.
    // NOLINTBEGIN(google-explicit-constructor)
    JSONValue(std::nullptr_t = nullptr) : value_(nullptr) {}
    JSONValue(JSONObject value) : value_(std::move(value)) {}
    JSONValue(Array value) : value_(std::move(value)) {}
    JSONValue(std::string value) : value_(std::move(value)) {}
    JSONValue(std::string_view value) : value_(std::string(value)) {}
    JSONValue(const char* value) : value_(std::string(value)) {}
    JSONValue(double value) : value_(value) {}
    JSONValue(std::same_as<bool> auto value) : value_(value) {}
    /// An unsigned number above the largest signed one becomes a floating one.
    JSONValue(std::integral auto value) requires(!std::same_as<decltype(value), bool>)
        : value_(static_cast<std::int64_t>(value)) {
        if (!std::in_range<std::int64_t>(value)) value_ = static_cast<double>(value);
    }
    // NOLINTEND(google-explicit-constructor)

    /// Reads one value. Absent when the text is not JSON, not UTF-8, nested deeper than `maxJSONDepth`, or of
    /// more than `maxJSONValues`. Of several members with one key the last counts. A number without fraction
    /// and exponent is an integer if 64 bits can hold it, every other number is floating.
    static std::optional<JSONValue> parse(std::string_view text);

    /// The value as compact JSON text in one line, ill-formed UTF-8 repaired. A number that is not finite
    /// becomes "null".
    std::string serializedString() const;

    Kind kind() const { return static_cast<Kind>(value_.index()); }

    // The payload; null when the value is of another kind.
    const JSONObject* object() const { return std::get_if<JSONObject>(&value_); }
    const Array* array() const { return std::get_if<Array>(&value_); }
    const std::string* string() const { return std::get_if<std::string>(&value_); }
    const std::int64_t* integer() const { return std::get_if<std::int64_t>(&value_); }
    const double* floating() const { return std::get_if<double>(&value_); }
    const bool* boolean() const { return std::get_if<bool>(&value_); }

    /// Of the same kind with equal payloads: 1 and 1.0 are different values.
    bool operator==(const JSONValue& other) const = default;

private:
    std::variant<JSONObject, Array, std::string, std::int64_t, double, bool, std::nullptr_t> value_;
};

struct JSONObject::Member {
    std::string key;
    JSONValue value;
    bool operator==(const Member&) const = default;
};

}  // namespace dovra
