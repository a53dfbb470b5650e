// The file of a hive: what was read from any text is written so that it reads back the same.
#include "fuzz.h"
#include "linux/registry/registry_text.h"

FUZZ_TARGET(registry) {
    win32::RegistryContent content;
    if (!win32::parseHive(std::string(fuzz::textOf(input)), content)) {
        fuzz::require(content.empty(), "what isn't understood holds nothing");
        return;
    }
    for (const auto& [folded, key] : content) {
        fuzz::require(folded == win32::foldName(key.path), "a key is known by its folded name");
        for (const auto& [foldedName, value] : key.values) {
            fuzz::require(foldedName == win32::foldName(value.name), "so is a value");
        }
    }
    win32::RegistryContent again;
    fuzz::require(win32::parseHive(win32::hiveText(content), again) && again == content,
                  "written and read is the same");
}
