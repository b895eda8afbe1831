// Files beyond 2 GiB and 4 GiB. Every position is right whatever the width of `long`; the files are
// sparse, so they take no room.
#include <gmock/gmock.h>

#include "tests/support/parsed_list.h"

namespace {

using namespace avi_builder;

constexpr std::int64_t kTwoGiB = std::int64_t{1} << 31;
constexpr std::int64_t kFourGiB = std::int64_t{1} << 32;
constexpr std::uint32_t kLargestEvenSize = 0xFFFFFFFE;

AviReader open(const TempFile &file) {
    return AviReader(aviin_open(file.path(), 0));
}

Bytes read_at(AviReaderState &reader, std::int64_t pos, std::size_t count) {
    Bytes bytes(count, '\0');
    EXPECT_EQ(avi_file_seek(reader.stream, pos, SEEK_SET), kAviOk);
    EXPECT_EQ(avi_file_read(reader.stream, bytes.data(), count), count);
    EXPECT_EQ(avi_file_tell(reader.stream), pos + length(bytes));
    return bytes;
}

// A first form whose "movi" list takes its index past 4 GiB. A form can declare no more than that,
// so the index lies in a filler chunk behind it; further forms follow.
class BeyondFourGiB : public testing::Test {
protected:
    static constexpr std::uint32_t kFillerSize = 0x10000;

    const Bytes headers = "AVI " + list("hdrl", avih(), video_stream());
    const Bytes media = chunk("00dc", filler(24));
    const Bytes index = chunk("idx1", filler(32, 1));
    const Bytes last_form = menu_form(unpadded("MRIF", filler(5)), unpadded("MENU", filler(7, 2)));

    const std::int64_t movi_header = 8 + length(headers);
    const std::int64_t index_pos = movi_header + 8 + kLargestEvenSize;
    const std::int64_t filler_header = 8 + std::int64_t{kLargestEvenSize};
    const std::int64_t second_form = filler_header + 8 + kFillerSize;
    const std::int64_t menu_form_pos = second_form + 8 + kLargestEvenSize;

    TempFile file{claiming("RIFF", kLargestEvenSize, headers) +
                  claiming("LIST", kLargestEvenSize, "movi" + media)};

    BeyondFourGiB() {
        file.write(filler_header, claiming("JUNK", kFillerSize, ""));
        file.write(index_pos, index);
        file.write(second_form, claiming("RIFF", kLargestEvenSize, "AVIX"));
        file.write(menu_form_pos, last_form);
    }
};

TEST_F(BeyondFourGiB, MeasuresTheFile) {
    const AviReader reader = open(file);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->stream.size, menu_form_pos + length(last_form));
    EXPECT_GT(reader->stream.size, 2 * kFourGiB);
}

TEST_F(BeyondFourGiB, FindsTheIndex) {
    const AviReader reader = open(file);
    ASSERT_NE(reader, nullptr);
    EXPECT_GT(reader->index_pos, kFourGiB);
    EXPECT_EQ(reader->index_pos, index_pos);
    EXPECT_EQ(read_at(*reader, reader->index_pos, index.size()), index);
}

TEST_F(BeyondFourGiB, CountsLaterForms) {
    const AviReader reader = open(file);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->form_count, 4U);  // three forms and the menu's one "MRIF"
}

TEST_F(BeyondFourGiB, LoadsTheMenuOfALaterForm) {
    const AviReader reader = open(file);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->form_menu_pos, menu_form_pos + 24);
    ASSERT_EQ(reader->form_menu_blob.present, 1);
    ASSERT_EQ(reader->form_menu_blob.size, 7U);
    EXPECT_EQ(bytes_at(reader->form_menu_blob.data, 15), unpadded("MENU", filler(7, 2)));
}

TEST_F(BeyondFourGiB, LeavesTheStreamAtTheFirstMediaChunk) {
    const AviReader reader = open(file);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->movi_pos, movi_header + 12);
    EXPECT_EQ(avi_file_tell(reader->stream), reader->movi_pos);
    EXPECT_EQ(avi_file_left(reader->stream), reader->stream.size - reader->movi_pos);
    EXPECT_EQ(read_at(*reader, reader->movi_pos, media.size()), media);
}

TEST_F(BeyondFourGiB, SeeksFromTheEnd) {
    const AviReader reader = open(file);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(avi_file_seek(reader->stream, -length(last_form), SEEK_END), kAviOk);
    EXPECT_EQ(avi_file_tell(reader->stream), menu_form_pos);
    EXPECT_EQ(avi_file_seek(reader->stream, -kFourGiB, SEEK_CUR), kAviOk);
    EXPECT_EQ(avi_file_tell(reader->stream), menu_form_pos - kFourGiB);
}

