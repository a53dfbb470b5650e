#include "cache/file_cache.h"

#include <future>
#include <regex>
#include <thread>

#include "base/handle.h"
#include "base/object_names.h"
#include "base/paths.h"
#include "data/whole_file.h"
#include "session_test.h"
#include "win32/mutex.h"

namespace {

namespace fs = boost::filesystem;
using tests::bytesOf;
using tests::Lines;

class FileCacheTest : public tests::SessionTest {
protected:
    data::Value items() const {
        return data::readJsonFile(base::widePath(session_.file("file_cache_content.json"))).find("cached_items");
    }
    data::Value item(int number) const {
        const data::Value all = items();
        return *std::next(all.items.begin(), number);
    }
    fs::path fileOf(int number) const { return session_.file("cache") / item(number).find("name").text; }
    // What `get` gives: "data/lastModified", or with "-" if it gives false.
    std::string got(const std::string& key) {
        tests::Bytes data = bytesOf("old");
        std::string date = "old";
        const bool found = cache_.get(key, data, date);
        return tests::textOf(data) + (found ? "/" : "-") + date;
    }
    bool put(const std::string& key, const std::string& data, const std::string& date = "") {
        return cache_.put(key, bytesOf(data), date);
    }

    base::PlatformCacheHandler cache_;
};

TEST_F(FileCacheTest, KeepsOneFileForEachKey) {
    EXPECT_EQ(got("k"), "old-old");
    EXPECT_TRUE(put("https://b", "one", "Mon"));
    EXPECT_TRUE(put("https://a", "other"));
    const std::string name = item(1).find("name").text;
    EXPECT_TRUE(std::regex_match(name, std::regex("[0-9a-f]{40}")));
    EXPECT_TRUE(put("https://b", "second", "Tue"));
    EXPECT_EQ(got("https://b"), "second/Tue");
    EXPECT_EQ(got("https://a"), "other/");
    ASSERT_EQ(items().items.size(), 2U);
    const data::Value second = item(1);
    EXPECT_EQ(second.find("identifier").text + second.find("name").text, "https://b" + name);
    EXPECT_EQ(second.find("last_modified").text, "Tue");
    EXPECT_EQ(second.find("file_size").integer, 6);
    EXPECT_EQ(std::distance(fs::directory_iterator(session_.file("cache")), fs::directory_iterator()), 2);
    EXPECT_FALSE(put("https://b", "", "Wed"));
    EXPECT_FALSE(put("", "x", "Wed"));
    EXPECT_EQ(got("https://b"), "second/Tue");
    EXPECT_EQ(log_.take(), Lines{});
}

TEST_F(FileCacheTest, PassesOverWhatIsNotWhole) {
    for (const char* const key : {"gone", "cut", "kept"}) {
        put(key, "12345");
    }
    fs::remove(fileOf(1));
    fs::resize_file(fileOf(0), 2);
    EXPECT_EQ(got("gone"), "old-old");
    EXPECT_EQ(got("cut"), "old-old");
    EXPECT_EQ(items().items.size(), 3U);
    EXPECT_TRUE(put("new", "1"));
    EXPECT_EQ(items().items.size(), 2U);
}

TEST_F(FileCacheTest, ReadsAnyIndex) {
    for (const char* const damaged : {"", "{\"cached_items\": [", "[]", "{\"cached_items\": {}}"}) {
        session_.write("file_cache_content.json", damaged);
        EXPECT_EQ(got("k"), "old-old");
        EXPECT_TRUE(put("k", "x"));
        EXPECT_EQ(items().items.size(), 1U);
    }
    for (const char* const name : {"cache/plain", "cache/..\\outside", "outside"}) {
        session_.write(name, "1234");
    }
    session_.write("cache/none", "");
    fs::create_directory(session_.file("cache/folder"));
    session_.write("file_cache_content.json", R"({"cached_items": [
        7, {"identifier": "a", "name": "plain", "file_size": 4, "last_modified": "x"},
        {"identifier": "a", "name": "plain", "file_size": 4}, {"identifier": "a", "name": "plain", "file_size": 5},
        {"identifier": "zero", "name": "none", "file_size": 0}, {"identifier": "", "name": "plain", "file_size": 4},
        {"identifier": "noname", "name": "", "file_size": 4}, {"identifier": "f", "name": "folder", "file_size": 4096},
        {"identifier": "text", "name": "plain", "file_size": "4"},
        {"identifier": "up", "name": "../outside", "file_size": 4},
        {"identifier": "up", "name": "..\\outside", "file_size": 4}]})");
    EXPECT_EQ(got("a"), "1234/");
    EXPECT_EQ(got("up"), "old-old");
    EXPECT_TRUE(put("b", "x"));
    EXPECT_EQ(items().items.size(), 2U);
}

TEST_F(FileCacheTest, DropsTheKeyOfAFileThatCannotBeWritten) {
    put("key", "12345");
    put("other", "1");
    win32::script::failNext("WriteFile", ERROR_DISK_FULL);
    EXPECT_FALSE(put("key", "67890"));
    EXPECT_EQ(got("key"), "old-old");
    EXPECT_EQ(items().items.size(), 1U);
    win32::script::failNext("UuidCreate", 5);
    EXPECT_TRUE(put("key", "67890", "e"));
    EXPECT_EQ(item(0).find("name").text.size(), 40U);
    win32::script::failNext("ReadFile", ERROR_IO_DEVICE, 1);  // behind that of the index
    EXPECT_EQ(got("key"), "-old");

    fs::remove_all(session_.file("cache"));
    EXPECT_FALSE(put("key", "67890"));
    session_.write("cache", "");
    base::PlatformCacheHandler other;
    EXPECT_EQ(log_.take().back(), "PlatformCache Failed to ensure cache directory presence");
    EXPECT_FALSE(other.put("key", bytesOf("x"), ""));
}

TEST_F(FileCacheTest, ReleasesALockAsOftenAsItTookItAndGoesOnWithoutOne) {
    const std::string name = std::string("Global\\") + base::cacheMutexName;
    const base::Handle mutex(CreateMutexA(nullptr, FALSE, name.c_str()));
    const auto onAnotherThread = [](const auto& action) { return std::async(std::launch::async, action).get(); };
    const auto abandon = [&] { onAnotherThread([&] { WaitForSingleObject(mutex.get(), INFINITE); }); };
    const auto isFree = [&] {
        return onAnotherThread([&] { return WaitForSingleObject(mutex.get(), 0) == 0 && ReleaseMutex(mutex.get()); });
    };
    abandon();
    EXPECT_TRUE(put("key", "x"));
    EXPECT_TRUE(isFree());
    abandon();
    win32::script::failNext("WaitForSingleObject", ERROR_INVALID_HANDLE, 1);
    EXPECT_EQ(got("key"), "x/");
    EXPECT_TRUE(isFree()) << "the first wait owned it";
}

}  // namespace
