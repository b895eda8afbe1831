// Opening a file into a record, and closing it.
#include <gmock/gmock.h>

#include "avi_reader/memory.h"
#include "tests/support/half_open.h"
#include "tests/support/record_checks.h"

namespace {

using namespace avi_builder;

const Bytes kHeaders = list("hdrl", avih(), video_stream());
const Bytes kMedia = list("movi", chunk("00dc", filler(24)), chunk("00dc", filler(8)));
const Bytes kData = data_list(chunk("MTDA", "data"));
const Bytes kMenu = menu_list(chunk("MENU", "menu"));

// A first form that claims `size` bytes, whatever it holds.
Bytes form_claiming(std::uint32_t size, const Bytes &chunks) {
    return claiming("RIFF", size, "AVI " + chunks);
}

TEST(Open, KeepsWhatTheRichFileHolds) {
    const Bytes content = rich_file();
    const AviReader reader = open_bytes(content);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->stream_count, 5);
    EXPECT_EQ(reader->total_frames_ext, 6U);
    EXPECT_EQ(reader->form_count, 6U);
    EXPECT_EQ(reader->data_list_present, 1);
    EXPECT_EQ(reader->data_blob.size, 21U);
    EXPECT_EQ(data_bytes(reader->data_blob), filler(21, 3));
    EXPECT_EQ(reader->menu_list_present, 1);
    EXPECT_EQ(menu_bytes(reader->menu_blob), unpadded("MENU", filler(15, 4)));
    EXPECT_EQ(menu_bytes(reader->form_menu_blob), unpadded("MENU", filler(7, 5)));
    EXPECT_EQ(content.substr(static_cast<std::size_t>(reader->index_pos), 4), "idx1");
    EXPECT_EQ(content.substr(static_cast<std::size_t>(reader->movi_pos) - 4, 8), "movi00dc");
    EXPECT_EQ(content.substr(static_cast<std::size_t>(reader->data_list_pos) - 4, 8), "QRDTJUNK");
    EXPECT_EQ(content.substr(static_cast<std::size_t>(reader->menu_list_pos) - 4, 8), "QMNUMENU");
    EXPECT_EQ(content.substr(static_cast<std::size_t>(reader->form_menu_pos) - 4, 8), "QMNUMRIF");
}

TEST(Open, LeavesTheRestOfAPlainRecordAtZero) {
    const AviReader reader = open_bytes(plain_file());
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->index_pos, 0);
    EXPECT_EQ(reader->data_list_pos, 0);
    EXPECT_EQ(reader->data_list_present, 0);
    EXPECT_EQ(reader->menu_list_pos, 0);
    EXPECT_EQ(reader->menu_list_present, 0);
    EXPECT_EQ(reader->form_menu_pos, 0);
    EXPECT_EQ(reader->total_frames_ext, 0U);
    EXPECT_EQ(reader->form_count, 1U);
    EXPECT_EQ(reader->open_option, 0U);
    EXPECT_THAT(reader->super_index_pos, testing::Each(0));
    expect_empty(reader->data_blob);
    expect_empty(reader->menu_blob);
    expect_empty(reader->form_menu_blob);
}

TEST(Open, KeepsItsOption) {
    EXPECT_EQ(open_bytes(plain_file(), 0xFEDCBA98)->open_option, 0xFEDCBA98U);
}

TEST(Open, StandsInsideTheMediaList) {
    const AviReader reader = open_bytes(rich_file());
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(avi_file_tell(reader->stream), reader->movi_pos);

    const ChunkNode *movi = reader->chunk_top;
    ASSERT_NE(movi, nullptr);
    EXPECT_TRUE(avi_fourcc_equal(movi->id, avi_fourcc_from_string("LIST")));
    EXPECT_TRUE(avi_fourcc_equal(movi->list_type, avi_fourcc_from_string("movi")));
    EXPECT_EQ(movi->start, reader->movi_pos - 12);
    EXPECT_EQ(movi->cursor, reader->movi_pos);
    EXPECT_EQ(movi->depth, 2U);
    EXPECT_EQ(movi->error, kAviOk);

    const ChunkNode *form = movi->parent;
    ASSERT_NE(form, nullptr);
    EXPECT_TRUE(avi_fourcc_equal(form->id, avi_fourcc_from_string("RIFF")));
    EXPECT_EQ(form->start, 0);
    EXPECT_EQ(form->depth, 1U);
    EXPECT_EQ(form->parent, nullptr);
}

