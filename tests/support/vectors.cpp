#include <gtest/gtest.h>

#include <cstdlib>
#include <string_view>

#include "kxwcmn/platform/vectorize_internal.h"

// Tests run in the widest vectors, as programs do, unless KXWCMN_TEST_VECTORS is "base": the runner
// takes what has a model to compare with in both forms.

namespace {

class VectorForm : public testing::Environment {
  void SetUp() override {
    const char* const form = std::getenv("KXWCMN_TEST_VECTORS");
    if (form && form == std::string_view("base")) kxw::UseVectors(kxw::Vectors::kBase);
  }
};

const testing::Environment* const kForm = testing::AddGlobalTestEnvironment(new VectorForm);

}  // namespace
