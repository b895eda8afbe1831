// The first pass, over the top-level chunks of a file: forms, and menu forms with what they keep.
#include <gmock/gmock.h>

#include "avi_reader/top_level.h"
#include "tests/support/film_with.h"
#include "tests/support/half_open.h"

namespace {

using namespace avi_builder;

// ------------------------------------------------------------------------------------------ forms

struct Scan {
    AviStatus status;
    std::uint32_t form_count;
    std::int64_t form_menu_pos;
};

Scan scan(const Bytes &content) {
    HalfOpen reader(content);
    const AviStatus status = avi_scan_forms(*reader);
    return {status, reader->form_count, reader->form_menu_pos};
}

TEST(Forms, CountOncePerTopLevelForm) {
    EXPECT_EQ(scan(kPlain).form_count, 1U);
    EXPECT_EQ(scan(kPlain + riff("AVIX", kMedia)).form_count, 2U);
    EXPECT_EQ(scan(kPlain + riff("AVIX", kMedia) + riff("xxxx", kMedia)).form_count, 3U);
    EXPECT_EQ(scan("riff" + kPlain.substr(4)).form_count, 1U) << "in any case";
}

TEST(Forms, DoNotCountOtherTopLevelChunks) {
    const Bytes others = unpadded("JUNK", filler(6)) + unpadded("MRIF", "AVI ") +
                         unpadded("LIST", "QMNU" + chunk("MRIF", ""));
    const Scan result = scan(kPlain + others + riff("AVIX", kMedia));
    EXPECT_EQ(result.status, kAviOk);
    EXPECT_EQ(result.form_count, 2U);
    EXPECT_EQ(result.form_menu_pos, 0);
}

TEST(Forms, DoNotCountFormsInsideOthers) {
    EXPECT_EQ(scan(riff("AVI ", kHeaders, riff("AVIX", kMedia), kMedia)).form_count, 1U);
}

TEST(Forms, FollowEachOtherWithoutPadBytes) {
    const Bytes later = riff("AVIX", kMedia);
    EXPECT_EQ(scan(kPlain + unpadded("JUNK", filler(3)) + later).form_count, 2U);
    EXPECT_EQ(scan(kPlain + riff("odd ", "xyz") + later).form_count, 3U);
    EXPECT_EQ(scan(kPlain + chunk("JUNK", filler(3)) + later).form_count, 1U)
        << "behind a pad byte the form is out of step";
}

TEST(Forms, MayBeEmptyOrClaimMoreThanTheFile) {
    EXPECT_EQ(scan(kPlain + claiming("RIFF", 0, "") + riff("AVIX", kMedia)).form_count, 3U);
    for (const std::uint32_t size :
         {1U << 20, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFF7U, 0xFFFFFFF8U, 0xFFFFFFFFU}) {
        // In 32 bits the last sizes would step backwards or not at all.
        for (const char *id : {"RIFF", "JUNK"}) {
            const Scan result = scan(kPlain + claiming(id, size, filler(16)) + kPlain);
            EXPECT_EQ(result.status, kAviOk) << size;
            EXPECT_EQ(result.form_count, *id == 'R' ? 2U : 1U) << size;
        }
    }
}

TEST(Forms, EndExactlyWithTheFile) {
    EXPECT_EQ(scan(kPlain).status, kAviOk);
    EXPECT_EQ(scan(kPlain.substr(0, kPlain.size() - 1)).status, kAviOk);
}

TEST(Forms, FailOnAnIdWithoutASizeUnlessItIsAForm) {
    for (const char *tail : {"J", "JU", "JUN", "JUNK", "R", "RIF", "MRIF"}) {
        EXPECT_EQ(scan(kPlain + tail).status, kAviFailed) << tail;
        EXPECT_EQ(open_bytes(kPlain + tail), nullptr) << tail;
    }
    EXPECT_EQ(scan(kPlain + "JUNK\x01").status, kAviOk) << "one byte of a size is a size";
    const Scan form = scan(kPlain + "RIFF");
    EXPECT_EQ(form.status, kAviOk);
    EXPECT_EQ(form.form_count, 2U);
    EXPECT_NE(open_bytes(kPlain + "RIFF"), nullptr);
    EXPECT_EQ(scan("RIFF").status, kAviOk);
    EXPECT_EQ(scan("").status, kAviFailed) << "an empty file has no id";
}

TEST(Forms, FailBehindSizesThatTheFileCutShort) {
    // The partial size of the JUNK chunk reads as 1, which ends in front of nothing.
    EXPECT_EQ(scan(kPlain + claiming("JUNK", 2, "xx") + "Z").status, kAviFailed);
}

// --------------------------------------------------------------------------- top-level menu forms

TEST(MenuForm, IsKnownByTheTypeOfItsFirstListAlone) {
    const Bytes content = "QMNU" + unpadded("MRIF", "");
    const std::int64_t start = length(kPlain);
    const Scan usual = scan(kPlain + unpadded("RIFF", "MENULIST" + u32(12) + content));
    EXPECT_EQ(usual.form_menu_pos, start + 24);
    EXPECT_EQ(usual.form_count, 3U);
    const Scan strange = scan(kPlain + unpadded("RIFF", "????\xFF\xFF\xFF\xFF\0\0\0" + content));
    EXPECT_EQ(strange.form_menu_pos, 0) << "one byte short of its place";
    const Scan other = scan(kPlain + unpadded("RIFF", filler(12) + content));
    EXPECT_EQ(other.form_menu_pos, start + 24);
    EXPECT_EQ(other.form_count, 3U);
    const Scan lower = scan(kPlain + unpadded("RIFF", filler(12) + "qmnu" + unpadded("mrif", "")));
    EXPECT_EQ(lower.form_count, 3U);
}

TEST(MenuForm, IsKnownByItsTypeEvenBeyondItsOwnEnd) {
    // Offset 20 is looked at whatever the form's size; its chunks are not.
    const Scan result = scan(kPlain + claiming("RIFF", 4, "MENU") + claiming("LIST", 12, "QMNU") +
                             unpadded("MRIF", ""));
    EXPECT_EQ(result.form_menu_pos, length(kPlain) + 24);
    EXPECT_EQ(result.form_count, 2U);
}

TEST(MenuForm, AddsEachOfItsMrifChunksToTheFormItself) {
    const Bytes menus =
        menu_form(unpadded("MRIF", ""), unpadded("MRIF", filler(7)), unpadded("MRIF", filler(2)));
    EXPECT_EQ(scan(kPlain + menus).form_count, 1U + 1U + 3U);
    EXPECT_EQ(
        open_bytes(film_with(menu_list(chunk("MRIF", ""), chunk("MRIF", ""))) + menus)->form_count,
        1U + 1U + 3U + 2U);
}

TEST(MenuForm, StepsWithoutPadBytes) {
    const Scan unpadded_chunks =
        scan(kPlain + menu_form(unpadded("JUNK", filler(3)), unpadded("MRIF", filler(5)),
                                unpadded("MENU", filler(1)), unpadded("MRIF", "")));
    EXPECT_EQ(unpadded_chunks.form_count, 4U);
    const Scan padded = scan(kPlain + menu_form(chunk("JUNK", filler(3)), unpadded("MRIF", "")));
    EXPECT_EQ(padded.form_count, 2U);
}

TEST(MenuForm, EndsWhereItsSizeSays) {
    const Bytes three = unpadded("MRIF", "") + unpadded("MRIF", "") + unpadded("MRIF", "");
    // They start at 24, 32 and 40. Only the position in front of a chunk is compared with the end.
    for (const auto &[size, counted] : std::vector<std::pair<std::uint32_t, std::uint32_t>>{
             {16, 0}, {17, 1}, {24, 1}, {25, 2}, {32, 2}, {33, 3}, {40, 3}, {400, 3}}) {
        const Bytes form = claiming("RIFF", size, "MENU") + claiming("LIST", 28, "QMNU") + three;
        EXPECT_EQ(scan(form).form_count, 1 + counted) << size;
    }
}

TEST(MenuForm, KeepsItsLastMenuWhole) {
    const Bytes last = unpadded("MENU", filler(7, 2));
    const AviReader reader =
        open_bytes(kPlain + menu_form(unpadded("MENU", filler(20, 1)), unpadded("MRIF", ""), last));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->form_menu_blob.present, 1);
    EXPECT_EQ(reader->form_menu_blob.size, 7U);
    EXPECT_EQ(menu_bytes(reader->form_menu_blob), last);
    EXPECT_EQ(reader->menu_blob.present, 0);
    EXPECT_EQ(reader->menu_list_present, 0);
}

