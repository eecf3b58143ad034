#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "property/property_factories.h"
#include "runtime/thread_reaper.h"
#include "store/format/property_text.h"
#include "store/property_store.h"
#include "support/eventually.h"
#include "support/faulty_file_system.h"
#include "support/test_platform.h"
#include "wire/vocabulary/groups.h"
#include "wire/vocabulary/hub_properties.h"

namespace vantry::test {

inline std::string TextOf(const Property& property) {
    std::string text;
    property.GetText(text);
    return text;
}

inline constexpr char16_t kFile[] = u"/Store/P.ini";
inline constexpr char16_t kBackup[] = u"/Store/P.ini.bak";
inline constexpr char16_t kOverride[] = u"/Store/O.ini";

/// Has a property store on a disk that can fail.
class Store : public testing::Test {
protected:
    Store() {
        platform.platform.files = disk;
        platform.platform.notices.SetSink([](std::string_view) {});
    }

    /// Starts the store again, as a restart of the hub does.
    void Restart() {
        store.reset();
        store.emplace(platform.platform, reaper, PropertyStoreSettings{kFile, kOverride, 251, 253});
    }
    std::shared_ptr<UInt32Property> Register(const std::string& guid, std::uint32_t initial) {
        auto property = MakeUInt32Property(initial, {guid, "Name", "G", "Group"});
        store->RegisterProperty(property);
        return property;
    }
    void PutLines(const std::u16string& name, const std::string& text) const {
        disk->Put(name, MakePropertyContent(text));
    }
    /// Waits until the file is good and has these lines, in this order.
    bool FileBecomes(const std::string& text) const {
        const bool became =
            Eventually([&] { return disk->Content(kFile) == MakePropertyContent(text); });
        if (!became) {
            ADD_FAILURE() << disk->Content(kFile);
        }
        return became;
    }
    bool LoadingFailed() const {
        return TextOf(*store->FindProperty(HubProperties::kPropertyLoadingError.guid,
                                           Groups::kError.guid)) == "True";
    }

    TestPlatform platform;
    const std::shared_ptr<FaultyFileSystem> disk = std::make_shared<FaultyFileSystem>();
    ThreadReaper reaper{253};
    std::optional<PropertyStore> store;
};

}  // namespace vantry::test
