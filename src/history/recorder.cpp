// The recorder.
//
// A callback of the hub's client pushes each change, with its moment, under a short lock. A thread
// wakes at each commit interval, or when a MiB has arrived, decides what is recorded, and writes it
// as one transaction. It also does so when a quarter of an hour has passed, after which the quarter
// is summed up.
//
// Rows that couldn't be written stay in memory and are tried again with the next commit. If the
// disk stays full, the oldest are dropped, because the newest say how the printer is.

#include "history/recorder.h"

#include <algorithm>
#include <utility>

#include "runtime/clock.h"

namespace vantry::history {
namespace {

constexpr std::size_t kLongestValue = 64U << 10U;
constexpr std::size_t kEarlyCommitBytes = 1U << 20U;
constexpr std::size_t kMostBytes = 32U << 20U;
constexpr std::uint64_t kNanosecondsPerMicrosecond = 1000;

std::size_t BytesOf(const ChangeRow& row) {
    return sizeof(ChangeRow) + (row.value ? row.value->size() : 0);
}

Kind KindOf(client::Origin origin) {
    switch (origin) {
        case client::Origin::Present:
            return Kind::Start;
        case client::Origin::Reconciled:
            return Kind::Reconciled;
        default:
            return Kind::Change;
    }
}

}  // namespace

client::Result<std::unique_ptr<Recorder>> Recorder::Open(const std::filesystem::path& file,
                                                         Options options) {
    auto writer = HistoryWriter::Open(file, options.bounds);
    if (!writer) {
        return writer.error();
    }
    std::unique_ptr<Recorder> recorder(new Recorder(std::move(*writer), std::move(options)));
    Recorder* const self = recorder.get();
    {
        const ScopedLock held(self->writing);
        self->AddMark(self->NextMoment(), Mark::kBegan);
    }
    if (auto begun = self->Commit(); !begun) {
        return begun.error();
    }
    if (!self->thread.Start([self] { self->Run(); })) {
        return client::Error{client::ErrorCode::Refused, "the system can't create a thread"};
    }
    return recorder;
}

Recorder::Recorder(HistoryWriter opened, Options itsOptions)
    : options(std::move(itsOptions)),
      writer(std::move(opened)),
      filter(options.rules),
      clock(writer.LastMoment()) {}

Recorder::~Recorder() {
    {
        const ScopedLock held(lock);
        isStopping = true;
        changed.WakeAll();
    }
    thread.Join();
    const ScopedLock held(writing);
    CollectRows(NextMoment());
    for (const Observation& observation : filter.All()) {
        AddRow(observation);
    }
    const Moment end = NextMoment();
    AddMark(end, Mark::kEnded);
    static_cast<void>(writer.Write(rows, end));
}

void Recorder::Add(const client::Property& property) {
    const ScopedLock held(lock);
    arrivals.push_back({{property, clock.Next()}, ""});
    std::string& value = arrivals.back().observation.property.value;
    value.resize(std::min(value.size(), kLongestValue));
    arrivedBytes += sizeof(Arrival) + value.size();
    if (arrivedBytes > kEarlyCommitBytes) {
        changed.WakeAll();
    }
}

void Recorder::MarkConnection(bool connected) {
    const ScopedLock held(lock);
    arrivals.push_back({{{}, clock.Next()}, connected ? Mark::kHubBack : Mark::kHubLost});
}

client::Outcome Recorder::Commit() {
    const ScopedLock held(writing);
    return CommitUntil(NextMoment());
}

Moment Recorder::NextMoment() {
    const ScopedLock held(lock);
    return clock.Next();
}

void Recorder::Run() {
    while (true) {
        {
            const ScopedLock held(lock);
            const std::uint64_t due =
                NowNanoseconds() +
                static_cast<std::uint64_t>(options.commitInterval) * kNanosecondsPerMicrosecond;
            while (!isStopping && arrivedBytes <= kEarlyCommitBytes && NowNanoseconds() < due) {
                changed.WaitUntil(lock, due);
            }
            if (isStopping) {
                return;
            }
        }
        static_cast<void>(Commit());
    }
}

client::Outcome Recorder::CommitUntil(Moment now) {
    CollectRows(now);
    const bool isNewQuarter = BeginOfStep(now, kQuarter) != BeginOfStep(lastCommit, kQuarter);
    if (isNewQuarter) {
        // A change that waits must not come into a quarter that has been summed up.
        for (const Observation& observation : filter.All()) {
            AddRow(observation);
        }
    }
    if (rows.empty() && !isNewQuarter) {
        return client::Done{};
    }
    client::Outcome outcome = writer.Write(rows, now);
    if (outcome) {
        lastCommit = now;
        rows.clear();
        rowBytes = 0;
        isFailing = false;
        return outcome;
    }
    DropOldest();
    if (!std::exchange(isFailing, true) && options.onError) {
        options.onError(outcome.error());
    }
    return outcome;
}

void Recorder::CollectRows(Moment now) {
    std::vector<Arrival> taken;
    {
        const ScopedLock held(lock);
        taken.swap(arrivals);
        arrivedBytes = 0;
    }
    if (dropped > 0 && !isFailing) {
        AddMark(NextMoment(), Mark::kDropped + std::to_string(std::exchange(dropped, 0)));
    }
    for (Arrival& arrival : taken) {
        if (!arrival.mark.empty()) {
            AddMark(arrival.observation.moment, arrival.mark);
        } else if (const auto recorded = filter.Filter(std::move(arrival.observation))) {
            AddRow(*recorded);
        }
    }
    for (const Observation& due : filter.DueUntil(now)) {
        AddRow(due);
    }
}

void Recorder::AddRow(const Observation& observation) {
    const client::Property& property = observation.property;
    rows.push_back({observation.moment, writer.IdOf(property), KindOf(property.origin),
                    property.available ? std::optional(property.value) : std::nullopt});
    rowBytes += BytesOf(rows.back());
}

void Recorder::AddMark(Moment moment, std::string text) {
    rows.push_back({moment, kMarks, Kind::Change, std::move(text)});
    rowBytes += BytesOf(rows.back());
}

void Recorder::DropOldest() {
    auto kept = rows.begin();
    while (rowBytes > kMostBytes && kept != rows.end()) {
        rowBytes -= BytesOf(*kept);
        ++kept;
        ++dropped;
    }
    rows.erase(rows.begin(), kept);
}

}  // namespace vantry::history
