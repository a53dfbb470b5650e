// What all tests of a run have: a runtime directory of the run, so that those without a session of their own write
// nothing into the user's, and no script that an earlier test has left.

#include <gtest/gtest.h>

#include <optional>

#include "temp_session.h"
#include "win32/script.h"

namespace {

class ScriptReset : public testing::EmptyTestEventListener {
    void OnTestEnd(const testing::TestInfo& /*test*/) override { win32::script::reset(); }
};

class OwnRuntimeDirectory : public testing::Environment {
public:
    void SetUp() override {
        testing::UnitTest::GetInstance()->listeners().Append(new ScriptReset);  // the framework's to delete
        directory_.emplace();
        runtime_.emplace("XDG_RUNTIME_DIR", directory_->path().c_str());
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
