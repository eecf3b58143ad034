#include "store/property_file_writer.h"

#include "property/property_factories.h"
#include "wire/key/property_key.h"

namespace vantry {

bool PropertyFileWriter::Load(const PropertyCatalog& catalog) {
    StoredLines stored;
    std::vector<std::string> notes;
    const bool isLoaded = file->Load(stored, notes);
    for (const std::string& note : notes) {
        notices.Tell(note);
    }
    if (!isLoaded) {
        return false;
    }
    lines.Wake();
    Distribute(catalog, stored);
    return true;
}

void PropertyFileWriter::Distribute(const PropertyCatalog& catalog, const StoredLines& stored) {
    for (const auto& [key, entry] : stored) {
        if (const std::shared_ptr<Property> property = catalog.FindByKey(key)) {
            // A text that the property rejects leaves its value unchanged.
            static_cast<void>(property->SetTextQuietly(entry.value));
            continue;
        }
        const SplitGuid split = SplitCompositeGuid(key);
        ScopedLock guard(loadedLock);
        loadedValues[key] = MakeStringProperty(
            entry.value, {std::string(split.guid), "", std::string(split.groupGuid), ""});
    }
}

std::shared_ptr<StringProperty> PropertyFileWriter::ClaimValue(const std::string& key) {
    ScopedLock guard(loadedLock);
    const auto node = loadedValues.extract(key);
    return node.empty() ? nullptr : node.mapped();
}

void PropertyFileWriter::SaveProperty(const Property& property) {
    const std::string prefix =
        PropertyCatalog::KeyOf(property) + "|" + property.Group() + ":" + property.Name();
    std::string value;
    property.GetPublishedText(value);
    lines.Queue(prefix, value);
}

}  // namespace vantry
