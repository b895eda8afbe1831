#include <gmock/gmock.h>

#include <fstream>

#include "half_open.h"

namespace {

using namespace avi_builder;

const Bytes kHeaders = list("hdrl", avih(), video_stream());
const Bytes kMedia = list("movi", chunk("00dc", filler(24)), chunk("00dc", filler(8)));
const Bytes kPlain = riff("AVI ", kHeaders, kMedia);

// A file that opens, with `parts` in front of its media.
template <typename... Parts>
Bytes film_with(const Parts &...parts) {
    return riff("AVI ", kHeaders, parts..., kMedia);
}

// A form of any declared size, with nothing behind it.
Bytes form_with(const Bytes &content) {
    return claiming("RIFF", 4000, "AVI " + content);
}

Bytes list_claiming(std::uint32_t size, const Bytes &type_and_chunks) {
    return claiming("LIST", size, type_and_chunks);
}

std::int64_t length(const Bytes &bytes) {
    return static_cast<std::int64_t>(bytes.size());
}

// ------------------------------------------------------------------------------- top-level forms

struct Scan {
    AviStatus status;
    std::uint32_t form_count;
    std::int64_t form_menu_pos;
};

Scan scan(const Bytes &content) {
    HalfOpen reader(content);
    const AviStatus status = avi_scan_forms(*reader, reader->stream);
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
    const Record reader =
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
    const Record reader = open_bytes(kPlain + first + second + without);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(menu_bytes(reader->form_menu_blob), unpadded("menu", filler(3, 2)));
    EXPECT_EQ(reader->form_menu_pos, length(kPlain + first + second) + 24);
    EXPECT_EQ(reader->form_count, 5U);
}

TEST(MenuForm, KeepsAnEmptyMenu) {
    const Record reader = open_bytes(kPlain + menu_form(unpadded("MENU", "")));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->form_menu_blob.present, 1);
    EXPECT_EQ(reader->form_menu_blob.size, 0U);
    EXPECT_EQ(menu_bytes(reader->form_menu_blob), unpadded("MENU", ""));
}

TEST(MenuForm, FillsWhatTheFileDoesNotHoldWithZeros) {
    const Record reader = open_bytes(kPlain + menu_form(claiming("MENU", 10, "abc")));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->form_menu_blob.size, 10U);
    EXPECT_EQ(menu_bytes(reader->form_menu_blob), "MENU" + u32(10) + "abc" + Bytes(7, '\0'));
}

TEST(MenuForm, TakesAMenuPastItsOwnEnd) {
    // The bytes come from the form that follows.
    const Bytes next = riff("AVIX", kMedia);
    const Record reader = open_bytes(kPlain + menu_form(claiming("MENU", 6, "ab")) + next);
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
    const Record reader = open_bytes(kPlain + cut_menu_form(unpadded("MRIF", "") + menu));
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
    const Record earlier = open_bytes(kPlain + cut_menu_form(kept + "MENU"));
    ASSERT_NE(earlier, nullptr);
    EXPECT_EQ(earlier->form_menu_blob.present, 1);
    EXPECT_EQ(menu_bytes(earlier->form_menu_blob), kept);

    const Record none = open_bytes(kPlain + cut_menu_form("MENU"));
    ASSERT_NE(none, nullptr);
    expect_empty(none->form_menu_blob);
}

TEST(MenuForm, StartsAMenuEightBytesBackFromWhereItsSizeEnded) {
    // A size of 1 to 3 bytes moves the start in front of the chunk.
    for (const Bytes &size : {Bytes("\x03"), Bytes("\x03\0", 2), Bytes("\x03\0\0", 3)}) {
        const Bytes content = kPlain + cut_menu_form("MENU" + size);
        const Record reader = open_bytes(content);
        ASSERT_NE(reader, nullptr);
        EXPECT_EQ(reader->form_menu_blob.present, 1);
        EXPECT_EQ(reader->form_menu_blob.size, 3U);
        EXPECT_EQ(menu_bytes(reader->form_menu_blob),
                  content.substr(content.size() - 8) + Bytes(3, '\0'));
    }
}

TEST(MenuForm, HoldsAMenuOfTheLargestBuffer) {
    const Record reader = open_bytes(kPlain + cut_menu_form(claiming("MENU", 0x7FFFFFF7, "ab")));
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
        const Record reader = open_bytes(kPlain + form);
        ASSERT_NE(reader, nullptr);
        expect_empty(reader->form_menu_blob);
        EXPECT_EQ(reader->form_count, 2U) << "what follows is not visited";

        const Bytes later = unpadded("MENU", filler(5));
        const Record afresh = open_bytes(kPlain + form + menu_form(later));
        ASSERT_NE(afresh, nullptr);
        EXPECT_EQ(menu_bytes(afresh->form_menu_blob), later);
    }
}

