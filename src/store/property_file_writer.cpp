#include "store/property_file_writer.h"

#include "property/property_factories.h"
#include "wire/key/property_key.h"

namespace vantry {
namespace {

std::u16string BackupOf(std::u16string_view path) { return std::u16string(path) + u".bak"; }

}  // namespace

bool PropertyFileWriter::Load(const PropertyCatalog& catalog, std::u16string_view filePath,
                              std::u16string_view overridePath) {
    StoredLines main;
    {
        // The writing thread may be at work on the file that is read and copied here.
        ScopedLock guard(lines.FilesLock());
        if (!ReadMainFile(filePath, main)) {
            // Nothing in it can be told from damage, and a bad line would spoil every later load.
            lines.StartAnew(filePath);
            return false;
        }
        ApplyOverride(filePath, overridePath, main);
        files.Copy(filePath, BackupOf(filePath));
    }
    Distribute(catalog, main);
    return true;
}

bool PropertyFileWriter::ReadMainFile(std::u16string_view filePath, StoredLines& main) {
    if (ReadPropertyFile(files.PathOf(filePath), main)) {
        return true;
    }
    files.Copy(BackupOf(filePath), filePath);
    return ReadPropertyFile(files.PathOf(filePath), main);
}

void PropertyFileWriter::ApplyOverride(std::u16string_view filePath,
                                       std::u16string_view overridePath, StoredLines& main) {
    StoredLines overrides;
    if (!files.Exists(overridePath) || !ReadPropertyFile(files.PathOf(overridePath), overrides)) {
        return;
    }
    for (const auto& [key, entry] : overrides) {
        if (const auto line = main.find(key); line != main.end()) {
            lines.Queue(entry.prefix, entry.value, filePath);
            line->second.value = entry.value;
        }
    }
    files.Delete(overridePath);
}

void PropertyFileWriter::Distribute(const PropertyCatalog& catalog, const StoredLines& main) {
    for (const auto& [key, entry] : main) {
        if (const std::shared_ptr<Property> property = catalog.FindByKey(key)) {
            // A text that the property can't take leaves its value, which is all that can be done.
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

void PropertyFileWriter::SaveProperty(const Property& property, std::u16string_view path) {
    const std::string prefix =
        PropertyCatalog::KeyOf(property) + "|" + property.Group() + ":" + property.Name();
    std::string value;
    property.GetPublishedText(value);
    lines.Queue(prefix, value, path);
}

}  // namespace vantry