TEST_F(BeyondFourGiB, SkipsAsFarAsASizeCanSay) {
    const AviReader reader = open(file);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(avi_skip_bytes(0xFFFFFFFF, reader->stream), kAviOk);
    EXPECT_EQ(avi_file_tell(reader->stream), reader->movi_pos + 0xFFFFFFFF);
}

// Headers, extension lists and media that all lie past what a 32-bit `long` can tell.
class BeyondTwoGiB : public testing::Test {
protected:
    static constexpr std::uint32_t kJunkSize = 0x90000000;

    const Bytes stream_data = filler(9, 1);
    const Bytes video = video_stream({.strd = strd(7, stream_data),
                                      .name = "Film",
                                      .index = SuperIndex{.entries_in_use = 3, .entries = ""}});
    const Bytes headers = list("hdrl", avih(), video);
    const Bytes data = data_list(chunk("MTDA", filler(21, 3)));
    const Bytes menu = menu_list(chunk("MENU", filler(15, 4)));
    const Bytes media = list("movi", chunk("00dc", filler(24)));
    const Bytes index = chunk("idx1", filler(16));

    const std::int64_t headers_pos = 12 + 8 + std::int64_t{kJunkSize};
    const std::int64_t data_pos = headers_pos + length(headers);
    const std::int64_t menu_pos = data_pos + length(data);
    const std::int64_t media_pos = menu_pos + length(menu);
    const std::int64_t index_pos = media_pos + length(media);
    const std::int64_t end = index_pos + length(index);

    TempFile file{claiming("RIFF", static_cast<std::uint32_t>(end - 8), "AVI ") +
                  claiming("JUNK", kJunkSize, "")};

    BeyondTwoGiB() { file.write(headers_pos, headers + data + menu + media + index); }
};

TEST_F(BeyondTwoGiB, FindsListsAndIndex) {
    const AviReader reader = open(file);
    ASSERT_NE(reader, nullptr);
    EXPECT_GT(headers_pos, kTwoGiB);
    EXPECT_EQ(reader->stream.size, end);
    EXPECT_EQ(reader->data_list_pos, data_pos + 12);
    EXPECT_EQ(reader->menu_list_pos, menu_pos + 12);
    EXPECT_EQ(reader->movi_pos, media_pos + 12);
    EXPECT_EQ(reader->index_pos, index_pos);
    EXPECT_EQ(avi_file_tell(reader->stream), reader->movi_pos);
}

TEST_F(BeyondTwoGiB, LoadsTheKeptChunks) {
    const AviReader reader = open(file);
    ASSERT_NE(reader, nullptr);
    ASSERT_EQ(reader->data_blob.size, 21U);
    EXPECT_EQ(bytes_at(reader->data_blob.data, 21), filler(21, 3));
    ASSERT_EQ(reader->menu_blob.size, 15U);
    EXPECT_EQ(bytes_at(reader->menu_blob.data, 23), unpadded("MENU", filler(15, 4)));
}

TEST_F(BeyondTwoGiB, KeepsTheLowBitsOfAStreamDataPosition) {
    const AviReader reader = open(file);
    ASSERT_NE(reader, nullptr);
    ASSERT_EQ(reader->video.count, 1);
    const VideoTrack &row = reader->video.rows[0];
    const auto strd_in_file = static_cast<std::int64_t>(headers.find("strd"));
    const std::int64_t payload = headers_pos + strd_in_file + 16;
    EXPECT_EQ(std::int64_t{row.stream_data_pos}, payload);
    ASSERT_EQ(row.stream_data_size, stream_data.size());
    EXPECT_EQ(bytes_at(row.stream_data, stream_data.size()), stream_data);
}

TEST_F(BeyondTwoGiB, NotesTheSuperIndex) {
    const AviReader reader = open(file);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->super_index_pos[0],
              headers_pos + static_cast<std::int64_t>(headers.find("indx")));
    EXPECT_EQ(reader->super_index[0].entries_in_use, 3U);
}

TEST(ListBeyondFourGiB, KeepsTheLowBitsOfAStreamDataPosition) {
    constexpr std::int64_t kListAt = 0x180000000;  // beyond both 31 and 32 bits
    const Bytes stream_list = list("strl", video_head(), strd(1, "payload"), room());
    HalfOpen reader(stream_list, kListAt);
    reader.enter(kListAt);
    EXPECT_EQ(avi_parse_stream_list(*reader, false), kAviOk);
    const VideoTrack &row = reader->video.rows[0];
    EXPECT_EQ(bytes_at(row.stream_data, 7), "payload");
    EXPECT_EQ(row.stream_data_pos, 0x80000000U + stream_list.find("payload"));
}

}  // namespace
