#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <thread>

#include "support/faulty_file_system.h"
#include "transport/stream/peek_stream.h"
#include "transport/stream/pipe.h"
#include "transport/stream/queue_stream.h"
#include "transport/stream/std_file_stream.h"

namespace vantry {
namespace {

/// A stream whose Reads return one piece each, and then `ending`.
class Pieces final : public Stream {
public:
    explicit Pieces(std::deque<std::string> given, std::int32_t ending = StreamCode::kError)
        : pieces(std::move(given)), last(ending) {}
    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override {
        ++reads;
        if (pieces.empty()) {
            return last;
        }
        const auto count = std::min<std::size_t>(pieces.front().size(), std::size_t(length));
        std::copy_n(pieces.front().begin(), count, buffer);
        pieces.front().erase(0, count);
        if (pieces.front().empty()) {
            pieces.pop_front();
        }
        return static_cast<std::int32_t>(count);
    }
    std::int32_t Write(const std::uint8_t*, std::int32_t length) override { return length; }
    void Close() override {}

    std::deque<std::string> pieces;
    std::int32_t last;
    std::size_t reads = 0;
};

std::string ReadText(Stream& stream, std::int32_t length) {
    std::string text(static_cast<std::size_t>(length), '\0');
    const std::int32_t count = stream.Read(reinterpret_cast<std::uint8_t*>(text.data()), length);
    text.resize(static_cast<std::size_t>(std::max(count, 0)));
    return text;
}

std::int32_t WriteText(Stream& stream, const std::string& text) {
    return stream.Write(reinterpret_cast<const std::uint8_t*>(text.data()),
                        static_cast<std::int32_t>(text.size()));
}

std::string Window(PeekStream& stream) {
    std::string text(64, '\0');
    const std::int32_t count = stream.PeekCopy(reinterpret_cast<std::uint8_t*>(text.data()), 64);
    text.resize(static_cast<std::size_t>(std::max(count, 0)));
    return text;
}

TEST(PeekStream, LooksAtAWindowThatSlidesByItsHalfAndReadsItBehind) {
    const std::string half(16, 'a');
    const std::string long48 = half + std::string(16, 'b') + std::string(16, 'c');
    const struct {
        std::deque<std::string> pieces;
        std::int32_t ending;
        std::vector<bool> looks;
        std::string window;
        std::size_t readsOfTheStream;
    } cases[] = {{{half + "aaaa"}, -1, {true}, half + "aaaa", 1},
                 {{long48}, -1, {true}, long48.substr(0, 32), 1},
                 {{long48}, -1, {true, true}, long48.substr(16), 2},
                 {{long48}, -1, {true, true, false}, "", 3},
                 {{"0123456789", "abc"}, -1, {true, true}, "0123456789abc", 2},
                 {{"junk"}, 0, {true, false}, "", 2}};
    for (const auto& [pieces, ending, looks, window, reads] : cases) {
        const auto inner = std::make_shared<Pieces>(pieces, ending);
        PeekStream stream(inner);
        for (const bool look : looks) {
            EXPECT_EQ(stream.Peek(32), look) << window;
        }
        EXPECT_EQ(Window(stream), window);
        if (looks.back()) {
            const auto size = static_cast<std::int32_t>(window.size());
            const std::string first = ReadText(stream, 3);
            EXPECT_EQ(first + ReadText(stream, size - 3), window);
        }
        EXPECT_EQ(inner->reads, reads) << window;
    }
}

TEST(PeekStream, AFailingStreamStillGivesWhatTheWindowHas) {
    PeekStream stream(std::make_shared<Pieces>(std::deque<std::string>{"abcd"}));
    ASSERT_TRUE(stream.Peek(32));
    EXPECT_EQ(ReadText(stream, 10), "abcd");
    std::uint8_t byte = 0;
    EXPECT_EQ(stream.Read(&byte, 1), StreamCode::kError);
}

TEST(PeekStream, DecoratorsShareTheIdentityOfTheirStream) {
    const auto inner = std::make_shared<Pieces>(std::deque<std::string>{});
    const auto outer = std::make_shared<PeekStream>(inner);
    EXPECT_EQ(PeekStream(outer).Id(), inner->Id());
    EXPECT_NE(Pieces({}).Id(), inner->Id());
}

TEST(QueueStream, KeepsOrderAndGivesWhatCameBeforeItsClose) {
    QueueStream queue;
    EXPECT_EQ(WriteText(queue, "12345"), 5);
    EXPECT_EQ(WriteText(queue, "6789012"), 7);
    EXPECT_EQ(ReadText(queue, 3), "123");
    queue.Close();
    EXPECT_EQ(ReadText(queue, 100), "456789012");
    std::uint8_t byte = 0;
    EXPECT_EQ(queue.Read(&byte, 1), StreamCode::kEndOfData);
    EXPECT_EQ(WriteText(queue, "x"), StreamCode::kEndOfData);
}

TEST(QueueStream, ManyBytesBetweenTwoThreadsNeverEndTheStreamEarly) {
    QueueStream queue;
    constexpr int kWrites = 200'000;
    std::thread writer([&] {
        for (int count = 0; count < kWrites; ++count) {
            WriteText(queue, "ab");
        }
        queue.Close();
    });
    std::size_t got = 0;
    for (std::string part = ReadText(queue, 64); !part.empty(); part = ReadText(queue, 64)) {
        got += part.size();
    }
    writer.join();
    EXPECT_EQ(got, 2U * kWrites);
}

TEST(PipeEnd, ClosingOneEndEndsBothDirections) {
    const PipePair pipe = PipePair::Make();
    WriteText(*pipe.clientEnd, "ask");
    WriteText(*pipe.peerEnd, "answer");
    std::thread reader([&] { EXPECT_EQ(ReadText(*pipe.clientEnd, 100), "answer"); });
    reader.join();
    std::thread blocked([&] {
        std::uint8_t byte = 0;
        EXPECT_EQ(pipe.clientEnd->Read(&byte, 1), StreamCode::kEndOfData);
    });
    pipe.peerEnd->Close();
    blocked.join();
    EXPECT_EQ(ReadText(*pipe.peerEnd, 100), "ask");
    EXPECT_EQ(WriteText(*pipe.clientEnd, "x"), StreamCode::kEndOfData);
}

TEST(StdFileStream, TellsTheEndOfTheFileAndAMissingOne) {
    test::FaultyFileSystem files;
    files.Put(u"/f", "abcd");
    StdFileStream file(files, u"/f", FileMode::kRead);
    EXPECT_EQ(file.Size(), 4);
    EXPECT_EQ(ReadText(file, 3), "abc");
    EXPECT_EQ(file.Size(), 4);
    EXPECT_EQ(ReadText(file, 3), "d");
    std::uint8_t byte = 0;
    EXPECT_EQ(file.Read(&byte, 1), 0);
    EXPECT_EQ(file.Size(), 4);
    EXPECT_EQ(WriteText(file, "x"), StreamCode::kNotWritable);
    StdFileStream missing(files, u"/none", FileMode::kRead);
    EXPECT_FALSE(missing.IsOpen());
    EXPECT_EQ(missing.Read(&byte, 1), StreamCode::kError);
}

TEST(StdFileStream, AppendsAndTruncatesAsToldAndTriesNoWriteAgain) {
    test::FaultyFileSystem files;
    files.Put(u"/f", "old");
    StdFileStream appending(files, u"/f", FileMode::kWrite | FileMode::kAppend);
    EXPECT_EQ(WriteText(appending, "+new"), 4);
    EXPECT_EQ(files.Content(u"/f"), "old+new");
    StdFileStream truncating(files, u"/f", FileMode::kWrite | FileMode::kTruncate);
    files.FailFrom(test::Fault::Refuse, 1);
    EXPECT_EQ(WriteText(truncating, "lost"), StreamCode::kError);
    EXPECT_EQ(WriteText(truncating, "x"), 1);
    EXPECT_EQ(files.Content(u"/f"), "x");
}

}  // namespace
}  // namespace vantry
