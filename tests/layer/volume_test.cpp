// Walking directories, volumes, and names of temporary files.

#include <gtest/gtest.h>

#include <array>
#include <set>

#include "temp_directory.h"
#include "win32/file.h"
#include "win32/kernel.h"

namespace {

TEST(FindTest, ListsADirectorysOwnNamesFirst) {
    const tests::TempDirectory directory;
    directory.write("file", "12345");
    tests::files::create_directory(directory.file("folder"));
    WIN32_FIND_DATAW entry{};
    const HANDLE find = FindFirstFileW(directory.wide("*").c_str(), &entry);
    ASSERT_NE(find, INVALID_HANDLE_VALUE);
    EXPECT_EQ(WideString(entry.cFileName), W("."));
    ASSERT_NE(FindNextFileW(find, &entry), FALSE);
    EXPECT_EQ(WideString(entry.cFileName), W(".."));
    std::set<std::string> found;
    while (FindNextFileW(find, &entry) != FALSE) {
        const bool isDirectory = (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        found.insert(base::narrow(entry.cFileName) + (isDirectory ? "/" : std::to_string(entry.nFileSizeLow)));
    }
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_FILES});
    EXPECT_EQ(found, (std::set<std::string>{"file5", "folder/"}));
    EXPECT_NE(FindClose(find), FALSE);
    EXPECT_EQ(FindFirstFileW(directory.wide("none\\*").c_str(), &entry), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PATH_NOT_FOUND});
    EXPECT_EQ(FindFirstFileW(directory.wide("file\\*").c_str(), &entry), INVALID_HANDLE_VALUE);
}

TEST(FindTest, TellsAttributes) {
    const tests::TempDirectory directory;
    directory.write("file", "");
    EXPECT_EQ(GetFileAttributesW(directory.wide("none").c_str()), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(GetFileAttributesW(directory.wide("none/none").c_str()), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PATH_NOT_FOUND});
    constexpr DWORD usual = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_ARCHIVE;
    EXPECT_EQ(GetFileAttributesW(directory.wide("file").c_str()) & usual, DWORD{FILE_ATTRIBUTE_ARCHIVE});
    EXPECT_NE(GetFileAttributesW(directory.wide("").c_str()) & FILE_ATTRIBUTE_DIRECTORY, 0U);
}

TEST(VolumeTest, TellsOfAPathsVolume) {
    const tests::TempDirectory directory;
    std::array<WCHAR, 260> volume{};
    ASSERT_NE(GetVolumePathNameW(directory.wide("none/below").c_str(), volume.data(), 260), FALSE);
    EXPECT_GE(GetDriveTypeW(volume.data()), DRIVE_REMOVABLE);
    DWORD flags = FILE_READ_ONLY_VOLUME;
    EXPECT_NE(GetVolumeInformationW(volume.data(), nullptr, 0, nullptr, nullptr, &flags, nullptr, 0), FALSE);
    EXPECT_EQ(flags & FILE_READ_ONLY_VOLUME, 0U);
    EXPECT_EQ(GetVolumePathNameW(directory.wide("").c_str(), volume.data(), 1), FALSE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILENAME_EXCED_RANGE});
    EXPECT_EQ(GetDriveTypeW(directory.wide("none").c_str()), DRIVE_NO_ROOT_DIR);
    const WideString folder = directory.wide("") + W("\\");
    EXPECT_EQ(GetVolumeInformationW(folder.c_str(), nullptr, 0, nullptr, nullptr, &flags, nullptr, 0), FALSE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_DIR_NOT_ROOT});
    EXPECT_GE(GetDriveTypeW(nullptr), DRIVE_REMOVABLE);
    EXPECT_NE(GetVolumeInformationW(nullptr, nullptr, 0, nullptr, nullptr, &flags, nullptr, 0), FALSE);
    ULARGE_INTEGER available{};
    ULARGE_INTEGER total{};
    EXPECT_NE(GetDiskFreeSpaceExW(directory.wide("").c_str(), &available, &total, nullptr), FALSE);
    EXPECT_GE(total.QuadPart, available.QuadPart);
    EXPECT_EQ(GetDiskFreeSpaceExW(directory.wide("none").c_str(), nullptr, nullptr, nullptr), FALSE);
}

TEST(TemporaryTest, NamesFilesByTheNumberGiven) {
    const tests::TempDirectory directory;
    std::array<WCHAR, MAX_PATH> path{};
    EXPECT_EQ(GetTempFileNameW(directory.wide("").c_str(), W("prefix"), 0x1234BEEF, path.data()), 0x1234BEEFU);
    EXPECT_EQ(tests::files::path(base::narrow(path.data())).filename(), "preBEEF.tmp");
    EXPECT_FALSE(directory.has("preBEEF.tmp"));
}

TEST(TemporaryTest, NamesFilesAndExpandsVariables) {
    const tests::TempDirectory directory;
    std::array<WCHAR, MAX_PATH> path{};
    EXPECT_EQ(GetTempFileNameW(directory.wide("none").c_str(), W(""), 1, path.data()), 0U);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_DIRECTORY});
    const DWORD length = GetTempPathW(MAX_PATH, path.data());
    EXPECT_EQ(WideString(path.data()).size(), length);
    EXPECT_EQ(GetTempPathW(1, path.data()), length + 1);
    EXPECT_EQ(ExpandEnvironmentStringsW(W("100 %path% %no such%"), path.data(), 3),
              std::string("100  %no such%").size() + std::string(std::getenv("PATH")).size() + 1);
    EXPECT_EQ(ExpandEnvironmentStringsW(W("a%none%b"), path.data(), MAX_PATH), 9U);
    EXPECT_EQ(WideString(path.data()), W("a%none%b"));
}

}  // namespace
