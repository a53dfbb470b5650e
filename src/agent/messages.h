// The agent's visible texts.
#pragma once

#include <boost/filesystem/path.hpp>

#include "data/value.h"
#include "win32/types.h"

namespace agent {

// English, until they are overlaid by a message file. Changed only while loading, before anyone reads them.
struct Messages {
    WideString updateAvailableHeader = W("Zelmo Dockset update available");
    WideString updateAvailableText = W("Click to download");
    WideString updateDownloadedHeader = W("Zelmo Dockset update downloaded");
    WideString updateDownloadedText = W("Click to install");
    WideString downloadUpdate = W("Download update");
    WideString installUpdate = W("Install update");
    WideString launch = W("Launch");
    WideString close = W("Close");
    WideString statusUpToDate = W("Zelmo Dockset is up to date.");
    WideString statusUpdateAvailable = W("There is an update available for Zelmo Dockset.");
    WideString statusDownloading = W("Downloading update...");
    WideString statusDownloaded = W("Update downloaded.");
};

// Overlays what the XML file names: `string` elements with an attribute `name` below a root `resources`, two at least.
// False, with a line in the log, if the file gives no such list.
bool loadMessages(Messages& messages, const boost::filesystem::path& path);
// The same from a document that was read.
bool takeMessages(Messages& messages, const data::Value& document);

// The same from the file that the installation has for the user's preferred language.
bool loadLocalizedMessages(Messages& messages);

}  // namespace agent
