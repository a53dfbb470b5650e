#include "win32/shell.h"

#include <gtest/gtest.h>

#include "win32/dialog.h"
#include "win32/file.h"

namespace {

constexpr auto notThere = static_cast<HRESULT>(0x80070002U);
constexpr GUID unknown = {0x1B3C5D7E, 0, 0, {}};

class ShellItemTest : public testing::Test {
protected:
    void SetUp() override { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }  // or another test was first

    template <typename Interface>
    static Interface* create(REFCLSID classId, REFIID interfaceId) {
        void* made = nullptr;
        EXPECT_EQ(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, interfaceId, &made), S_OK);
        return static_cast<Interface*>(made);
    }

    static WideString nameOf(const WideString& path) {
        void* made = nullptr;
        EXPECT_EQ(SHCreateItemFromParsingName(path.c_str(), nullptr, IID_IShellItem, &made), S_OK);
        auto* const item = static_cast<IShellItem*>(made);
        LPWSTR name = nullptr;
        EXPECT_EQ(item->GetDisplayName(SIGDN_FILESYSPATH, &name), S_OK);
        EXPECT_EQ(item->Release(), 0U);
        const WideString copy = name;
        CoTaskMemFree(name);
        return copy;
    }
};

TEST_F(ShellItemTest, AreNamedByWholePaths) {
    WideString directory(MAX_PATH, 0);
    directory.resize(GetTempPathW(MAX_PATH, directory.data()));
    const WideString path = directory.substr(0, directory.size() - 1);
    EXPECT_EQ(nameOf(path), path);
    EXPECT_EQ(nameOf(path + W("\\")), path);
    void* item = &directory;
    EXPECT_EQ(SHCreateItemFromParsingName((path + W("\\zelmo-not-there")).c_str(), nullptr, IID_IShellItem, &item),
              notThere);
    EXPECT_EQ(item, nullptr);
    EXPECT_EQ(SHCreateItemFromParsingName(nullptr, nullptr, IID_IShellItem, &item), E_INVALIDARG);
}

TEST_F(ShellItemTest, FoldersAreKnownOrNotThere) {
    PWSTR path = nullptr;
    ASSERT_EQ(SHGetKnownFolderPath(FOLDERID_Profile, 0, nullptr, &path), S_OK);
    EXPECT_NE(*path, 0);
    CoTaskMemFree(path);
    EXPECT_EQ(SHGetKnownFolderPath(unknown, 0, nullptr, &path), notThere);
    EXPECT_EQ(path, nullptr);
    auto* const manager = create<IKnownFolderManager>(CLSID_KnownFolderManager, IID_IKnownFolderManager);
    KNOWNFOLDERID* ids = nullptr;
    UINT count = 0;
    EXPECT_EQ(manager->GetFolderIds(&ids, &count), S_OK);
    EXPECT_GE(count, 8U);
    CoTaskMemFree(ids);
    IKnownFolder* folder = nullptr;
    EXPECT_TRUE(FAILED(manager->GetFolder(unknown, &folder)));
    EXPECT_EQ(folder, nullptr);
    EXPECT_EQ(manager->Release(), 0U);
}

TEST_F(ShellItemTest, DialogBeginsWithItsOptionsAndNoResult) {
    auto* const dialog = create<IFileOpenDialog>(CLSID_FileOpenDialog, IID_IFileOpenDialog);
    FILEOPENDIALOGOPTIONS options = 0;
    constexpr FILEOPENDIALOGOPTIONS usual = FOS_PATHMUSTEXIST | FOS_FILEMUSTEXIST;
    EXPECT_EQ(dialog->GetOptions(&options), S_OK);
    EXPECT_EQ(options & (usual | FOS_PICKFOLDERS), usual);
    IShellItem* item = nullptr;
    EXPECT_TRUE(FAILED(dialog->GetResult(&item)));
    EXPECT_EQ(item, nullptr);
    dialog->Release();
}

}  // namespace
