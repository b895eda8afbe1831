// Bytes that cannot be read, as those of a bad sector. Whoever reads them stops as at the end of
// the file; whoever steps over them does not meet them.
#include <gmock/gmock.h>

#include <cstring>

#include "tests/support/parsed_list.h"
#include "tests/support/record_checks.h"

namespace {

using namespace avi_builder;

// ---- stream lists. Positions count from behind the list's own header.

constexpr std::int64_t kFormat = 8 + 56;  // where the chunk behind "strh" starts

ParsedList parse(const Bytes &chunks, std::int64_t damage) {
    return ParsedList(chunks + room(), {damage});
}

TEST(DamagedStreamHeader, RefusesTheList) {
    for (std::int64_t byte = 0; byte < kFormat; ++byte) {
        EXPECT_TRUE(parse(audio_head(), byte).refused()) << byte;
    }
}

TEST(DamagedStreamHeader, IsNotMetBeyond56Bytes) {
    const Bytes header = chunk("strh", strh_body({.type = "auds"}) + filler(16));
    for (std::int64_t byte = kFormat; byte < length(header); ++byte) {
        ParsedList list = parse(header + audio_strf({.channels = 6}) + strn("a name!"), byte);
        EXPECT_FALSE(list.refused()) << byte;
        EXPECT_EQ(list->audio.rows[0].format.channels, 6U) << byte;
        EXPECT_EQ(name_of(list->audio.rows[0]), Bytes("a name!", 8)) << byte;
    }
}

TEST(DamagedFormat, OfAnAudioStreamRefusesTheList) {
    const Bytes format = audio_strf({.extra_size = 4, .extra = "more"});
    for (std::int64_t byte = 0; byte < length(format); ++byte) {
        EXPECT_TRUE(parse(strh({.type = "auds"}) + format, kFormat + byte).refused()) << byte;
    }
}

TEST(DamagedFormat, OfAVideoStreamRefusesTheList) {
    for (std::int64_t byte = 0; byte < 48; ++byte) {
        EXPECT_TRUE(parse(video_head(), kFormat + byte).refused()) << byte;
    }
}

// Its values are stepped over at first, to get at the name behind them.
TEST(DamagedFormat, OfATextStreamRefusesTheListOnceItIsRead) {
    for (const std::int64_t byte : {0, 1, 2, 3, 4, 8, 9, 10, 11, 12, 13, 14, 15}) {
        EXPECT_TRUE(parse(text_head() + strn("Subtitle"), kFormat + byte).refused()) << byte;
    }
    for (std::int64_t byte = 8; byte < 16; ++byte) {
        EXPECT_FALSE(parse(text_head() + strn("Another name"), kFormat + byte).refused()) << byte;
    }
}

TEST(DamagedBeginning, OfTheNextChunkRefusesTheList) {
    for (const Bytes &head : {audio_head(), video_head(), bitmap_subtitle_head(), text_head()}) {
        for (std::int64_t byte = 0; byte <= 8; ++byte) {
            EXPECT_TRUE(parse(head + strn("name"), length(head) + byte).refused()) << byte;
        }
    }
}

// Where a name is the last thing that is looked at, it is missing and that is all.
TEST(DamagedName, LeavesTheRowWithout) {
    const Bytes head = bitmap_subtitle_head();
    for (std::int64_t byte = 12; byte < 8 + 7; ++byte) {
        ParsedList list = parse(head + strn("a name!"), length(head) + byte);
        EXPECT_FALSE(list.refused()) << byte;
        EXPECT_EQ(list->bitmap_subtitle.rows[0].name, nullptr) << byte;
        EXPECT_EQ(list->bitmap_subtitle.rows[0].name_length, 0) << byte;
        EXPECT_EQ(list.consumed(), length(head) + byte) << byte;
    }
}

TEST(DamagedName, OfATextStreamLeavesItWithoutAKind) {
    const Bytes head = text_head();
    for (std::int64_t byte = 12; byte < 16; ++byte) {
        ParsedList list = parse(head + strn("Subtitle"), length(head) + byte);
        EXPECT_FALSE(list.refused()) << byte;
        EXPECT_EQ(list.row().kind, ChunkKind::unknown) << byte;
    }
}

// The look at what follows meets the same byte.
TEST(DamagedName, InFrontOfAnIndexRefusesTheList) {
    for (const Bytes &head : {audio_head(), video_head()}) {
        for (std::int64_t byte = 12; byte < 15; ++byte) {
            EXPECT_TRUE(parse(head + strn("a name!"), length(head) + byte).refused()) << byte;
        }
    }
}

TEST(DamagedStreamData, RefusesTheListWithTheLookAtWhatFollows) {
    const Bytes head = video_head();
    for (std::int64_t byte = 12; byte < 16 + 4; ++byte) {
        const ParsedList list = parse(head + strd(1, "data"), length(head) + byte);
        EXPECT_TRUE(list.refused()) << byte;
        EXPECT_EQ(list->video.rows[0].has_stream_data, 0U) << byte;
        EXPECT_EQ(list->video.rows[0].stream_data, nullptr) << byte;
    }
}

// ---- headers of chunks and lists

TEST(DamagedListHeader, RefusesTheFileForWhatCannotBeRead) {
    for (std::int64_t byte = 0; byte <= 8; ++byte) {
        HalfOpen reader(list("hdrl", avih()));
        reader.libc().damage(byte);
        EXPECT_EQ(avi_enter_list(*reader), kAviFailed) << byte;
        EXPECT_EQ(reader->chunk_top, nullptr) << byte;
        EXPECT_EQ(reader->refusal.reason, AviReason::cannot_read) << byte;
        EXPECT_EQ(reader->refusal.pos, byte);
    }
}

// A sector that can be read after all is read, whichever of its bytes was lost at first.
TEST(DamagedChunkHeader, IsForgottenWhenItIsReadAgain) {
    for (std::int64_t byte = 0; byte < 12; ++byte) {
        HalfOpen reader(filler(12) + claiming("JUNK", 0x01020304, filler(20)));
        reader.libc().damage(12 + byte);
        reader.move_to(12);
        EXPECT_EQ(avi_look(reader.stream()).missing, kAviUnreadable) << byte;
        reader.libc().repair();
        const AviLook look = avi_look(reader.stream());
        EXPECT_EQ(look.missing, kAviOk) << byte;
        EXPECT_EQ(look.id.value, avi_fourcc_from_string("JUNK").value) << byte;
        EXPECT_EQ(look.size, 0x01020304U) << byte;
    }
}

// Where a look ahead in a stream list leaves the stream follows from all of the 12 bytes.
TEST(DamagedChunkHeader, LacksWhatAStreamListLooksAt) {
    const Bytes head = audio_head();
    for (std::int64_t byte = 9; byte < 16; ++byte) {
        ParsedList list = parse(head + chunk("JUNK", filler(20)), length(head) + byte);
        EXPECT_FALSE(list.refused()) << byte;
        EXPECT_EQ(list->stream.lacks_bytes, byte < 12) << byte;
    }
}

// ---- whole files

// A file of which some bytes cannot be read.
class DamagedFile {
public:
    DamagedFile(const Bytes &content, std::initializer_list<std::int64_t> damage)
        : content_(content), libc_(content_) {
        for (const std::int64_t byte : damage) libc_.damage(byte);
        reader_.reset(aviin_open("any", 0, &refusal_));
    }

