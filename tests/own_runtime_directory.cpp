// Tests that make no session of their own still write nothing into the user's: they have a runtime directory of the
// run.

#include <gtest/gtest.h>

#include <optional>

#include "temp_session.h"

namespace {

class OwnRuntimeDirectory : public testing::Environment {
public:
    void SetUp() override {
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