TEST(Open, MeasuresTheFile) {
    EXPECT_EQ(open_bytes(rich_file())->stream.size, length(rich_file()));
}

TEST(Open, KeepsRecordsApart) {
    const AviReader rich = open_bytes(rich_file());
    const AviReader plain = open_bytes(plain_file());
    ASSERT_NE(rich, nullptr);
    ASSERT_NE(plain, nullptr);
    avi_file_seek(rich->stream, 3, SEEK_SET);
    EXPECT_EQ(avi_file_tell(plain->stream), plain->movi_pos);
    EXPECT_EQ(plain->stream_count, 1);
    EXPECT_EQ(rich->stream_count, 5);
}

// ---- which forms

TEST(Open, AcceptsEveryNameInAnyCase) {
    const Bytes headers = list("HDRL", chunk("AvIh", avih_body()), video_stream());
    const Bytes lists = "list" + headers.substr(4) + list("qrdt", chunk("mtda", "data")) +
                        list("qmnu", chunk("menu", "menu")) + list("MoVi", chunk("00dc", "abcd"));
    const AviReader reader =
        open_bytes(unpadded("riff", "avi " + lists + chunk("IDX1", filler(16))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->stream_count, 1);
    EXPECT_EQ(reader->form_count, 1U);
    EXPECT_EQ(data_bytes(reader->data_blob), "data");
    EXPECT_EQ(menu_bytes(reader->menu_blob), chunk("menu", "menu"));
    EXPECT_EQ(reader->index_pos, 12 + length(lists));
}

TEST(Open, AcceptsMrifAsTheFirstFormWithoutCountingIt) {
    const AviReader reader = open_bytes(unpadded("MRIF", "AVI " + kHeaders + kMedia));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->form_count, 0U);
    EXPECT_EQ(reader->stream_count, 1);
}

TEST(Open, RefusesOtherFirstForms) {
    EXPECT_EQ(open_bytes(riff("WAVE", chunk("fmt ", filler(16)), chunk("data", filler(40)))),
              nullptr);
    EXPECT_EQ(open_bytes(riff("WAVE", kHeaders, kMedia)), nullptr);
    EXPECT_EQ(open_bytes(riff("AVIX", kHeaders, kMedia)), nullptr);
    EXPECT_EQ(open_bytes(unpadded("RIFX", "AVI " + kHeaders + kMedia)), nullptr);
    EXPECT_EQ(open_bytes(unpadded("LIST", "AVI " + kHeaders + kMedia)), nullptr);
    EXPECT_EQ(open_bytes(chunk("JUNK", "") + riff("AVI ", kHeaders, kMedia)), nullptr)
        << "the form must come first";
}

TEST(Open, RefusesAFileWithoutAWholeFormHeader) {
    const Bytes file = plain_file();
    for (std::size_t size = 0; size <= 12; ++size) {
        EXPECT_EQ(open_bytes(file.substr(0, size)), nullptr) << size;
    }
}

TEST(Open, RefusesWhatCannotBeOpenedOrRead) {
    EXPECT_EQ(aviin_open("/nowhere/to/be/found.avi", 0), nullptr);
    EXPECT_EQ(aviin_open("", 0), nullptr);
    EXPECT_EQ(aviin_open("/", 0), nullptr) << "a directory opens and cannot be read";
    EXPECT_EQ(aviin_open("/dev/null", 0), nullptr);
}

