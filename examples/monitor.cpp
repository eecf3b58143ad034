// A monitor: prints each change of a property until it is interrupted or has printed COUNT changes.
//
//     monitor PATH-OF-PRN1 [COUNT]

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "client/event_queue.h"
#include "client/hub.h"

int main(int argc, char** argv) {
    using namespace vantry::client;
    if (argc < 2) {
        std::fprintf(stderr, "usage: monitor PATH-OF-PRN1 [COUNT]\n");
        return 2;
    }
    Hub::Options options;
    options.onConnection = [](bool connected) {
        std::fprintf(stderr, connected ? "connected\n" : "connection lost, trying again\n");
    };
    const auto hub = Hub::Connect(Endpoint::Device(argv[1]), options);
    if (!hub) {
        std::fprintf(stderr, "monitor: %s\n", hub.error().text.c_str());
        return 3;
    }
    EventQueue changes;
    const Subscription subscription = (*hub)->Subscribe(Interest::Everything(), changes.Callback());
    const int count = argc > 2 ? std::atoi(argv[2]) : 0;
    for (int printed = 0; count == 0 || printed < count;) {
        const auto change = changes.Take(std::chrono::seconds(1));
        if (!change) {
            continue;
        }
        std::printf("%s/%s = %s\n", change->groupName.c_str(), change->name.c_str(),
                    change->available ? change->value.c_str() : "(withdrawn)");
        std::fflush(stdout);
        ++printed;
    }
    return 0;
}
