#pragma once

#include <unistd.h>

#include <filesystem>

#include "engine/pending_records.h"
#include "engine/property_engine.h"
#include "engine/record_texts.h"
#include "platform/platform.h"
#include "property/property_factories.h"
#include "sample_messages.h"
#include "store/property_hub_store.h"
#include "support/loop_stream.h"
#include "wire/vocabulary/groups.h"
#include "wire/vocabulary/hub_properties.h"

namespace vantry::bench {

using test::LoopStream;

/// An engine with its store in a temporary directory, which the destructor removes.
struct Engine {
    Engine() {
        std::filesystem::create_directories(directory);
        store = std::make_shared<PropertyHubStore>(
            platform, reaper, PropertyStoreSettings{u"/P.ini", u"/O.ini", 251, 253});
        const auto component = MakeStringProperty(
            "Vantry", IdentityOf(HubProperties::kOwnComponent, Groups::kComponents));
        engine = std::make_shared<PropertyEngine>(store, reaper, 249, component, platform);
        engine->SetSelf(engine);
        store->AttachEngine(engine);
    }
    ~Engine() {
        engine.reset();
        store.reset();
        std::filesystem::remove_all(directory);
    }

    std::filesystem::path directory =
        std::filesystem::temp_directory_path() / ("vantry-bench-" + std::to_string(getpid()));
    Platform platform{directory};
    ThreadReaper reaper{253};
    std::shared_ptr<PropertyHubStore> store;
    std::shared_ptr<PropertyEngine> engine;
};

/// The records of changed properties of a component.
struct SampleChanges {
    explicit SampleChanges(int count) {
        for (int number = 0; number < count; ++number) {
            const PropertyResponse sample = SampleResponse(number);
            const auto property = std::make_shared<RemoteProperty>(
                RecordView{sample.component, sample.componentString, sample.groupGuid, sample.guid,
                           sample.groupString, sample.nameString, sample.status, sample.value},
                std::make_shared<LoopStream>(), true);
            records.push_back({RecordTextOf(*property, OwnerOf(*property)), property->component,
                               true, false, property});
            properties.push_back(property);
        }
    }

    std::vector<PendingRecord> records;
    std::vector<std::shared_ptr<RemoteProperty>> properties;
};

}  // namespace vantry::bench
