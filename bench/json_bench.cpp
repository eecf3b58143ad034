// Measures the JSON reader and writer, and for comparison RapidJSON's DOM, on the same texts.

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "sample_messages.h"
#include "wire/json/json_reader.h"

namespace vantry::bench {
namespace {

/// The argument for a text with many escapes.
constexpr int kEscapes = -1;

/// Returns an array of texts with an escape every few bytes.
std::string ManyEscapes() {
    std::string text = "[";
    for (int count = 0; count < 1000; ++count) {
        text += R"("C:\\jobs\\new\t\"label \u00e9\u20ac\"\r\n","plain text without any",)";
    }
    text.back() = ']';
    return text;
}

/// Returns the small request for the argument 0, an answer with that many records for a positive
/// one.
std::string Sample(const benchmark::State& state) {
    const int records = static_cast<int>(state.range(0));
    if (records == kEscapes) {
        return ManyEscapes();
    }
    return records == 0 ? SmallRequest() : Answer(records);
}

void CountBytes(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(bytes));
}

void Read(benchmark::State& state) {
    const std::string text = Sample(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(ParseJsonString(text));
    }
    CountBytes(state, text.size());
}

void RapidRead(benchmark::State& state) {
    const std::string text = Sample(state);
    for (auto _ : state) {
        rapidjson::Document document;
        document.Parse(text.data(), text.size());
        benchmark::DoNotOptimize(document);
    }
    CountBytes(state, text.size());
}

void Write(benchmark::State& state) {
    const JsonValue tree = ParseJsonString(Sample(state));
    std::size_t bytes = 0;
    for (auto _ : state) {
        std::string text;
        WriteJsonValue(text, tree);
        bytes = text.size();
        benchmark::DoNotOptimize(text);
    }
    CountBytes(state, bytes);
}

void RapidWrite(benchmark::State& state) {
    rapidjson::Document document;
    document.Parse(Sample(state).c_str());
    std::size_t bytes = 0;
    for (auto _ : state) {
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        document.Accept(writer);
        bytes = buffer.GetSize();
        benchmark::DoNotOptimize(buffer);
    }
    CountBytes(state, bytes);
}

BENCHMARK(Read)->Arg(kEscapes)->Arg(0)->Arg(400)->Arg(900);
BENCHMARK(RapidRead)->Arg(kEscapes)->Arg(0)->Arg(400)->Arg(900);
BENCHMARK(Write)->Arg(0)->Arg(400)->Arg(900);
BENCHMARK(RapidWrite)->Arg(0)->Arg(400)->Arg(900);

}  // namespace
}  // namespace vantry::bench
