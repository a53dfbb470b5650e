// The process's settings: the user's, which are shared with the main application through app_settings.json, and the
// configuration.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include <boost/filesystem/path.hpp>

#include "data/value.h"

namespace dockset {

// Either program may write the settings file while the other runs, so every read goes back to the disk, and every
// access to the file is made under a mutex with a system-wide name. All operations may be called from any thread; what
// they return is the caller's own copy.
class AppSettings {
public:
    // The one object of the process, made at the first call and kept until the process ends.
    static std::shared_ptr<AppSettings> instance();

    // Reads all files, completes what is missing, writes the settings back and brings the autostart entry in line with
    // them. No failure leaves here: what can't be read has its default.
    AppSettings();
    AppSettings(const AppSettings&) = delete;
    AppSettings& operator=(const AppSettings&) = delete;
    ~AppSettings() = default;

    // The user's settings, loaded anew from the disk.
    data::Value settings();

    // The configuration as it was when the object was made; Null if there was none.
    data::Value config() const;

    // An Object with the configured `server` of the update check, if there is one; Null without that section.
    data::Value autoUpdateConfig() const;

    // The user's proxy as an Object of texts: `address`, `port`, `userName`, `password`, `autoConfigScript`. Sets
    // `mode` to "none", "manual" or "auto".
    data::Value proxySettings(std::string& mode);

private:
    void load();
    void save();

    mutable std::mutex mutex_;  // guards the three trees
    const boost::filesystem::path settingsPath_;
    const boost::filesystem::path configPath_;
    const boost::filesystem::path proSettingsPath_;
    data::Value proSettings_;
    data::Value config_;
    data::Value settings_;
};

}  // namespace dockset