TEST(Open, RefusesAPipeWithoutWaitingForIt) {
    for (const Bytes &content : {Bytes(), rich_file()}) {
        const Pipe pipe(content);
        AviRefusal refusal{};
        EXPECT_EQ(aviin_open(pipe.path(), 0, &refusal), nullptr);
        EXPECT_NE(refusal.reason, AviReason::none);
        EXPECT_NE(refusal.reason, AviReason::no_memory);
    }
}

// As files of the kernel do, whose content is made when it is read.
TEST(Open, RefusesAFileThatReportsNoBytesAndHasSome) {
    const Bytes content = rich_file();
    ControlledLibc libc(content);
    libc.claim_size(0);
    AviRefusal refusal{};
    EXPECT_EQ(aviin_open("any", 0, &refusal), nullptr);
    EXPECT_EQ(refusal.reason, AviReason::list_header_cut_short);
    EXPECT_EQ(refusal.pos, 0);

    AviRefusal of_the_kernel{};
    EXPECT_EQ(aviin_open("/proc/sys/kernel/ostype", 0, &of_the_kernel), nullptr);
    EXPECT_EQ(of_the_kernel.reason, AviReason::list_header_cut_short);
}

// A recording is opened while it is written: what was not there when its size was measured is not
// parsed, even when it is there by the time that it is come to.
TEST(Open, MakesOfAGrowingFileWhatItMadeOfItsMeasuredPart) {
    const Bytes content = rich_file();
    for (std::size_t measured = 0; measured < content.size(); ++measured) {
        ControlledLibc growing(content);
        growing.claim_size(static_cast<std::int64_t>(measured));
        const AviReader grown(aviin_open("any", 0));
        const AviReader cut = open_bytes(content.substr(0, measured));
        ASSERT_EQ(grown == nullptr, cut == nullptr) << measured;
        if (cut == nullptr) continue;
        ASSERT_EQ(describe(*grown), describe(*cut)) << measured;
    }
}

// Whoever reads or seeks in an open file meets what it now holds, and nothing of what parsing read.
TEST(Open, RemembersNothingOfTheFile) {
    Bytes content = riff("AVI ", kHeaders, chunk("idx1", ""), kMedia);
    ControlledLibc libc(content);
    libc.use_no_buffer();
    const AviReader reader(aviin_open("any", 0));
    ASSERT_NE(reader, nullptr);
    const auto media = static_cast<std::size_t>(reader->movi_pos);
    content.replace(media - 8, 8, "ABCDEFGH");
    EXPECT_EQ(avi_look_back(reader->stream).id.value, avi_fourcc_from_string("ABCD").value);
    char bytes[7];
    EXPECT_EQ(avi_file_read(reader->stream, bytes, 7), 7U);
    EXPECT_EQ(avi_look_back(reader->stream).id.value, avi_fourcc_from_string("H00d").value);
}

// ---- the walk over the first form

TEST(Open, TakesItsListsInAnyOrder) {
    for (const Bytes &lists :
         {kHeaders + kData + kMenu, kMenu + kHeaders + kData, kData + kMenu + kHeaders,
          list("INFO", chunk("INAM", "a title")) + kMenu + chunk("JUNK", filler(9)) + kData +
              kHeaders}) {
        const AviReader reader = open_bytes(riff("AVI ", lists, kMedia));
        ASSERT_NE(reader, nullptr);
        EXPECT_EQ(reader->stream_count, 1);
        EXPECT_EQ(data_bytes(reader->data_blob), "data");
        EXPECT_EQ(menu_bytes(reader->menu_blob), chunk("MENU", "menu"));
    }
}

TEST(Open, NeverSeesListsBehindTheMedia) {
    const AviReader reader = open_bytes(riff("AVI ", kHeaders, kMedia, kData, kMenu,
                                             list("hdrl", avih({.width = 1}), audio_stream()),
                                             list("hdrl", chunk("JUNK", filler(8)))));
    ASSERT_NE(reader, nullptr) << "not even a bad one";
    EXPECT_EQ(reader->stream_count, 1);
    EXPECT_EQ(reader->main_header.width, 320U);
    EXPECT_EQ(reader->data_list_present, 0);
    EXPECT_EQ(reader->menu_list_present, 0);
    expect_empty(reader->data_blob);
    expect_empty(reader->menu_blob);
    EXPECT_EQ(reader->form_count, 1U);
}

