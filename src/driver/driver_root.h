#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "driver/local_session_table.h"
#include "engine/property_engine.h"
#include "runtime/thread_reaper.h"
#include "store/error_log.h"
#include "store/property_hub_store.h"
#include "transport/bluetooth/bluetooth_layer.h"
#include "transport/session/acceptor.h"
#include "transport/tcp/socket_layer.h"
#include "transport/usb/usb_layer.h"

namespace vantry {

/// The hub: owns everything behind the seven exports. The constructor builds the parts in a fixed
/// order; the destructor releases them in the reverse order of the fields. It uses the platform of
/// this process.
///
/// One thread at a time runs a constructor or a destructor; any thread may call the other
/// operations. The constructor loads the property file and blocks for that. It always succeeds: a
/// file that can't be read, a port that can't be opened or a thread that can't be started disables
/// what needs it. The destructor blocks until the threads of the hub have ended or were ended by
/// force.
class DriverRoot {
public:
    DriverRoot(const std::u16string& propertyFile, const std::u16string& overrideFile,
               const std::u16string& errorLogFile, const std::string& osVersion,
               const std::string& osBuildNumber);
    DriverRoot(const DriverRoot&) = delete;
    DriverRoot& operator=(const DriverRoot&) = delete;

    /// These add the properties of a version that is known only after the hub is built. Each is
    /// called once.
    void AddQtRuntimeInfo(const std::string& version, const std::string& buildNumber);
    void AddQtCommonInfo(const std::string& version, const std::string& buildNumber);

    /// Opens a local session and serves it on a thread of its own. Returns its handle, never 0. If
    /// no thread can be started, reads from the session fail at once.
    std::uint32_t OpenLocalSession();
    LocalSessionTable& LocalSessions() const { return *localSessions; }
    /// Starts a session of an internal stream. Returns false, with the stream closed, if there is
    /// no thread for it.
    [[nodiscard]] bool ServeLocalClient(const std::shared_ptr<Stream>& client);

private:
    std::shared_ptr<Property> MakeTxTimeout();
    std::shared_ptr<Property> MakeOwnComponent();
    void StartEngine(const std::shared_ptr<Property>& component);
    void StartLinks();
    void StartLoopback(const std::string& osVersion, const std::string& osBuildNumber);

    std::shared_ptr<ThreadReaper> threadReaper;
    std::shared_ptr<SocketLayer> socketLayer;
    std::shared_ptr<UsbLayer> usbLayer;
    std::shared_ptr<PropertyHubStore> store;
    std::shared_ptr<ErrorLog> errorLog;
    std::shared_ptr<PropertyEngine> engine;
    std::shared_ptr<DataHandlerManager> dataHandlers;
    std::shared_ptr<Acceptor> tcpAcceptor;
    std::shared_ptr<LocalSessionTable> localSessions;
    std::shared_ptr<Acceptor> usbAcceptor;
    std::shared_ptr<BluetoothLayer> bluetoothLayer;
    std::shared_ptr<Acceptor> bluetoothAcceptor;
};

}  // namespace vantry