TEST(MenuForm, MayBeTheFirstFormToo) {
    // Its menu list is then walked twice: as a top-level form's, to the form's end and without pad
    // bytes, and as the list that it is.
    const Bytes content = riff("AVI ", menu_list(chunk("MENU", filler(4)), chunk("MRIF", "")),
                               kHeaders, chunk("MENU", filler(6)), kMedia);
    const Record reader = open_bytes(content);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->form_menu_pos, 24);
    EXPECT_EQ(reader->menu_list_pos, 24);
    EXPECT_EQ(menu_bytes(reader->menu_blob), chunk("MENU", filler(4)));
    EXPECT_EQ(menu_bytes(reader->form_menu_blob), chunk("MENU", filler(6)));
    EXPECT_EQ(reader->form_count, 1U + 1U) << "in the list, the chunk is behind the early end";
}

// -------------------------------------------------------------------------------------- the index

TEST(Index, IsFoundBehindTheMedia) {
    const Bytes before = "AVI " + kHeaders + kMedia;
    for (const char *id : {"idx1", "1idx", "IDX1", "1IdX"}) {
        const Record reader = open_bytes(unpadded("RIFF", before + chunk(id, filler(16))));
        ASSERT_NE(reader, nullptr);
        EXPECT_EQ(reader->index_pos, 8 + length(before)) << id;
    }
}

TEST(Index, IsFoundInFrontOfTheMedia) {
    const Record reader = open_bytes(film_with(chunk("idx1", filler(16))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->index_pos, 12 + length(kHeaders));
}

TEST(Index, IsTheFirstOfSeveral) {
    const Record reader = open_bytes(
        riff("AVI ", kHeaders, kMedia, chunk("1idx", filler(16)), chunk("idx1", filler(16))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->index_pos, 12 + length(kHeaders + kMedia));
}

TEST(Index, IsTheOneInFrontOfTheMediaWhenThereIsOneOnEitherSide) {
    const Bytes index = chunk("idx1", filler(16));
    const Record reader = open_bytes(riff("AVI ", kHeaders, index, kMedia, index));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->index_pos, 12 + length(kHeaders));
}

TEST(Index, IsFoundBehindMediaInWhoseHeaderTheFormEnds) {
    const Bytes before = "AVI " + kHeaders;
    for (const std::int64_t size : {length(before) + 9, length(before) + 12, length(before) + 20}) {
        const Record reader =
            open_bytes(claiming("RIFF", static_cast<std::uint32_t>(size), before + kMedia) +
                       chunk("idx1", filler(16)));
        ASSERT_NE(reader, nullptr) << size;
        EXPECT_EQ(reader->index_pos, 8 + length(before + kMedia)) << size;
    }
}

TEST(Index, IsNotFoundInsideAListOrALaterForm) {
    const Bytes index = chunk("idx1", filler(16));
    const Record inside =
        open_bytes(riff("AVI ", kHeaders, list("movi", chunk("00dc", filler(8)), index)));
    ASSERT_NE(inside, nullptr);
    EXPECT_EQ(inside->index_pos, 0);
    const Record later = open_bytes(kPlain + riff("AVIX", kMedia, index));
    ASSERT_NE(later, nullptr);
    EXPECT_EQ(later->index_pos, 0);
    EXPECT_EQ(open_bytes(kPlain)->index_pos, 0);
    EXPECT_EQ(open_bytes(riff("AVI ", kHeaders, kMedia, chunk("idx2", index)))->index_pos, 0);
}

TEST(Index, IsFoundInTheFormsLastEightBytes) {
    const Record reader = open_bytes(riff("AVI ", kHeaders, kMedia, chunk("idx1", "")));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->index_pos, 12 + length(kHeaders + kMedia));
}

TEST(Index, IsTakenFromDirectlyBehindTheForm) {
    const Record reader = open_bytes(kPlain + unpadded("idx1", filler(16)));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->index_pos, length(kPlain));
    const Record one_further =
        open_bytes(kPlain + unpadded("JUNK", "") + unpadded("idx1", filler(16)));
    ASSERT_NE(one_further, nullptr);
    EXPECT_EQ(one_further->index_pos, 0);
}

