#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "wire/json/json_list.h"
#include "wire/json/json_text.h"

namespace vantry {

enum class JsonType : std::uint8_t { Integer, Float, Bool, String, Object, Array, Null };

class JsonValue;
struct JsonMember;

/// An array of values in the order of insertion.
using JsonArray = JsonList<JsonValue>;

/// Values by key. Keys are unique and ordered by their bytes as unsigned numbers, a prefix before
/// the longer key; that is the order of iteration and output, whatever the order of insertion.
/// Inserting in the order of the keys is cheap; out of order, each insertion moves all greater
/// members.
class JsonObject {
public:
    /// Returns the value under the key; a missing key is inserted with a Null value first.
    JsonValue& operator[](std::string_view key);
    /// Inserts if the key is absent. If it is present, its value stays and `value` is dropped.
    void insert(std::string_view key, JsonValue value);
    void clear();
    void reserve(std::size_t count);

    std::size_t size() const;
    bool empty() const;
    JsonMember* begin();
    JsonMember* end();
    const JsonMember* begin() const;
    const JsonMember* end() const;

private:
    friend struct JsonBlock;
    friend class JsonTreeBuilder;

    /// The first member whose key isn't less than `key`.
    JsonMember* Place(std::string_view key);
    /// Adds a member in front of `place`.
    JsonMember& InsertAt(JsonMember* place, std::string_view key, JsonValue value);

    JsonList<JsonMember> members;
};

/// One JSON value of any type: a record with a member for each, of which the tag selects one.
///
/// Readers take the member that they expect without looking at the tag, so a missing or wrongly
/// typed thing reads as empty: `string`, `object` and `array` are always valid, and empty unless
/// they were given something. The numbers mean nothing unless the tag selects them. A copy is
/// deep; copying and moving transfer only the member that the source's tag selects, and a moved
/// value keeps its tag. However deep a tree is, copying and destroying it takes no machine stack.
class JsonValue {
public:
    JsonValue() = default;
    JsonValue(std::int64_t number) : integer(number), type(JsonType::Integer) {}
    JsonValue(double number) : real(number), type(JsonType::Float) {}
    JsonValue(bool truth) : boolean(truth), type(JsonType::Bool) {}
    JsonValue(JsonText text) : string(std::move(text)), type(JsonType::String) {}
    JsonValue(std::string_view text) : string(text), type(JsonType::String) {}
    // Without the next two, a std::string wouldn't convert, and a literal would be a truth.
    JsonValue(const std::string& text) : JsonValue(std::string_view(text)) {}
    JsonValue(const char* text) : JsonValue(std::string_view(text)) {}
    JsonValue(JsonObject members) : object(std::move(members)), type(JsonType::Object) {}
    JsonValue(JsonArray elements) : array(std::move(elements)), type(JsonType::Array) {}

    JsonValue(const JsonValue& other);
    JsonValue(JsonValue&& other) noexcept;
    JsonValue& operator=(const JsonValue& other);
    JsonValue& operator=(JsonValue&& other) noexcept;
    ~JsonValue() = default;

    // A large message has millions of values, so the numbers share their place.
    union {
        double real;
        std::int64_t integer = 0;
    };
    JsonText string;
    JsonObject object;
    JsonArray array;
    bool boolean = false;
    JsonType type = JsonType::Null;

private:
    void Transfer(JsonValue& other) noexcept;
};

struct JsonMember {
    explicit JsonMember(std::string_view name) : key(name) {}
    JsonMember(std::string_view name, JsonValue content) : key(name), value(std::move(content)) {}

    JsonText key;
    JsonValue value;

private:
    friend class JsonTreeBuilder;
    JsonMember() = default;
};

/// Returns the value under `key`, or null if there is none. Never inserts, so it is the test for a
/// key.
const JsonValue* FindKey(const JsonObject& object, std::string_view key);
/// True, and `node` points to the value, if the object has the key; else `node` stays.
bool HasKey(const JsonObject& object, std::string_view key, const JsonValue*& node);

// Inline definitions that need JsonMember to be complete.

inline std::size_t JsonObject::size() const { return members.size(); }
inline bool JsonObject::empty() const { return members.empty(); }
inline JsonMember* JsonObject::begin() { return members.begin(); }
inline JsonMember* JsonObject::end() { return members.end(); }
inline const JsonMember* JsonObject::begin() const { return members.begin(); }
inline const JsonMember* JsonObject::end() const { return members.end(); }

}  // namespace vantry
