// A state machine of the grammar, which processes one token at a time. For each open container it
// keeps which tokens may follow, so it needs no recursion for deep texts.
//
// The depth of a text is bounded by a count of symbols, with the same result as a shift-reduce
// parser whose stack has 10,000 symbols. A symbol is a bracket, comma, colon, key or value that
// isn't reduced yet. An open array with elements has three symbols: its bracket, the list of its
// elements and the comma. When the next element is complete, list, comma and element are reduced to
// the list. So only nesting increases the count, and each kind of nesting is rejected at a depth of
// its own.

#include "wire/json/json_reader.h"

#include <cstdint>
#include <memory_resource>
#include <string>
#include <vector>

#include "wire/json/first_block.h"
#include "wire/json/json_scanner.h"
#include "wire/json/json_tree_builder.h"

namespace vantry {
namespace {

using Token = JsonScanner::Token;

/// Checks the order of the tokens, counts symbols, and passes the values to the builder.
class JsonParser {
public:
    explicit JsonParser(std::string_view text) : scanner(text) { open.reserve(kUsualDepth); }

    /// Returns the message of the failure, or null.
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

    /// Returns the tree of a text that Parse has accepted.
    JsonValue TakeTree() { return builder.TakeRoot(); }

private:
    /// The bound on the number of symbols that aren't reduced yet.
    static constexpr std::uint32_t kMaximumSymbols = 10'000;
    /// The symbols of an open bracket and the list after it.
    static constexpr std::uint32_t kBracketAndList = 2;
    /// Containers that are open at the same time in messages of the protocol.
    static constexpr std::size_t kUsualDepth = 8;

    enum class Expect { FirstEntry, Entry, Colon, Value, CommaOrClose };

    struct Container {
        JsonTreeBuilder::Mark mark;
        std::uint32_t symbolsBefore;
        bool isArray;
        Expect expect;
    };

    bool IsComplete() const { return open.empty() && rootDone; }

    bool Take(Token token) {
        if (open.empty()) {
            return !rootDone && TakeValue(token);
        }
        return open.back().isArray ? TakeInArray(token) : TakeInObject(token);
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
        return TakeValue(token);
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
            return TakeValue(token);
        }
        const bool isKey = token == Token::String &&
                           (object.expect == Expect::FirstEntry || object.expect == Expect::Entry);
        if (isKey) {
            builder.AddKey(scanner.string);
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
            ++symbols;  // An empty list precedes the comma.
        } else if (container.expect != Expect::CommaOrClose) {
            return false;
        }
        ++symbols;
        container.expect = container.isArray ? Expect::Value : Expect::Entry;
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
        if (container.isArray) {
            builder.CloseArray(container.mark);
        } else {
            builder.CloseObject(container.mark);
        }
        open.pop_back();
        FinishValue();
        return true;
    }

    bool TakeValue(Token token) {
        switch (token) {
            case Token::OpenArray:
            case Token::OpenObject:
                open.push_back(
                    {builder.Open(), symbols, token == Token::OpenArray, Expect::FirstEntry});
                ++symbols;
                return true;
            case Token::String:
                builder.Add(scanner.string);
                break;
            case Token::Integer:
                builder.Add(scanner.integer);
                break;
            case Token::Float:
                builder.Add(scanner.real);
                break;
            case Token::Bool:
                builder.Add(scanner.boolean);
                break;
            case Token::Null:
                builder.AddNull();
                break;
            default:
                return false;
        }
        if (++symbols <= kMaximumSymbols) {
            FinishValue();
        }
        return true;
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
    JsonTreeBuilder builder;
    FirstBlock<kUsualDepth * sizeof(Container)> usual;
    std::pmr::vector<Container> open{&usual};
    std::uint32_t symbols = 0;
    bool rootDone = false;
};

}  // namespace

std::string_view ParseJson(std::string_view text, JsonValue& value) {
    JsonParser parser(text);
    if (const char* const failure = parser.Parse()) {
        return failure;
    }
    value = parser.TakeTree();
    return {};
}

JsonValue ParseJsonString(std::string_view text) {
    JsonValue value;
    static_cast<void>(ParseJson(text, value));
    return value;
}

}  // namespace vantry
