// Stands in front of the C library: the look-up of the names under ".slow" never ends.
#include <dlfcn.h>
#include <netdb.h>
#include <unistd.h>

#include <string_view>

extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* name,
                                                                  const char* service,
                                                                  const addrinfo* hints,
                                                                  addrinfo** list) {
    while (name != nullptr && std::string_view(name).ends_with(".slow")) {
        pause();
    }
    const auto next = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    return next(name, service, hints, list);
}
