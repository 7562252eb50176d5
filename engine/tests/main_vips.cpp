// libvips must be started once before any test touches an image.
#include <vips/vips8>

#include <gtest/gtest.h>

namespace {
struct VipsEnvironment : ::testing::Environment {
    void SetUp() override { VIPS_INIT("dravik_engine_unit_tests"); }
};
const auto *const registered = ::testing::AddGlobalTestEnvironment(new VipsEnvironment);
} // namespace
