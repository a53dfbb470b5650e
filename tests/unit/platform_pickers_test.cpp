
#include "data/json_value.h"
#include "platform/platform_win32.h"
#include "session_test.h"

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
    for (const char* const operation : {"CoCreateInstance", "IFileOpenDialog::Show", "IShellItem::GetDisplayName"}) {
        win32::script::failNext(operation, static_cast<DWORD>(E_FAIL));
        EXPECT_EQ(pick("", 0), "9{\"hasDirPath\":false}") << operation;
    }
}

TEST_F(PlatformPickersTest, PicksTheMusicFolderAlsoWithoutAPlaceToBegin) {
    choice_ = "/music";
    for (const auto& [operation, line] :
         {std::pair{"IKnownFolderManager::GetFolder", "Mediasession Failed to get music folder"},
          {"IKnownFolder::GetShellItem", "Mediasession Failed to get shell item"}}) {
        win32::script::failNext(operation, static_cast<DWORD>(E_FAIL));
        WideString path;
        EXPECT_TRUE(platform_.browseMusicFolder(path));
        EXPECT_EQ(path, W("/music"));
        EXPECT_EQ(log_.take(), Lines{line});
    }
    win32::script::failNext("CoCreateInstance", static_cast<DWORD>(E_FAIL), 1);
    WideString path;
    EXPECT_TRUE(platform_.browseMusicFolder(path));
    EXPECT_EQ(log_.take(), Lines{"Mediaaccess Failed to create folder manager"});
}

}  // namespace
