#include "base/directories.h"

#include <gtest/gtest.h>

#include "captured_log.h"
#include "temp_session.h"
#include "win32/error.h"

namespace {

namespace fs = boost::filesystem;
using base::applicationDirectory;

TEST(Directories, AreMadeWhereTheSystemKeepsThem) {
    const tests::TempSession session;
    tests::CapturedLog log;
    const fs::path support = session.support();
    EXPECT_EQ(applicationDirectory(base::ApplicationSupport), support);
    EXPECT_EQ(applicationDirectory(base::Backups), support / "Backups");
    EXPECT_EQ(applicationDirectory(base::Logs), support / "logs");
    EXPECT_EQ(applicationDirectory(base::UserProfile), support.parent_path().parent_path().parent_path());
    EXPECT_EQ(applicationDirectory(base::Resources), applicationDirectory(base::Executable) / "resources");
    EXPECT_EQ(applicationDirectory(base::Temporary), fs::temp_directory_path() / "zelmodockset");
    EXPECT_TRUE(fs::is_directory(support / "logs"));
    EXPECT_EQ(applicationDirectory(4), fs::path());
    EXPECT_EQ(applicationDirectory(16), fs::path());
    win32::script::failNext("SHGetKnownFolderPath", static_cast<DWORD>(E_FAIL));
    EXPECT_EQ(applicationDirectory(base::Logs), fs::path());
    win32::script::failNext("GetModuleFileNameW", ERROR_GEN_FAILURE);
    EXPECT_EQ(applicationDirectory(base::WebUi), fs::path());
    EXPECT_EQ(log.take(), tests::Lines());

    fs::remove(support / "logs");
    session.write("logs", "in the way");
    EXPECT_EQ(applicationDirectory(base::Logs), support / "logs");
    EXPECT_EQ(log.take(), tests::Lines{"CREATEDIR Failed"});
}

}  // namespace
