// The fixture of most tests: a session of the test's own, and what modules log meanwhile.
#pragma once

#include <gtest/gtest.h>

#include "captured_log.h"
#include "temp_session.h"
#include "win32/error.h"

namespace tests {

class SessionTest : public testing::Test {
protected:
    using Lines = tests::Lines;

    TempSession session_;
    CapturedLog log_;
};

}  // namespace tests