TEST(Open, NeedsNoHeaderList) {
    const AviReader reader = open_bytes(riff("AVI ", kMedia, kHeaders));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->stream_count, 0);
    EXPECT_EQ(reader->movi_pos, 24);
}

TEST(Open, NeedsAMediaList) {
    EXPECT_EQ(open_bytes(riff("AVI ", kHeaders)), nullptr);
    EXPECT_EQ(open_bytes(riff("AVI ")), nullptr);
    EXPECT_EQ(open_bytes(riff("AVI ", kHeaders, list("mov ", chunk("00dc", filler(24))))), nullptr);
    EXPECT_EQ(open_bytes(riff("AVI ", kHeaders, list("INFO", kMedia))), nullptr)
        << "one inside another list is none";
    EXPECT_EQ(open_bytes(riff("AVI ", kHeaders, chunk("movi", filler(40)))), nullptr);
    EXPECT_EQ(open_bytes(riff("AVI ", kHeaders) + riff("AVIX", kMedia)), nullptr)
        << "nor is one in a later form";
}

TEST(Open, RefusesAFormWhoseWalkMeetsTheEndOfTheFile) {
    EXPECT_EQ(open_bytes(form_claiming(5000, kHeaders)), nullptr);
    EXPECT_EQ(open_bytes(form_claiming(5000, kHeaders + claiming("JUNK", 900, "") + kMedia)),
              nullptr);
}

TEST(Open, NeedsAMediaListThatIsNotAtItsEndAtOnce) {
    // The end is measured from the list's header, so 12 bytes end in front of the first chunk.
    const Bytes chunks = chunk("00dc", filler(16));
    for (const std::uint32_t size : {0U, 4U, 11U, 12U}) {
        const Bytes media = claiming("LIST", size, "movi" + chunks);
        EXPECT_EQ(open_bytes(riff("AVI ", kHeaders, media)), nullptr) << size;
        EXPECT_EQ(open_bytes(riff("AVI ", kHeaders, media, kMedia)), nullptr)
            << "the first one decides: " << size;
    }
    for (const std::uint32_t size : {13U, 14U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        const AviReader reader =
            open_bytes(riff("AVI ", kHeaders, claiming("LIST", size, "movi" + chunks)));
        ASSERT_NE(reader, nullptr) << size;
        EXPECT_EQ(reader->movi_pos, 24 + length(kHeaders));
        EXPECT_EQ(reader->chunk_top->size, std::int64_t{size});
    }
    EXPECT_EQ(open_bytes(riff("AVI ", kHeaders, list("movi", chunk("00dc", "")))), nullptr);
    EXPECT_NE(open_bytes(riff("AVI ", kHeaders, list("movi", chunk("00dc", "a")))), nullptr);
}

TEST(Open, EndsTheFormWhereItsSizeSays) {
    // After "hdrl" the stream stands where the media start; a form that ends there has no more.
    const auto media_start = static_cast<std::uint32_t>(12 + kHeaders.size());
    const Bytes lists = kHeaders + kMedia;
    EXPECT_EQ(open_bytes(form_claiming(media_start, lists)), nullptr);
    EXPECT_NE(open_bytes(form_claiming(media_start + 1, lists)), nullptr);
    EXPECT_EQ(open_bytes(form_claiming(12, lists)), nullptr);
    EXPECT_EQ(open_bytes(form_claiming(0, lists)), nullptr);
    // After a chunk that was stepped over, the next one is looked at, wherever the form ends.
    const Bytes stepped = kHeaders + chunk("JUNK", filler(100));
    EXPECT_NE(open_bytes(form_claiming(media_start + 1, stepped + kMedia)), nullptr);
    for (const std::uint32_t size : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_NE(open_bytes(form_claiming(size, lists)), nullptr) << size;
    }
}

TEST(Open, TakesAMediaListThatFollowsTheFormDirectly) {
    const AviReader reader = open_bytes(riff("AVI ", kHeaders, chunk("JUNK", "ab")) + kMedia);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->movi_pos, 12 + length(kHeaders) + 10 + 12);
}

