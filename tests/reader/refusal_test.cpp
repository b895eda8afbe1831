// Every reason for which a file is refused, and the position that comes with it.
#include <gmock/gmock.h>

#include "tests/support/test_files.h"

namespace {

using namespace avi_builder;

const Bytes kMovi = list("movi", chunk("00dc", filler(24)));

// Where the first stream list of `file_with` lies.
constexpr std::int64_t kFirstStream = 12 + 12 + 64;

struct Case {
    const char *name;
    AviReason reason;
    std::int64_t pos;
    Bytes content;
};

class Refusal : public testing::TestWithParam<Case> {};

TEST_P(Refusal, TellsTheReasonAndThePosition) {
    const AviRefusal refusal = refusal_of(GetParam().content);
    EXPECT_EQ(refusal.reason, GetParam().reason);
    EXPECT_EQ(refusal.pos, GetParam().pos);
}

// The position of the list that is one too many.
Case too_many(const char *name, AviReason reason, std::uint32_t limit, const Bytes &stream) {
    return {name, reason, kFirstStream + limit * length(stream),
            file_with(repeat(stream, limit + 1))};
}

Bytes bad_list(const Bytes &chunks) {
    return file_with(list("strl", chunks));
}

std::vector<Case> cases() {
    const Bytes headers = list("hdrl", avih(), video_stream());
    const auto after_headers = 12 + length(headers);
    const Bytes audio_header = strh({.type = "auds"});
    return {
        {"ChunkWithoutSize", AviReason::top_level_cut_short, length(plain_file()),
         plain_file() + "JUNK"},
        {"EmptyFile", AviReason::list_header_cut_short, 0, ""},
        {"FileOfOneByte", AviReason::top_level_cut_short, 0, "R"},
        {"FileOfTenBytes", AviReason::list_header_cut_short, 8, claiming("RIFF", 4, "")},
        {"ListHeaderCutShort", AviReason::list_header_cut_short, after_headers + 20,
         claiming("RIFF", 5000,
                  "AVI " + headers + chunk("JUNK", "abcd") + claiming("LIST", 4000, ""))},
        {"FirstChunkNoForm", AviReason::not_a_form, 0, chunk("JUNK", filler(20)) + plain_file()},
        {"SoundFile", AviReason::not_avi, 8, riff("WAVE", chunk("fmt ", filler(16)))},
        {"HeaderListOfNothing", AviReason::header_list_too_short, 12,
         riff("AVI ", list("hdrl"), kMovi)},
        {"JunkBeforeMainHeader", AviReason::no_main_header, 24,
         riff("AVI ", list("hdrl", chunk("JUNK", "abcd"), avih(), video_stream()), kMovi)},
        {"HeaderListPastTheFile", AviReason::header_list_cut_short, 12,
         riff("AVI ", claiming("LIST", 5000, "hdrl" + avih()))},
        too_many("TwentyStreams", AviReason::too_many_streams, 19,
                 list("strl", strh({.type = "mids"}))),
        too_many("ThirteenAudioStreams", AviReason::too_many_audio_streams, 12, audio_stream()),
        too_many("ThirteenVideoStreams", AviReason::too_many_video_streams, 12, video_stream()),
        too_many("ThirteenBitmapSubtitles", AviReason::too_many_bitmap_subtitles, 12,
                 bitmap_subtitle_stream()),
        too_many("ThirteenTextSubtitles", AviReason::too_many_text_subtitles, 12,
                 text_stream({.name = "Subtitle"})),
        too_many("ThirteenChapters", AviReason::too_many_chapters, 12,
                 text_stream({.name = "Chapter 1"})),
        {"ShortStreamHeader", AviReason::bad_stream_header, kFirstStream,
         bad_list(claiming("strh", 55, strh_body()))},
        {"OtherChunkForStreamHeader", AviReason::bad_stream_header, kFirstStream,
         bad_list(chunk("strx", strh_body()))},
        {"AudioFormatCutShort", AviReason::bad_audio_format, kFirstStream,
         riff("AVI ", list("hdrl", avih(), list("strl", audio_header, claiming("strf", 16, ""))))},
        {"VideoFormatOfTwoSizes", AviReason::bad_video_format, kFirstStream,
         bad_list(strh() + claiming("strf", 44, video_format_body() + "abcd"))},
        {"NegativeNameLength", AviReason::bad_stream_name, kFirstStream,
         bad_list(strh() + video_strf() + claiming("strn", 40000, filler(20)))},
        {"ListEndsBehindItsFormat", AviReason::stream_list_cut_short, kFirstStream,
         riff("AVI ", list("hdrl", avih(), video_stream()))},
        {"EmptyMovi", AviReason::movi_too_short, after_headers,
         riff("AVI ", headers, list("movi", chunk("00dc", "")), chunk("JUNK", filler(40)))},
        {"NoMovi", AviReason::no_movi, after_headers + 100,
         riff("AVI ", headers, chunk("JUNK", filler(92)), chunk("JUNK", ""))},
        {"NoMoviInAFormThatEndsWithTheFile", AviReason::no_movi, after_headers + 48,
         riff("AVI ", headers, chunk("JUNK", filler(40)))},
        {"FormCutShort", AviReason::form_cut_short, after_headers + 48,
         claiming("RIFF", 50000, "AVI " + headers + chunk("JUNK", filler(40)))},
    };
}

INSTANTIATE_TEST_SUITE_P(Every, Refusal, testing::ValuesIn(cases()),
                         [](const auto &test) { return test.param.name; });

TEST(RefusalReport, NamesWhatStandsInPlace) {
    const Bytes junk_first = riff("AVI ", list("hdrl", chunk("JUNK", "abcd")), kMovi);
    EXPECT_EQ(refusal_of(junk_first).found.value, avi_fourcc_from_string("JUNK").value);
    EXPECT_EQ(refusal_of(riff("WAVE", "")).found.value, avi_fourcc_from_string("WAVE").value);
}

TEST(RefusalReport, TellsAFileThatCannotBeOpened) {
    AviRefusal refusal{};
    EXPECT_EQ(aviin_open("/nonexistent/file.avi", 0, &refusal), nullptr);
    EXPECT_EQ(refusal.reason, AviReason::cannot_open);
    EXPECT_EQ(refusal.pos, 0);
}

TEST(RefusalReport, IsLeftAloneByAFileThatOpens) {
    const TempFile file(plain_file());
    AviRefusal refusal = {AviReason::no_movi, {}, 7};
    const AviReader reader(aviin_open(file.path(), 0, &refusal));
    EXPECT_NE(reader, nullptr);
    EXPECT_EQ(refusal.reason, AviReason::no_movi);
    EXPECT_EQ(refusal.pos, 7);
}

}  // namespace
