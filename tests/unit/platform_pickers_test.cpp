
#include "data/json_value.h"
#include "platform/platform_win32.h"
#include "session_test.h"
#include "win32/com.h"
#include "win32/file.h"

namespace {

using tests::Lines;

// The cookie and the JSON, without its layout.
class Receiver final : public dockset::PlatformResultReceiver {
public:
    void onResult(std::uint64_t cookie, data::Value result) override {
        told += std::to_string(cookie) + tests::textOf(data::toJsonBytes(result));
        std::erase_if(told, [](char c) { return std::isspace(c) != 0; });
    }
    std::string told;
};

class PlatformPickersTest : public tests::SessionTest {
protected:
    PlatformPickersTest() {
        win32::script::answerFileChooser([this](const std::string& question) {
            asked_ = question;
            return choice_;
        });
        log_.take();
    }
    std::string told() { return std::exchange(receiver_->told, {}); }

    dockset::PlatformWin32 platform_{nullptr};
    const std::shared_ptr<Receiver> receiver_ = std::make_shared<Receiver>();
    std::string asked_;
    std::string choice_;
};

TEST_F(PlatformPickersTest, PicksFiles) {
    choice_ = "C:";
    EXPECT_TRUE(platform_.browseFile(false, {}, receiver_, 7));
    EXPECT_EQ(asked_, "Select file|" + (session_.path() / "home/Documents").string() + "|||open");
    EXPECT_EQ(told(), "7{\"hasFilePath\":true,\"pathBytes\":\"43003a00\"}");
    dockset::FileDialogRequest request;
    request.initialDirectory = W("/no such directory");
    request.defaultExtension = W("dbk");
    EXPECT_TRUE(platform_.browseFile(true, request, receiver_, 7));
    EXPECT_EQ(asked_, "Save file||File|*.dbk|save");
    EXPECT_EQ(told(), "7{\"hasFilePath\":true,\"pathBytes\":\"43003a002e00640062006b00\"}");
    EXPECT_EQ(win32::script::calls("GetSaveFileNameW"), Lines{std::to_string(0x2080806)});
    EXPECT_EQ(win32::script::calls("GetOpenFileNameW"), Lines{std::to_string(0x2081000)});
    const auto backups = session_.path() / "home/Documents/Tavrin/Tavrin PC Dockset/Phone backups";
    platform_.browseBackupFile(0, W("dbk"), receiver_, 7);
    EXPECT_EQ(asked_, "Select a PC Dockset backup (.dbk) file||PC Dockset backup (.dbk)|*.dbk|open");
    boost::filesystem::create_directories(backups);
    platform_.browseBackupFile(0, W("old"), receiver_, 7);
    EXPECT_EQ(asked_, "Select a PC Dockset backup (.dbk) file|" + backups.string() + "|File|*.old|open");
}

TEST_F(PlatformPickersTest, PicksFolders) {
    const auto pick = [&](const std::string& start, std::uint32_t purpose) {
        EXPECT_TRUE(platform_.browseFolder(base::widen(start), receiver_, 9, purpose, "state"));
        return told();
    };
    EXPECT_EQ(pick("/tmp", 0), "9{\"hasDirPath\":false,\"returnToState\":\"state\"}");
    EXPECT_EQ(asked_, "Select an iTunes backup location|/tmp|||open folder");
    EXPECT_EQ(win32::script::calls("IFileOpenDialog::SetOptions"), Lines{std::to_string(0x2010860)});
    pick("/none", 1);
    EXPECT_EQ(asked_, "Select export folder||||open folder");
    pick("", 2);
    EXPECT_EQ(asked_, "||||open folder");
    choice_ = "/" + std::string(300, 'x');
    EXPECT_EQ(pick("", 2).size(), std::string("9{\"hasDirPath\":true,\"pathBytes\":\"\"}").size() + 259U * 4);
    for (const char* const operation : {"CoCreateInstance", "IFileOpenDialog::SetOptions", "IFileOpenDialog::Show",
                                        "IFileOpenDialog::GetResult", "IShellItem::GetDisplayName"}) {
        win32::script::failNext(operation, static_cast<DWORD>(E_FAIL));
        EXPECT_EQ(pick("", 0), "9{\"hasDirPath\":false}") << operation;
    }
}

TEST_F(PlatformPickersTest, PicksTheMusicFolder) {
    boost::filesystem::create_directories(session_.path() / "home/Music");
    choice_ = "/music";
    WideString path;
    EXPECT_TRUE(platform_.browseMusicFolder(path));
    EXPECT_EQ(path, W("/music"));
    EXPECT_EQ(asked_, "|" + (session_.path() / "home/Music").string() + "|||open folder");
    struct Row {
        const char* operation;
        const char* line;
        bool goesOn;
        unsigned after;
    };
    for (const auto& [operation, line, goesOn, after] : {
             Row{"CoCreateInstance", "Mediasession Failed to create file open dialog", false, 0},
             Row{"IFileOpenDialog::GetOptions", "Mediasession Failed to get existing options.", false, 0},
             Row{"IFileOpenDialog::SetOptions", "Mediasession Failed to set options.", false, 0},
             Row{"CoCreateInstance", "Mediaaccess Failed to create folder manager", true, 1},
             Row{"IKnownFolderManager::GetFolder", "Mediasession Failed to get music folder", true, 0},
             Row{"IKnownFolder::GetShellItem", "Mediasession Failed to get shell item", true, 0},
             Row{"IFileOpenDialog::SetDefaultFolder", "Mediasession Failed to set default folder", true, 0},
             Row{"IFileOpenDialog::Show", "Mediasession Failed to show dialog, 80004005", false, 0},
             Row{"IFileOpenDialog::GetResult", "Mediasession Failed to get dialog result.", false, 0},
             Row{"IShellItem::GetDisplayName", "Mediasession Failed to get path from dialog result.", false, 1},
         }) {
        win32::script::failNext(operation, static_cast<DWORD>(E_FAIL), after);
        log_.take();
        EXPECT_EQ(platform_.browseMusicFolder(path), goesOn) << operation;
        EXPECT_EQ(log_.take(), Lines{line});
    }
    choice_.clear();
    EXPECT_FALSE(platform_.browseMusicFolder(path));
    EXPECT_EQ(log_.take(), Lines{"Mediasession Failed to show dialog, 800704c7"});
}

TEST_F(PlatformPickersTest, ChecksPermissions) {
    EXPECT_TRUE(platform_.checkPermissions(0, 0, W("/none"), receiver_, 3));
    EXPECT_EQ(told(),
              "3{\"checkPermissions\":{\"hasPermission\":true,\"permissionsMode\":\"ok\"},\"resultCode\":0,"
              "\"type\":\"checkPermissions\"}");
    for (const WCHAR* const path : {W(""), W("/tmp"), W("/none")}) {
        EXPECT_TRUE(platform_.checkPermissions(0, 0, path, nullptr, 3));
    }
    EXPECT_EQ(log_.take(), Lines{"PERMISSIONS Cannot access directory /none"});
}

TEST_F(PlatformPickersTest, ReportsWhatFailsOfTheDisks) {
    win32::script::failNext("CreateFileW", ERROR_DISK_FULL, 1);
    win32::script::failNext("GetVolumePathNameW", ERROR_ACCESS_DENIED);
    win32::script::failNext("GlobalMemoryStatusEx", ERROR_NOT_SUPPORTED);
    win32::script::failNext("GetDiskFreeSpaceExW", ERROR_ACCESS_DENIED, 2);
    dockset::StorageInfo info{};
    platform_.getStorageInfo(info);
    EXPECT_TRUE(info.writable[0] && !info.writable[1] && info.freeBytes[1] > 0);
    EXPECT_TRUE(info.volumePathFailed[1] && info.volumePathError[1] == 5 && info.volumeInfoError[1] == 3);
    EXPECT_TRUE(info.freeSpaceFailed[2] && info.freeSpaceError[2] == 5 && info.volumeFound[2]);
    EXPECT_NE(info.driveType[2], DRIVE_NO_ROOT_DIR);
    EXPECT_EQ(info.memoryError, DWORD{ERROR_NOT_SUPPORTED});
    EXPECT_EQ(log_.take(),
              (Lines{"STORAGEINFO CreateFile failed with 112", "STORAGEINFO GetDiskFreeSpaceExW failed with 5",
                     "STORAGEINFO GetVolumePathName failed with 5", "STORAGEINFO GetVolumeInformation failed with 3"}));

    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    win32::script::failNext("SHGetKnownFolderPath", static_cast<DWORD>(E_FAIL));
    info = {};
    platform_.getStorageInfo(info);
    EXPECT_EQ(std::string(info.documentsPath), (session_.path() / "home/Documents").string());
    EXPECT_TRUE(info.documentsIdListed && info.folderIdsCount == 8);
    EXPECT_TRUE(info.extraDocuments.present) << info.extraDocuments.volumePathError;
}

}  // namespace