TEST(Open, PassesOverOddChunksWithTheirPadBytes) {
    const AviReader reader = open_bytes(
        riff("AVI ", chunk("JUNK", filler(7)), kHeaders, chunk("JUNK", filler(1)), kMedia));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->stream_count, 1);
    EXPECT_EQ(open_bytes(riff("AVI ", unpadded("JUNK", filler(7)), kHeaders, kMedia)), nullptr);
}

TEST(Open, StepsIntoAChunkOfTheWrappingSize) {
    const AviReader junk = open_bytes(riff("AVI ", claiming("JUNK", 0xFFFFFFFF, kHeaders), kMedia));
    ASSERT_NE(junk, nullptr);
    EXPECT_EQ(junk->stream_count, 1);
    EXPECT_EQ(open_bytes(riff("AVI ", claiming("JUNK", 0xFFFFFFFE, kHeaders), kMedia)), nullptr);
    EXPECT_EQ(open_bytes(riff("AVI ", claiming("JUNK", 0xFFFFFFFD, kHeaders), kMedia)), nullptr);

    // A list that brings nothing is stepped into at its type, which is taken for a chunk's id.
    const AviReader other =
        open_bytes(riff("AVI ", claiming("LIST", 0xFFFFFFFF, "INFO" + u32(0) + kHeaders), kMedia));
    ASSERT_NE(other, nullptr);
    EXPECT_EQ(other->stream_count, 1);
    EXPECT_EQ(open_bytes(riff("AVI ", claiming("LIST", 0xFFFFFFFF, "INFOxxxx" + kHeaders), kMedia)),
              nullptr);
}

TEST(Open, RefusesListsThatClaimFourGigabytes) {
    for (const char *type : {"QRDT", "QMNU", "hdrl", "INFO", "strl"}) {
        for (const std::uint32_t size : {0xFFFFFFFFU, 0xFFFFFFFEU, 0xFFFFFFFDU, 0x80000000U}) {
            const Bytes content = form_claiming(
                0xFFFFFFFF, claiming("LIST", size, type + chunk("MTDA", "ab") + filler(14)));
            EXPECT_EQ(open_bytes(content), nullptr) << type << ' ' << size;
        }
    }
}

// ---- what is left behind

struct Refusal {
    const char *name;
    Bytes content;
};

std::vector<Refusal> refusals() {
    const Bytes loaded =
        kData + kMenu +
        list("hdrl", avih(), video_stream({.strd = strd(1, "data"), .name = "film"}),
             audio_stream({.name = "sound"}), bitmap_subtitle_stream({.name = "text"}));
    const Bytes menus = menu_form(unpadded("MENU", filler(40)));
    return {
        {"an empty file", ""},
        {"an id that cannot be read whole", "JU"},
        {"a top-level size that cannot be read", plain_file() + menus + "JUNK"},
        {"a root that cannot be pushed", "RIFF" + u32(20)},
        {"another form", riff("WAVE", loaded, kMedia) + menus},
        {"another id", unpadded("RIFX", "AVI " + loaded + kMedia) + menus},
        {"a list that cannot be pushed, without its size", form_claiming(9000, loaded + "LIST")},
        {"a list that cannot be pushed, without its type",
         form_claiming(9000, loaded + claiming("LIST", 40, ""))},
        {"a header list that starts with another chunk",
         riff("AVI ", loaded, list("hdrl", chunk("JUNK", filler(60))), kMedia) + menus},
        {"a stream list that is refused",
         riff("AVI ", loaded,
              list("hdrl", avih(), video_stream({.name = "film"}), list("strl", filler(80))),
              kMedia)},
        {"a list in the header list that cannot be pushed",
         form_claiming(9000, loaded + claiming("LIST", 900,
                                               "hdrl" + avih() + video_stream({.name = "film"}) +
                                                   claiming("LIST", 40, "")))},
        {"no media list", riff("AVI ", loaded) + menus},
        {"a media list at its end", riff("AVI ", loaded, list("movi", chunk("00dc", ""))) + menus},
        {"an error on the form", form_claiming(9000, loaded)},
    };
}

