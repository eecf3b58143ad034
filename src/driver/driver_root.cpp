// How the hub is put together.
//
// The order of the constructor is fixed by what each part needs from those before it: properties
// that are registered with the store get their saved values there, the engine needs the hub's own
// component, and the links come last, so that no session exists before everything that it uses.
// Debug zones are registered at the very end. The destructor is the compiler's: releasing the
// acceptors and the manager ends the sessions, then the engine, the log and the store stop their
// threads.

#include "driver/driver_root.h"

#include "driver/product_info.h"
#include "platform/platform.h"
#include "property/debug_zones.h"
#include "property/property_factories.h"
#include "runtime/hub_port.h"
#include "transport/bluetooth/bluetooth_listener.h"
#include "transport/device/device_stream.h"
#include "transport/session/framed_json_handler.h"
#include "wire/property_message.h"
#include "wire/vocabulary/groups.h"
#include "wire/vocabulary/hub_properties.h"

namespace vantry {
namespace {

// Priorities of threads, see Thread::SetPriority.
constexpr std::uint32_t kReaperPriority = 253;
constexpr std::uint32_t kRemovalPriority = 251;
constexpr std::uint32_t kFileWriterPriority = 253;
constexpr std::uint32_t kErrorLogPriority = 253;
constexpr std::uint32_t kEnginePriority = 249;
constexpr std::uint32_t kSessionPriority = 249;

constexpr std::uint32_t kDefaultTxTimeout = 35000;
constexpr std::int32_t kTcpBacklog = 10;
constexpr char16_t kLocalDevice[] = u"PRN1:";

}  // namespace

DriverRoot::DriverRoot(const std::u16string& propertyFile, const std::u16string& overrideFile,
                       const std::u16string& errorLogFile, const std::string& osVersion,
                       const std::string& osBuildNumber) {
    Platform& platform = Platform::Current();
    threadReaper = std::make_shared<ThreadReaper>(kReaperPriority);
    socketLayer = std::make_shared<SocketLayer>(platform);
    bluetoothLayer = std::make_shared<BluetoothLayer>(platform);
    store = std::make_shared<PropertyHubStore>(
        platform, *threadReaper,
        PropertyStoreSettings{propertyFile, overrideFile, kRemovalPriority, kFileWriterPriority});
    usbLayer = std::make_shared<UsbLayer>(platform, MakeTxTimeout());
    const std::shared_ptr<Property> component = MakeOwnComponent();
    errorLog = std::make_shared<ErrorLog>(*store, platform, *threadReaper, kErrorLogPriority,
                                          errorLogFile, HubProperties::kErrorLogFileName);
    StartEngine(component);
    StartLinks();
    localSessions =
        std::make_shared<LocalSessionTable>(platform.accounting->Bounds(), platform.notices);
    StartLoopback(osVersion, osBuildNumber);
    RegisterDebugZones(
        [this](const std::shared_ptr<Property>& zone) { store->RegisterProperty(zone); });
}

std::shared_ptr<Property> DriverRoot::MakeTxTimeout() {
    const std::shared_ptr<UInt32Property> timeout = MakeUInt32Property(
        kDefaultTxTimeout, IdentityOf(HubProperties::kUsbPrnTxTimeout, Groups::kGeneral));
    store->RegisterProperty(timeout);
    return timeout;
}

std::shared_ptr<Property> DriverRoot::MakeOwnComponent() {
    const NamedGuid& name = HubProperties::kOwnComponent;
    const std::shared_ptr<StringProperty> component =
        MakeStringProperty(std::string(name.name), IdentityOf(name, Groups::kComponents));
    store->RegisterProperty(component);
    return component;
}

void DriverRoot::StartEngine(const std::shared_ptr<Property>& component) {
    engine = std::make_shared<PropertyEngine>(store, *threadReaper, kEnginePriority, component,
                                              Platform::Current());
    engine->SetSelf(engine);
    store->AttachEngine(engine);
    store->StartRemovals();
    dataHandlers = std::make_shared<DataHandlerManager>(
        engine, threadReaper, errorLog, kSessionPriority, Platform::Current().status);
}

void DriverRoot::StartLinks() {
    // A session without a handler would drop its peer's first message.
    dataHandlers->AddHandler(std::make_unique<FramedJsonHandler>());
    tcpAcceptor = std::make_shared<Acceptor>(socketLayer->MakeListener(kHubPort, kTcpBacklog),
                                             dataHandlers, *threadReaper);
    usbAcceptor = std::make_shared<Acceptor>(usbLayer->MakeListener(), dataHandlers, *threadReaper);
    bluetoothAcceptor = std::make_shared<Acceptor>(
        bluetoothLayer->MakeListener(BluetoothListener::kHubChannel), dataHandlers, *threadReaper);
}

void DriverRoot::StartLoopback(const std::string& osVersion, const std::string& osBuildNumber) {
    const auto loopback = std::make_shared<DeviceStream>(Platform::Current().devices, kLocalDevice);
    PropertyMessage subscribeAll;
    subscribeAll.EncodeSubscribeAll();
    // If the device can't be opened yet, the session ends at its first read, which is logged.
    static_cast<void>(subscribeAll.WriteTo(*loopback));
    AddProductInfo(*store, {osVersion, osBuildNumber});
    dataHandlers->AddSession(std::make_shared<PeekStream>(loopback));
}

void DriverRoot::AddQtRuntimeInfo(const std::string& version, const std::string& buildNumber) {
    vantry::AddQtRuntimeInfo(*store, {version, buildNumber});
}

void DriverRoot::AddQtCommonInfo(const std::string& version, const std::string& buildNumber) {
    vantry::AddQtCommonInfo(*store, {version, buildNumber});
}

std::uint32_t DriverRoot::OpenLocalSession() {
    const std::uint32_t handle = localSessions->Open();
    if (const std::shared_ptr<LocalSession> session = localSessions->Find(handle)) {
        dataHandlers->AddSession(std::make_shared<PeekStream>(session->MakePeerEnd()));
    }
    return handle;
}

bool DriverRoot::ServeLocalClient(const std::shared_ptr<Stream>& client) {
    return dataHandlers->AddSession(std::make_shared<PeekStream>(client));
}

}  // namespace vantry
