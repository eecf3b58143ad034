#pragma once

#include <map>
#include <memory>
#include <string>

#include "bridge/loop.h"
#include "bridge/options.h"
#include "bridge/printer.h"
#include "describe/descriptions.h"

namespace vantry::bridge {

/// All printers of the program. Used by the thread of the loop.
class Bridge {
public:
    /// `options` must live as long as the object.
    Bridge(Loop& loop, const Options& options, const describe::Descriptions& descriptions);

    /// Begins to serve the printers. Returns Refused if there is no list of them.
    Outcome Start();
    /// Reads the list of printers and the certificates again if they have changed.
    void LookAround();

private:
    Outcome ReadList();
    void Serve(const std::vector<PrinterEntry>& wanted);

    Loop& loop;
    const Options& options;
    const describe::Descriptions& descriptions;
    mqtt::Dialer dialer;
    std::string listStamp;
    std::map<std::string, std::unique_ptr<Printer>> printers;
    Backoff random{1, 1};
    Loop::Timer look;
    Loop::Timer sync;
};

}  // namespace vantry::bridge