TEST(MenuForm, KeepsTheLastMenuOverAllForms) {
    const Bytes first = menu_form(unpadded("MENU", filler(20, 1)));
    const Bytes second = menu_form(unpadded("menu", filler(3, 2)));
    const Bytes without = menu_form(unpadded("MRIF", ""));
    const AviReader reader = open_bytes(kPlain + first + second + without);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(menu_bytes(reader->form_menu_blob), unpadded("menu", filler(3, 2)));
    EXPECT_EQ(reader->form_menu_pos, length(kPlain + first + second) + 24);
    EXPECT_EQ(reader->form_count, 5U);
}

TEST(MenuForm, KeepsAnEmptyMenu) {
    const AviReader reader = open_bytes(kPlain + menu_form(unpadded("MENU", "")));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->form_menu_blob.present, 1);
    EXPECT_EQ(reader->form_menu_blob.size, 0U);
    EXPECT_EQ(menu_bytes(reader->form_menu_blob), unpadded("MENU", ""));
}

TEST(MenuForm, FillsWhatTheFileDoesNotHoldWithZeros) {
    const AviReader reader = open_bytes(kPlain + menu_form(claiming("MENU", 10, "abc")));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->form_menu_blob.size, 10U);
    EXPECT_EQ(menu_bytes(reader->form_menu_blob), "MENU" + u32(10) + "abc" + Bytes(7, '\0'));
}

