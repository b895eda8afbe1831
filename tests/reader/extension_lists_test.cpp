// The QRDT and QMNU lists of the first form, and the chunks of theirs that are kept whole.
#include <gmock/gmock.h>

#include "avi_reader/blob.h"
#include "avi_reader/extension_lists.h"
#include "tests/support/film_with.h"
#include "tests/support/half_open.h"

namespace {

using namespace avi_builder;

// A form of any declared size, with nothing behind it.
Bytes form_with(const Bytes &content) {
    return claiming("RIFF", 4000, "AVI " + content);
}

Bytes list_claiming(std::uint32_t size, const Bytes &type_and_chunks) {
    return claiming("LIST", size, type_and_chunks);
}

// ----------------------------------------------------------------------------------- the QRDT list

// Walks the QRDT list that is the first chunk of the form, and reads what it noted.
void load_data(HalfOpen &reader) {
    reader.enter_first_list();
    avi_load_data_chunk(*reader);
}

TEST(DataList, KeepsThePayloadWithoutItsHeader) {
    const AviReader reader = open_bytes(film_with(data_list(chunk("MTDA", "12345"))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->data_list_present, 1);
    EXPECT_EQ(reader->data_list_pos, 12 + length(kHeaders) + 12);
    EXPECT_EQ(reader->data_blob.present, 1);
    EXPECT_EQ(reader->data_blob.size, 5U);
    EXPECT_EQ(data_bytes(reader->data_blob), "12345");
    EXPECT_EQ(reader->form_count, 1U);
}

TEST(DataList, IsAbsentInAPlainFile) {
    const AviReader reader = open_bytes(kPlain);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->data_list_present, 0);
    EXPECT_EQ(reader->data_list_pos, 0);
    expect_empty(reader->data_blob);
}

TEST(DataList, KeepsAnEmptyPayloadAsABuffer) {
    const AviReader reader = open_bytes(film_with(data_list(chunk("JUNK", ""), chunk("MTDA", ""))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->data_blob.present, 1);
    EXPECT_EQ(reader->data_blob.size, 0U);
    EXPECT_NE(reader->data_blob.data, nullptr);
}

TEST(DataList, PassesOverOtherChunksWithTheirPadBytes) {
    const AviReader reader = open_bytes(
        film_with(data_list(chunk("JUNK", "abc"), chunk("MENU", "x"), chunk("mtda", "payload"))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(data_bytes(reader->data_blob), "payload");
    EXPECT_EQ(reader->menu_blob.present, 0);
}

TEST(DataList, KeepsTheLastOfSeveralPayloads) {
    const AviReader reader = open_bytes(film_with(data_list(
        chunk("MTDA", "the first, longer"), chunk("MTDA", "odd"), chunk("MTDA", "last"))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->data_blob.size, 4U);
    EXPECT_EQ(data_bytes(reader->data_blob), "last");
}

TEST(DataList, StartsAfreshInALaterList) {
    const Bytes first = data_list(chunk("MTDA", "first"));
    const Bytes second = data_list(chunk("JUNK", ""), chunk("JUNK", ""));
    const AviReader reader = open_bytes(film_with(first, second));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->data_list_present, 1);
    EXPECT_EQ(reader->data_list_pos, 12 + length(kHeaders + first) + 12);
    expect_empty(reader->data_blob);

    const AviReader replaced = open_bytes(film_with(first, data_list(chunk("MTDA", "second"))));
    ASSERT_NE(replaced, nullptr);
    EXPECT_EQ(data_bytes(replaced->data_blob), "second");
}

TEST(DataList, EndsEightBytesEarlyAfterAPayloadThatWasRead) {
    const AviReader read =
        open_bytes(film_with(data_list(chunk("MTDA", "kept"), chunk("MTDA", ""))));
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(data_bytes(read->data_blob), "kept");
    const AviReader passed_over = open_bytes(
        film_with(data_list(chunk("MTDA", "kept"), chunk("JUNK", filler(2)), chunk("MTDA", ""))));
    ASSERT_NE(passed_over, nullptr);
    EXPECT_EQ(passed_over->data_blob.size, 0U);
    EXPECT_EQ(passed_over->data_blob.present, 1);
}

TEST(DataList, TakesAChunkThatFollowsItDirectly) {
    const Bytes behind = chunk("MTDA", "behind");
    const AviReader passed_over = open_bytes(film_with(data_list(chunk("JUNK", "ab")), behind));
    ASSERT_NE(passed_over, nullptr);
    EXPECT_EQ(data_bytes(passed_over->data_blob), "behind");
    const AviReader read = open_bytes(film_with(data_list(chunk("MTDA", "inside")), behind));
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(data_bytes(read->data_blob), "inside");
    const AviReader early = open_bytes(film_with(data_list(chunk("JUNK", "")), behind));
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
    HalfOpen one_byte(form_with(list_claiming(31, "QRDT" + chunk("JUNK", "ab"))));
    load_data(one_byte);
    EXPECT_EQ(one_byte.position(), 50) << "42 is one byte short of the end";
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
    const AviReader reader = open_bytes(content);
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
    const AviReader larger = open_bytes(claiming("RIFF", 60000, form.substr(8)));
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

        const AviReader reader = open_bytes(film_with(too_large));
        ASSERT_NE(reader, nullptr) << "it refuses nothing";
        expect_empty(reader->data_blob);
        EXPECT_EQ(reader->data_list_present, 1);

        const AviReader afresh =
            open_bytes(film_with(too_large, data_list(chunk("MTDA", "later"))));
        ASSERT_NE(afresh, nullptr);
        EXPECT_EQ(data_bytes(afresh->data_blob), "later");
    }
}

TEST(DataList, StepsIntoAChunkWhoseSizeWraps) {
    const AviReader reader =
        open_bytes(film_with(data_list(claiming("JUNK", 0xFFFFFFFF, chunk("MTDA", "inside")))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(data_bytes(reader->data_blob), "inside");
}

// Where a walk in steps of 8 bytes, from the end of what the file holds, leaves a list at 12 of the
// wrapping size.
std::int64_t end_of_wrapping_list(std::int64_t pos) {
    return pos + (12 + 0xFFFFFFFFLL - pos + 7) / 8 * 8;
}

TEST(DataList, OfTheWrappingSizeLeavesTheStreamFourGigabytesOn) {
    HalfOpen reader(form_with(list_claiming(0xFFFFFFFF, "QRDT" + chunk("MTDA", "ab"))));
    load_data(reader);
    EXPECT_EQ(reader.position(), end_of_wrapping_list(34));
}

TEST(DataList, OfTheWrappingSizeIsWalkedToItsEndBehindWhatNoBufferHolds) {
    // The sub-chunk's size wraps, too: the walk goes on 8 bytes behind its header.
    HalfOpen reader(form_with(list_claiming(
        0xFFFFFFFF,
        "QRDT" + claiming("MTDA", 0xFFFFFFFF, chunk("JUNK", "abcd") + chunk("MTDA", "ab")))));
    load_data(reader);
    EXPECT_EQ(reader.position(), end_of_wrapping_list(54));
    expect_empty(reader->data_blob);
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
    const AviReader reader = open_bytes(film_with(menu_list(chunk("MENU", "12345"))));
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
    const AviReader reader = open_bytes(film_with(menu_list(chunk("JUNK", ""), chunk("MENU", ""))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->menu_blob.present, 1);
    EXPECT_EQ(reader->menu_blob.size, 0U);
    EXPECT_EQ(menu_bytes(reader->menu_blob), chunk("MENU", ""));
}

TEST(MenuList, KeepsTheLastOfSeveralMenus) {
    const AviReader reader = open_bytes(
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
    const AviReader counted =
        open_bytes(film_with(menu_list(chunk("MRIF", "ab")), chunk("MRIF", "")));
    ASSERT_NE(counted, nullptr);
    EXPECT_EQ(counted->form_count, 3U);
    const AviReader kept = open_bytes(
        film_with(menu_list(chunk("MRIF", "ab")), chunk("MENU", "behind"), chunk("MRIF", "")));
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(menu_bytes(kept->menu_blob), chunk("MENU", "behind"));
    EXPECT_EQ(kept->form_count, 2U) << "one position, no more";
}

TEST(MenuList, StartsAfreshInALaterList) {
    const Bytes first = menu_list(chunk("MENU", "first"), chunk("MRIF", "ab"));
    const Bytes second = menu_list(chunk("MRIF", ""), chunk("MRIF", ""));
    const AviReader reader = open_bytes(film_with(first, second));
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

    const AviReader past_its_end =
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

        const AviReader reader = open_bytes(film_with(too_large));
        ASSERT_NE(reader, nullptr) << "it refuses nothing";
        expect_empty(reader->menu_blob);
        EXPECT_EQ(reader->form_count, 1U) << "what follows is not visited";

        const AviReader afresh =
            open_bytes(film_with(too_large, menu_list(chunk("MENU", "later"))));
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

TEST(Blobs, AreLoadedOnceHoweverManyChunksClaimTheRestOfTheFile) {
    constexpr std::uint32_t kTail = 1 << 20;
    const Bytes lists = repeat(list_claiming(14, "QRDT" + claiming("MTDA", kTail, "ab")) +
                                   list_claiming(14, "QMNU" + claiming("MENU", kTail, "ab")),
                               100);
    const Bytes forms = repeat(
        claiming("RIFF", 26, "MENU") + claiming("LIST", 14, "QMNU") + claiming("MENU", kTail, "ab"),
        100);
    // The form claims everything, so that its walk goes on wherever a chunk has left the stream.
    const Bytes content = "AVI " + lists + kHeaders + kMedia;
    const Bytes film = claiming("RIFF", 0xFFFFFFFF, content + filler(kTail));
    const Bytes menus = kPlain + forms + unpadded("JUNK", filler(kTail));
    for (const Bytes &file : {film, menus}) {
        const ControlledLibc libc(file);
        EXPECT_NE(AviReader(aviin_open("any", 0)), nullptr);
        EXPECT_LT(libc.bytes_read(), 5 * file.size());
    }
}

}  // namespace
