// Reads that fail once, as those of a device may that then goes on to work: whatever was to be read
// there is missing, and what comes after it does not make up for that.
#include <gmock/gmock.h>

#include <cerrno>
#include <map>

#include "stream_fixtures.h"

namespace {

using namespace avi_builder;

// The bytes of a file, which cannot be read at one position the n-th time that it is come to.
class Device {
public:
    Device(Bytes content, std::int64_t bad, int time)
        : content_(std::move(content)), bad_(bad), time_(time) {}

    std::FILE *open() {
        std::FILE *file = fopencookie(this, "rb", {read, nullptr, seek, nullptr});
        std::setvbuf(file, nullptr, _IONBF, 0);
        return file;
    }
    [[nodiscard]] bool failed() const { return time_ <= 0; }

private:
    static ssize_t read(void *cookie, char *buffer, std::size_t size) {
        auto &device = *static_cast<Device *>(cookie);
        if (device.pos_ == device.bad_ && --device.time_ == 0) {
            errno = EIO;
            return -1;
        }
        const auto at = static_cast<std::size_t>(device.pos_);
        const Bytes part = at < device.content_.size() ? device.content_.substr(at, size) : "";
        part.copy(buffer, part.size());
        device.pos_ += static_cast<std::int64_t>(part.size());
        return static_cast<ssize_t>(part.size());
    }
    static int seek(void *cookie, off64_t *offset, int whence) {
        auto &device = *static_cast<Device *>(cookie);
        const std::int64_t base = whence == SEEK_SET   ? 0
                                  : whence == SEEK_CUR ? device.pos_
                                                       : length_of(device.content_);
        *offset = device.pos_ = base + *offset;
        return 0;
    }

    Bytes content_;
    std::int64_t bad_;
    int time_;
    std::int64_t pos_ = 0;
};

// A "strl" list parsed from such a device. Positions count from behind the list's own header.
class LostRead {
public:
    LostRead(const Bytes &chunks, std::int64_t bad, int time = 1)
        : device_(list("strl", chunks + room()), 12 + bad, time),
          record_(static_cast<AviReaderState *>(std::calloc(1, sizeof(AviReaderState)))) {
        record_->stream.file = device_.open();
        record_->stream.size = 12 + length_of(chunks + room());
        EXPECT_TRUE(avi_enter_list(*record_));
        avi_parse_stream_list(*record_, true);
        EXPECT_TRUE(device_.failed()) << "nothing was read at " << bad;
    }

    [[nodiscard]] AviReason reason() const {
        return record_->chunk_top->error == kAviOk ? AviReason::none : record_->refusal.reason;
    }
    const AviReaderState *operator->() const { return record_.get(); }

private:
    Device device_;
    Record record_;
};

constexpr std::int64_t kFormat = 8 + 56;  // where the chunk behind "strh" starts

TEST(LostRead, OfAStreamHeaderRefusesTheList) {
    for (const std::int64_t field :
         {0, 4, 8, 12, 16, 20, 22, 24, 28, 32, 36, 40, 44, 48, 52, 56, 58, 60, 62}) {
        EXPECT_EQ(LostRead(audio_head(), field).reason(), AviReason::bad_stream_header) << field;
    }
}

TEST(LostRead, OfAnAudioFormatRefusesTheList) {
    // A lost read does not move on, and the extension's size is then read too early.
    const Bytes format = chunk("strf", repeat(u16(4), 9) + "more");
    for (const std::int64_t field : {0, 4, 8, 10, 12, 16, 20, 22, 24, 26, 27, 29}) {
        const LostRead list(strh({.type = "auds"}) + format, kFormat + field);
        EXPECT_EQ(list.reason(), AviReason::bad_audio_format) << field;
    }
}

TEST(LostRead, OfAVideoFormatRefusesTheList) {
    for (const std::int64_t field : {0, 4, 8, 12, 16, 20, 22, 24, 28, 32, 36, 40, 44}) {
        const LostRead list(video_head(), kFormat + field);
        EXPECT_EQ(list.reason(), AviReason::bad_video_format) << field;
    }
}

TEST(LostRead, OfATextFormatRefusesTheList) {
    const Bytes text = text_head() + strn("Subtitle");
    // What was stepped over before, to get at the name.
    for (const std::int64_t field : {0, 4, 8, 10, 12, 14}) {
        EXPECT_EQ(LostRead(text, kFormat + field, 2).reason(), AviReason::bad_text_format) << field;
    }
}

TEST(LostRead, OfTheNextChunksBeginningRefusesTheList) {
    for (const Bytes &head : {audio_head(), video_head(), bitmap_subtitle_head(), text_head()}) {
        for (const std::int64_t field : {0, 4, 8}) {
            EXPECT_EQ(LostRead(head + strn("name"), length_of(head) + field).reason(),
                      AviReason::stream_list_cut_short)
                << field;
        }
    }
}

TEST(LostRead, OfANameLeavesTheRowWithout) {
    const Bytes head = audio_head();
    // The first twelve bytes were read before, to see what chunk it is.
    const std::map<std::int64_t, int> times = {{0, 2}, {4, 2}, {8, 2}, {11, 2}, {12, 1}, {14, 1}};
    for (const auto &[field, time] : times) {
        const LostRead list(head + strn("a name!"), length_of(head) + field, time);
        EXPECT_EQ(list->audio.count, 1);
        EXPECT_EQ(list->audio.rows[0].name, nullptr) << field;
        EXPECT_EQ(list->audio.rows[0].name_length, 0) << field;
    }
}

TEST(LostRead, OfStreamDataLeavesTheRowWithout) {
    const Bytes head = video_head();
    const std::map<std::int64_t, int> times = {{0, 2}, {4, 2}, {8, 2}, {12, 1}, {16, 1}, {19, 1}};
    for (const auto &[field, time] : times) {
        const LostRead list(head + strd(1, "data"), length_of(head) + field, time);
        EXPECT_EQ(list->video.count, 1);
        EXPECT_EQ(list->video.rows[0].has_stream_data, 0U) << field;
        EXPECT_EQ(list->video.rows[0].stream_data, nullptr) << field;
    }
}

// A record whose stream comes from such a device.
class OpenDevice {
public:
    OpenDevice(const Bytes &content, std::int64_t bad, int time = 1)
        : device_(content, bad, time),
          record_(static_cast<AviReaderState *>(std::calloc(1, sizeof(AviReaderState)))) {
        record_->stream.file = device_.open();
        record_->stream.size = length_of(content);
    }

