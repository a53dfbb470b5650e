// What goes in and out of the dialogs in which the user picks a file or a folder.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "data/value.h"
#include "win32/types.h"

namespace dockset {

// Gets a dialog's result, with the cookie that the dialog was given, on the thread that asked for the dialog. A path is
// the text "pathBytes": its UTF-16 code units as bytes in memory order, two lower-case hexadecimal digits a byte.
class PlatformResultReceiver {
public:
    PlatformResultReceiver() = default;
    PlatformResultReceiver(const PlatformResultReceiver&) = delete;
    PlatformResultReceiver& operator=(const PlatformResultReceiver&) = delete;

    virtual void onResult(std::uint64_t cookie, data::Value result) = 0;

    virtual ~PlatformResultReceiver() = default;
};
using PlatformResultHandler = std::shared_ptr<PlatformResultReceiver>;

// The keys are those of the language's texts; where there is none, an English text stands.
struct FileDialogRequest {
    std::string filterNameKey;  // what files of the type are called
    std::string titleKey;
    WideString initialDirectory;  // empty: the Documents directory
    std::string unread;           // between the caller and its own layer of messages
    WideString defaultExtension;  // without a point; it is the filter, too, unless it is empty
};

}  // namespace dockset