TEST(Index, IsNotLookedForBehindAFormThatEndsEarly) {
    // The form's end, 8 bytes early, meets the header of the last chunk that was visited.
    const Bytes content = "AVI " + kHeaders + kMedia;
    for (const std::int64_t size :
         {length(content) - length(kMedia) + 8, length(content) - length(kMedia) + 9}) {
        HalfOpen reader(claiming("RIFF", static_cast<std::uint32_t>(size), content) +
                        chunk("idx1", ""));
        reader.enter(0);
        avi_find_index(*reader);
        const bool at_end = size == length(content) - length(kMedia) + 8;
        EXPECT_EQ(reader->index_pos, at_end ? 0 : 8 + length(content));
    }
}

TEST(Index, NeedsAByteOfItsSize) {
    const Bytes form = claiming("RIFF", 5000, "AVI " + kHeaders + kMedia);
    EXPECT_EQ(open_bytes(form + "idx1")->index_pos, 0);
    EXPECT_EQ(open_bytes(form + "idx1\x10")->index_pos, length(form));
}

TEST(Index, SearchLeavesTheStreamAtTheIndex) {
    HalfOpen reader(riff("AVI ", chunk("JUNK", filler(3)), chunk("idx1", filler(4)), kMedia));
    reader.enter(0);
    avi_find_index(*reader);
    EXPECT_EQ(reader.position(), 12 + 12);
    EXPECT_EQ(reader->index_pos, 12 + 12);
}

TEST(Index, IsNotLookedForInAFormThatMetAnError) {
    HalfOpen reader(riff("AVI ", chunk("idx1", filler(4)), kMedia));
    reader.enter(0);
    reader->chunk_top->error = kAviFailed;
    avi_find_index(*reader);
    EXPECT_EQ(reader->index_pos, 0);
    EXPECT_EQ(reader.position(), 12);
}

// ----------------------------------------------------------------------------------- the QRDT list

// Walks the QRDT list that is the first chunk of the form, and reads what it noted.
void load_data(HalfOpen &reader) {
    reader.enter_first_list();
    avi_load_data_chunk(*reader);
}

TEST(DataList, KeepsThePayloadWithoutItsHeader) {
    const Record reader = open_bytes(film_with(data_list(chunk("MTDA", "12345"))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->data_list_present, 1);
    EXPECT_EQ(reader->data_list_pos, 12 + length(kHeaders) + 12);
    EXPECT_EQ(reader->data_blob.present, 1);
    EXPECT_EQ(reader->data_blob.size, 5U);
    EXPECT_EQ(data_bytes(reader->data_blob), "12345");
    EXPECT_EQ(reader->form_count, 1U);
}

TEST(DataList, IsAbsentInAPlainFile) {
    const Record reader = open_bytes(kPlain);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->data_list_present, 0);
    EXPECT_EQ(reader->data_list_pos, 0);
    expect_empty(reader->data_blob);
}