TEST(Open, LeavesNothingBehindWhenItRefuses) {
    for (const Refusal &refusal : refusals()) {
        ControlledLibc libc(refusal.content);
        EXPECT_EQ(aviin_open("any", 0), nullptr) << refusal.name;
        EXPECT_EQ(libc.live_allocations(), 0U) << refusal.name;
        EXPECT_EQ(libc.open_files(), 0U) << refusal.name;
    }
}

TEST(Open, HoldsOneFileUntilItIsClosed) {
    const Bytes content = rich_file();
    ControlledLibc libc(content);
    AviReader reader(aviin_open("any", 0));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(libc.open_files(), 1U);
    reader.reset();
    EXPECT_EQ(libc.open_files(), 0U);
}

TEST(Close, ReleasesEverythingThatARecordHolds) {
    const Bytes content = rich_file();
    ControlledLibc libc(content);
    AviReader reader(aviin_open("any", 0));
    ASSERT_NE(reader, nullptr);
    // Nothing fills these, but a record may hold them.
    for (TextTrack *row : {&reader->text_subtitle.rows[0], &reader->chapter.rows[0]}) {
        row->size = 10;
        row->data = avi_allocate(10).release();
    }
    reader.reset();
    EXPECT_EQ(libc.live_allocations(), 0U);
}

TEST(Close, ReleasesWhatWasReplacedOrLoadedEmpty) {
    const Bytes streams = video_stream({.strd = strd(1, ""), .name = ""}) +
                          audio_stream({.name = ""}) + bitmap_subtitle_stream({.name = ""});
    const Bytes twice = data_list(chunk("MTDA", "one"), chunk("MTDA", "")) +
                        menu_list(chunk("MENU", "one"), chunk("MENU", "two")) + kData + kMenu;
    const Bytes content = riff("AVI ", twice, list("hdrl", avih(), streams), kMedia) +
                          menu_form(unpadded("MENU", "one"), unpadded("MENU", "two")) +
                          menu_form(unpadded("MENU", "three"));
    ControlledLibc libc(content);
    EXPECT_NE(AviReader(aviin_open("any", 0)), nullptr);
    EXPECT_EQ(libc.live_allocations(), 0U);
}

TEST(Close, IgnoresNull) {
    aviin_close(nullptr);
}

TEST(Close, ReleasesARecordThatHasNoFileYet) {
    const ControlledLibc libc("");
    aviin_close(static_cast<AviReaderState *>(std::calloc(1, sizeof(AviReaderState))));
    EXPECT_EQ(libc.live_allocations(), 0U);
}

// ---- when memory runs out

// Opens a file whose n-th allocation fails.
class OpenWithout {
public:
    OpenWithout(const Bytes &content, std::uint64_t nth) : libc_(content) {
        libc_.fail({Call::allocation, nth});
        reader_.reset(aviin_open("any", 0, &refusal_));
    }
    [[nodiscard]] bool refused() const { return reader_ == nullptr; }
    [[nodiscard]] bool failed() const { return libc_.any_failed(); }
    [[nodiscard]] const AviRefusal &refusal() const { return refusal_; }
    const AviReaderState *operator->() const { return reader_.get(); }
    AviReaderState &operator*() const { return *reader_; }

private:
    ControlledLibc libc_;
    AviRefusal refusal_ = {AviReason::no_movi, {1}, 2};
    AviReader reader_;
};

std::uint64_t allocations_for(const Bytes &content) {
    const ControlledLibc libc(content);
    aviin_close(aviin_open("any", 0));
    return libc.calls(Call::allocation);
}

