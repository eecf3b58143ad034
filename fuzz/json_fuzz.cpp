// What the reader takes, the writer writes; and what it has built can be copied and taken apart.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "wire/json/json_reader.h"
#include "wire/json/json_writer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const vantry::JsonValue value =
        vantry::ParseJsonString({reinterpret_cast<const char*>(data), size});
    const vantry::JsonValue copy = value;
    std::string text;
    std::string copyText;
    vantry::WriteJsonValue(text, value);
    vantry::WriteJsonValue(copyText, copy);
    if (text != copyText) {
        std::abort();
    }
    return 0;
}
