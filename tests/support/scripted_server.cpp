#include "support/scripted_server.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <utility>

namespace vantry::test {

ScriptedServer::ScriptedServer(std::function<void(FrameClient&)> whatToDo)
    : script(std::move(whatToDo)), listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    EXPECT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), size), 0);
    EXPECT_EQ(listen(listener, 16), 0);
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
    port = ntohs(address.sin_port);
    accepting = std::thread([this] { Accept(); });
}

ScriptedServer::~ScriptedServer() {
    shutdown(listener, SHUT_RDWR);
    accepting.join();
    for (std::thread& one : scripts) {
        one.join();
    }
    close(listener);
}

void ScriptedServer::Accept() {
    for (int peer = accept(listener, nullptr, nullptr); peer >= 0;
         peer = accept(listener, nullptr, nullptr)) {
        scripts.emplace_back([this, peer] {
            FrameClient connection = FrameClient::On(peer);
            script(connection);
        });
    }
}

}  // namespace vantry::test
