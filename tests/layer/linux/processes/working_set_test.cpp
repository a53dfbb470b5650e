#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "win32/kernel.h"

namespace {

// What this process has of its files' pages in memory, in kB.
long filePages() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "RssFile:") {
            status >> word;
            return std::stol(word);
        }
    }
    return -1;
}

}  // namespace

TEST(WorkingSet, IsEmptiedAndComesBackByUse) {
    constexpr auto empty = static_cast<SIZE_T>(-1);
    const long before = filePages();
    ASSERT_EQ(SetProcessWorkingSetSize(GetCurrentProcess(), empty, empty), TRUE);
    const long after = filePages();
    EXPECT_LT(after, before - before / 4);
    EXPECT_GT(after, 0);
}
