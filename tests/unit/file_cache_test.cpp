#include "cache/file_cache.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <chrono>
#include <fstream>
#include <future>
#include <regex>
#include <thread>

#include "base/object_names.h"
#include "base/paths.h"
#include "captured_log.h"
#include "data/whole_file.h"
#include "temp_session.h"
#include "win32/error.h"
#include "win32/mutex.h"
#include "win32/script.h"

namespace {

namespace fs = boost::filesystem;
using Bytes = std::vector<std::uint8_t>;
using tests::Lines;

class FileCacheTest : public testing::Test {
protected:
    ~FileCacheTest() override { win32::script::reset(); }

    static Bytes bytes(const std::string& text) { return {text.begin(), text.end()}; }
    fs::path support() const { return session_.path() / "home/Documents/Tavrin/Zelmo Dockset"; }
    fs::path indexPath() const { return support() / "file_cache_content.json"; }
    data::Value items() const { return data::readJsonFile(base::widePath(indexPath())).find("cached_items"); }
    data::Value item(int number) const {
        const data::Value all = items();
        return *std::next(all.items.begin(), number);
    }
    void writeIndex(const std::string& text) const { std::ofstream(indexPath().string()) << text; }
    // What `get` gives: "data/lastModified"; "-" for false.
    std::string got(const std::string& key) {
        Bytes data = bytes("old");
        std::string date = "old";
        if (!cache_.get(key, data, date)) {
            return std::string(data.begin(), data.end()) + "-" + date;
        }
        return std::string(data.begin(), data.end()) + "/" + date;
    }

    tests::TempSession session_;
    tests::CapturedLog log_;
    base::PlatformCacheHandler cache_;
};

TEST_F(FileCacheTest, KeepsOneFileForEachKey) {
    EXPECT_EQ(got("k"), "old-old");
    EXPECT_TRUE(cache_.put("https://b", bytes("one"), "Mon"));
    EXPECT_TRUE(cache_.put("https://a", bytes("other"), ""));
    const std::string name = item(1).find("name").text;
    EXPECT_TRUE(std::regex_match(name, std::regex("[0-9a-f]{40}")));
    EXPECT_TRUE(cache_.put("https://b", bytes("second"), "Tue"));
    EXPECT_EQ(got("https://b"), "second/Tue");
    EXPECT_EQ(got("https://a"), "other/");
    ASSERT_EQ(items().items.size(), 2U);
    const data::Value second = item(1);
    EXPECT_EQ(second.find("identifier").text, "https://b");
    EXPECT_EQ(second.find("name").text, name);
    EXPECT_EQ(second.find("last_modified").text, "Tue");
    EXPECT_EQ(second.find("file_size").integer, 6);
    EXPECT_EQ(std::distance(fs::directory_iterator(support() / "cache"), fs::directory_iterator()), 2);

    EXPECT_FALSE(cache_.put("https://b", {}, "Wed"));
    EXPECT_FALSE(cache_.put("", bytes("x"), "Wed"));
    EXPECT_EQ(got("https://b"), "second/Tue");
    EXPECT_EQ(log_.take(), Lines{});
}

TEST_F(FileCacheTest, PassesOverWhatIsNotWhole) {
    for (const char* const key : {"gone", "cut", "kept"}) {
        cache_.put(key, bytes("12345"), "d");
    }
    fs::remove(support() / "cache" / item(1).find("name").text);
    fs::resize_file(support() / "cache" / item(0).find("name").text, 2);
    EXPECT_EQ(got("gone"), "old-old");
    EXPECT_EQ(got("cut"), "old-old");
    EXPECT_EQ(items().items.size(), 3U);
    EXPECT_TRUE(cache_.put("new", bytes("1"), ""));
    EXPECT_EQ(items().items.size(), 2U);
}

TEST_F(FileCacheTest, ReadsAnyIndex) {
    for (const char* const damaged : {"", "{\"cached_items\": [", "[]", "{\"cached_items\": {}}"}) {
        writeIndex(damaged);
        EXPECT_EQ(got("k"), "old-old");
        EXPECT_TRUE(cache_.put("k", bytes("x"), ""));
        EXPECT_EQ(items().items.size(), 1U);
    }
    std::ofstream((support() / "cache/plain").string()) << "1234";
    std::ofstream((support() / "cache/none").string());
    std::ofstream((support() / "outside").string()) << "1234";
    std::ofstream((support() / "cache/..\\outside").string()) << "1234";
    fs::create_directory(support() / "cache/folder");
    writeIndex(R"({"cached_items": [7, {"identifier": "a", "name": "plain", "file_size": 4, "last_modified": "x"},
        {"identifier": "a", "name": "plain", "file_size": 4}, {"identifier": "a", "name": "plain", "file_size": 5},
        {"identifier": "zero", "name": "none", "file_size": 0}, {"identifier": "", "name": "plain", "file_size": 4},
        {"identifier": "noname", "name": "", "file_size": 4}, {"identifier": "f", "name": "folder", "file_size": 4096},
        {"identifier": "text", "name": "plain", "file_size": "4"},
        {"identifier": "up", "name": "../outside", "file_size": 4},
        {"identifier": "up", "name": "..\\outside", "file_size": 4}]})");
    EXPECT_EQ(got("a"), "1234/");
    EXPECT_EQ(got("up"), "old-old");
    EXPECT_TRUE(cache_.put("b", bytes("x"), ""));
    EXPECT_EQ(items().items.size(), 2U);
}

