// What the hub does for long answers, which hundreds of peers can ask for with a few bytes.

#include <gtest/gtest.h>

#include "support/allocations.h"
#include "support/test_hub.h"
#include "transport/session/data_stream.h"

namespace vantry {
namespace {

using namespace test;

/// An external stream with one message. Its peer has gone after the hub has looked so many times
/// whether it has.
class OneMessage final : public Stream {
public:
    OneMessage(std::shared_ptr<ConnectionAccount> ownAccount, const std::string& text,
               std::size_t looks)
        : Stream(std::move(ownAccount)), frame(FrameOf(text)), looksBefore(looks) {}
    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override {
        const std::size_t count = std::min(frame.size() - at, static_cast<std::size_t>(length));
        std::copy_n(frame.data() + at, count, buffer);
        at += count;
        return static_cast<std::int32_t>(count);
    }
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override {
        const auto size = static_cast<std::size_t>(length);
        written.Add(
            std::make_shared<const std::string>(reinterpret_cast<const char*>(buffer), size));
        return length;
    }
    std::int32_t WriteShared(const SharedFrame& whole) override {
        written = whole;
        return static_cast<std::int32_t>(whole.Size());
    }
    void Close() override {}
    bool HasPeerGone() const override { return looked++ >= looksBefore; }

    SharedFrame written;
    mutable std::size_t looked = 0;

private:
    const std::string frame;
    const std::size_t looksBefore;
    std::size_t at = 0;
};

class LongAnswers : public testing::Test {
protected:
    LongAnswers() {
        inside->Send(Section("PropertyGetResponses",
                             {ReportEntry(kLong, kValue), ReportEntry(kShort, "1")}));
    }
    /// Lets the hub process the message of a new external peer.
    std::shared_ptr<OneMessage> Process(const std::string& text, std::size_t looks) {
        const auto stream = std::make_shared<OneMessage>(
            hub.platform.platform.accounting->Admit(Link::Usb, ""), text, looks);
        hub.engine->ProcessMessage(std::make_shared<FramedDataStream>(stream));
        return stream;
    }

    static constexpr std::size_t kForever = 1'000'000;
    const std::string kValue = std::string(300'000, 'x');
    const Address kLong{"C", "Job 1", "LONG"};
    const Address kShort{"C", "Job 1", "SHORT"};
    const Address kHidden = HubProperty(HubProperties::kOwnComponent, Groups::kComponents);
    TestHub hub;
    std::unique_ptr<FrameClient> inside = hub.Connect();
};

TEST_F(LongAnswers, NoneIsMadeForAPeerThatHasGoneAndAShortOneAsksNobody) {
    ASSERT_TRUE(inside->Ask(Get(kShort)));
    const std::string eightTimes =
        Many("PropertyGetRequests", 8, [&](std::size_t) { return kLong.Entry(); });
    const std::string report =
        R"(,"PropertyGetResponses": [)" + ReportEntry({"C", "Job 1", "NEW"}, "1") + "]}";
    const struct {
        std::string request;
        std::size_t looks;
        std::size_t looked;
        std::size_t leastBytes;
    } cases[] = {
        {Get(kShort), 0, 0, 100},
        {Get(kLong), 0, 1, 0},
        {Get({"C", "Job 1", ""}), 0, 1, 0},
        {R"({"GetAllProperties": true)" + report, 0, 1, 0},
        {eightTimes, 3, 4, 0},
        {eightTimes, kForever, 9, 8 * 300'000},
    };
    for (const auto& one : cases) {
        const auto stream = Process(one.request, one.looks);
        EXPECT_EQ(stream->looked, one.looked) << one.request;
        EXPECT_GE(stream->written.Size(), one.leastBytes) << one.request;
        EXPECT_EQ(stream->written.Size() == 0, one.leastBytes == 0) << one.request;
    }
    // What came with a request is taken although nobody hears the answer.
    EXPECT_EQ(Count(*inside->Ask(Get({"C", "Job 1", ""})), "Job 1:NEW"), 1U);
}

TEST_F(LongAnswers, ALongRecordIsNotCopiedAndTheBytesAreTheSame) {
    const std::string shortOne = ReportEntry(kShort, "1");
    const std::string longOne = ReportEntry(kLong, kValue);
    const std::string refusal =
        R"({"Component": ")" + kHidden.component +
        R"(","ComponentString": "Unknown Group","GUID": ")" + kHidden.groupGuid + ":" +
        kHidden.guid +
        R"(","GroupString": "Unknown Group","NameString": "Unknown Property",)"
        R"("Status": "Property Not Found","Value": "Invalid Value"})";
    // The texts of the records are made once.
    ASSERT_TRUE(inside->Ask(Get({"C", "Job 1", ""})));
    const struct {
        std::vector<Address> wanted;
        std::vector<std::string> records;
    } cases[] = {
        {{kLong}, {longOne}},
        {{kShort, kLong, kLong, kShort}, {shortOne, longOne, longOne, shortOne}},
        {{kLong, kHidden, kShort}, {longOne, shortOne, refusal}},
    };
    for (const auto& one : cases) {
        const std::string request = Many("PropertyGetRequests", one.wanted.size(),
                                         [&](std::size_t at) { return one.wanted[at].Entry(); });
        const std::size_t before = AllocationsOfThisThread().bytes;
        const auto stream = Process(request, kForever);
        EXPECT_LT(AllocationsOfThisThread().bytes - before, kValue.size() / 2) << request;
        EXPECT_EQ(*stream->written.Joined(), FrameOf(Section("PropertyGetResponses", one.records)))
            << request;
    }
    const std::size_t before = AllocationsOfThisThread().bytes;
    const auto stream = Process(kGetAll, kForever);
    EXPECT_LT(AllocationsOfThisThread().bytes - before, kValue.size() / 2);
    const std::string all = stream->written.Joined()->substr(Frame::kHeadBytes);
    EXPECT_EQ(*stream->written.Joined(), FrameOf(all));
    EXPECT_EQ(Count(all, "," + longOne + ",") + Count(all, "," + longOne + "]}"), 1U);
    EXPECT_EQ(hub.platform.platform.accounting->Total(Resource::Answer), 0U);
}

}  // namespace
}  // namespace vantry