TEST(MenuForm, TakesAMenuPastItsOwnEnd) {
    // The bytes come from the form that follows.
    const Bytes next = riff("AVIX", kMedia);
    const AviReader reader = open_bytes(kPlain + menu_form(claiming("MENU", 6, "ab")) + next);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(menu_bytes(reader->form_menu_blob), "MENU" + u32(6) + "abRIFF");
    EXPECT_EQ(reader->form_count, 3U);
}

// The last menu form of a file, cut off in front of `tail`.
Bytes cut_menu_form(const Bytes &tail) {
    return claiming("RIFF", 5000, "MENU") + claiming("LIST", 5000, "QMNU") + tail;
}

TEST(MenuForm, EndsWithTheFile) {
    const Bytes menu = unpadded("MENU", filler(4));
    const AviReader reader = open_bytes(kPlain + cut_menu_form(unpadded("MRIF", "") + menu));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->form_count, 3U);
    EXPECT_EQ(menu_bytes(reader->form_menu_blob), menu);
}

TEST(MenuForm, CountsAnMrifWhoseSizeCannotBeRead) {
    EXPECT_EQ(scan(kPlain + cut_menu_form("MRIF")).form_count, 3U);
    EXPECT_EQ(scan(kPlain + cut_menu_form("MRI")).form_count, 2U);
    EXPECT_EQ(scan(kPlain + cut_menu_form("MRIF\x02")).form_count, 3U);
    EXPECT_EQ(scan(kPlain + cut_menu_form(claiming("MRIF", 0xFFFFFFFF, "x"))).form_count, 3U);
}

