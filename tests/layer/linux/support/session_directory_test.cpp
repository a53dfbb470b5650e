#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "temp_session.h"
#include "win32/mutex.h"

TEST(SessionDirectory, ThatOthersMayEnterIsRefused) {
    const tests::TempSession session;
    const tests::EnvironmentSetting runtime("XDG_RUNTIME_DIR", nullptr);
    const tests::EnvironmentSetting temporary("TMPDIR", session.path().c_str());
    const auto own = session.path() / ("zelmo-dockset-" + std::to_string(geteuid()));
    HANDLE mutex = CreateMutexW(nullptr, FALSE, W("Session"));
    ASSERT_NE(mutex, nullptr);
    struct stat status {};
    ASSERT_EQ(stat(own.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
    CloseHandle(mutex);
    chmod(own.c_str(), 0755);
    EXPECT_EQ(CreateMutexW(nullptr, FALSE, W("Session")), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    boost::filesystem::remove_all(own);
    boost::filesystem::create_directory_symlink(session.path() / "home", own);
    EXPECT_EQ(CreateMutexW(nullptr, FALSE, W("Session")), nullptr);
}