TEST(OutOfMemory, IsTheReasonWhenThereIsNoRecord) {
    const Bytes content = rich_file();
    const OpenWithout reader(content, 1);
    ASSERT_TRUE(reader.refused());
    EXPECT_EQ(reader.refusal().reason, AviReason::no_memory);
    EXPECT_EQ(reader.refusal().found.value, 0U);
    EXPECT_EQ(reader.refusal().pos, 0);
}

TEST(OutOfMemory, RefusesTheFileForWantOfTheRecordOrANode) {
    // The record, the form and its only list; or with them the header list and a list in it.
    const Bytes bare = riff("AVI ", kMedia);
    const Bytes with_headers = riff("AVI ", list("hdrl", avih(), odml(3)), kMedia);
    for (const auto &[content, nodes] : {std::pair{bare, 3U}, std::pair{with_headers, 5U}}) {
        ASSERT_EQ(allocations_for(content), nodes);
        for (std::uint64_t failing = 1; failing <= nodes; ++failing) {
            const OpenWithout reader(content, failing);
            ASSERT_TRUE(reader.refused()) << failing;
            EXPECT_EQ(reader.refusal().reason, AviReason::no_memory) << failing;
            EXPECT_EQ(reader.refusal().pos, 0) << failing;
        }
    }
}

// A file of everything that is kept in a buffer of its own, each with a size that nothing else has.
Bytes kept_buffers() {
    const Bytes streams = video_stream({.strd = strd(7, filler(301)),
                                        .name = filler(311),
                                        .index = SuperIndex{.entries_in_use = 5, .entries = ""}}) +
                          audio_stream({.name = filler(321),
                                        .index = SuperIndex{.chunk_id = "01wb", .entries = ""}}) +
                          bitmap_subtitle_stream({.name = filler(331)}) +
                          text_stream({.name = "Subtitle" + filler(341 - 8)});
    return riff("AVI ", data_list(chunk("MTDA", filler(351))),
                menu_list(chunk("MRIF", "ab"), chunk("MENU", filler(361)), chunk("MRIF", "ab")),
                list("hdrl", avih(), streams), kMedia) +
           menu_form(unpadded("MRIF", ""), unpadded("MENU", filler(371)));
}

// The same file, opened while the buffer of that size cannot be had.
class OpenWithoutBuffer {
public:
    explicit OpenWithoutBuffer(std::size_t size) : content_(kept_buffers()), libc_(content_) {
        libc_.fail_allocations_of(size);
        reader_.reset(aviin_open("any", 0));
    }
    [[nodiscard]] bool opened() const { return reader_ != nullptr; }
    const AviReaderState *operator->() const { return reader_.get(); }

private:
    Bytes content_;
    ControlledLibc libc_;
    AviReader reader_;
};

TEST(OutOfMemory, LeavesNothingOutWhenAllCanBeHad) {
    const OpenWithoutBuffer reader(1);
    ASSERT_TRUE(reader.opened());
    EXPECT_EQ(reader->video.rows[0].stream_data_size, 301U);
    EXPECT_EQ(reader->video.rows[0].name_length, 311);
    EXPECT_EQ(reader->super_index[0].entries_in_use, 5U);
    EXPECT_EQ(reader->audio.rows[0].name_length, 321);
    EXPECT_EQ(reader->bitmap_subtitle.rows[0].name_length, 331);
    EXPECT_EQ(reader->streams[3].kind, ChunkKind::text_subtitle);
    EXPECT_EQ(reader->form_count, 1U + 2U + 1U + 1U);
}

// The stream stays in front of the bytes that there is no room for, and what lies behind them in
// the list is not found.
TEST(OutOfMemory, LeavesARowWithoutTheStreamDataThatCannotBeHad) {
    const OpenWithoutBuffer reader(301);
    ASSERT_TRUE(reader.opened());
    const VideoTrack &row = reader->video.rows[0];
    EXPECT_EQ(row.has_stream_data, 0U);
    EXPECT_EQ(row.stream_data_word, 0U);
    EXPECT_EQ(row.stream_data_size, 0U);
    EXPECT_EQ(row.stream_data_pos, 0U);
    EXPECT_EQ(row.stream_data, nullptr);
    EXPECT_EQ(row.name, nullptr);
    EXPECT_EQ(row.width, 320U) << "the rest of the row is there";
    EXPECT_EQ(reader->super_index_pos[0], 0);
    EXPECT_EQ(reader->stream_count, 4) << "and so are the other streams";
    EXPECT_EQ(reader->audio.rows[0].name_length, 321);
}

