#include <gtest/gtest.h>
#include <vips/vips8>

int main(int argc, char **argv) {
    if (VIPS_INIT(argv[0]))
        vips_error_exit(nullptr);
    // Tests rewrite files under the same names; vips' operation cache would hand back the
    // previous contents.
    vips_cache_set_max(0);
    ::testing::InitGoogleTest(&argc, argv);
    int rc = RUN_ALL_TESTS();
    vips_shutdown();
    return rc;
}
