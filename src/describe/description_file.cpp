// Reading a file of descriptions.
//
// The file is a JSON object, see docs/DESCRIPTIONS.md. It is read strictly: a member that isn't
// known is an error, because a misspelt one would otherwise be left out without a word.

#include "describe/description_file.h"

#include <algorithm>
#include <functional>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

namespace vantry::describe {
namespace {

using nlohmann::json;

/// A mistake in the file. It doesn't leave this source file.
struct Mistake : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string TextOf(const json& value, const std::string& key) {
    if (!value.is_string()) {
        throw Mistake("\"" + key + "\" must be a text");
    }
    return value.get<std::string>();
}

double NumberOf(const json& value, const std::string& key) {
    if (!value.is_number()) {
        throw Mistake("\"" + key + "\" must be a number");
    }
    return value.get<double>();
}

client::ValueType TypeOf(const json& value) {
    using client::ValueType;
    for (const ValueType type :
         {ValueType::Text, ValueType::Number, ValueType::Bool, ValueType::Command}) {
        if (value == NameOf(type)) {
            return type;
        }
    }
    throw Mistake("\"type\" must be text, number, bool or command");
}

std::vector<std::string> WordsOf(const json& value) {
    if (!value.is_array()) {
        throw Mistake("\"words\" must be a list of texts");
    }
    std::vector<std::string> words;
    for (const json& word : value) {
        words.push_back(TextOf(word, "words"));
    }
    return words;
}

/// Stores a member that describes the property. Returns false if the key isn't that of one.
bool Describe(Description& description, const std::string& key, const json& value) {
    if (key == "type") {
        description.type = TypeOf(value);
    } else if (key == "unit") {
        description.unit = TextOf(value, key);
    } else if (key == "text") {
        description.text = TextOf(value, key);
    } else if (key == "minimum") {
        description.minimum = NumberOf(value, key);
    } else if (key == "maximum") {
        description.maximum = NumberOf(value, key);
    } else if (key == "step") {
        description.step = NumberOf(value, key);
        if (!(*description.step > 0)) {
            throw Mistake("\"step\" must be more than 0");
        }
    } else if (key == "words") {
        description.words = WordsOf(value);
    } else if (key == "writable") {
        if (!value.is_boolean()) {
            throw Mistake("\"writable\" must be true or false");
        }
        description.writable = value.get<bool>();
    } else {
        return false;
    }
    return true;
}

/// An entry of either list: what it is about, and the description.
struct ReadEntry {
    std::map<std::string, std::string> about;
    Description description;
};

ReadEntry Read(const json& entry, const std::vector<std::string>& about, const char* needed) {
    if (!entry.is_object()) {
        throw Mistake("must be an object");
    }
    ReadEntry read;
    for (const auto& [key, value] : entry.items()) {
        if (std::find(about.begin(), about.end(), key) != about.end()) {
            read.about[key] = TextOf(value, key);
        } else if (!Describe(read.description, key, value)) {
            throw Mistake("\"" + key + "\" isn't known");
        }
    }
    if (read.about[needed].empty()) {
        throw Mistake("\"" + std::string(needed) + "\" is missing");
    }
    return read;
}

void ForEach(const json& file, const char* list, const std::function<void(const json&)>& add) {
    const auto entries = file.find(list);
    if (entries == file.end()) {
        return;
    }
    if (!entries->is_array()) {
        throw Mistake("\"" + std::string(list) + "\" must be a list");
    }
    for (std::size_t place = 0; place < entries->size(); ++place) {
        try {
            add((*entries)[place]);
        } catch (const Mistake& mistake) {
            throw Mistake("entry " + std::to_string(place + 1) + " of \"" + list +
                          "\": " + mistake.what());
        }
    }
}

}  // namespace

client::Outcome DescriptionFile::AddTo(Descriptions& all, const std::string& content) {
    const json file = json::parse(content, nullptr, false, true);
    if (!file.is_object()) {
        return client::Error{client::ErrorCode::Refused, "isn't a JSON object"};
    }
    Descriptions together = all;
    try {
        ForEach(file, "names", [&](const json& entry) {
            ReadEntry read = Read(entry, {"match"}, "match");
            together.byName.push_back({read.about["match"], std::move(read.description)});
        });
        ForEach(file, "properties", [&](const json& entry) {
            ReadEntry read = Read(entry, {"guid", "group", "component", "name"}, "guid");
            together.byGuid[read.about["guid"]].push_back(
                {read.about["component"], read.about["group"], std::move(read.description)});
        });
    } catch (const Mistake& mistake) {
        return client::Error{client::ErrorCode::Refused, mistake.what()};
    }
    all = std::move(together);
    return client::Done{};
}

}  // namespace vantry::describe