TEST(OutOfMemory, LeavesARowWithoutTheNameThatCannotBeHad) {
    const OpenWithoutBuffer video(312);
    ASSERT_TRUE(video.opened());
    EXPECT_EQ(video->video.rows[0].name, nullptr);
    EXPECT_EQ(video->video.rows[0].name_length, 0);
    EXPECT_EQ(video->video.rows[0].has_stream_data, 1U);
    EXPECT_EQ(video->super_index_pos[0], 0);
    const OpenWithoutBuffer audio(322);
    ASSERT_TRUE(audio.opened());
    EXPECT_EQ(audio->audio.rows[0].name, nullptr);
    EXPECT_EQ(audio->audio.rows[0].name_length, 0);
    EXPECT_EQ(audio->streams[1].kind, ChunkKind::audio);
    EXPECT_EQ(audio->super_index_pos[1], 0);
    const OpenWithoutBuffer bitmap(332);
    ASSERT_TRUE(bitmap.opened());
    EXPECT_EQ(bitmap->bitmap_subtitle.rows[0].name, nullptr);
    EXPECT_EQ(bitmap->bitmap_subtitle.rows[0].name_length, 0);
    EXPECT_EQ(bitmap->streams[2].kind, ChunkKind::bitmap_subtitle);
}

TEST(OutOfMemory, LeavesATextStreamWithoutAKindForWantOfItsName) {
    const OpenWithoutBuffer reader(342);
    ASSERT_TRUE(reader.opened());
    EXPECT_EQ(reader->stream_count, 4);
    EXPECT_EQ(reader->streams[3].kind, ChunkKind::unknown);
    EXPECT_EQ(reader->text_subtitle.count, 0);
}

TEST(OutOfMemory, LeavesTheBlobEmptyThatCannotBeHadAndKeepsWhatWasCounted) {
    const OpenWithoutBuffer data(351);
    ASSERT_TRUE(data.opened());
    expect_empty(data->data_blob);
    EXPECT_EQ(data->data_list_present, 1);
    EXPECT_EQ(data->menu_blob.present, 1);
    const OpenWithoutBuffer menu(8 + 361);
    ASSERT_TRUE(menu.opened());
    expect_empty(menu->menu_blob);
    EXPECT_EQ(menu->menu_list_present, 1);
    EXPECT_EQ(menu->form_count, 1U + 2U + 1U + 1U);
    EXPECT_EQ(menu->form_menu_blob.present, 1);
    const OpenWithoutBuffer form_menu(8 + 371);
    ASSERT_TRUE(form_menu.opened());
    expect_empty(form_menu->form_menu_blob);
    EXPECT_NE(form_menu->form_menu_pos, 0);
    EXPECT_EQ(form_menu->form_count, 1U + 2U + 1U + 1U);
    EXPECT_EQ(form_menu->menu_blob.present, 1);
}

TEST(OutOfMemory, LeavesOnlyTheBlobEmptyThatCannotBeHad) {
    const Bytes content = rich_file();
    const std::uint64_t last = allocations_for(content);
    for (std::uint64_t failing = last - 2; failing <= last; ++failing) {
        const OpenWithout reader(content, failing);
        ASSERT_FALSE(reader.refused());
        EXPECT_EQ(avi_file_tell((*reader).stream), reader->movi_pos);
        int empty = 0;
        for (const AviBlob *blob :
             {&reader->data_blob, &reader->menu_blob, &reader->form_menu_blob}) {
            if (blob->data == nullptr) {
                ++empty;
                expect_empty(*blob);
            } else {
                EXPECT_EQ(blob->present, 1);
            }
        }
        EXPECT_EQ(empty, 1) << failing;
    }
}

}  // namespace
