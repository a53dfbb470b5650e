// The handler with the launcher's own files and registry, and a server that is a map.
#include "update/update_handler.h"

#include <future>
#include <thread>

#include "manifests.h"
#include "session_test.h"
#include "update/check_schedule.h"
#include "update/installer_check.h"
#include "update/registry_version.h"

namespace {

using base::Bytes;
using base::ResultCode;
using base::UpdateOffer;
using base::Version;
using tests::Application;
using tests::Lines;

constexpr const char* manifestUrl = "https://update.tavrin.example/manifest.xml";
constexpr const char* installerUrl = "https://update.tavrin.example/zdsetup.exe";
const std::string installer = "#!/bin/sh\n";  // which can be started
const std::string newerInstaller = "#!/bin/sh\n# newer\n";

struct FakeServer : base::Downloader {
    void download(std::string url, Bytes& bytes, const base::ProgressCallback& callback) override {
        requests.push_back(url);
        callback(1, 2, base::InProgress);
        const auto found = files.find(url);
        if (found != files.end()) {
            bytes = tests::bytesOf(found->second);
        }
        // On another thread, as the contract allows.
        std::thread([&, good = found != files.end()] {
            callback(1, good ? 1 : 0, good ? base::Success : base::GeneralFailure);
        }).join();
    }
    void cancel() override { cancelled = true; }
    std::map<std::string, std::string> files;
    Lines requests;
    std::atomic<bool> cancelled = false;
};

class UpdateHandlerTest : public tests::SessionTest {
protected:
    UpdateHandlerTest() {
        files_.write("key.pem", tests::pemOf(key_));
        restart();
    }
    void restart(const std::string& config = "") {
        handler_.reset();
        session_.write("zd-config.xml", "<config>" + config + "</config>");
        const base::UpdateDependencies means{server_,
                                             server_,
                                             std::make_shared<base::LauncherWin>(),
                                             {{"", manifestUrl}, {"stage", "stage"}},
                                             std::make_shared<dockset::AppSettings>(),
                                             files_.file("key.pem")};
        handler_ = std::make_unique<base::UpdateHandler>(means);
        handler_->reportFetchesTo([this](std::size_t, std::size_t, ResultCode code) {
            return code == base::InProgress || (fetched_.push_back(code), false);
        });
        log_.take();
    }

    // Runs a job on the handler's worker, and what that enqueues. Gives the final code, of which there must be one.
    template <typename Job>
    ResultCode run(Job job) {
        std::vector<ResultCode> codes;
        const auto callback = [&](std::size_t done, std::size_t total, ResultCode code) {
            EXPECT_TRUE(code == base::InProgress || (done == 1 && total == (code == base::Success ? 1U : 0U)));
            return code == base::InProgress || (codes.push_back(code), false);
        };
        handler_->enqueue([&] { job(callback); });
        settle();
        settle();
        EXPECT_EQ(codes.size(), 1U);
        return codes.empty() ? base::InProgress : codes.front();
    }
    void settle() {
        std::promise<void> done;
        handler_->enqueue([&] { done.set_value(); });
        done.get_future().wait();
    }
    ResultCode check() {
        offer_ = UpdateOffer::None;
        return run([this](const base::UpdateCallback& callback) {
            handler_->checkForUpdate([&](std::size_t done, std::size_t total, ResultCode code) {
                if (code == base::Success && (offer_ = handler_->offer()) == UpdateOffer::Available) {
                    handler_->enqueueFetch();
                }
                return callback(done, total, code);
            });
        });
    }
    UpdateOffer offerOf(const Application& application) {
        publish({application});
        EXPECT_EQ(check(), base::Success);
        return offer_;
    }
    ResultCode install() {
        return run([this](const base::UpdateCallback& callback) { handler_->installUpdate(callback); });
    }

    void publish(const std::vector<Application>& applications) {
        server_->files[manifestUrl] = tests::signedManifest(applications, key_);
    }
    // An application whose installer is on the server.
    Application release(const std::string& version, const std::string& bytes) const {
        server_->files[installerUrl] = bytes;
        return {.version = version, .url = installerUrl, .signature = tests::signatureOf(bytes, key_)};
    }
    static std::size_t starts() { return win32::script::calls("ShellExecuteExW").size(); }
    boost::filesystem::path updates() const { return session_.file("autoupdate"); }
    std::string written() const { return session_.read("autoupdate/zdsetup.exe"); }
    void swap(const std::string& bytes) const { session_.write("autoupdate/zdsetup.exe", bytes); }
    bool logged(const std::string& line) const {
        const Lines lines = log_.lines();
        return std::find(lines.begin(), lines.end(), "autoupdate " + line) != lines.end();
    }

