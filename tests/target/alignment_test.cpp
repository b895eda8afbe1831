// No load or store of the library is misaligned. The library's sources are compiled into this
// program once more with a check before every access, which stops the program at a bad one.
#include <gtest/gtest.h>

#include "service/drm-service-sorn.h"
#include "tests/support/test_files.h"

extern "C" void _debug_message(int, const char *, unsigned int, unsigned int, const char *, ...) {}

namespace {

using namespace avi_builder;

void play(const Bytes &content) {
    const TempFile file(content);
    SvcFileHandle *handle = nullptr;
    ASSERT_EQ(drm_svc_sorn_open_file(file.path(), &handle), DRM_SVC_SORN_OK);
    Bytes buffer(64, '\0');
    for (std::uint32_t size = 1; size < 16; ++size) {
        std::uint32_t count = 0;
        drm_svc_sorn_seek_file(handle, static_cast<std::int32_t>(100 + size), SEEK_SET);
        drm_svc_sorn_read_file(handle, buffer.data() + size, size, &count);
        EXPECT_EQ(count, size);
        EXPECT_EQ(drm_svc_sorn_tell_file(handle), static_cast<std::int32_t>(100 + 2 * size));
    }
    EXPECT_EQ(drm_svc_sorn_close_file(handle), DRM_SVC_SORN_CLOSED);
}

TEST(Alignment, HoldsForAPlainFile) {
    play(plain_file());
}

TEST(Alignment, HoldsForEverythingThatTheReaderKnows) {
    play(rich_file());
}

TEST(Alignment, HoldsForReadersOfUnalignedBytes) {
    const unsigned char bytes[] = {0, 1, 2, 3, 4, 5, 6, 7};
    EXPECT_EQ(avi_get_u32le(bytes + 1), 0x04030201U);
    EXPECT_EQ(avi_get_u32le(bytes + 3), 0x06050403U);
    EXPECT_EQ(avi_get_u16le(bytes + 5), 0x0605U);
}

TEST(AlignmentDeathTest, IsChecked) {
    alignas(4) unsigned char bytes[8]{};
    void *odd = bytes + 1;
    EXPECT_DEATH({ *static_cast<volatile std::uint32_t *>(odd) = 1; }, "");
}

}  // namespace
