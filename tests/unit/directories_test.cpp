#include "base/directories.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <fstream>

#include "captured_log.h"
#include "temp_session.h"
#include "win32/error.h"
#include "win32/script.h"

namespace fs = boost::filesystem;

class DirectoriesTest : public testing::Test {
protected:
    ~DirectoriesTest() override { win32::script::reset(); }
    fs::path home() const { return (session_.path() / "home").string(); }

    tests::TempSession session_;
    tests::CapturedLog log_;
};

TEST_F(DirectoriesTest, AreMadeWhereTheSystemKeepsThem) {
    const fs::path support = home() / "Documents/Tavrin/Zelmo Dockset";
    EXPECT_EQ(base::applicationDirectory(base::ApplicationSupport), support);
    EXPECT_EQ(base::applicationDirectory(base::Backups), support / "Backups");
    EXPECT_EQ(base::applicationDirectory(base::Logs), support / "logs");
    EXPECT_EQ(base::applicationDirectory(base::UserProfile), home());
    EXPECT_EQ(base::applicationDirectory(base::Resources), base::applicationDirectory(base::Executable) / "resources");
    EXPECT_EQ(base::applicationDirectory(base::Temporary), fs::temp_directory_path() / "zelmodockset");
    EXPECT_TRUE(fs::is_directory(support / "logs"));
    EXPECT_EQ(log_.take(), tests::Lines());
}

TEST_F(DirectoriesTest, FollowTheFolderThatTheSystemReports) {
    fs::create_directories(session_.path() / "config");
    std::ofstream((session_.path() / "config/user-dirs.dirs")) << "XDG_DOCUMENTS_DIR=\"$HOME/My \\\"Docs\\\"\"\n";
    EXPECT_EQ(base::applicationDirectory(base::Documents), home() / "My \"Docs\"");
}

TEST_F(DirectoriesTest, FailAsTheEmptyPathOrLater) {
    EXPECT_EQ(base::applicationDirectory(4), fs::path());
    EXPECT_EQ(base::applicationDirectory(16), fs::path());
    win32::script::failNext("SHGetKnownFolderPath", static_cast<DWORD>(E_FAIL));
    EXPECT_EQ(base::applicationDirectory(base::Logs), fs::path());
    win32::script::failNext("GetModuleFileNameW", ERROR_GEN_FAILURE);
    EXPECT_EQ(base::applicationDirectory(base::WebUi), fs::path());
    EXPECT_EQ(log_.take(), tests::Lines());

    fs::create_directories(home() / "Documents/Tavrin/Zelmo Dockset");
    std::ofstream((home() / "Documents/Tavrin/Zelmo Dockset/logs").string()) << "in the way";
    EXPECT_EQ(base::applicationDirectory(base::Logs), home() / "Documents/Tavrin/Zelmo Dockset/logs");
    EXPECT_EQ(log_.take(), tests::Lines{"CREATEDIR Failed"});
}
