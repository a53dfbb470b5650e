#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

#include "layer/linux/child_process.h"
#include "temp_directory.h"
#include "win32/file.h"
#include "win32/kernel.h"

namespace {

HANDLE openForReading(const WideString& path) {
    return CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
}

TEST(LinuxFileTest, RefusesWhatIsNoFileWithoutWaiting) {
    const tests::TempDirectory directory;
    ASSERT_EQ(mkfifo(directory.file("fifo").c_str(), 0600), 0);
    EXPECT_EQ(openForReading(directory.wide("fifo")), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    ASSERT_EQ(symlink("nowhere", directory.file("link").c_str()), 0);
    EXPECT_EQ(CreateFileW(directory.wide("link").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr),
              INVALID_HANDLE_VALUE);
}

[[maybe_unused]] const ChildRole fileWriter("file-writer", [] {
    const WideString path = base::widen(hearLine(childInput));
    const HANDLE writer =
        CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    tellLine(childOutput, writer != INVALID_HANDLE_VALUE ? "opened" : "refused");
    hearLine(childInput);
    return 0;
});

TEST(LinuxFileTest, SharingHoldsBetweenProcessesAndDiesWithThem) {
    const tests::TempDirectory directory;
    directory.write("file", "x");
    {
        const ChildProcess writer("file-writer");
        writer.tell(directory.file("file").string());
        EXPECT_EQ(writer.hear(), "opened");
        EXPECT_EQ(openForReading(directory.wide("file")), INVALID_HANDLE_VALUE);
        EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    }
    const HANDLE reader = openForReading(directory.wide("file"));
    EXPECT_NE(reader, INVALID_HANDLE_VALUE);
    CloseHandle(reader);
}

TEST(LinuxFileTest, DeletesItsOwnFileOnCloseAndNoOther) {
    const tests::TempDirectory directory;
    const HANDLE writer =
        CreateFileW(directory.wide("file").c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS, 0, nullptr);
    const HANDLE last = ReOpenFile(writer, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                   FILE_FLAG_DELETE_ON_CLOSE);
    ASSERT_NE(last, INVALID_HANDLE_VALUE) << "beside a holder of the same process that doesn't share this";
    CloseHandle(writer);
    boost::filesystem::remove(directory.file("file"));
    directory.write("file", "another");
    CloseHandle(last);
    EXPECT_EQ(directory.read("file"), "another");
}

TEST(LinuxFileTest, LinksAreNoDirectoriesAndMountsAreVolumes) {
    const tests::TempDirectory directory;
    boost::filesystem::create_directory_symlink("/", directory.file("link"));
    WIN32_FIND_DATAW entry{};
    const HANDLE find = FindFirstFileW(directory.wide("*").c_str(), &entry);
    while (FindNextFileW(find, &entry) != FALSE && base::narrow(entry.cFileName) != "link") {
    }
    EXPECT_EQ(entry.dwFileAttributes, FILE_ATTRIBUTE_REPARSE_POINT);
    FindClose(find);
    std::array<WCHAR, 260> volume{};
    ASSERT_NE(GetVolumePathNameW(W("/proc/self/fd"), volume.data(), 260), FALSE);
    EXPECT_EQ(WideString(volume.data()), W("/proc/"));
    EXPECT_EQ(GetDriveTypeW(W("/dev/")), DRIVE_RAMDISK);
}

}  // namespace
