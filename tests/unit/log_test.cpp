#include "base/log.h"

#include <gtest/gtest.h>

#include <thread>

#include "captured_log.h"
#include "temp_session.h"

namespace {

using tests::Lines;

TEST(Log, NamesItsFileByTheClockAndWritesBothForms) {
    const tests::TempSession session;
    win32::script::answerClock([] { return 133590294157654321ULL; });
    auto log = base::createLog();
    EXPECT_TRUE(boost::filesystem::exists(session.file("logs/agent_log_2024_05_01T09_30_15Z.txt")));
    base::logLine("direct ", 7U, std::string("."));
    {
        const auto receiver = std::make_shared<base::AgentLogReceiver>(log);
        base::globalLogReceiver().publish(receiver);
        base::logMessage("agent", "x");
    }
    base::logMessage("agent", "after the receiver went");
    EXPECT_EQ(session.agentLog(), (Lines{"direct 7.", "agent x"}));
    win32::script::answerClock([] { return 1ULL << 63U; });
    log.reset();
    log = base::createLog();
    EXPECT_TRUE(boost::filesystem::exists(session.file("logs/agent_log_1970_01_01T00_00_01Z.txt"))) << "is no date";
}

TEST(Log, KeepsLinesOfManyThreadsWholeAndInTime) {
    const tests::TempSession session;
    const auto log = base::createLog();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&log] {
            for (int i = 0; i < 200; ++i) {
                log->write("one ", "two ", "three");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(session.agentLog(), Lines(800, "one two three"));
}

}  // namespace
