#include "agent/messages.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/directories.h"
#include "base/language.h"
#include "base/log.h"
#include "base/log_receiver.h"
#include "base/paths.h"
#include "base/text.h"
#include "base/utf8.h"
#include "data/whole_file.h"
#include "win32/system.h"

namespace agent {

using data::Value;

namespace {

std::map<std::string_view, WideString*> fieldsByKey(Messages& messages) {
    return {
        {"zdagent_update_available_header", &messages.updateAvailableHeader},
        {"zdagent_update_available_text", &messages.updateAvailableText},
        {"zdagent_update_downloaded_header", &messages.updateDownloadedHeader},
        {"zdagent_update_downloaded_text", &messages.updateDownloadedText},
        {"zdagent_download_update", &messages.downloadUpdate},
        {"zdagent_install_update", &messages.installUpdate},
        {"zdagent_launch", &messages.launch},
        {"zdagent_close", &messages.close},
        {"zdagent_status_up_to_date", &messages.statusUpToDate},
        {"zdagent_status_update_available", &messages.statusUpdateAvailable},
        {"zdagent_status_downloading", &messages.statusDownloading},
        {"zdagent_status_downloaded", &messages.statusDownloaded},
    };
}

// Empty for what isn't valid UTF-8.
WideString wideText(std::string_view text) {
    text = text.substr(0, text.find('\0'));
    return base::isUtf8(text) ? base::widen(text) : WideString();
}

std::optional<std::vector<std::string>> preferredLanguages() {
    ULONG count = 0;
    ULONG size = 0;
    if (GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, nullptr, &size) == FALSE) {
        return std::nullopt;
    }
    std::vector<WCHAR> names(size + 1);
    if (GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, names.data(), &size) == FALSE) {
        return std::nullopt;
    }
    std::vector<std::string> languages;
    const WCHAR* next = names.data();
    for (ULONG i = 0; i < count && *next != 0; ++i) {
        const base::WideView name(next);
        languages.push_back(base::narrow(name));
        next += name.size() + 1;
    }
    return languages;
}

}  // namespace

bool loadMessages(Messages& messages, const boost::filesystem::path& path) {
    return takeMessages(messages, data::readXmlFile(base::widePath(path)));
}

bool takeMessages(Messages& messages, const Value& document) {
    if (!document.isObject()) {
        base::logMessage("agent", "Failed to load localization xml");
        return false;
    }
    const Value& list = document.find("resources", "string");
    if (list.type != data::ValueType::Array) {
        base::logMessage("agent", "Failed to read localization xml");
        return false;
    }
    const auto fields = fieldsByKey(messages);
    for (const Value& item : list.items) {
        if (!item.isString()) {
            base::logMessage("agent", "Found badly formated loc string");
            continue;
        }
        const auto name = item.attributes->find("name");
        const auto field = name == item.attributes->end() ? fields.end() : fields.find(name->second);
        if (field != fields.end()) {
            *field->second = wideText(item.text);
        }
    }
    return true;
}

bool loadLocalizedMessages(Messages& messages) {
    const auto languages = preferredLanguages();
    if (!languages) {
        base::logLine("Failed to get user's preferred UI languages");
        return false;
    }
    const std::string name = "agent-" + base::pickSupportedLanguage(*languages) + ".xml";
    base::logLine("getting messages from ", name);
    if (!loadMessages(messages, base::applicationDirectory(base::Resources) / "locales" / name)) {
        base::logLine("Failed to load localized messages");
        return false;
    }
    return true;
}

}  // namespace agent
