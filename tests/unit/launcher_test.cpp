#include "update/launcher.h"

#include "base/directories.h"
#include "session_test.h"

namespace {

using base::Version;
using tests::Lines;

TEST(Version, IsReadWrittenAndComparedPartByPart) {
    EXPECT_EQ(base::parseVersion("2.18.6.0"), (Version{2, 18, 6, 0}));
    EXPECT_EQ(base::parseVersion(""), Version{0});
    EXPECT_EQ(base::parseVersion("1."), (Version{1, 0}));
    EXPECT_EQ(base::parseVersion(" 3b.x.99999999999.-4"), (Version{3, 0, 0, -4}));
    EXPECT_EQ(base::versionToText({2, -1, 0}), "2.-1.0");
    EXPECT_EQ(base::compareVersions({2, 1}, {2, 1, 0, 0}), 0);
    EXPECT_GT(base::compareVersions({2, 1, 0, 1}, {2, 1}), 0);
    EXPECT_GT(base::compareVersions({2, 1, -1}, {2, 1}), 0);
    EXPECT_LT(base::compareVersions({2, 1, -1}, {2, 1, 0}), 0);
    EXPECT_LT(base::compareVersions({}, {0, -1}), 0);
    EXPECT_LT(base::compareVersions({2, 9}, {2, 10}), 0);
}

class LauncherTest : public tests::SessionTest {
protected:
    boost::filesystem::path updates() const { return session_.file("autoupdate"); }

    base::LauncherWin launcher_;
};

TEST_F(LauncherTest, StartsProgramsThroughTheShell) {
    EXPECT_FALSE(launcher_.startMainApplication());
    EXPECT_EQ(log_.take(), (Lines{"autoupdate Launching Zelmo Dockset", "autoupdate Failed to launch Zelmo Dockset"}));
    launcher_.startInstaller(true);
    launcher_.startInstaller(false);
    EXPECT_EQ(log_.take().front(), "autoupdate Starting installer.");
    const std::string directory = base::applicationDirectory(base::Executable).string();
    const std::string installer = (updates() / "zdsetup.exe").string();
    EXPECT_EQ(win32::script::calls("ShellExecuteExW"),
              (Lines{"open|" + directory + "/ZelmoDockset.exe||" + directory,
                     "open|" + installer + "|/passive ZdAutoUpdate=1|" + updates().string(),
                     "open|" + installer + "||" + updates().string()}));
}

TEST_F(LauncherTest, WritesTheInstaller) {
    EXPECT_TRUE(launcher_.writeInstaller({'a', 'b'}));
    EXPECT_EQ(session_.read("autoupdate/zdsetup.exe"), "ab");
    EXPECT_TRUE(launcher_.writeInstaller({}));
    EXPECT_TRUE(boost::filesystem::is_empty(updates() / "zdsetup.exe"));
    win32::script::failNext("WriteFile", ERROR_DISK_FULL);
    EXPECT_FALSE(launcher_.writeInstaller({'c'}));
    EXPECT_EQ(log_.take(), Lines{"autoupdate Failed to write installer temp file"});
    win32::script::failNext("CreateFileW", ERROR_ACCESS_DENIED);
    EXPECT_FALSE(launcher_.writeInstaller({'c'}));
    EXPECT_EQ(log_.take(), Lines{"autoupdate Failed to open installer temp file"});
    boost::filesystem::remove_all(updates());
    session_.write("autoupdate", "in the way");
    EXPECT_FALSE(launcher_.writeInstaller({'c'}));
    EXPECT_TRUE(log_.lines().back().starts_with("autoupdate Failed to create installer temp directory, "));
}

TEST_F(LauncherTest, KeepsTheForcedVersionInTheRegistry) {
    EXPECT_FALSE(launcher_.getForcedVersion().valid);
    EXPECT_EQ(launcher_.getForcedVersion().version, (Version{0, 0, 0, 0}));
    EXPECT_TRUE(launcher_.setForcedVersion({2, 19}));
    EXPECT_TRUE(launcher_.getForcedVersion().valid);
    EXPECT_EQ(log_.take(), Lines());
    win32::script::failNext("RegCreateKeyExW", ERROR_ACCESS_DENIED);
    EXPECT_FALSE(launcher_.setForcedVersion({3}));
    win32::script::failNext("RegSetValueExW", ERROR_DISK_FULL);
    EXPECT_FALSE(launcher_.setForcedVersion({3}));
    EXPECT_EQ(log_.take(), (Lines{"autoupdate Failed to open registry key, 5",
                                  "autoupdate Failed to set registry value, forced, 112"}));
    EXPECT_EQ(launcher_.getForcedVersion().version, (Version{2, 19}));
}

TEST_F(LauncherTest, KeepsTheRecordOfTheDownloadedVersion) {
    EXPECT_FALSE(launcher_.saveDownloadedVersion({1}, {2}));
    EXPECT_EQ(log_.take(),
              (Lines{"autoupdate Saving downloaded version", "autoupdate Application support directory missing.",
                     "autoupdate Failed to get version info path."}));
    launcher_.writeInstaller({});
    EXPECT_FALSE(launcher_.getDownloadedVersion().valid);
    EXPECT_EQ(log_.take().back(), "autoupdate Failed to open version info file.");
    EXPECT_TRUE(launcher_.saveDownloadedVersion({2, 19, 0, 0}, {1, 4}));
    EXPECT_EQ(session_.read("autoupdate/updateversion.json"),
              "{\r\n \"eulaVersion\": \"1.4\",\r\n \"version\": \"2.19.0.0\"\r\n}");
    const auto downloaded = launcher_.getDownloadedVersion();
    EXPECT_TRUE(downloaded.valid);
    EXPECT_EQ(downloaded.version, (Version{2, 19, 0, 0}));
    EXPECT_EQ(downloaded.eulaVersion, (Version{1, 4}));
    EXPECT_TRUE(launcher_.deleteDownloadedVersion());
    EXPECT_FALSE(launcher_.deleteDownloadedVersion());
    for (const char* const damaged : {"[]", "{\"version\":\"1\"}", "{\"version\":1,\"eulaVersion\":\"1\"}", "{"}) {
        session_.write("autoupdate/updateversion.json", damaged);
        EXPECT_FALSE(launcher_.getDownloadedVersion().valid) << damaged;
        EXPECT_EQ(log_.take().back(), "autoupdate Failed to read json") << damaged;
    }
}

}  // namespace
