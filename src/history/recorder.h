#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "client/property.h"
#include "client/quiet_thread.h"
#include "client/result.h"
#include "history/change_filter.h"
#include "history/history_writer.h"
#include "history/recording_clock.h"
#include "runtime/condition.h"
#include "runtime/lock.h"
#include "runtime/thread_annotations.h"

namespace vantry::history {

/// Records what a subscription reports in a history file.
///
/// Changes are kept in memory and written together, so a program that is killed loses at most those
/// since the last commit. While the disk can't be written, they are kept until they need 32 MiB;
/// then the oldest are dropped, and a mark says how many. Values longer than 64 KiB are cut.
class Recorder {
public:
    struct Options {
        RecordingRules rules = {};
        HistoryBounds bounds = {};
        /// The time between two commits. Without changes nothing is written but a sign of life each
        /// quarter of an hour.
        Moment commitInterval = 30 * kSecond;
        /// Called on a thread of the recorder when writing begins to fail.
        std::function<void(const client::Error&)> onError = {};
    };

    /// Opens or creates the file and begins a recording in it. Returns Refused if the file can't be
    /// used or the system can't create a thread. Blocks for the disk.
    static client::Result<std::unique_ptr<Recorder>> Open(const std::filesystem::path& file,
                                                          Options options);
    /// Commits what is left and ends the recording. Blocks for the disk.
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    // These are thread-safe and don't block for the disk, so callbacks of a Hub may call them.

    /// Records the state of a property, as a subscription to everything reports it.
    void Add(const client::Property& property);
    /// Enters a mark that the connection to the hub was lost or is there again.
    void MarkConnection(bool connected);

    /// Writes everything that was added before. Thread-safe; blocks for the disk.
    client::Outcome Commit();

private:
    Recorder(HistoryWriter opened, Options itsOptions);
    void Run();
    client::Outcome CommitUntil(Moment now) REQUIRES(writing);
    void CollectRows(Moment now) REQUIRES(writing);
    void AddRow(const Observation& observation) REQUIRES(writing);
    void AddMark(Moment moment, std::string text) REQUIRES(writing);
    void DropOldest() REQUIRES(writing);
    Moment NextMoment();

    const Options options;

    /// Held for one commit at a time, and entered before `lock`.
    Mutex writing;
    HistoryWriter writer GUARDED_BY(writing);
    ChangeFilter filter GUARDED_BY(writing);
    std::vector<ChangeRow> rows GUARDED_BY(writing);
    std::size_t rowBytes GUARDED_BY(writing) = 0;
    std::size_t dropped GUARDED_BY(writing) = 0;
    Moment lastCommit GUARDED_BY(writing) = 0;
    bool isFailing GUARDED_BY(writing) = false;

    /// A change of a property, or a mark if `mark` isn't empty.
    struct Arrival {
        Observation observation;
        std::string mark;
    };
    Mutex lock;
    Condition changed;
    RecordingClock clock GUARDED_BY(lock);
    std::vector<Arrival> arrivals GUARDED_BY(lock);
    std::size_t arrivedBytes GUARDED_BY(lock) = 0;
    bool isStopping GUARDED_BY(lock) = false;

    client::QuietThread thread;
};

}  // namespace vantry::history