TEST(DataList, KeepsAnEmptyPayloadAsABuffer) {
    const Record reader = open_bytes(film_with(data_list(chunk("JUNK", ""), chunk("MTDA", ""))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->data_blob.present, 1);
    EXPECT_EQ(reader->data_blob.size, 0U);
    EXPECT_NE(reader->data_blob.data, nullptr);
}

TEST(DataList, PassesOverOtherChunksWithTheirPadBytes) {
    const Record reader = open_bytes(
        film_with(data_list(chunk("JUNK", "abc"), chunk("MENU", "x"), chunk("mtda", "payload"))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(data_bytes(reader->data_blob), "payload");
    EXPECT_EQ(reader->menu_blob.present, 0);
}

TEST(DataList, KeepsTheLastOfSeveralPayloads) {
    const Record reader = open_bytes(film_with(data_list(
        chunk("MTDA", "the first, longer"), chunk("MTDA", "odd"), chunk("MTDA", "last"))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->data_blob.size, 4U);
    EXPECT_EQ(data_bytes(reader->data_blob), "last");
}

TEST(DataList, StartsAfreshInALaterList) {
    const Bytes first = data_list(chunk("MTDA", "first"));
    const Bytes second = data_list(chunk("JUNK", ""), chunk("JUNK", ""));
    const Record reader = open_bytes(film_with(first, second));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->data_list_present, 1);
    EXPECT_EQ(reader->data_list_pos, 12 + length(kHeaders + first) + 12);
    expect_empty(reader->data_blob);

    const Record replaced = open_bytes(film_with(first, data_list(chunk("MTDA", "second"))));
    ASSERT_NE(replaced, nullptr);
    EXPECT_EQ(data_bytes(replaced->data_blob), "second");
}

TEST(DataList, EndsEightBytesEarlyAfterAPayloadThatWasRead) {
    const Record read = open_bytes(film_with(data_list(chunk("MTDA", "kept"), chunk("MTDA", ""))));
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(data_bytes(read->data_blob), "kept");
    const Record passed_over = open_bytes(
        film_with(data_list(chunk("MTDA", "kept"), chunk("JUNK", filler(2)), chunk("MTDA", ""))));
    ASSERT_NE(passed_over, nullptr);
    EXPECT_EQ(passed_over->data_blob.size, 0U);
    EXPECT_EQ(passed_over->data_blob.present, 1);
}

TEST(DataList, TakesAChunkThatFollowsItDirectly) {
    const Bytes behind = chunk("MTDA", "behind");
    const Record passed_over = open_bytes(film_with(data_list(chunk("JUNK", "ab")), behind));
    ASSERT_NE(passed_over, nullptr);
    EXPECT_EQ(data_bytes(passed_over->data_blob), "behind");
    const Record read = open_bytes(film_with(data_list(chunk("MTDA", "inside")), behind));
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(data_bytes(read->data_blob), "inside");
    const Record early = open_bytes(film_with(data_list(chunk("JUNK", "")), behind));
    ASSERT_NE(early, nullptr);
    expect_empty(early->data_blob);
}

TEST(DataList, LeavesTheStreamBehindThePayload) {
    HalfOpen even(form_with(data_list(chunk("MTDA", "1234"))));
    load_data(even);
    EXPECT_EQ(even.position(), 24 + 8 + 4);
    HalfOpen odd(form_with(data_list(chunk("MTDA", "12345"))));
    load_data(odd);
    EXPECT_EQ(odd.position(), 24 + 8 + 5) << "in front of the pad byte";
    HalfOpen other(form_with(data_list(chunk("JUNK", "12345")) + chunk("JUNK", "")));
    load_data(other);
    EXPECT_EQ(other.position(), 24 + 14) << "at the position behind the list";
    HalfOpen empty(form_with(data_list()));
    load_data(empty);
    EXPECT_EQ(empty.position(), 24);
}

TEST(DataList, LeavesTheStreamWhereTheFullWalkWouldAtTheEndOfTheFile) {
    // From the last header on in steps of 8, up to the end as it is measured: 12 + 1000.
    HalfOpen passed_over(form_with(list_claiming(1000, "QRDT" + chunk("JUNK", "ab"))));
    load_data(passed_over);
    EXPECT_EQ(passed_over.position(), 1018) << "34, 42, ..., 1018";
    HalfOpen read(form_with(list_claiming(1000, "QRDT" + chunk("MTDA", "ab"))));
    load_data(read);
    EXPECT_EQ(read.position(), 1018);
    HalfOpen even(form_with(list_claiming(1006, "QRDT" + chunk("JUNK", "ab"))));
    load_data(even);
    EXPECT_EQ(even.position(), 1018) << "exactly at the end";
    HalfOpen further(form_with(list_claiming(1007, "QRDT" + chunk("JUNK", "ab"))));
    load_data(further);
    EXPECT_EQ(further.position(), 1026);
    HalfOpen beyond(form_with(list_claiming(1000, "QRDT" + claiming("JUNK", 5000, "ab"))));
    load_data(beyond);
    EXPECT_EQ(beyond.position(), 24 + 8 + 5000) << "the last step alone passes the end";
    HalfOpen half_a_header(form_with(list_claiming(1000, "QRDT" + chunk("JUNK", "ab") + "JUNK")));
    load_data(half_a_header);
    EXPECT_EQ(half_a_header.position(), 1018);
}

TEST(DataList, EndsTheWalkAroundItWhereItsOwnEnds) {
    // The list claims the form's rest and more: the walk of the form stops with it, so that even
    // a "movi" list that its step would have met is not.
    const Bytes open_ended = list_claiming(1000, "QRDT" + chunk("JUNK", "ab"));
    EXPECT_EQ(open_bytes(riff("AVI ", kHeaders, open_ended, kMedia)), nullptr);
}

TEST(DataList, ReadsAPayloadPastItsOwnEnd) {
    const Bytes content = film_with(list_claiming(4 + 8 + 2, "QRDT" + claiming("MTDA", 14, "ab")));
    const Record reader = open_bytes(content);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(data_bytes(reader->data_blob), "ab" + kMedia.substr(0, 12));
}

TEST(DataList, FillsWhatTheFileDoesNotHoldWithZeros) {
    const Bytes form =
        riff("AVI ", kHeaders, list_claiming(14, "QRDT" + claiming("MTDA", 5000, "ab")), kMedia);
    HalfOpen reader(form_with(list_claiming(100, "QRDT" + claiming("MTDA", 10, "abc"))));
    load_data(reader);
    EXPECT_EQ(reader->data_blob.present, 1);
    avi_read_blobs(*reader);
    EXPECT_EQ(data_bytes(reader->data_blob), "abc" + Bytes(7, '\0'));

    // Read to the end of the file, the stream is behind the form's end too.
    EXPECT_EQ(open_bytes(form), nullptr);
    // A form that claims more goes on at its next chunk.
    const Record larger = open_bytes(claiming("RIFF", 60000, form.substr(8)));
    ASSERT_NE(larger, nullptr);
    EXPECT_EQ(larger->data_blob.size, 5000U);
    const std::size_t tail = form.size() - form.find("MTDA") - 8;
    EXPECT_EQ(data_bytes(larger->data_blob),
              form.substr(form.size() - tail) + Bytes(5000 - tail, '\0'));
}

TEST(DataList, TakesAPartialSizeAsASize) {
    for (std::size_t bytes = 1; bytes <= 3; ++bytes) {
        HalfOpen reader(
            form_with(list_claiming(100, "QRDTMTDA" + u32(0x060000 + 5).substr(0, bytes))));
        load_data(reader);
        avi_read_blobs(*reader);
        const std::uint32_t size = bytes == 3 ? 0x060005 : 5;
        EXPECT_EQ(reader->data_blob.present, 1);
        EXPECT_EQ(reader->data_blob.size, size);
        EXPECT_EQ(data_bytes(reader->data_blob), Bytes(size, '\0'));
    }
}

TEST(DataList, TakesAnIdWithoutASizeAsAChunkOfTheSizeBefore) {
    HalfOpen alone(form_with(list_claiming(100, "QRDTMTDA")));
    load_data(alone);
    avi_read_blobs(*alone);
    EXPECT_EQ(alone->data_blob.present, 0);
    EXPECT_EQ(alone->data_blob.size, 0U);
    EXPECT_NE(alone->data_blob.data, nullptr);

    HalfOpen second(form_with(list_claiming(100, "QRDT" + chunk("MTDA", "1234") + "MTDA")));
    load_data(second);
    EXPECT_EQ(second.position(), 12 + 108 - 4) << "44 in steps of 8 up to 112 or more";
    avi_read_blobs(*second);
    EXPECT_EQ(second->data_blob.present, 1) << "as the first chunk left it";
    EXPECT_EQ(second->data_blob.size, 4U);
    EXPECT_EQ(data_bytes(second->data_blob), Bytes(4, '\0'));
}

TEST(DataList, HoldsThePayloadOfTheLargestBuffer) {
    HalfOpen reader(form_with(list_claiming(100, "QRDT" + claiming("MTDA", 0x7FFFFFFF, "ab"))));
    load_data(reader);
    EXPECT_EQ(reader->data_blob.present, 1);
    avi_read_blobs(*reader);
    EXPECT_EQ(reader->data_blob.size, 0x7FFFFFFFU);
    EXPECT_EQ(blob_bytes(reader->data_blob, 4), Bytes("ab\0\0", 4));
}

TEST(DataList, EmptiesItsBlobAndStopsAtALargerPayload) {
    for (const std::uint32_t size : {0x80000000U, 0xFFFFFFF8U, 0xFFFFFFFFU}) {
        const Bytes too_large =
            data_list(chunk("MTDA", "kept?"), claiming("MTDA", size, ""), chunk("MTDA", "behind"));
        HalfOpen walked(form_with(too_large));
        load_data(walked);
        expect_empty(walked->data_blob);
        EXPECT_EQ(walked.position(), 24 + 14 + 8) << "behind the header that could not be had";

        const Record reader = open_bytes(film_with(too_large));
        ASSERT_NE(reader, nullptr) << "it refuses nothing";
        expect_empty(reader->data_blob);
        EXPECT_EQ(reader->data_list_present, 1);

        const Record afresh = open_bytes(film_with(too_large, data_list(chunk("MTDA", "later"))));
        ASSERT_NE(afresh, nullptr);
        EXPECT_EQ(data_bytes(afresh->data_blob), "later");
    }
}

TEST(DataList, StepsIntoAChunkWhoseSizeWraps) {
    const Record reader =
        open_bytes(film_with(data_list(claiming("JUNK", 0xFFFFFFFF, chunk("MTDA", "inside")))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(data_bytes(reader->data_blob), "inside");
}

TEST(DataList, OfTheWrappingSizeLeavesTheStreamFourGigabytesOn) {
    HalfOpen reader(form_with(list_claiming(0xFFFFFFFF, "QRDT" + chunk("MTDA", "ab"))));
    load_data(reader);
    // 34, 42, ... up to 12 + 0xFFFFFFFF or more.
    EXPECT_EQ(reader.position(), 34 + (12 + 0xFFFFFFFFLL - 34 + 7) / 8 * 8);
    HalfOpen too_large(
        form_with(list_claiming(0xFFFFFFFF, "QRDT" + claiming("MTDA", 0x80000000, "ab"))));
    load_data(too_large);
    EXPECT_GE(too_large.position(), 12 + 0xFFFFFFFFLL);
    expect_empty(too_large->data_blob);
}

TEST(DataList, OfTheWrappingSizeRefusesTheFile) {
    for (const char *type : {"QRDT", "QMNU"}) {
        for (const std::uint32_t size : {1U, 0xFFFFFFFFU}) {
            const Bytes listed = list_claiming(
                0xFFFFFFFF, type + claiming("MTDA", size, "a") + claiming("MENU", size, "a"));
            EXPECT_EQ(open_bytes(claiming("RIFF", 0xFFFFFFFF, "AVI " + kHeaders + listed + kMedia)),
                      nullptr);
        }
    }
}

// ----------------------------------------------------------------------------------- the QMNU list

void load_menu(HalfOpen &reader) {
    reader.enter_first_list();
    avi_load_menu_list(*reader);
}

TEST(MenuList, KeepsItsMenuWithTheHeader) {
    const Record reader = open_bytes(film_with(menu_list(chunk("MENU", "12345"))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->menu_list_present, 1);
    EXPECT_EQ(reader->menu_list_pos, 12 + length(kHeaders) + 12);
    EXPECT_EQ(reader->menu_blob.present, 1);
    EXPECT_EQ(reader->menu_blob.size, 5U);
    EXPECT_EQ(menu_bytes(reader->menu_blob), Bytes("MENU\5\0\0\0", 8) + "12345");
    EXPECT_EQ(reader->form_menu_blob.present, 0);
    EXPECT_EQ(reader->form_menu_pos, 0);
}

TEST(MenuList, KeepsAnEmptyMenu) {
    const Record reader = open_bytes(film_with(menu_list(chunk("JUNK", ""), chunk("MENU", ""))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->menu_blob.present, 1);
    EXPECT_EQ(reader->menu_blob.size, 0U);
    EXPECT_EQ(menu_bytes(reader->menu_blob), chunk("MENU", ""));
}

TEST(MenuList, KeepsTheLastOfSeveralMenus) {
    const Record reader = open_bytes(
        film_with(menu_list(chunk("MENU", "the first, longer"), chunk("menu", "second"))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->menu_blob.size, 6U);
    EXPECT_EQ(menu_bytes(reader->menu_blob), chunk("menu", "second"));
}

TEST(MenuList, CountsItsMrifChunks) {
    const auto counted = [](const Bytes &menus) {
        return open_bytes(film_with(menus))->form_count - 1;
    };
    EXPECT_EQ(counted(menu_list(chunk("MRIF", "ab"), chunk("mrif", "abc"))), 2U);
    EXPECT_EQ(counted(menu_list(chunk("MRIF", "ab"), chunk("JUNK", "abc"), chunk("MRIF", "a"),
                                chunk("MENU", "x"))),
              2U);
    EXPECT_EQ(counted(data_list(chunk("MRIF", "ab"), chunk("MRIF", "ab"))), 0U);
}

TEST(MenuList, VisitsAChunkInItsLastEightBytesOnlyAfterOneThatWasPassedOver) {
    const auto counted = [](const Bytes &menus) {
        return open_bytes(film_with(menus))->form_count - 1;
    };
    EXPECT_EQ(counted(menu_list(chunk("MRIF", ""))), 0U) << "at its end from the start";
    EXPECT_EQ(counted(menu_list(chunk("MRIF", ""), chunk("MRIF", ""))), 2U);
    EXPECT_EQ(counted(menu_list(chunk("MRIF", ""), chunk("MRIF", ""), chunk("MRIF", ""))), 3U);
    EXPECT_EQ(counted(menu_list(chunk("MENU", "ab"), chunk("MRIF", ""))), 0U);
    EXPECT_EQ(counted(menu_list(chunk("MENU", "a"), chunk("MRIF", ""))), 1U)
        << "the stream stands in front of the pad byte";
}

TEST(MenuList, TakesAChunkThatFollowsItDirectly) {
    const Record counted = open_bytes(film_with(menu_list(chunk("MRIF", "ab")), chunk("MRIF", "")));
    ASSERT_NE(counted, nullptr);
    EXPECT_EQ(counted->form_count, 3U);
    const Record kept = open_bytes(
        film_with(menu_list(chunk("MRIF", "ab")), chunk("MENU", "behind"), chunk("MRIF", "")));
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(menu_bytes(kept->menu_blob), chunk("MENU", "behind"));
    EXPECT_EQ(kept->form_count, 2U) << "one position, no more";
}

TEST(MenuList, StartsAfreshInALaterList) {
    const Bytes first = menu_list(chunk("MENU", "first"), chunk("MRIF", "ab"));
    const Bytes second = menu_list(chunk("MRIF", ""), chunk("MRIF", ""));
    const Record reader = open_bytes(film_with(first, second));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->menu_list_present, 1);
    EXPECT_EQ(reader->menu_list_pos, 12 + length(kHeaders + first) + 12);
    expect_empty(reader->menu_blob);
    EXPECT_EQ(reader->form_count, 4U) << "the count goes on";
}

TEST(MenuList, LeavesTheStreamBehindTheMenu) {
    HalfOpen odd(form_with(menu_list(chunk("MENU", "12345"))));
    load_menu(odd);
    EXPECT_EQ(odd.position(), 24 + 8 + 5) << "in front of the pad byte";
    HalfOpen counted(form_with(menu_list(chunk("MRIF", ""), chunk("MRIF", ""))));
    load_menu(counted);
    EXPECT_EQ(counted.position(), 24 + 8) << "at the last one's header";
    HalfOpen cut(form_with(list_claiming(1000, "QMNU" + claiming("MENU", 40, "ab"))));
    load_menu(cut);
    EXPECT_EQ(cut.position(), 1016) << "72, 80, ..., 1016";
    HalfOpen long_enough(form_with(list_claiming(24, "QMNU" + claiming("MENU", 400, filler(4)))));
    load_menu(long_enough);
    EXPECT_EQ(long_enough.position(), 24 + 8 + 4) << "at the end of the file, and of the list";
}

TEST(MenuList, ReadsAMenuPastItsOwnEndAndFillsTheRestWithZeros) {
    HalfOpen reader(form_with(list_claiming(100, "QMNU" + claiming("MENU", 10, "abc"))));
    load_menu(reader);
    avi_read_blobs(*reader);
    EXPECT_EQ(menu_bytes(reader->menu_blob), "MENU" + u32(10) + "abc" + Bytes(7, '\0'));

    const Record past_its_end =
        open_bytes(film_with(list_claiming(4 + 8 + 2, "QMNU" + claiming("MENU", 6, "ab"))));
    ASSERT_NE(past_its_end, nullptr);
    EXPECT_EQ(menu_bytes(past_its_end->menu_blob), "MENU" + u32(6) + "abLIST");
}

TEST(MenuList, TakesAPartialSizeAsASize) {
    // Unlike a menu form's, its menu starts at the chunk's own header.
    for (std::size_t bytes = 1; bytes <= 3; ++bytes) {
        HalfOpen reader(form_with(list_claiming(100, "QMNUMENU" + u32(5).substr(0, bytes))));
        load_menu(reader);
        avi_read_blobs(*reader);
        EXPECT_EQ(reader->menu_blob.present, 1);
        EXPECT_EQ(reader->menu_blob.size, 5U);
        EXPECT_EQ(menu_bytes(reader->menu_blob), "MENU" + u32(5) + Bytes(5, '\0'));
    }
}

TEST(MenuList, TakesAnIdWithoutASizeAsAMenuOfTheSizeBefore) {
    HalfOpen alone(form_with(list_claiming(100, "QMNUMENU")));
    load_menu(alone);
    avi_read_blobs(*alone);
    EXPECT_EQ(alone->menu_blob.present, 0);
    EXPECT_EQ(menu_bytes(alone->menu_blob), "MENU" + u32(0));

    HalfOpen second(form_with(list_claiming(100, "QMNU" + chunk("MENU", "1234") + "MENU")));
    load_menu(second);
    avi_read_blobs(*second);
    EXPECT_EQ(second->menu_blob.present, 1) << "as the first chunk left it";
    EXPECT_EQ(menu_bytes(second->menu_blob), "MENU" + Bytes(8, '\0'));

    HalfOpen counted(form_with(list_claiming(100, "QMNUMRIF")));
    load_menu(counted);
    EXPECT_EQ(counted->form_count, 1U);
}

TEST(MenuList, HoldsAMenuOfTheLargestBuffer) {
    HalfOpen reader(form_with(list_claiming(100, "QMNU" + claiming("MENU", 0x7FFFFFF7, "ab"))));
    load_menu(reader);
    avi_read_blobs(*reader);
    EXPECT_EQ(reader->menu_blob.present, 1);
    EXPECT_EQ(reader->menu_blob.size, 0x7FFFFFF7U);
    EXPECT_EQ(blob_bytes(reader->menu_blob, 12), "MENU" + u32(0x7FFFFFF7) + Bytes("ab\0\0", 4));
}

TEST(MenuList, EmptiesItsBlobAndStopsAtALargerMenu) {
    for (const std::uint32_t size :
         {0x7FFFFFF8U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFF7U, 0xFFFFFFF8U, 0xFFFFFFFFU}) {
        const Bytes too_large = menu_list(chunk("MENU", "kept?"), claiming("MENU", size, ""),
                                          chunk("MRIF", "a"), chunk("MENU", "behind"));
        HalfOpen walked(form_with(too_large));
        load_menu(walked);
        expect_empty(walked->menu_blob);
        EXPECT_EQ(walked.position(), 24 + 14 + 8) << "behind the header that could not be had";

        const Record reader = open_bytes(film_with(too_large));
        ASSERT_NE(reader, nullptr) << "it refuses nothing";
        expect_empty(reader->menu_blob);
        EXPECT_EQ(reader->form_count, 1U) << "what follows is not visited";

        const Record afresh = open_bytes(film_with(too_large, menu_list(chunk("MENU", "later"))));
        ASSERT_NE(afresh, nullptr);
        EXPECT_EQ(menu_bytes(afresh->menu_blob), chunk("MENU", "later").substr(0, 13));
    }
}

TEST(MenuList, OfTheWrappingSizeLeavesTheStreamFourGigabytesOn) {
    HalfOpen reader(form_with(list_claiming(0xFFFFFFFF, "QMNU" + chunk("MRIF", "ab"))));
    load_menu(reader);
    EXPECT_EQ(reader.position(), 34 + (12 + 0xFFFFFFFFLL - 34 + 7) / 8 * 8);
    EXPECT_EQ(reader->form_count, 1U);
    HalfOpen too_large(
        form_with(list_claiming(0xFFFFFFFF, "QMNU" + claiming("MENU", 0xFFFFFFF0, "ab"))));
    load_menu(too_large);
    EXPECT_GE(too_large.position(), 12 + 0xFFFFFFFFLL);
}

// ------------------------------------------------------------------------- reading what was noted

TEST(Blobs, AreReadWithoutMovingTheStream) {
    HalfOpen reader(form_with(data_list(chunk("MTDA", "payload"))));
    load_data(reader);
    avi_file_seek(reader->stream, 5, SEEK_SET);
    avi_read_blobs(*reader);
    EXPECT_EQ(reader.position(), 5);
    EXPECT_EQ(data_bytes(reader->data_blob), "payload");
}

TEST(Blobs, AreLoadedOnceHoweverManyChunksClaimTheRestOfTheFile) {
    std::ifstream io("/proc/self/io");
    if (!io) GTEST_SKIP() << "this system does not count the bytes that a process reads";
    const auto bytes_read = [] {
        std::ifstream counters("/proc/self/io");
        std::string name;
        std::int64_t count = 0;
        counters >> name >> count;
        return count;
    };

    constexpr std::uint32_t kTail = 1 << 20;
    Bytes lists, forms;
    for (int i = 0; i < 100; ++i) {
        lists += list_claiming(14, "QRDT" + claiming("MTDA", kTail, "ab"));
        lists += list_claiming(14, "QMNU" + claiming("MENU", kTail, "ab"));
        forms += claiming("RIFF", 26, "MENU") + claiming("LIST", 14, "QMNU") +
                 claiming("MENU", kTail, "ab");
    }
    // The form claims everything, so that its walk goes on wherever a chunk has left the stream.
    const Bytes content = "AVI " + lists + kHeaders + kMedia;
    const TempFile film(claiming("RIFF", 0xFFFFFFFF, content + filler(kTail)));
    const TempFile menus(kPlain + forms + unpadded("JUNK", filler(kTail)));
    for (const TempFile *file : {&film, &menus}) {
        const std::int64_t before = bytes_read();
        const Record reader(aviin_open(file->path(), 0));
        ASSERT_NE(reader, nullptr);
        EXPECT_LT(bytes_read() - before, 20 * std::int64_t{kTail});
    }
}

}  // namespace
