// The yardstick of the idle agent: a program that only sleeps as its loop does, 1 ms with the grain of Windows' sleep.
#include <sys/prctl.h>

#include <ctime>

int main() {
    constexpr unsigned long slackNanoseconds = 14'600'000;
    prctl(PR_SET_TIMERSLACK, slackNanoseconds);
    const timespec pause{0, 1'000'000};
    while (true) {
        clock_nanosleep(CLOCK_MONOTONIC, 0, &pause, nullptr);
    }
}