    static inline const tests::Key key_ = tests::rsaKey();
    tests::TempDirectory files_;
    std::shared_ptr<FakeServer> server_ = std::make_shared<FakeServer>();
    std::vector<ResultCode> fetched_;
    UpdateOffer offer_ = UpdateOffer::None;
    std::unique_ptr<base::UpdateHandler> handler_;
};

TEST_F(UpdateHandlerTest, ChecksAndTellsInTheseWords) {
    publish({{.version = "2.18.6.0.0"}});
    EXPECT_EQ(check(), base::Success);
    EXPECT_EQ(log_.take(),
              (Lines{"autoupdate Getting manifest from server: ", "autoupdate Manifest downloaded successfully.",
                     "autoupdate Manifest successfully verified", "autoupdate Current version is 2.18.6.0",
                     "autoupdate Newest version is 2.18.6.0.0", "autoupdate Up to date."}));
    restart("<auto-update><server>nowhere</server></auto-update>");
    EXPECT_EQ(check(), base::GeneralFailure);
    EXPECT_EQ(log_.take(), Lines{"autoupdate Unrecognized server option in configuration file."});
    restart("<auto-update><server>stage</server></auto-update>");
    EXPECT_EQ(check(), base::DownloadFailed);
    EXPECT_EQ(log_.take(),
              (Lines{"autoupdate Getting manifest from server: stage", "autoupdate Failed to download manifest",
                     "autoupdate Failed to download manifest."}));
    EXPECT_EQ(server_->requests.back(), "stage");
    restart("<device-support><update-interval>SysTest</update-interval></device-support>");
    EXPECT_EQ(base::updateCheckSchedule(dockset::AppSettings()).interval, 60'000U);
    restart();
    EXPECT_EQ(base::updateCheckSchedule(dockset::AppSettings()).interval, 21'600'000U);
    for (const auto& [name, url] : base::updateServers()) {
        EXPECT_TRUE(url.starts_with("https://")) << name;
    }
}

TEST_F(UpdateHandlerTest, OffersOnlyWhatIsNewer) {
    std::string longest = "2.19";
    for (int part = 0; part < 10'000; ++part) {
        longest += ".1";
    }
    for (const auto& [version, offer] : {std::pair<std::string, UpdateOffer>{"2.18.5.99", UpdateOffer::None},
                                         {"2.18.6.0", UpdateOffer::None},
                                         {"99999999999.0", UpdateOffer::None},  // out of range, and so 0
                                         {"2.18.6.0.1", UpdateOffer::Available},
                                         {longest, UpdateOffer::Available},
                                         {"2.18.9", UpdateOffer::None},
                                         {"2147483647.2147483647", UpdateOffer::Available}}) {
        EXPECT_EQ(offerOf({.version = version}), offer) << version.substr(0, 30);
    }
    publish({{.version = "2147483647.2147483647", .id = "Other"}});
    EXPECT_EQ(check(), base::GeneralFailure);
    EXPECT_EQ(offer_, UpdateOffer::None);
}

TEST_F(UpdateHandlerTest, AReplayedManifestChangesNothing) {
    Application newest = release("2.20", "new");
    newest.more = "<forced>2.19</forced>";
    newest.eula = "3.0";
    EXPECT_EQ(offerOf(newest), UpdateOffer::Available);
    const Application old{.version = "2.19", .more = "<forced>2.18.7</forced>"};
    EXPECT_EQ(offerOf(old), UpdateOffer::None);
    EXPECT_EQ(base::storedVersion("forced"), (Version{2, 19}));
    install();
    EXPECT_EQ(win32::script::calls("ShellExecuteExW").back().find("/passive"), std::string::npos);
    EXPECT_TRUE(logged("Available update is forced"));
    EXPECT_TRUE(logged("The manifest is older than one seen before, of version 2.20"));
    EXPECT_TRUE(logged("The eula has been updated, starting installer with ui."));
    restart();
    EXPECT_EQ(offerOf(old), UpdateOffer::None);
    win32::script::failNext("RegSetValueExW", ERROR_DISK_FULL);
    EXPECT_EQ(offerOf(release("2.21", newerInstaller)), UpdateOffer::Available);
    EXPECT_EQ(offerOf(newest), UpdateOffer::None) << "what the registry didn't take, this run remembers";
}

TEST_F(UpdateHandlerTest, FetchesOnceAndOffersWhatLiesOnTheDisk) {
    EXPECT_EQ(offerOf(release("2.19", installer)), UpdateOffer::Available);
    EXPECT_EQ(fetched_, std::vector<ResultCode>{base::Success});
    EXPECT_EQ(written(), installer);
    const std::size_t requests = server_->requests.size();
    EXPECT_EQ(offerOf(release("2.19", installer)), UpdateOffer::Downloaded);
    restart();
    EXPECT_EQ(offerOf(release("2.19", installer)), UpdateOffer::Downloaded) << "also in a later run";
    EXPECT_EQ(server_->requests.size(), requests + 2) << "nothing is fetched again";
    log_.take();
    win32::script::failNext("ShellExecuteExW", ERROR_ACCESS_DENIED);
    EXPECT_EQ(install(), base::InstallerFailed);
    EXPECT_EQ(log_.take(), (Lines{"autoupdate Eula is up to date, starting installer in quiet mode.",
                                  "autoupdate Starting installer.", "autoupdate Failed to launch Zelmo Dockset"}));
    // The user has installed it: its record goes with the first check of the new version.
    base::LauncherWin().saveDownloadedVersion({2, 18, 6}, {2});
    EXPECT_EQ(offerOf({.version = "2.19"}), UpdateOffer::Available);
    EXPECT_FALSE(boost::filesystem::exists(updates() / "updateversion.json"));
}

TEST_F(UpdateHandlerTest, AWrongInstallerIsNeitherWrittenNorAskedForAgain) {
    const Application honest = release("2.19", installer);
    server_->files[installerUrl] = "another";
    EXPECT_EQ(offerOf(honest), UpdateOffer::Available);
    EXPECT_EQ(fetched_, std::vector<ResultCode>{base::VerificationFailed});
    EXPECT_FALSE(boost::filesystem::exists(updates()));
    EXPECT_TRUE(logged("Failed to verify installer"));
    release("2.19", installer);
    EXPECT_EQ(offerOf(honest), UpdateOffer::Available);
    EXPECT_EQ(std::count(server_->requests.begin(), server_->requests.end(), installerUrl), 1);
    EXPECT_EQ(offerOf(release("2.19.1", installer)), UpdateOffer::Available) << "another version is another matter";
    EXPECT_EQ(fetched_.back(), base::Success);
    EXPECT_EQ(offerOf({.version = "2.20", .url = installerUrl, .signature = ""}), UpdateOffer::Available);
    EXPECT_EQ(fetched_.back(), base::VerificationFailed) << "no signature holds for nothing";
    EXPECT_EQ(written(), installer);
}

TEST_F(UpdateHandlerTest, WhatChangedOnTheDiskIsntStartedButFetchedAnew) {
    offerOf(release("2.19", installer));
    swap("swapped!!");
    EXPECT_EQ(install(), base::InstallerFailed);
    EXPECT_TRUE(logged("The installer has changed since it was verified, and isn't started."));
    EXPECT_EQ(starts(), 0U);
    EXPECT_EQ(written(), installer);
    EXPECT_EQ(install(), base::Success);
    boost::filesystem::remove(updates() / "zdsetup.exe");
    EXPECT_EQ(offerOf(release("2.19", installer)), UpdateOffer::Available);
    EXPECT_EQ(offerOf(release("2.19", installer)), UpdateOffer::Downloaded);
    // Another program has fetched what the newest manifest names.
    const Application newer = release("2.20", newerInstaller);
    server_->files.erase(installerUrl);
    EXPECT_EQ(offerOf(newer), UpdateOffer::Available);
    EXPECT_EQ(fetched_.back(), base::DownloadFailed);
    swap(newerInstaller);
    EXPECT_EQ(install(), base::Success);
    EXPECT_EQ(starts(), 2U);
}

TEST_F(UpdateHandlerTest, AFreshRunStartsOnlyWhatAManifestNames) {
    offerOf(release("2.19", installer));
    restart();
    EXPECT_EQ(install(), base::Success) << "the manifest is fetched first";
    restart();
    swap("#!/bin/sh\n# somebody's\n");
    EXPECT_EQ(install(), base::InstallerFailed);
    EXPECT_TRUE(logged("No verified manifest names the installer on the disk, which isn't started."));
    restart();
    server_->files.clear();
    EXPECT_EQ(install(), base::InstallerFailed);
    EXPECT_EQ(starts(), 1U);
}

TEST_F(UpdateHandlerTest, WhatGrowsInManifestsNeverFalls) {
    offerOf({.version = "2.20", .eula = "3.0", .more = "<forced>2.30</forced>"});
    restart();
    Application older = release("2.20", installer);
    older.eula = "2.0";
    older.more = "<forced>2.18.6.1</forced>";
    offerOf(older);
    EXPECT_EQ(base::storedVersion("forced"), (Version{2, 30}));
    log_.take();
    EXPECT_EQ(install(), base::Success);
    EXPECT_TRUE(logged("The eula has been updated, starting installer with ui."));
}

// Whatever stands in the files' places: nothing is offered as fetched that isn't, nothing outside is written.
TEST_F(UpdateHandlerTest, OddFilesDoNoHarm) {
    namespace fs = boost::filesystem;
    const fs::path outside = session_.path() / "outside";
    const std::vector<std::pair<const char*, std::function<void(const fs::path&)>>> oddities{
        {"a link", [&](const fs::path& path) { fs::create_symlink(outside, path); }},
        {"a hard link", [&](const fs::path& path) { fs::create_hard_link(outside, path); }},
        {"a link to nowhere", [&](const fs::path& path) { fs::create_symlink("/nowhere/at/all", path); }},
        {"a link to a directory", [&](const fs::path& path) { fs::create_symlink(session_.path(), path); }},
        {"a directory", [&](const fs::path& path) { fs::create_directories(path / "deeper"); }},
    };
    for (const char* const name : {"zdsetup.exe", "updateversion.json"}) {
        for (const auto& [oddity, make] : oddities) {
            SCOPED_TRACE(std::string(name) + " is " + oddity);
            const fs::path path = updates() / name;
            fs::remove_all(updates());
            base::LauncherWin().writeInstaller(tests::bytesOf(installer));
            base::LauncherWin().saveDownloadedVersion({2, 19}, {2});
            tests::writeFile(outside, "theirs");
            fs::remove(path);
            make(path);
            restart();
            EXPECT_EQ(offerOf(release("2.19", installer)), UpdateOffer::Available);
            const bool isDirectory = fs::is_directory(fs::symlink_status(path));
            EXPECT_EQ(fetched_.back(), isDirectory ? base::GeneralFailure : base::Success);
            EXPECT_EQ(tests::readFile(outside), "theirs");
            EXPECT_EQ(!isDirectory && tests::readFile(path) == installer, !isDirectory && path.extension() == ".exe");
        }
    }
}

TEST_F(UpdateHandlerTest, StopsBetweenAndInsideOfJobs) {
    std::promise<void> running;
    std::promise<void> stopping;
    bool ran = false;
    handler_->enqueue([&] {
        running.set_value();
        while (!server_->cancelled) {
            std::this_thread::yield();
        }
    });
    handler_->enqueue([&] { ran = true; });
    running.get_future().wait();
    handler_.reset();
    EXPECT_FALSE(ran);

    const Bytes longOne(3'000'000, 'i');
    const std::string signature = tests::signatureOf({longOne.begin(), longOne.end()}, key_);
    std::atomic<bool> stop = false;
    const Bytes key = tests::bytesOf(tests::pemOf(key_));
    EXPECT_TRUE(base::InstallerCheck(signature, key, stop).passes(longOne));
    stop = true;
    EXPECT_FALSE(base::InstallerCheck(signature, key, stop).passes(longOne));
    base::LauncherWin launcher;
    launcher.cancelWriting();
    EXPECT_FALSE(launcher.writeInstaller(longOne));
}

}  // namespace
