#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <random>

#include "cache/file_cache.h"
#include "layer/linux/child_process.h"
#include "temp_session.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// What is stored under a key tells by itself whether it belongs there: its bytes are the key's letter, its date the
// length.
std::string faultOf(const std::string& key, const Bytes& data, const std::string& date) {
    const auto isForeign = [&](std::uint8_t byte) { return byte != static_cast<std::uint8_t>(key[0]); };
    return std::any_of(data.begin(), data.end(), isForeign) ? "bytes of another in " + key
           : std::to_string(data.size()) != date            ? "wrong length in " + key
                                                            : "";
}

std::string storeAndRead(base::PlatformCacheHandler& cache, std::minstd_rand& random) {
    const std::string key(1, static_cast<char>('a' + random() % 6));
    const Bytes data(1 + random() % 20'000, static_cast<std::uint8_t>(key[0]));
    if (!cache.put(key, data, std::to_string(data.size()))) {
        return "put failed";
    }
    const std::string other(1, static_cast<char>('a' + random() % 6));
    Bytes read;
    std::string date;
    return cache.get(other, read, date) ? faultOf(other, read, date) : "";
}

// Uses the cache once for each line heard, and tells the fault, "good" if there was none.
int playCacheUser() {
    std::minstd_rand random(static_cast<unsigned>(std::chrono::steady_clock::now().time_since_epoch().count()));
    base::PlatformCacheHandler cache;
    tellLine(childOutput, "ready");
    while (!hearLine(childInput).empty()) {
        const auto start = std::chrono::steady_clock::now();
        std::string fault = storeAndRead(cache, random);
        if (std::chrono::steady_clock::now() - start > std::chrono::milliseconds(4400)) {
            fault = "waited too long";
        }
        tellLine(childOutput, fault.empty() ? "good" : fault);
    }
    return 0;
}

const ChildRole role("cache-user", playCacheUser);

std::unique_ptr<ChildProcess> newUser() {
    auto user = std::make_unique<ChildProcess>("cache-user");
    EXPECT_EQ(user->hear(), "ready");
    return user;
}

// All users work at once, and one is killed when some of the others are done.
TEST(FileCacheProcesses, UsersAreKilledAtWork) {
    const tests::TempSession session;
    std::minstd_rand random(7);
    base::PlatformCacheHandler cache;
    std::vector<std::unique_ptr<ChildProcess>> users(10);
    std::generate(users.begin(), users.end(), newUser);
    for (int round = 200; round > 0; --round) {
        std::shuffle(users.begin(), users.end(), random);
        for (const auto& user : users) {
            user->tell("go");
        }
        const std::size_t victim = random() % users.size();
        for (std::size_t i = 0; i < users.size(); ++i) {
            if (i == victim) {
                users[i]->kill();
            } else {
                ASSERT_EQ(users[i]->hear(), "good") << "round " << round;
            }
        }
        ASSERT_EQ(storeAndRead(cache, random), "") << "round " << round;
        users[victim] = newUser();
    }
}

}  // namespace