TEST_F(FileCacheTest, DropsTheKeyOfAFileThatCannotBeWritten) {
    cache_.put("key", bytes("12345"), "d");
    cache_.put("other", bytes("1"), "d");
    win32::script::failNext("WriteFile", ERROR_DISK_FULL);
    EXPECT_FALSE(cache_.put("key", bytes("67890"), "e"));
    EXPECT_EQ(got("key"), "old-old");
    EXPECT_EQ(items().items.size(), 1U);
    fs::remove_all(support() / "cache");
    EXPECT_FALSE(cache_.put("key", bytes("67890"), "e"));

    win32::script::failNext("UuidCreate", 5);
    fs::create_directory(support() / "cache");
    EXPECT_TRUE(cache_.put("key", bytes("67890"), "e"));
    EXPECT_EQ(item(0).find("name").text.size(), 40U);
    win32::script::failNext("ReadFile", ERROR_IO_DEVICE, 1);  // behind that of the index
    EXPECT_EQ(got("key"), "-old");
}

TEST_F(FileCacheTest, GoesOnWithoutItsDirectory) {
    fs::remove_all(support() / "cache");
    std::ofstream((support() / "cache").string());
    base::PlatformCacheHandler other;
    EXPECT_EQ(log_.take().back(), "PlatformCache Failed to ensure cache directory presence");
    EXPECT_FALSE(other.put("key", bytes("x"), ""));
}

TEST(CacheMutexTest, OpensWhatAnotherUserMade) {
    const tests::TempSession session;
    const tests::CapturedLog log;
    base::CacheMutex first("cache-mutex-test");
    base::CacheMutex mutex("cache-mutex-test");
    win32::script::failNext("CreateMutexA", ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_FALSE(mutex.open());
    win32::script::failNext("CreateMutexA", ERROR_ACCESS_DENIED);
    win32::script::failNext("CreateMutexA", ERROR_ACCESS_DENIED);
    EXPECT_FALSE(mutex.open());
    ASSERT_TRUE(first.open());
    win32::script::failNext("CreateMutexA", ERROR_ACCESS_DENIED);
    EXPECT_TRUE(mutex.open());
    win32::script::failNext("CreateMutexA", ERROR_ACCESS_DENIED);
    EXPECT_TRUE(mutex.open()) << "is open already";
    win32::script::reset();
    EXPECT_EQ(log.lines(), (Lines{"CacheMutex Failed to create mutex with 8",
                                  "CacheMutex Failed to open mutex with 2, will retry create",
                                  "CacheMutex Failed to create mutex with 5"}));
}

TEST_F(FileCacheTest, ReleasesAnAbandonedLockAsOftenAsItTookIt) {
    const std::string name = std::string("Global\\") + base::cacheMutexName;
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, name.c_str());
    const auto abandon = [&] { std::thread([&] { WaitForSingleObject(mutex, INFINITE); }).join(); };
    // Whether another thread can have it at once.
    const auto isFree = [&] {
        return std::async(std::launch::async,
                          [&] {
                              const DWORD result = WaitForSingleObject(mutex, 0);
                              return result == WAIT_OBJECT_0 && ReleaseMutex(mutex) != FALSE;
                          })
            .get();
    };
    abandon();
    EXPECT_TRUE(cache_.put("key", bytes("x"), ""));
    EXPECT_TRUE(isFree());
    abandon();
    win32::script::failNext("WaitForSingleObject", ERROR_INVALID_HANDLE, 1);
    EXPECT_EQ(got("key"), "x/");
    EXPECT_TRUE(isFree()) << "the first wait owned it";
    CloseHandle(mutex);
}

TEST_F(FileCacheTest, WaitsFourSecondsForTheLockAndGoesOn) {
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, (std::string("Global\\") + base::cacheMutexName).c_str());
    ASSERT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(std::async(std::launch::async, [&] { return cache_.put("key", bytes("x"), ""); }).get());
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(4000));
    EXPECT_LT(waited, std::chrono::milliseconds(5500));
    EXPECT_TRUE(ReleaseMutex(mutex));
    CloseHandle(mutex);
}

}  // namespace
