// What all tests of a run have: a runtime directory of the run, so that those without a session of their own write
// nothing into the user's, and no script that an earlier test has left.

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <stdexcept>

#include "temp_session.h"
#include "win32/script.h"

namespace {

class ScriptReset : public testing::EmptyTestEventListener {
    void OnTestEnd(const testing::TestInfo& /*test*/) override { win32::script::reset(); }
};

class OwnRuntimeDirectory : public testing::Environment {
public:
    void SetUp() override {
#ifdef _WIN32
        if (std::getenv("ZELMO_TEST_USER") == nullptr) {
            throw std::runtime_error("ZELMO_TEST_USER isn't set: the tests would remove this user's files");
        }
#endif
        testing::UnitTest::GetInstance()->listeners().Append(new ScriptReset);  // the framework's to delete
        directory_.emplace();
        runtime_.emplace("XDG_RUNTIME_DIR", directory_->path().string().c_str());
    }
    void TearDown() override {
        runtime_.reset();
        directory_.reset();
    }

private:
    std::optional<tests::TempDirectory> directory_;
    std::optional<tests::EnvironmentSetting> runtime_;
};

[[maybe_unused]] const testing::Environment* const environment =
    testing::AddGlobalTestEnvironment(new OwnRuntimeDirectory);  // the framework's to delete

}  // namespace
