#include "wire/json/json_reader.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "wire/json/json_scanner.h"

namespace vantry {
namespace {

using Token = JsonScanner::Token;

/// Builds the tree while it takes tokens. Containers that are still open stand in the tree
/// already, each the last of its parent, so nothing moves while something inside it grows.
class JsonParser {
public:
    explicit JsonParser(std::string_view text) : scanner(text) { open.reserve(16); }

    /// The message of the failure, or null.
    const char* Parse() {
        for (;;) {
            const Token token = scanner.Next();
            const bool taken = token == Token::End ? IsComplete() : Take(token);
            if (symbols > kMaximumSymbols) {
                return "memory exhausted";
            }
            if (!taken) {
                return "syntax error";
            }
            if (token == Token::End) {
                return nullptr;
            }
        }
    }

    JsonValue root;

private:
    /// How many symbols of the grammar may wait to be put together: each bracket, comma, colon and
    /// key, and each list or value in front of them.
    static constexpr std::uint32_t kMaximumSymbols = 10'000;
    /// What an open bracket and the list behind it take.
    static constexpr std::uint32_t kBracketAndList = 2;

    enum class Expect { FirstEntry, Entry, Colon, Value, CommaOrClose };

    struct Container {
        JsonValue* value;
        std::uint32_t symbolsBefore;
        Expect expect;
    };

    bool IsComplete() const { return open.empty() && rootDone; }

    bool Take(Token token) {
        if (open.empty()) {
            return !rootDone && TakeValue(token, root);
        }
        return open.back().value->type == JsonType::Array ? TakeInArray(token)
                                                          : TakeInObject(token);
    }

    bool TakeInArray(Token token) {
        Container& array = open.back();
        if (token == Token::Comma) {
            return TakeComma(array);
        }
        if (token == Token::CloseArray) {
            return Close(array);
        }
        if (array.expect == Expect::CommaOrClose) {
            return false;
        }
        array.expect = Expect::CommaOrClose;
        return TakeValue(token, array.value->array.emplace_back());
    }

    bool TakeInObject(Token token) {
        Container& object = open.back();
        switch (token) {
            case Token::Comma:
                return TakeComma(object);
            case Token::CloseObject:
                return Close(object);
            case Token::Colon:
                return TakeColon(object);
            default:
                break;
        }
        if (object.expect == Expect::Value) {
            object.expect = Expect::CommaOrClose;
            return TakeValue(token, object.value->object.Append(key));
        }
        const bool isKey = token == Token::String &&
                           (object.expect == Expect::FirstEntry || object.expect == Expect::Entry);
        if (isKey) {
            key = scanner.Text(unescapedKey);
            object.expect = Expect::Colon;
            ++symbols;
            if (scanner.TakeIf(':')) {
                return TakeColon(object);
            }
        }
        return isKey;
    }

    bool TakeComma(Container& container) {
        if (container.expect == Expect::FirstEntry) {
            ++symbols;  // The empty list in front of it.
        } else if (container.expect != Expect::CommaOrClose) {
            return false;
        }
        ++symbols;
        container.expect = container.value->type == JsonType::Array ? Expect::Value : Expect::Entry;
        return true;
    }

    bool TakeColon(Container& object) {
        if (object.expect != Expect::Colon) {
            return false;
        }
        ++symbols;
        object.expect = Expect::Value;
        return true;
    }

    bool Close(const Container& container) {
        if (container.expect != Expect::FirstEntry && container.expect != Expect::CommaOrClose) {
            return false;
        }
        symbols = container.symbolsBefore + kBracketAndList + 1;
        if (symbols > kMaximumSymbols) {
            return true;
        }
        container.value->object.SortAppended();
        open.pop_back();
        FinishValue();
        return true;
    }

    bool TakeValue(Token token, JsonValue& target) {
        switch (token) {
            case Token::OpenArray:
                Open(target, JsonType::Array);
                return true;
            case Token::OpenObject:
                Open(target, JsonType::Object);
                return true;
            case Token::String:
                target.type = JsonType::String;
                target.string = scanner.Text(unescaped);
                break;
            case Token::Integer:
                target = scanner.integer;
                break;
            case Token::Float:
                target = scanner.real;
                break;
            case Token::Bool:
                target = scanner.boolean;
                break;
            case Token::Null:
                break;
            default:
                return false;
        }
        if (++symbols <= kMaximumSymbols) {
            FinishValue();
        }
        return true;
    }

    void Open(JsonValue& target, JsonType type) {
        target.type = type;
        open.push_back({&target, symbols, Expect::FirstEntry});
        ++symbols;
    }

    void FinishValue() {
        if (open.empty()) {
            rootDone = true;
            return;
        }
        symbols = open.back().symbolsBefore + kBracketAndList;
        if (scanner.TakeIf(',')) {
            TakeComma(open.back());
        }
    }

    JsonScanner scanner;
    std::vector<Container> open;
    std::string_view key;
    std::string unescapedKey;
    std::string unescaped;
    std::uint32_t symbols = 0;
    bool rootDone = false;
};

}  // namespace

std::string_view ParseJson(std::string_view text, JsonValue& value) {
    JsonParser parser(text);
    if (const char* const failure = parser.Parse()) {
        return failure;
    }
    value = std::move(parser.root);
    return {};
}

JsonValue ParseJsonString(std::string_view text) {
    JsonValue value;
    if (const std::string_view failure = ParseJson(text, value); !failure.empty()) {
        std::fprintf(stderr, "error: %s\n", failure.data());
    }
    return value;
}

}  // namespace vantry