TEST(MenuForm, LeavesItsBlobForAMenuWhoseSizeCannotBeRead) {
    const Bytes kept = unpadded("MENU", filler(4));
    const AviReader earlier = open_bytes(kPlain + cut_menu_form(kept + "MENU"));
    ASSERT_NE(earlier, nullptr);
    EXPECT_EQ(earlier->form_menu_blob.present, 1);
    EXPECT_EQ(menu_bytes(earlier->form_menu_blob), kept);

    const AviReader none = open_bytes(kPlain + cut_menu_form("MENU"));
    ASSERT_NE(none, nullptr);
    expect_empty(none->form_menu_blob);
}

TEST(MenuForm, StartsAMenuEightBytesBackFromWhereItsSizeEnded) {
    // A size of 1 to 3 bytes moves the start in front of the chunk.
    for (const Bytes &size : {Bytes("\x03"), Bytes("\x03\0", 2), Bytes("\x03\0\0", 3)}) {
        const Bytes content = kPlain + cut_menu_form("MENU" + size);
        const AviReader reader = open_bytes(content);
        ASSERT_NE(reader, nullptr);
        EXPECT_EQ(reader->form_menu_blob.present, 1);
        EXPECT_EQ(reader->form_menu_blob.size, 3U);
        EXPECT_EQ(menu_bytes(reader->form_menu_blob),
                  content.substr(content.size() - 8) + Bytes(3, '\0'));
    }
}

TEST(MenuForm, HoldsAMenuOfTheLargestBuffer) {
    const AviReader reader = open_bytes(kPlain + cut_menu_form(claiming("MENU", 0x7FFFFFF7, "ab")));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->form_menu_blob.present, 1);
    EXPECT_EQ(reader->form_menu_blob.size, 0x7FFFFFF7U);
    EXPECT_EQ(blob_bytes(reader->form_menu_blob, 12),
              "MENU" + u32(0x7FFFFFF7) + "ab" + Bytes(2, '\0'));
}

TEST(MenuForm, EmptiesItsBlobAndStopsAtALargerMenu) {
    for (const std::uint32_t size :
         {0x7FFFFFF8U, 0x80000000U, 0xFFFFFFF7U, 0xFFFFFFF8U, 0xFFFFFFFFU}) {
        const Bytes form = menu_form(unpadded("MENU", filler(4)), claiming("MENU", size, ""),
                                     unpadded("MRIF", ""), unpadded("MENU", filler(2)));
        const AviReader reader = open_bytes(kPlain + form);
        ASSERT_NE(reader, nullptr);
        expect_empty(reader->form_menu_blob);
        EXPECT_EQ(reader->form_count, 2U) << "what follows is not visited";

        const Bytes later = unpadded("MENU", filler(5));
        const AviReader afresh = open_bytes(kPlain + form + menu_form(later));
        ASSERT_NE(afresh, nullptr);
        EXPECT_EQ(menu_bytes(afresh->form_menu_blob), later);
    }
}

TEST(MenuForm, MayBeTheFirstFormToo) {
    // Its menu list is then walked twice: as a top-level form's, to the form's end and without pad
    // bytes, and as the list that it is.
    const Bytes content = riff("AVI ", menu_list(chunk("MENU", filler(4)), chunk("MRIF", "")),
                               kHeaders, chunk("MENU", filler(6)), kMedia);
    const AviReader reader = open_bytes(content);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->form_menu_pos, 24);
    EXPECT_EQ(reader->menu_list_pos, 24);
    EXPECT_EQ(menu_bytes(reader->menu_blob), chunk("MENU", filler(4)));
    EXPECT_EQ(menu_bytes(reader->form_menu_blob), chunk("MENU", filler(6)));
    EXPECT_EQ(reader->form_count, 1U + 1U) << "in the list, the chunk is behind the early end";
}

}  // namespace
