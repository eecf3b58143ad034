// Registering, saving and removing properties.
//
// RegisterProperty runs as a whole with registeredLock held: it claims the stored value, assigns
// it, adds the callback that saves later changes, and adds the property to the catalog. The order
// matters: the callback is added after the stored value was assigned, so that restoring a value
// doesn't save it again. The constructor loads the files before it registers anything, so that
// every registration finds its stored value.
//
// Three locks are entered in this order: registeredLock, that of the catalog, and that of the
// loaded values in PropertyFileWriter. LoadFiles holds the lock of the catalog for the whole load,
// so that no property is added or removed meanwhile.
//
// Properties are removed on a thread of their own, because the caller may hold locks.

#include "store/property_store.h"

#include <algorithm>
#include <utility>

#include "platform/wide_text.h"
#include "property/property_factories.h"
#include "wire/vocabulary/groups.h"
#include "wire/vocabulary/hub_properties.h"

namespace vantry {
namespace {

constexpr std::uint32_t kQueued = 1;
constexpr std::uint32_t kStop = 2;

}  // namespace

PropertyStore::PropertyStore(Platform& hubPlatform, ThreadReaper& reaper,
                             PropertyStoreSettings names)
    : platform(hubPlatform),
      settings(std::move(names)),
      removalThread(reaper.MakeThread(
          [](void* self) -> std::uint32_t {
              static_cast<PropertyStore*>(self)->RunRemovals();
              return 0;
          },
          settings.removalPriority, "removal")),
      writer(platform, reaper, settings.writerPriority,
             {settings.filePath, settings.overridePath}) {
    MakeOwnProperties();
    TellIfUnwritable();
}

PropertyStore::~PropertyStore() {
    removalSignal.Set(kStop);
    removalThread->Stop();
}

void PropertyStore::MakeOwnProperties() {
    loadTrigger =
        MakeTriggerProperty(false, IdentityOf(HubProperties::kLoadProperties, Groups::kGeneral));
    storeTrigger =
        MakeTriggerProperty(false, IdentityOf(HubProperties::kStoreProperties, Groups::kGeneral));
    loadError =
        MakeBoolProperty(true, IdentityOf(HubProperties::kPropertyLoadingError, Groups::kError));
    const std::shared_ptr<StringProperty> fileName =
        MakeStringProperty(NarrowText(settings.filePath),
                           IdentityOf(HubProperties::kNameOfPropertyFile, Groups::kGeneral));
    const std::shared_ptr<StringProperty> overrideName = MakeStringProperty(
        NarrowText(settings.overridePath),
        IdentityOf(HubProperties::kNameOfPropertyOverrideFile, Groups::kGeneral));
    static_cast<void>(LoadFiles());
    RegisterProperty(fileName);
    RegisterProperty(overrideName);
    PropertyCatalog::AddProperty(storeTrigger);
    PropertyCatalog::AddProperty(loadError);
    loadTrigger->AddChangedCallback(
        [this](const std::shared_ptr<Property>&) { loadTrigger->ReportResult(LoadFiles()); });
    storeTrigger->AddChangedCallback([this](const std::shared_ptr<Property>&) {
        SaveAll();
        storeTrigger->ReportResult(true);
    });
}

void PropertyStore::TellIfUnwritable() {
    const FileResult writable = platform.files->CanWrite(settings.filePath);
    if (!writable) {
        platform.notices.Tell(platform.files->ShownDirectory(settings.filePath) +
                              " can't be written (" + writable.Reason() +
                              "); changed values are kept in memory until it can");
    }
}

bool PropertyStore::LoadFiles() {
    ScopedLock guard(EntriesLock());
    const bool loaded = writer.Load(*this);
    loadError->SetValue(!loaded);
    return loaded;
}

void PropertyStore::SaveAll() {
    ScopedLock guard(registeredLock);
    for (const std::shared_ptr<Property>& property : registered) {
        writer.SaveProperty(*property);
    }
}

void PropertyStore::RegisterProperty(const std::shared_ptr<Property>& property) {
    ScopedLock guard(registeredLock);
    const bool isKnown = std::any_of(registered.begin(), registered.end(), [&](const auto& other) {
        return other->Guid() == property->Guid() && other->GroupGuid() == property->GroupGuid();
    });
    if (isKnown) {
        return;
    }
    if (const std::shared_ptr<StringProperty> stored = writer.ClaimValue(KeyOf(*property))) {
        std::string text;
        stored->GetText(text);
        // A text that the property rejects leaves its default value.
        static_cast<void>(property->SetTextQuietly(text));
    }
    property->AddChangedCallback([this](const std::shared_ptr<Property>& changed) {
        ScopedLock saving(registeredLock);
        writer.SaveProperty(*changed);
    });
    registered.push_back(property);
    AddProperty(property);
}

void PropertyStore::RemoveProperty(const std::shared_ptr<Property>& property,
                                   std::shared_ptr<Event> done) {
    if (!property) {
        return;
    }
    {
        ScopedLock guard(removalsLock);
        removals.push_back({KeyOf(*property), std::move(done)});
    }
    removalSignal.Set(kQueued);
}

void PropertyStore::StartRemovals() {
    // Without a thread, removed properties stay in the catalog, which is harmless.
    static_cast<void>(removalThread->Start(this));
}

void PropertyStore::RunRemovals() {
    while ((removalSignal.WaitAny(kQueued | kStop) & kStop) == 0) {
        RemoveQueued();
    }
}

void PropertyStore::RemoveQueued() {
    ScopedLock guard(removalsLock);
    for (; !removals.empty(); removals.pop_front()) {
        RemoveByKey(removals.front().key);
        if (removals.front().done) {
            removals.front().done->Set();
        }
    }
}

}  // namespace vantry