    [[nodiscard]] bool failed() const { return device_.failed(); }
    AviReaderState *operator->() { return record_.get(); }
    AviReaderState &operator*() { return *record_; }

private:
    Device device_;
    Record record_;
};

TEST(LostRead, OfAListsHeaderMakesNoNode) {
    for (const std::int64_t field : {0, 4, 8}) {
        OpenDevice reader(list("hdrl", avih()), field);
        EXPECT_EQ(avi_chunk_push(nullptr, reader->stream), nullptr) << field;
        EXPECT_TRUE(reader.failed());
    }
}

TEST(LostRead, OfAChunksHeaderIsForgottenWhenItIsReadAgain) {
    for (const std::int64_t field : {12, 16}) {
        OpenDevice reader(filler(12) + chunk("JUNK", filler(20)), field);
        FourCC id{};
        std::uint32_t size = 0;
        avi_file_seek(reader->stream, 12, SEEK_SET);
        EXPECT_EQ(avi_read_chunk_header(id, size, reader->stream), kAviFailed) << field;
        avi_file_seek(reader->stream, 12, SEEK_SET);
        EXPECT_EQ(avi_read_chunk_header(id, size, reader->stream), kAviOk) << field;
        EXPECT_EQ(id.value, avi_fourcc_from_string("JUNK").value);
        EXPECT_EQ(size, 20U);
    }
}

TEST(LostRead, OfAFormsSizeIsASizeOfNothing) {
    OpenDevice reader("RIFF" + u32(100) + riff("AVI ", chunk("JUNK", filler(40))), 4);
    EXPECT_EQ(avi_scan_forms(*reader, reader->stream), kAviOk);
    EXPECT_TRUE(reader.failed());
    EXPECT_EQ(reader->form_count, 2U);
}

TEST(LostRead, OfAChunksSizeWithholdsThePresenceOfAllThatFollow) {
    OpenDevice data(data_list(chunk("MTDA", "lost"), chunk("MTDA", "second")) + room(), 16, 2);
    ASSERT_TRUE(avi_enter_list(*data));
    avi_load_data_chunk(*data);
    EXPECT_TRUE(data.failed());
    EXPECT_EQ(data->data_blob.present, 0);
    EXPECT_EQ(data->data_blob.size, 6U);

    OpenDevice menu(menu_list(chunk("MENU", "lost"), chunk("MENU", "second")) + room(), 16, 2);
    ASSERT_TRUE(avi_enter_list(*menu));
    avi_load_menu_list(*menu);
    EXPECT_TRUE(menu.failed());
    EXPECT_EQ(menu->menu_blob.present, 0);
    EXPECT_EQ(menu->menu_blob.size, 6U);
}

}  // namespace
