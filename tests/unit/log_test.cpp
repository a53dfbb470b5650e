#include "base/log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <boost/filesystem.hpp>
#include <fstream>
#include <iterator>
#include <regex>
#include <thread>
#include <vector>

#include "temp_session.h"
#include "win32/script.h"

namespace {

std::string onlyFile(const boost::filesystem::path& directory) {
    const std::vector<boost::filesystem::directory_entry> files(boost::filesystem::directory_iterator(directory), {});
    return files.size() == 1 ? files[0].path().string() : std::string();
}

std::vector<std::string> linesOf(const std::string& path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

class LogTest : public testing::Test {
protected:
    ~LogTest() override { win32::script::reset(); }

    std::string logDirectory() const { return (session_.path() / "home/Documents/Tavrin/Zelmo Dockset/logs").string(); }

    tests::TempSession session_;
};

}  // namespace

TEST_F(LogTest, NamesItsFileByTheClockAndWritesBothForms) {
    win32::script::answerClock([] { return 133590294157654321ULL; });
    const auto log = base::createLog();
    EXPECT_EQ(onlyFile(logDirectory()), logDirectory() + "/agent_log_2024_05_01T09_30_15Z.txt");
    base::logLine("direct ", 7U, std::string("."));
    {
        const auto receiver = std::make_shared<base::AgentLogReceiver>(log);
        base::globalLogReceiver().publish(receiver);
        base::logMessage("agent", "x");
    }
    base::logMessage("agent", "after the receiver went");
    const auto lines = linesOf(onlyFile(logDirectory()));
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_TRUE(std::regex_match(lines[0], std::regex(R"(\d+ms direct 7\.)"))) << lines[0];
    EXPECT_TRUE(std::regex_match(lines[1], std::regex(R"(\d+ms agent x)"))) << lines[1];
}

TEST_F(LogTest, TakesTheFixedStampForATimeThatIsNoDate) {
    win32::script::answerClock([] { return 1ULL << 63U; });
    const auto log = base::createLog();
    EXPECT_EQ(onlyFile(logDirectory()), logDirectory() + "/agent_log_1970_01_01T00_00_01Z.txt");
}

TEST_F(LogTest, WritesNothingWhereItsFileCantBeOpened) {
    boost::filesystem::create_directories(session_.path() / "home/Documents/Tavrin");
    std::ofstream(session_.path() / "home/Documents/Tavrin/Zelmo Dockset") << "in the way";
    const auto log = base::createLog();
    base::logLine("goes nowhere");
    EXPECT_NE(log, nullptr);
}

TEST_F(LogTest, KeepsLinesOfManyThreadsWholeAndInTime) {
    const auto log = base::createLog();
    constexpr int threadCount = 4;
    constexpr int lineCount = 200;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&log] {
            for (int i = 0; i < lineCount; ++i) {
                log->write("one ", "two ", "three");
            }
        });
    }
    std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
    const auto lines = linesOf(onlyFile(logDirectory()));
    ASSERT_EQ(lines.size(), threadCount * lineCount);
    long long before = 0;
    for (const std::string& line : lines) {
        ASSERT_TRUE(std::regex_match(line, std::regex(R"(\d+ms one two three)"))) << line;
        ASSERT_GE(std::stoll(line), before);
        before = std::stoll(line);
    }
}