    [[nodiscard]] bool opened() const { return reader_ != nullptr; }
    [[nodiscard]] const AviRefusal &refusal() const { return refusal_; }
    [[nodiscard]] std::string text() const { return describe(*reader_); }
    const AviReaderState *operator->() const { return reader_.get(); }

private:
    Bytes content_;
    ControlledLibc libc_;
    AviRefusal refusal_{};
    AviReader reader_;
};

const Bytes kHeaders = list("hdrl", avih(), video_stream());
const Bytes kMedia = list("movi", chunk("00dc", filler(24)), chunk("00dc", filler(8)));

// Payloads are stepped over by the walks and read at the end.
TEST(DamagedPayload, IsKeptUpToTheDamage) {
    const Bytes payload = filler(40, 1);
    const Bytes lists = data_list(chunk("MTDA", payload)) + menu_list(chunk("MENU", payload));
    const Bytes content =
        riff("AVI ", lists, kHeaders, kMedia) + menu_form(unpadded("MENU", payload));
    const std::int64_t data = 12 + 12 + 8;
    const std::int64_t menu = data + 40 + 12 + 8;
    const std::int64_t form_menu = length(content) - 40;
    for (const std::int64_t byte : {0, 1, 20, 39}) {
        const DamagedFile file(content, {data + byte, menu + byte, form_menu + byte});
        ASSERT_TRUE(file.opened()) << byte;
        const Bytes kept = payload.substr(0, static_cast<std::size_t>(byte));
        const Bytes lost(static_cast<std::size_t>(40 - byte), '\0');
        EXPECT_EQ(file->data_blob.present, 1) << byte;
        EXPECT_EQ(data_bytes(file->data_blob), kept + lost) << byte;
        EXPECT_EQ(file->menu_blob.present, 1) << byte;
        EXPECT_EQ(menu_bytes(file->menu_blob), "MENU" + u32(40) + kept + lost) << byte;
        EXPECT_EQ(file->form_menu_blob.present, 1) << byte;
        EXPECT_EQ(menu_bytes(file->form_menu_blob), "MENU" + u32(40) + kept + lost) << byte;
        EXPECT_EQ(file->stream_count, 1) << byte;
    }
}

// A payload's damage is no error of the walk, which goes on to the chunks behind it.
TEST(DamagedPayload, DoesNotEndTheWalk) {
    const Bytes first = chunk("MTDA", filler(20)) + chunk("JUNK", filler(20));
    const Bytes menus = chunk("MENU", filler(20)) + chunk("MRIF", filler(20));
    const Bytes content = riff("AVI ", data_list(first, chunk("MTDA", "last")),
                               menu_list(menus, chunk("MENU", "last")), kHeaders, kMedia);
    const std::int64_t data = 12 + 12 + 8;
    const std::int64_t menu = data + 20 + 8 + 20 + 12 + 12 + 8;
    const DamagedFile file(content, {data, data + 19, data + 28, menu, menu + 7, menu + 28});
    ASSERT_TRUE(file.opened());
    EXPECT_EQ(data_bytes(file->data_blob), "last");
    EXPECT_EQ(menu_bytes(file->menu_blob), chunk("MENU", "last"));
    EXPECT_EQ(file->form_count, 2U);
    EXPECT_EQ(file->stream_count, 1);
}

// As the end of the file does, the rest of the list counting as empty.
TEST(DamagedHeader, EndsTheWalkOfAnExtensionList) {
    const Bytes data = data_list(chunk("MTDA", "kept"), chunk("JUNK", filler(8)),
                                 chunk("MTDA", "behind the damage"));
    const Bytes menus = menu_list(chunk("MENU", "kept"), chunk("JUNK", filler(8)),
                                  chunk("MENU", "behind the damage"));
    for (std::int64_t byte = 0; byte < 8; ++byte) {
        const std::int64_t second = 12 + 12 + 12 + byte;
        const DamagedFile file(riff("AVI ", data, menus, kHeaders, kMedia),
                               {second, second + length(data)});
        ASSERT_TRUE(file.opened()) << byte;
        EXPECT_EQ(file->data_blob.present, 1) << byte;
        EXPECT_EQ(data_bytes(file->data_blob), "kept") << byte;
        EXPECT_EQ(file->menu_blob.present, 1) << byte;
        EXPECT_EQ(menu_bytes(file->menu_blob), chunk("MENU", "kept")) << byte;
        EXPECT_EQ(file->stream_count, 1) << byte;
    }
}

TEST(DamagedHeader, OfAMenuFormsChunkEndsTheWalkOverTheForm) {
    const Bytes plain = riff("AVI ", kHeaders, kMedia);
    const Bytes content = plain + menu_form(unpadded("MENU", "kept"), unpadded("MENU", "lost")) +
                          riff("AVIX", kMedia);
    for (std::int64_t byte = 0; byte < 8; ++byte) {
        const DamagedFile file(content, {length(plain) + 24 + 12 + byte});
        ASSERT_TRUE(file.opened()) << byte;
        EXPECT_EQ(menu_bytes(file->form_menu_blob), unpadded("MENU", "kept")) << byte;
        EXPECT_EQ(file->form_count, 3U) << byte;
    }
}

TEST(DamagedHeader, InFrontOfTheMediaRefusesTheFile) {
    const Bytes content = riff("AVI ", kHeaders, chunk("JUNK", filler(20)), kMedia);
    const std::int64_t junk = 12 + length(kHeaders);
    for (const std::int64_t byte : {junk, junk + 1, junk + 4, junk + 7, junk + 28, junk + 32,
                                    junk + 35, junk + 36, junk + 39}) {
        const DamagedFile file(content, {byte});
        ASSERT_FALSE(file.opened()) << byte;
        EXPECT_EQ(file.refusal().reason, AviReason::cannot_read) << byte;
        EXPECT_EQ(file.refusal().pos, byte);
    }
}

TEST(DamagedHeader, BehindTheMediaHidesTheIndexOnly) {
    const Bytes before = riff("AVI ", kHeaders, kMedia);
    const Bytes content =
        riff("AVI ", kHeaders, kMedia, chunk("JUNK", filler(20)), chunk("idx1", filler(16)));
    const DamagedFile whole(content, {});
    EXPECT_EQ(whole->index_pos, length(before) + 28);
    for (const std::int64_t byte : {0, 4, 7, 28, 32, 35}) {
        const DamagedFile file(content, {length(before) + byte});
        ASSERT_TRUE(file.opened()) << byte;
        EXPECT_EQ(file->index_pos, 0) << byte;
    }
}

TEST(DamagedTopLevel, RefusesTheFileForAnIdOrASize) {
    const Bytes plain = riff("AVI ", kHeaders, kMedia);
    const Bytes content = plain + unpadded("JUNK", filler(8)) + riff("AVIX", kMedia);
    for (const std::int64_t byte : {0, 1, 4, 7, 16, 19}) {
        const DamagedFile file(content, {length(plain) + byte});
        ASSERT_FALSE(file.opened()) << byte;
        EXPECT_EQ(file.refusal().reason, AviReason::cannot_read) << byte;
        EXPECT_EQ(file.refusal().pos, length(plain) + byte);
    }
}

TEST(DamagedTopLevel, IsGoneOverUpToAFormWhoseSizeCannotBeReadWhichCounts) {
    const Bytes plain = riff("AVI ", kHeaders, kMedia);
    const Bytes menu = menu_form(unpadded("MENU", "lost"));
    for (const std::int64_t byte : {4, 5, 6, 7}) {
        // From behind the header on, it would be gone over as other chunks, and refused.
        const DamagedFile file(plain + menu + riff("AVIX", kMedia), {length(plain) + byte});
        ASSERT_TRUE(file.opened()) << byte;
        EXPECT_EQ(file->form_count, 2U) << byte;
        EXPECT_EQ(file->form_menu_pos, 0) << byte;
        EXPECT_EQ(file->form_menu_blob.present, 0) << byte;
    }
}

TEST(DamagedTopLevel, IsNotMetFromALaterFormsTypeToTheTypeOfItsFirstList) {
    const Bytes plain = riff("AVI ", kHeaders, kMedia);
    const Bytes content =
        plain + menu_form(unpadded("MRIF", ""), unpadded("MENU", "kept")) + riff("AVIX", kMedia);
    const DamagedFile whole(content, {});
    for (std::int64_t byte = 8; byte < 20; ++byte) {
        const DamagedFile file(content, {length(plain) + byte});
        ASSERT_TRUE(file.opened()) << byte;
        EXPECT_EQ(file.text(), whole.text()) << byte;
        EXPECT_EQ(menu_bytes(file->form_menu_blob), unpadded("MENU", "kept")) << byte;
    }
    const DamagedFile unknown(content, {length(plain) + 20});
    ASSERT_TRUE(unknown.opened());
    EXPECT_EQ(unknown->form_menu_pos, 0) << "a form whose list has no type is no menu";
    EXPECT_EQ(unknown->form_count, 3U);
}

TEST(DamagedMainHeader, IsTakenAsFarAsItGoes) {
    const Bytes content =
        riff("AVI ", list("hdrl", avih({.flags = 3, .width = 320, .height = 240}), video_stream()),
             kMedia);
    const auto height = static_cast<std::int64_t>(content.find("avih")) + 8 + 36;
    const DamagedFile file(content, {height});
    ASSERT_TRUE(file.opened());
    EXPECT_EQ(file->main_header.flags, 3U);
    EXPECT_EQ(file->main_header.width, 320U);
    EXPECT_EQ(file->main_header.height, 0U);
    EXPECT_EQ(file->stream_count, 1) << "the walk goes on behind it";
}

TEST(DamagedMainHeader, IsTheReasonWhenTheFileIsRefusedFurtherOn) {
    const Bytes content = riff("AVI ", list("hdrl", avih(), video_stream()));
    const auto height = static_cast<std::int64_t>(content.find("avih")) + 8 + 36;
    const DamagedFile file(content, {height});
    ASSERT_FALSE(file.opened());
    EXPECT_EQ(file.refusal().reason, AviReason::cannot_read);
    EXPECT_EQ(file.refusal().pos, height);
}

// Everything that refuses a file for a read error says so, and where.
TEST(DamagedHeaderList, TellsTheByteThatCannotBeRead) {
    const Bytes streams =
        video_stream({.strd = strd(1, "data"), .name = "film"}) + audio_stream({.name = "sound"});
    const Bytes content = riff("AVI ", list("hdrl", avih(), streams), kMedia);
    const auto at = [&](const char *id, std::int64_t offset) {
        return static_cast<std::int64_t>(content.find(id)) + offset;
    };
    for (const std::int64_t byte :
         {at("RIFF", 0),  at("AVI ", 0), at("hdrl", -8), at("hdrl", -4), at("hdrl", 0),
          at("avih", 0),  at("avih", 4), at("strl", -8), at("strl", -4), at("strl", 0),
          at("strl", 1),  at("strl", 3), at("strh", 0),  at("strh", 4),  at("strh", 20),
          at("strf", 0),  at("strf", 4), at("strf", 20), at("strd", 0),  at("strd", 8),
          at("strd", 16), at("strn", 0), at("strn", 8),  at("strn", 12), at("movi", -8),
          at("movi", 0)}) {
        const DamagedFile file(content, {byte});
        ASSERT_FALSE(file.opened()) << byte;
        EXPECT_EQ(file.refusal().reason, AviReason::cannot_read) << byte;
        EXPECT_EQ(file.refusal().pos, byte);
    }
}

// Also where only the end of a value is lost: what the reader then takes the file for follows from
// that, not from the file.
TEST(DamagedByte, IsTheReasonOfARefusalWhereverItLies) {
    const Bytes content = rich_file();
    const auto media = static_cast<std::int64_t>(content.find("movi"));
    int refused = 0;
    for (std::int64_t byte = 0; byte < media + 4; ++byte) {
        const DamagedFile file(content, {byte});
        if (file.opened()) continue;
        ++refused;
        EXPECT_EQ(file.refusal().reason, AviReason::cannot_read) << byte;
        EXPECT_EQ(file.refusal().pos, byte);
    }
    EXPECT_GT(refused, 400);
}

// The walk ends as at the end of the file, not where the lost half of a size would lead it.
TEST(DamagedByte, OfASizeEndsTheWalk) {
    for (const std::int64_t byte : {4, 5, 6, 7}) {
        HalfOpen reader(list("QRDT", claiming("JUNK", 4, "abcd"), chunk("MTDA", "ab")));
        reader.libc().damage(12 + byte);
        ASSERT_EQ(avi_enter_list(*reader), kAviOk);
        FourCC id;
        EXPECT_TRUE(avi_walk(*reader->chunk_top, id)) << byte;
        EXPECT_EQ(id.value, avi_fourcc_from_string("JUNK").value) << byte;
        EXPECT_FALSE(avi_walk(*reader->chunk_top, id)) << byte;
    }
}

// A read may fail once and do better the next time; what was lost by then stays lost.
TEST(FailedRead, RefusesTheFileOrLosesNothingOfAnAudioFormat) {
    const Bytes content =
        file_with(audio_stream({.format = {.extra_size = 4, .extra = "more"}}), room());
    const AviReader whole = open_bytes(content);
    ASSERT_NE(whole, nullptr);
    const AviWaveFormat &format = whole->audio.rows[0].format;
    int refused = 0;
    for (std::uint64_t nth = 1;; ++nth) {
        ControlledLibc libc(content);
        libc.use_no_buffer();
        libc.fail({.call = Call::read, .nth = nth});
        AviRefusal refusal{};
        const AviReader reader(aviin_open("any", 0, &refusal));
        if (!libc.any_failed()) break;
        if (reader != nullptr) {
            EXPECT_EQ(std::memcmp(&reader->audio.rows[0].format, &format, sizeof format), 0) << nth;
        } else {
            EXPECT_EQ(refusal.reason, AviReason::cannot_read) << nth;
            ++refused;
        }
    }
    EXPECT_GT(refused, 100);
}

TEST(DamagedMedia, IsNotMet) {
    const Bytes content = rich_file();
    const auto media = static_cast<std::int64_t>(content.find("movi"));
    const AviReader whole = open_bytes(content);
    for (std::int64_t byte = 4; byte < 300; byte += 7) {
        const DamagedFile file(content, {media + byte});
        ASSERT_TRUE(file.opened()) << byte;
        EXPECT_EQ(file.text(), describe(*whole)) << byte;
    }
}

}  // namespace
