#pragma once
// Shared by the GPU tests: every test runs on an ES 3 and an ES 2 context.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/EglContext.h"

namespace nudora::test {

inline std::string apiName(const ::testing::TestParamInfo<int>& param) { return "ES" + std::to_string(param.param); }

// A fresh context of the parameter's API level, current for the test.
class GlContextTest : public ::testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    context_ = EglContext::create(GetParam());
    if (!context_) GTEST_SKIP() << "no OpenGL ES " << GetParam() << " context on this machine";
    ASSERT_TRUE(context_->makeCurrent());
  }
  void TearDown() override {
    if (context_) EglContext::clearCurrent();
  }
  bool es3() const { return GetParam() == 3; }

  std::unique_ptr<EglContext> context_;
};

}  // namespace nudora::test

#define NUDORA_INSTANTIATE_FOR_BOTH_APIS(Suite) \
  INSTANTIATE_TEST_SUITE_P(Api, Suite, ::testing::Values(3, 2), ::nudora::test::apiName)
