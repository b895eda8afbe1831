// What docs/format.md says of files, in its order.
#include <gmock/gmock.h>

#include "avi_reader/avi_reader.h"
#include "tests/support/test_files.h"

namespace {

using namespace avi_builder;
using testing::Each;

Bytes headers() {
    return list("hdrl", avih(), video_stream());
}

Bytes media() {
    return list("movi", chunk("00dc", filler(24)));
}

// A file with these streams.
template <typename... Streams>
Bytes with_streams(const Streams &...streams) {
    return riff("AVI ", list("hdrl", avih(), streams...), media());
}

AviReason reason(const Bytes &content) {
    const TempFile file(content);
    AviRefusal refusal{};
    const AviReader record(aviin_open(file.path(), 0, &refusal));
    return record != nullptr ? AviReason::none : refusal.reason;
}

Bytes replace(Bytes text, std::string_view what, std::string_view with) {
    const std::size_t pos = text.find(what);
    EXPECT_NE(pos, Bytes::npos) << what;
    return text.replace(pos, what.size(), with);
}

// With `size` in place of the size of the first list of that type, or of the first form.
Bytes claim(Bytes text, std::string_view type, std::uint32_t size) {
    const std::size_t pos = text.find(type);
    EXPECT_NE(pos, Bytes::npos) << type;
    return text.replace(pos - 4, 4, u32(size));
}

// ---- FourCCs

TEST(FormatDocument, FourCCsAreComparedWithoutRegardToCase) {
    EXPECT_EQ(reason(replace(plain_file(), "AVI ", "avi ")), AviReason::none);
    EXPECT_EQ(open_bytes(replace(plain_file(), "vids", "Vids"))->video.count, 1);
}

// ---- the file

TEST(FormatDocument, FirstFormMayBeAMrif) {
    EXPECT_EQ(reason(replace(plain_file(), "RIFF", "MRIF")), AviReason::none);
    EXPECT_EQ(reason(replace(plain_file(), "RIFF", "RIFX")), AviReason::not_a_form);
    EXPECT_EQ(reason(replace(plain_file(), "AVI ", "WAVE")), AviReason::not_avi);
}

TEST(FormatDocument, FormsAndMenuFormsAreCounted) {
    EXPECT_EQ(open_bytes(plain_file() + riff("AVIX", media()))->form_count, 2u);
    const AviReader menu =
        open_bytes(plain_file() + menu_form(unpadded("MRIF", "odd"), unpadded("MENU", "a"),
                                            unpadded("MENU", "bcd")));
    EXPECT_EQ(menu->form_count, 3u);
    EXPECT_EQ(menu->form_menu_blob.size, 3u);
    EXPECT_EQ(Bytes(reinterpret_cast<char *>(menu->form_menu_blob.data), 11),
              "MENU" + u32(3) + "bcd");
}

TEST(FormatDocument, IndexIsFoundInTheFirstFormAlone) {
    const Bytes idx1 = chunk("idx1", filler(16));
    EXPECT_GT(open_bytes(riff("AVI ", headers(), media(), idx1))->index_pos, 0);
    EXPECT_GT(open_bytes(riff("AVI ", headers(), media(), chunk("1idx", "")))->index_pos, 0);
    EXPECT_EQ(open_bytes(plain_file() + riff("AVIX", media(), idx1))->index_pos, 0);
}

TEST(FormatDocument, ListsAfterMoviAreNotReadAndASecondHeaderListAdds) {
    const AviReader after =
        open_bytes(riff("AVI ", media(), headers(), data_list(chunk("MTDA", "x"))));
    EXPECT_EQ(after->stream_count, 0);
    EXPECT_EQ(after->data_list_present, 0);
    EXPECT_EQ(open_bytes(riff("AVI ", headers(), headers(), media()))->stream_count, 2);
}

// ---- where a list ends

TEST(FormatDocument, ListsOf12BytesAreAtTheirEnd) {
    const Bytes empty = list("movi", chunk("00dc", ""));
    EXPECT_EQ(reason(riff("AVI ", headers(), empty)), AviReason::movi_too_short);
    EXPECT_EQ(reason(claim(plain_file(), "hdrl", 12)), AviReason::header_list_too_short);
    EXPECT_EQ(reason(claim(plain_file(), "movi", 13)), AviReason::none);
}

TEST(FormatDocument, ChunkBehindAListIsTakenAsInsideIt) {
    const AviReader data = open_bytes(riff("AVI ", data_list(chunk("JUNK", filler(20))),
                                           chunk("MTDA", "abc"), headers(), media()));
    EXPECT_EQ(data->data_blob.size, 3u);
    const AviReader index =
        open_bytes(riff("AVI ", headers(), media()) + chunk("idx1", filler(16)));
    EXPECT_EQ(index->index_pos, static_cast<std::int64_t>(plain_file().size()) - 48);
}

TEST(FormatDocument, SuperIndexThatClaimsTooMuchHidesWhatFollows) {
    const Bytes second = audio_stream();
    const Bytes file = with_streams(video_stream({.index = SuperIndex{}}), second);
    const auto claiming_more = [&file](std::size_t bytes) {
        return replace(file, "indx" + u32(24),
                       "indx" + u32(static_cast<std::uint32_t>(24 + bytes)));
    };
    EXPECT_EQ(open_bytes(file)->stream_count, 2);
    EXPECT_EQ(open_bytes(claiming_more(second.size()))->stream_count, 1);
    EXPECT_EQ(reason(claiming_more(file.size())), AviReason::no_movi);
}

TEST(FormatDocument, DataThatClaimsTheRestOfTheFileHidesMovi) {
    const Bytes file = riff("AVI ", headers(), data_list(chunk("MTDA", "data")), media());
    EXPECT_EQ(reason(file), AviReason::none);
    EXPECT_EQ(reason(claim(file, "data", 9000)), AviReason::no_movi);
}

// ---- the main header

TEST(FormatDocument, MainHeaderComesFirst) {
    EXPECT_EQ(reason(riff("AVI ", list("hdrl", chunk("JUNK", filler(60)), avih()), media())),
              AviReason::no_main_header);
}

TEST(FormatDocument, ShortMainHeaderIsReadAs56Bytes) {
    const Bytes file = riff(
        "AVI ", list("hdrl", chunk("avih", filler(40)), chunk("JUNK", "12345678"), video_stream()),
        media());
    const AviReader record = open_bytes(file);
    EXPECT_EQ(record->main_header.reserved[0], avi_fourcc_from_string("JUNK").value);
    EXPECT_EQ(record->stream_count, 1);
}

TEST(FormatDocument, StreamsAreTheStreamListsNotTheNumberInTheMainHeader) {
    const AviReader record =
        open_bytes(riff("AVI ", list("hdrl", avih({.streams = 7}), video_stream()), media()));
    EXPECT_EQ(record->stream_count, 1);
    EXPECT_EQ(record->main_header.streams, 7u);
}

// ---- a stream

TEST(FormatDocument, KindsOfStream) {
    const AviReader r = open_bytes(
        with_streams(video_stream(), bitmap_subtitle_stream(), audio_stream(), text_stream(),
                     text_stream({.name = "Chapter 1"}), text_stream({.name = "subtitle"}),
                     video_stream({.header = {.type = "mids"}})));
    const ChunkKind expected[] = {
        ChunkKind::compressed_video, ChunkKind::bitmap_subtitle, ChunkKind::audio,
        ChunkKind::text_subtitle,    ChunkKind::chapter,         ChunkKind::unknown,
        ChunkKind::unknown};
    ASSERT_EQ(r->stream_count, 7);
    for (int i = 0; i < 7; ++i) EXPECT_EQ(r->streams[i].kind, expected[i]) << i;
}

TEST(FormatDocument, Limits) {
    Bytes twelve;
    for (int i = 0; i < 12; ++i) twelve += audio_stream();
    const Bytes other = video_stream({.header = {.type = "mids"}});
    const Bytes seven = other + other + other + other + other + other + other;
    EXPECT_EQ(reason(with_streams(twelve, seven)), AviReason::none);
    EXPECT_EQ(reason(with_streams(twelve, seven, other)), AviReason::too_many_streams);
    EXPECT_EQ(reason(with_streams(twelve, audio_stream())), AviReason::too_many_audio_streams);
}

TEST(FormatDocument, NoPadByteAfterAnOddName) {
    const Bytes name = chunk("strn", "odd") + indx();
    const Bytes padded = list("strl", strh(), video_strf(), name);
    EXPECT_EQ(open_bytes(with_streams(padded))->super_index_pos[0], 0);
    const Bytes even = list("strl", strh(), video_strf(), chunk("strn", Bytes("odd\0", 4)), indx());
    EXPECT_GT(open_bytes(with_streams(even))->super_index_pos[0], 0);
}

TEST(FormatDocument, OddStreamHeaderRefusesAVideoStream) {
    const Bytes odd = list("strl", chunk("strh", strh_body() + "x"), video_strf());
    EXPECT_EQ(reason(with_streams(odd)), AviReason::bad_video_format);
    const Bytes longer = list("strl", chunk("strh", strh_body() + "12345678"), video_strf());
    EXPECT_EQ(reason(with_streams(longer)), AviReason::none);
    const Bytes shorter = list("strl", chunk("strh", strh_body().substr(0, 54)), video_strf());
    EXPECT_EQ(reason(with_streams(shorter)), AviReason::bad_stream_header);
}

TEST(FormatDocument, VideoFormatSaysTheSizeOfItsChunk) {
    const Bytes palette = video_format_body() + filler(1024);
    EXPECT_EQ(reason(with_streams(list("strl", strh(), chunk("strf", palette)))),
              AviReason::bad_video_format);
    const Bytes longer = video_format_body({.structure_size = 60}) + filler(20);
    const AviReader record =
        open_bytes(with_streams(list("strl", strh(), chunk("strf", longer), strn("name"))));
    EXPECT_EQ(record->video.count, 1);
    EXPECT_EQ(record->video.rows[0].name_length, 0);
}

TEST(FormatDocument, AudioFormatKeeps22ExtraBytes) {
    for (const auto extra : {std::uint16_t{22}, std::uint16_t{24}}) {
        const AudioFormat format = {.extra_size = extra, .extra = filler(extra, 1)};
        const AviReader record =
            open_bytes(with_streams(audio_stream({.format = format, .name = "name"})));
        EXPECT_EQ(record->audio.rows[0].name_length, extra == 22 ? 4 : 0);
        EXPECT_EQ(record->audio.rows[0].format.extra[0] != 0, extra == 22);
    }
}

TEST(FormatDocument, TextValuesGoToSlots1243) {
    const AviReader record = open_bytes(with_streams(text_stream({.values = {1, 2, 3, 4}})));
    EXPECT_THAT(record->text_subtitle.rows[0].values, testing::ElementsAre(1, 2, 4, 3));
}

TEST(FormatDocument, StreamDataIsAsLongAsItSaysNotAsItsChunk) {
    const Bytes data = unpadded("strd", u32(5) + u32(3) + "abc");
    const Bytes stream = list("strl", strh(), video_strf(), data, strn("name"));
    const AviReader record = open_bytes(with_streams(stream));
    EXPECT_EQ(record->video.rows[0].stream_data_size, 3u);
    EXPECT_EQ(record->video.rows[0].name_length, 4);

    const Bytes claimed = replace(with_streams(stream), u32(5) + u32(3), u32(5) + u32(900000));
    EXPECT_EQ(reason(claimed), AviReason::stream_list_cut_short);
}

TEST(FormatDocument, NameLengthIs16BitsSigned) {
    const auto with_name = [](const Bytes &head, std::uint32_t size) {
        return with_streams(list("strl", head, claiming("strn", size, "name")));
    };
    EXPECT_EQ(open_bytes(with_name(strh() + video_strf(), 65540))->video.rows[0].name_length, 4);
    EXPECT_EQ(reason(with_name(strh() + video_strf(), 40000)), AviReason::bad_stream_name);
    const AviReader text = open_bytes(with_name(strh({.type = "txts"}) + text_strf(), 40000));
    EXPECT_EQ(text->streams[0].kind, ChunkKind::unknown);
}

TEST(FormatDocument, SuperIndexesAreFiledUnder0To19) {
    const auto files = [](std::string_view id, int number) {
        const AviReader r =
            open_bytes(with_streams(video_stream({.index = SuperIndex{.chunk_id = id}})));
        return number < 0 ? testing::Value(r->super_index_pos, Each(0))
                          : r->super_index_pos[number] > 0;
    };
    EXPECT_TRUE(files("19wb", 19));
    EXPECT_TRUE(files("20wb", -1));
    EXPECT_TRUE(files("ix02", -1));
}

TEST(FormatDocument, ChunksOutOfOrderAreNotFound) {
    const AviReader late =
        open_bytes(with_streams(list("strl", strh(), video_strf(), strn("name"), strd(1, "data"))));
    EXPECT_EQ(late->video.rows[0].has_stream_data, 0u);
    const AviReader junk = open_bytes(
        with_streams(list("strl", strh(), video_strf(), chunk("JUNK", filler(4)), strn("name"))));
    EXPECT_EQ(junk->video.rows[0].name_length, 0);
}

// ---- extensions

TEST(FormatDocument, LastExtensionChunkIsKeptDataWithoutItsHeader) {
    const AviReader r = open_bytes(
        riff("AVI ", data_list(chunk("MTDA", "first"), chunk("MTDA", "2nd")),
             menu_list(chunk("MENU", "menu!"), chunk("MRIF", "mrif")), headers(), media()));
    EXPECT_EQ(Bytes(reinterpret_cast<char *>(r->data_blob.data), 3), "2nd");
    EXPECT_EQ(Bytes(reinterpret_cast<char *>(r->menu_blob.data), 13), "MENU" + u32(5) + "menu!");
    EXPECT_EQ(r->form_count, 2u);
}

TEST(FormatDocument, BytesThatTheFileDoesNotHoldAre0) {
    const Bytes cut = riff("MENU", "LIST" + u32(0) + "QMNU" + claiming("MENU", 9, "abc"));
    const AviReader r = open_bytes(plain_file() + claim(cut, "MENU", 1000));
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(Bytes(reinterpret_cast<char *>(r->form_menu_blob.data), 17),
              "MENU" + u32(9) + "abc" + Bytes(6, '\0'));
}

// ---- what refuses a file, and what does not

TEST(FormatDocument, PadByteAfterTheLastFormRefusesTheFile) {
    const Bytes odd = riff("AVI ", headers(), media(), unpadded("JUNK", "x"));
    EXPECT_EQ(reason(odd), AviReason::none);
    for (std::size_t stray = 1; stray <= 4; ++stray) {
        EXPECT_EQ(reason(odd + Bytes(stray, '\0')), AviReason::top_level_cut_short) << stray;
    }
    EXPECT_EQ(reason(odd + Bytes(5, '\0')), AviReason::none);
    EXPECT_EQ(open_bytes(odd + Bytes(1, '\0') + riff("AVIX", media()))->form_count, 1u);
}

TEST(FormatDocument, SizesOfAnUnfinishedRecording) {
    EXPECT_EQ(reason(claim(plain_file(), "AVI ", 0)), AviReason::no_movi);
    EXPECT_EQ(reason(claim(plain_file(), "movi", 0)), AviReason::movi_too_short);
    EXPECT_EQ(reason(claim(plain_file(), "AVI ", 0x7fffffff)), AviReason::none);
    EXPECT_EQ(reason(claim(plain_file(), "movi", 0x7fffffff)), AviReason::none);
}

TEST(FormatDocument, HeaderListPastTheEndOfTheFileIsRefused) {
    const Bytes cut = riff("AVI ", claim(list("hdrl", avih(), chunk("JUNK", "")), "hdrl", 90000));
    EXPECT_EQ(reason(cut), AviReason::header_list_cut_short);
}

TEST(FormatDocument, NoHeaderListMeansNoStreams) {
    const AviReader record = open_bytes(riff("AVI ", media()));
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->stream_count, 0);
}

TEST(FormatDocument, NoMoviIsRefused) {
    EXPECT_EQ(reason(riff("AVI ", headers()) + riff("AVIX", media())), AviReason::no_movi);
}

}  // namespace
