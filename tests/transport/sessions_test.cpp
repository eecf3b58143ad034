#include <gtest/gtest.h>

#include <atomic>

#include "runtime/live_object_counters.h"
#include "support/eventually.h"
#include "support/messages.h"
#include "transport/session/acceptor.h"
#include "transport/session/data_handler_manager.h"
#include "transport/session/framed_json_handler.h"
#include "transport/session/null_listener.h"
#include "transport/stream/pipe.h"
#include "wire/json_message.h"

namespace vantry {
namespace {

using test::Eventually;
using test::FrameOf;

class CountingLog final : public SessionLog {
public:
    void Write(std::string_view) override { ++lines; }
    std::atomic<int> lines{0};
};

/// A visitor that reads and counts messages, and ends the session if one can't be read.
class CountingVisitor final : public MessageVisitor {
public:
    std::uint32_t ProcessMessage(std::shared_ptr<Stream> stream) override {
        JsonMessage message;
        const bool good = message.ReadFrom(*stream);
        messages += good ? 1 : 0;
        return good ? 1 : 0;
    }
    std::atomic<int> messages{0};
};

class Sessions : public testing::Test {
protected:
    Sessions() { manager->AddHandler(std::make_unique<FramedJsonHandler>()); }
    void Write(const std::string& bytes) {
        pipe.clientEnd->Write(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                              static_cast<std::int32_t>(bytes.size()));
    }
    void Connect() { manager->AddSession(std::make_shared<PeekStream>(pipe.peerEnd)); }
    bool Sees(int messages) {
        return Eventually([&] { return visitor->messages == messages; });
    }

    std::shared_ptr<CountingVisitor> visitor = std::make_shared<CountingVisitor>();
    std::shared_ptr<CountingLog> log = std::make_shared<CountingLog>();
    HubStatus status;
    std::shared_ptr<ThreadReaper> reaper = std::make_shared<ThreadReaper>(253);
    std::shared_ptr<DataHandlerManager> manager =
        std::make_shared<DataHandlerManager>(visitor, reaper, log, 249, status);
    PipePair pipe = PipePair::Make();
};

TEST_F(Sessions, FindFramesHoweverTheyArrive) {
    Connect();
    for (const char byte : FrameOf(R"({"a": 1})")) {
        Write({byte});
    }
    ASSERT_TRUE(Sees(1));
    Write(FrameOf("{}") + FrameOf(R"({"b": "two frames in one write"})"));
    ASSERT_TRUE(Sees(3));
    Write(std::string(16, 'x') + FrameOf("{}"));
    ASSERT_TRUE(Sees(4));
    Write(std::string(32, 'x') + FrameOf(R"({"behind": "32"})"));
    ASSERT_TRUE(Sees(5));
}

TEST_F(Sessions, BytesOutOfStepHideEveryFrameAndTheSessionLivesOn) {
    Connect();
    // The length of each later frame is a multiple of 16, so none of them begins where a window
    // does.
    const std::string frame = FrameOf(R"({"a":"1234"})");
    ASSERT_EQ(frame.size() % 16, 0U);
    Write("12345");
    for (int count = 0; count < 50; ++count) {
        Write(frame);
    }
    pipe.clientEnd->Close();
    EXPECT_TRUE(Eventually([&] { return log->lines == 1; }));
    EXPECT_EQ(visitor->messages, 0);
}

TEST_F(Sessions, WhatCannotBeReadEndsTheSessionWithoutAWord) {
    for (const char* text : {"[1]", "\"x\"", "{\"a\":", ""}) {
        pipe = PipePair::Make();
        Connect();
        Write(FrameOf(text));
        std::uint8_t byte = 0;
        EXPECT_EQ(pipe.clientEnd->Read(&byte, 1), StreamCode::kEndOfData) << text;
    }
    EXPECT_EQ(log->lines, 0);
    EXPECT_EQ(visitor->messages, 0);
}

TEST_F(Sessions, TheLongestFrameIsReadAndALongerOneIsNot) {
    Connect();
    std::string text = "{}";
    text.resize(Frame::kMaximumText, ' ');
    Write(FrameOf(text));
    ASSERT_TRUE(Sees(1));
    Write(FrameOf(text + " "));
    std::uint8_t byte = 0;
    EXPECT_EQ(pipe.clientEnd->Read(&byte, 1), StreamCode::kEndOfData);
    EXPECT_EQ(visitor->messages, 1);
}

TEST_F(Sessions, EndBeforeTheirManagerDoes) {
    const std::uint32_t threads = LiveObjectCounters::threads;
    std::vector<PipePair> pipes;
    for (int count = 0; count < 3; ++count) {
        pipes.push_back(PipePair::Make());
        manager->AddSession(std::make_shared<PeekStream>(pipes.back().peerEnd));
    }
    manager.reset();
    EXPECT_TRUE(Eventually([&] { return LiveObjectCounters::threads == threads; }));
    EXPECT_EQ(log->lines, 3);
}

/// A handler that recognises everything at one position and ends the session.
class FixedHandler final : public DataHandler {
public:
    FixedHandler(std::uint32_t where, std::string& openings, char itsName)
        : position(where), opened(openings), name(itsName) {}
    std::uint32_t Recognise(const std::shared_ptr<PeekStream>&) override { return position; }
    std::shared_ptr<DataObject> Open(const std::shared_ptr<PeekStream>&) override {
        opened += name;
        return nullptr;
    }
    std::uint32_t MinimumBytes() const override { return 100; }

private:
    const std::uint32_t position;
    std::string& opened;
    const char name;
};

TEST_F(Sessions, TheLowestPositionWinsAndTheEarlierHandlerAmongEquals) {
    const struct {
        std::uint32_t first;
        std::uint32_t second;
        const char* winner;
    } cases[] = {{3, 3, "1"}, {5, 3, "2"}, {0xFFFF, 7, "2"}, {3, DataHandler::kNoPosition, "1"}};
    for (const auto& [first, second, winner] : cases) {
        DataHandlerManager choosing(visitor, reaper, log, 249, status);
        std::string openings;
        choosing.AddHandler(std::make_unique<FixedHandler>(first, openings, '1'));
        choosing.AddHandler(std::make_unique<FixedHandler>(second, openings, '2'));
        const PipePair fresh = PipePair::Make();
        fresh.clientEnd->WriteBytes({1, 2, 3});
        EXPECT_EQ(choosing.ProcessNext(std::make_shared<PeekStream>(fresh.peerEnd)), 0U);
        EXPECT_EQ(openings, winner);
    }
}

/// A listener that accepts nobody and counts its calls.
class BrokenListener final : public Listener {
public:
    std::shared_ptr<Stream> Accept() override {
        ++accepts;
        return nullptr;
    }
    void Open() override { ++opens; }
    void Close() override { ++closes; }
    std::atomic<int> opens{0};
    std::atomic<int> accepts{0};
    std::atomic<int> closes{0};
};

TEST_F(Sessions, AListenerThatGivesNothingIsClosedAndNotAskedAgain) {
    const auto listener = std::make_shared<BrokenListener>();
    {
        const Acceptor acceptor(listener, manager, *reaper);
        EXPECT_TRUE(Eventually([&] { return listener->closes == 1; }));
    }
    EXPECT_EQ(listener->opens, 1);
    EXPECT_EQ(listener->accepts, 1);
}

TEST_F(Sessions, AnAcceptorEndsAlthoughItsListenerWaits) {
    const Acceptor acceptor(std::make_shared<NullListener>(), manager, *reaper);
}

}  // namespace
}  // namespace vantry
