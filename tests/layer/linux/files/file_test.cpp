#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

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
    EXPECT_EQ(openForReading(W("/dev/null")), INVALID_HANDLE_VALUE);
    ASSERT_EQ(symlink("nowhere", directory.file("link").c_str()), 0);
    EXPECT_EQ(CreateFileW(directory.wide("link").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr),
              INVALID_HANDLE_VALUE);
}

TEST(LinuxFileTest, SharingHoldsBetweenProcessesAndDiesWithThem) {
    const tests::TempDirectory directory;
    directory.write("file", "x");
    int opened[2];
    ASSERT_EQ(pipe(opened), 0);
    const pid_t child = fork();
    if (child == 0) {
        const HANDLE writer = CreateFileW(directory.wide("file").c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ,
                                          nullptr, OPEN_EXISTING, 0, nullptr);
        const char ready = writer != INVALID_HANDLE_VALUE ? '1' : '0';
        static_cast<void>(!write(opened[1], &ready, 1));
        pause();
    }
    char ready = 0;
    ASSERT_EQ(read(opened[0], &ready, 1), 1);
    EXPECT_EQ(ready, '1');
    EXPECT_EQ(openForReading(directory.wide("file")), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    const HANDLE reader = openForReading(directory.wide("file"));
    EXPECT_NE(reader, INVALID_HANDLE_VALUE);
    CloseHandle(reader);
    close(opened[0]);
    close(opened[1]);
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

}  // namespace
