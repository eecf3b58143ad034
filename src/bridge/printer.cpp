// The way of a change through the program: it is entered in the inventory and collected
// (collector.cpp), and leaves in a batch (publisher.cpp). What the hub has when it is read first is
// part of the birth and is no change.

#include "bridge/printer.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "describe/glob.h"

namespace vantry::bridge {

Printer::Printer(Loop& loop, const Options& configuration,
                 const describe::Descriptions& descriptions, mqtt::Dialer& dialer,
                 const PrinterEntry& itsEntry, std::uint64_t delay)
    : options(configuration),
      entry(itsEntry),
      run(NowSince1970()),
      inventory(descriptions, options.allGroups, options.deadbands),
      publisher(loop, options, entry, inventory, dialer,
                {[this] { return PresentHealth(); },
                 [this](Request request) { OnWrite(std::move(request)); },
                 [this](const std::string& text) { Log(text); }},
                delay),
      collector(
          loop, options, run, [this](Batch batch) { publisher.Put(std::move(batch)); },
          [this] { publisher.SendOrKeep(); }) {
    hub = std::make_unique<HubSource>(entry.hub, [this, &loop, exists = std::weak_ptr(alive)] {
        loop.Post([this, exists] {
            if (exists.lock()) {
                ProcessUpdates();
            }
        });
    });
}

Printer::~Printer() {
    ProcessUpdates();
    collector.Flush();
    hub.reset();
}

void Printer::ProcessUpdates() {
    for (HubSource::Update& update : hub->Take()) {
        switch (update.kind) {
            case HubSource::Update::Kind::Value:
                TakeChange(update.property, update.time);
                break;
            case HubSource::Update::Kind::Up:
                NoteHub(true);
                break;
            case HubSource::Update::Kind::Down:
                NoteHub(false);
                break;
            case HubSource::Update::Kind::Problem:
                Log(update.text);
                break;
            case HubSource::Update::Kind::Answered:
                publisher.Answer(update.answer->request, update.answer->value);
                break;
        }
    }
    publisher.SendWhatFits();
}

void Printer::TakeChange(const client::Property& property, std::int64_t time) {
    if (summary.Enter(property)) {
        publisher.PublishHealthSoon();
    }
    std::optional<Change> change = inventory.Enter(property, time);
    if (change && isComplete) {
        publisher.Announce(*change);
        collector.Add(std::move(*change), publisher.Slowness());
    }
}

void Printer::NoteHub(bool isUp) {
    if (hasHub == isUp && isComplete) {
        return;
    }
    hasHub = isUp;
    Log(isUp ? "connected to the hub at " + entry.hub.Name()
             : "lost the hub at " + entry.hub.Name());
    if (isUp && !isComplete) {
        isComplete = true;
        publisher.SetComplete();
    }
    publisher.PublishHealth();
    if (isUp) {
        publisher.PublishState();
    }
}

void Printer::OnWrite(Request request) {
    if (!request.refusal) {
        const std::string& key = request.subject->key;
        const bool isAllowed = std::any_of(
            options.allowWrite.begin(), options.allowWrite.end(), [&](const std::string& glob) {
                return describe::GlobMatches(glob, key, describe::LetterCase::Exact);
            });
        auto value = describe::Fit(request.subject->description, key, request.value);
        if (!isAllowed) {
            request.refusal = Error{ErrorCode::Refused, "\"" + key + "\" may not be written"};
        } else if (!hasHub) {
            request.refusal = Error{ErrorCode::NoConnection, "the hub isn't there"};
        } else if (!value) {
            request.refusal = value.error();
        } else {
            request.value = *value;
        }
    }
    if (request.refusal) {
        publisher.Answer(request, *request.refusal);
    } else {
        hub->Write(std::move(request));
    }
}

Health Printer::PresentHealth() const {
    Health health;
    health.run = run;
    health.hasHub = hasHub;
    health.dropped = hub ? hub->LeftOut() : 0;
    health.errors = summary.Errors();
    health.firmware = summary.Firmware();
    return health;
}

void Printer::Log(const std::string& text) {
    if (text != lastLogged) {
        std::fprintf(stderr, "vantry-bridge: %s: %s\n", entry.serial.c_str(), text.c_str());
        lastLogged = text;
    }
}

}  // namespace vantry::bridge
