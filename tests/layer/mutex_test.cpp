#include "win32/mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "temp_session.h"

namespace {

constexpr LPCWSTR name = W("ZelmoTest{8845C5F8-9A73-4591-A5C2-4E72B28175EA}");

// What another thread's wait gives; a mutex that it got is released.
DWORD waitElsewhere(HANDLE mutex, DWORD milliseconds) {
    DWORD result = WAIT_FAILED;
    std::thread([&] {
        result = WaitForSingleObject(mutex, milliseconds);
        if (result == WAIT_OBJECT_0 || result == WAIT_ABANDONED) {
            ReleaseMutex(mutex);
        }
    }).join();
    return result;
}

class MutexTest : public testing::Test {
    tests::TempSession session_;
};

TEST_F(MutexTest, NameExistsAsLongAsAHandle) {
    SetLastError(1);
    const HANDLE first = CreateMutexW(nullptr, FALSE, name);
    EXPECT_EQ(GetLastError(), 0U);
    const HANDLE second = CreateMutexW(nullptr, FALSE, name);
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    const HANDLE third = OpenMutexW(SYNCHRONIZE, FALSE, name);
    ASSERT_NE(third, nullptr);
    EXPECT_NE(first, second);

    EXPECT_TRUE(CloseHandle(first));
    EXPECT_TRUE(CloseHandle(second));
    EXPECT_EQ(WaitForSingleObject(third, 0), WAIT_OBJECT_0);
    EXPECT_FALSE(CloseHandle(first));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_TRUE(CloseHandle(third));  // owned: safe
    EXPECT_EQ(OpenMutexW(SYNCHRONIZE, FALSE, name), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

TEST_F(MutexTest, NamesAreInTwoNamespaces) {
    const HANDLE global = CreateMutexA(nullptr, FALSE, "Global\\zelmo-test-804311ce35");
    ASSERT_NE(global, nullptr);
    const HANDLE same = CreateMutexW(nullptr, FALSE, W("Global\\zelmo-test-804311ce35"));
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    const HANDLE session = CreateMutexW(nullptr, FALSE, W("zelmo-test-804311ce35"));
    EXPECT_EQ(GetLastError(), 0U);
    EXPECT_EQ(OpenMutexA(SYNCHRONIZE, FALSE, "Local\\Zelmo-Test-804311ce35"), nullptr);  // case counts
    const HANDLE local = OpenMutexA(SYNCHRONIZE, FALSE, "Local\\zelmo-test-804311ce35");
    EXPECT_NE(local, nullptr);
    for (const HANDLE handle : {global, same, session, local}) {
        CloseHandle(handle);
    }
}

TEST_F(MutexTest, OneThreadOwnsAndTakesAgain) {
    const HANDLE mutex = CreateMutexW(nullptr, TRUE, name);
    EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_OBJECT_0);
    EXPECT_TRUE(ReleaseMutex(mutex));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(waitElsewhere(mutex, 30), WAIT_TIMEOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
    std::thread([&] {
        EXPECT_FALSE(ReleaseMutex(mutex));
        EXPECT_EQ(GetLastError(), ERROR_NOT_OWNER);
    }).join();
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_FALSE(ReleaseMutex(mutex));
    EXPECT_EQ(GetLastError(), ERROR_NOT_OWNER);
    EXPECT_EQ(waitElsewhere(mutex, 0), WAIT_OBJECT_0);

    const HANDLE again = CreateMutexW(nullptr, TRUE, name);  // exists: not owned by this call
    EXPECT_FALSE(ReleaseMutex(again));
    CloseHandle(again);
    CloseHandle(mutex);
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_FAILED);
}

TEST_F(MutexTest, ThreadThatEndsAbandons) {
    for (const LPCWSTR each : {name, static_cast<LPCWSTR>(nullptr)}) {
        const HANDLE mutex = CreateMutexW(nullptr, FALSE, each);
        std::thread([&] { WaitForSingleObject(mutex, INFINITE); }).join();
        EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_ABANDONED);
        EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);  // owned already: once more
        EXPECT_TRUE(ReleaseMutex(mutex));
        EXPECT_EQ(waitElsewhere(mutex, 0), WAIT_TIMEOUT);
        EXPECT_TRUE(ReleaseMutex(mutex));
        EXPECT_EQ(waitElsewhere(mutex, 0), WAIT_OBJECT_0);  // told once
        CloseHandle(mutex);
    }
}

}  // namespace
