#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vantry {

enum class JsonType : std::uint8_t { Integer, Float, Bool, String, Object, Array, Null };

class JsonValue;
struct JsonMember;

/// An array of values in the order of insertion.
using JsonArray = std::vector<JsonValue>;

/// Values by key. Keys are unique and ordered by their bytes as unsigned numbers, a prefix before
/// the longer key; that is the order of iteration and output, whatever the order of insertion.
/// Kept as one block, because messages are small and built in key order.
class JsonObject {
public:
    /// The value under the key; a missing key is inserted with a Null value first.
    JsonValue& operator[](std::string_view key);
    /// Inserts if the key is absent. If it is present, its value stays and `value` is dropped.
    void insert(std::string key, JsonValue value);
    void clear();
    void reserve(std::size_t count);

    /// Adds a Null value behind all others without looking at the order or for an equal key.
    /// Whoever appends calls SortAppended before anybody else looks at the object.
    JsonValue& Append(std::string_view key);
    /// Puts appended members into the order of their keys and drops all but the first of equal
    /// keys, in n log n steps, or in n if they came in order.
    void SortAppended();

    std::size_t size() const;
    bool empty() const;
    std::vector<JsonMember>::iterator begin();
    std::vector<JsonMember>::iterator end();
    std::vector<JsonMember>::const_iterator begin() const;
    std::vector<JsonMember>::const_iterator end() const;

private:
    std::vector<JsonMember>::iterator Place(std::string_view key);

    std::vector<JsonMember> members;
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
    JsonValue();
    JsonValue(std::int64_t number);
    JsonValue(double number);
    JsonValue(bool truth);
    JsonValue(std::string text);
    /// Without this one a literal would be a truth.
    JsonValue(const char* text);
    JsonValue(JsonObject members);
    JsonValue(JsonArray elements);

    JsonValue(const JsonValue& other);
    JsonValue(JsonValue&& other) noexcept;
    JsonValue& operator=(const JsonValue& other);
    JsonValue& operator=(JsonValue&& other) noexcept;
    ~JsonValue();

    // The small ones last: a message has thousands of these.
    double real = 0;
    std::int64_t integer = 0;
    std::string string;
    JsonObject object;
    JsonArray array;
    bool boolean = false;
    JsonType type = JsonType::Null;

private:
    bool HasChildren() const;
    void DestroyChildren();
    void Flatten();
    void MoveChildrenTo(JsonArray& heap);
};

struct JsonMember {
    explicit JsonMember(std::string_view name) : key(name) {}
    JsonMember(std::string name, JsonValue content)
        : key(std::move(name)), value(std::move(content)) {}

    std::string key;
    JsonValue value;
};

/// The value under `key`, or nothing. Never inserts, so it is the test for a key.
const JsonValue* FindKey(const JsonObject& object, std::string_view key);
/// True, and `node` points to the value, if the object has the key; else `node` stays.
bool HasKey(const JsonObject& object, std::string_view key, const JsonValue*& node);

// What needs to know how long a member is.

inline std::size_t JsonObject::size() const { return members.size(); }
inline bool JsonObject::empty() const { return members.empty(); }
inline std::vector<JsonMember>::iterator JsonObject::begin() { return members.begin(); }
inline std::vector<JsonMember>::iterator JsonObject::end() { return members.end(); }
inline std::vector<JsonMember>::const_iterator JsonObject::begin() const { return members.begin(); }
inline std::vector<JsonMember>::const_iterator JsonObject::end() const { return members.end(); }

inline JsonValue::JsonValue() = default;
inline JsonValue::JsonValue(std::int64_t number) : integer(number), type(JsonType::Integer) {}
inline JsonValue::JsonValue(double number) : real(number), type(JsonType::Float) {}
inline JsonValue::JsonValue(bool truth) : boolean(truth), type(JsonType::Bool) {}
inline JsonValue::JsonValue(std::string text) : string(std::move(text)), type(JsonType::String) {}
inline JsonValue::JsonValue(const char* text) : JsonValue(std::string(text)) {}
inline JsonValue::JsonValue(JsonObject members)
    : object(std::move(members)), type(JsonType::Object) {}
inline JsonValue::JsonValue(JsonArray elements)
    : array(std::move(elements)), type(JsonType::Array) {}
inline JsonValue::~JsonValue() {
    if (HasChildren()) {
        DestroyChildren();
    }
}
inline bool JsonValue::HasChildren() const { return !object.empty() || !array.empty(); }

}  // namespace vantry
