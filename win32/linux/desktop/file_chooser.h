// The desktop's own dialog for files and folders, by its portal (org.freedesktop.portal.FileChooser).
#pragma once

#include <string>

#include "linux/desktop/portal_answer.h"
#include "win32/window.h"

namespace win32 {

struct FileDialogRequest {
    std::string title;
    HWND owner = nullptr;
    std::string folder{};  // where the dialog begins; empty: where it likes
    bool saves = false;
    bool picksFolder = false;
    std::string filterName{};  // what files of the pattern are called
    std::string pattern{};     // "*.txt"; empty: all files
};

// Asks, and waits for the answer over a bus connection of its own. Failed if there is no portal, or it goes. Any
// thread.
FileDialogResult runFileDialog(const FileDialogRequest& question);

}  // namespace win32
