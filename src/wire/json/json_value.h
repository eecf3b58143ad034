#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "wire/json/json_list.h"
#include "wire/json/json_text.h"

namespace vantry {

/// The type of a JsonValue. A number that is written without a point and an exponent is an Integer.
enum class JsonType : std::uint8_t { Integer, Float, Bool, String, Object, Array, Null };

class JsonValue;
struct JsonMember;

/// An array of values in the order of insertion.
using JsonArray = JsonList<JsonValue>;

/// A map of values by key. Keys are unique and sorted by their bytes as unsigned numbers, a prefix
/// before the longer key; iteration and output have this order. Inserting in the order of the keys
/// is fast; any other insertion moves all members with greater keys.
class JsonObject {
public:
    /// Returns the value with this key. Inserts a Null value if there is none.
    JsonValue& operator[](std::string_view key);
    /// Inserts the value if the key is absent. Otherwise keeps the present value and drops `value`.
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

    /// Returns the first member whose key isn't less than `key`, or the end.
    JsonMember* Place(std::string_view key);
    /// Inserts a member before `place`.
    JsonMember& InsertAt(JsonMember* place, std::string_view key, JsonValue value);

    JsonList<JsonMember> members;
};

/// One JSON value of any type: a record with a field for each type, of which `type` selects one.
///
/// Readers may use the field that they expect without testing `type`, so a value of another type
/// reads as empty: `string`, `object` and `array` are always valid, and empty unless they were set.
/// The numbers are meaningful only if `type` selects them. A copy is deep. Copying and moving
/// transfer only the field that `type` selects, and a value that was moved from keeps its type.
/// Neither copying nor destroying a tree recurses. Not thread-safe.
class JsonValue {
public:
    JsonValue() = default;
    JsonValue(std::int64_t number) : integer(number), type(JsonType::Integer) {}
    JsonValue(double number) : real(number), type(JsonType::Float) {}
    JsonValue(bool truth) : boolean(truth), type(JsonType::Bool) {}
    JsonValue(JsonText text) : string(std::move(text)), type(JsonType::String) {}
    JsonValue(std::string_view text) : string(text), type(JsonType::String) {}
    // Without the next two, a std::string would not convert, and a literal would become a bool.
    JsonValue(const std::string& text) : JsonValue(std::string_view(text)) {}
    JsonValue(const char* text) : JsonValue(std::string_view(text)) {}
    JsonValue(JsonObject members) : object(std::move(members)), type(JsonType::Object) {}
    JsonValue(JsonArray elements) : array(std::move(elements)), type(JsonType::Array) {}

    JsonValue(const JsonValue& other);
    JsonValue(JsonValue&& other) noexcept;
    JsonValue& operator=(const JsonValue& other);
    JsonValue& operator=(JsonValue&& other) noexcept;
    ~JsonValue() = default;

    // The numbers share their memory, because a large message has millions of values.
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

/// A key and its value in a JsonObject. Who iterates over an object may change the value; a changed
/// key would break the order of the object.
struct JsonMember {
    explicit JsonMember(std::string_view name) : key(name) {}
    JsonMember(std::string_view name, JsonValue content) : key(name), value(std::move(content)) {}

    JsonText key;
    JsonValue value;

private:
    friend class JsonTreeBuilder;
    JsonMember() = default;
};

/// Returns the value with this key, or null if there is none. Inserts nothing.
const JsonValue* FindKey(const JsonObject& object, std::string_view key);
/// Returns true and makes `node` point to the value if the object has the key. Otherwise returns
/// false and leaves `node` unchanged. Nothing in the hub calls it; FindKey says the same in one
/// value.
bool HasKey(const JsonObject& object, std::string_view key, const JsonValue*& node);

// Inline definitions that need JsonMember to be complete.

inline std::size_t JsonObject::size() const { return members.size(); }
inline bool JsonObject::empty() const { return members.empty(); }
inline JsonMember* JsonObject::begin() { return members.begin(); }
inline JsonMember* JsonObject::end() { return members.end(); }
inline const JsonMember* JsonObject::begin() const { return members.begin(); }
inline const JsonMember* JsonObject::end() const { return members.end(); }

}  // namespace vantry
