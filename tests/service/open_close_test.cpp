// Open and close through the real shared object: results, messages and what they leave behind.
#include <gmock/gmock.h>

#include <array>
#include <filesystem>

#include "tests/support/service_host.h"

namespace {

using namespace avi_builder;
using testing::ElementsAre;

const Message open_starts(const std::string &path) {
    return api("%s starts. filepath:%s\n",
               "drm_svc_sorn_open_file starts. filepath:" + path + "\n");
}

const Message open_succeeds(const SvcFileHandle *handle) {
    return api("%s  success: *hfile = %p, handle = %p\n",
               with_addresses("drm_svc_sorn_open_file  success: *hfile = ", handle));
}

const Message unknown_track = detail("%s : Found unknown chynk type, ignoring.\n",
                                     "drm_svc_sorn_open_file : Found unknown chynk type, "
                                     "ignoring.\n");

const Message reader_refuses = error("[DRM-ERROR]%s : aviin_open is failed.\n",
                                     "[DRM-ERROR]drm_svc_sorn_open_file : aviin_open is failed.\n");

const Message close_starts(const SvcFileHandle *handle) {
    return api("%s  starts : hfile = %p, handle = %p\n",
               with_addresses("drm_svc_sorn_close_file  starts : hfile = ", handle));
}

const Message close_succeeds = api("%s  success. \n", "drm_svc_sorn_close_file  success. \n");

Bytes stream_of_type(std::string_view type) {
    return list("strl", strh({.type = type}), chunk("strf", filler(8)), chunk("JUNK", filler(16)));
}

class Open : public testing::Test {
protected:
    void SetUp() override { forget_messages(); }

    // Opens a file of which nothing but the plug-in knows; it is closed after the test.
    SvcFileHandle *open(const Bytes &content) {
        EXPECT_EQ(handle_, nullptr);
        file_.emplace(content);
        EXPECT_EQ(plugin().open(path(), &handle_), 0);
        return handle_;
    }
    const char *path() const { return file_->path(); }

    ~Open() override {
        if (handle_ != nullptr) plugin().close(handle_);
    }

private:
    std::optional<TempFile> file_;
    SvcFileHandle *handle_ = nullptr;
};

// ---- success

TEST_F(Open, SaysThatItStartsAndThatItSucceeds) {
    const SvcFileHandle *handle = open(plain_file());
    ASSERT_NE(handle, nullptr);
    EXPECT_THAT(messages(), ElementsAre(open_starts(path()), open_succeeds(handle)));
}

TEST_F(Open, SucceedsWithoutAnyStream) {
    const SvcFileHandle *handle = open(file_with());
    ASSERT_NE(handle, nullptr);
    EXPECT_THAT(messages(), ElementsAre(open_starts(path()), open_succeeds(handle)));
}

TEST_F(Open, SaysNothingOfAudioAndVideoStreams) {
    const Bytes with_data = video_stream(
        {.strd = strd(1, filler(5)), .name = "Main film", .index = SuperIndex{.entries = ""}});
    const SvcFileHandle *handle = open(file_with(video_stream() + audio_stream() + with_data));
    ASSERT_NE(handle, nullptr);
    EXPECT_THAT(messages(), ElementsAre(open_starts(path()), open_succeeds(handle)));
}

TEST_F(Open, MentionsEachStreamOfAnotherKindOnce) {
    const SvcFileHandle *handle =
        open(file_with(video_stream() + text_stream({.name = "Subtitle 1"}) + audio_stream() +
                       text_stream({.name = "Chapter 1"}) + bitmap_subtitle_stream() +
                       text_stream({.name = "A text of no kind"}) + stream_of_type("mids")));
    ASSERT_NE(handle, nullptr);
    EXPECT_THAT(messages(),
                ElementsAre(open_starts(path()), unknown_track, unknown_track, unknown_track,
                            unknown_track, unknown_track, open_succeeds(handle)));
}

TEST_F(Open, LeavesThePositionAtTheStart) {
    SvcFileHandle *handle = open(rich_file());
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(plugin().tell(handle), 0);
    std::array<char, 12> header{};
    std::uint32_t count = 0;
    plugin().read(handle, header.data(), header.size(), &count);
    EXPECT_EQ(Bytes(header.data(), count), rich_file().substr(0, 12));
}

TEST_F(Open, DoesNotKeepThePath) {
    const TempFile file(plain_file());
    Bytes path = file.path();
    SvcFileHandle *handle = nullptr;
    ASSERT_EQ(plugin().open(path.c_str(), &handle), 0);
    path.assign(path.size(), 'x');
    EXPECT_EQ(plugin().close(handle), 1);
}

// ---- refusals

struct Refusal {
    std::int64_t result;
    bool wrote_handle;
    std::ptrdiff_t descriptors_left;
};
void PrintTo(const Refusal &refusal, std::ostream *out) {
    *out << refusal.result << (refusal.wrote_handle ? ", wrote the handle" : "") << ", "
         << refusal.descriptors_left << " descriptors left";
}

Refusal refuse(const char *path) {
    char somewhere = 0;
    SvcFileHandle *const untouched = reinterpret_cast<SvcFileHandle *>(&somewhere);
    SvcFileHandle *handle = untouched;
    const std::size_t descriptors = open_descriptors();
    const std::int64_t result = plugin().open(path, &handle);
    return {result, handle != untouched,
            static_cast<std::ptrdiff_t>(open_descriptors() - descriptors)};
}

MATCHER_P(IsCleanWith, result, "refused cleanly with " + testing::PrintToString(result)) {
    return arg.result == result && !arg.wrote_handle && arg.descriptors_left == 0;
}

TEST_F(Open, RefusesANullPathAfterTheStartMessage) {
    EXPECT_THAT(refuse(nullptr), IsCleanWith(-999));
    EXPECT_THAT(messages(), ElementsAre(open_starts("(null)"),
                                        error("[DRM-ERROR]No input fileame specified.\n",
                                              "[DRM-ERROR]No input fileame specified.\n")));
}

TEST_F(Open, RefusesAnEmptyPathAsAFileThatCannotBeOpened) {
    EXPECT_THAT(refuse(""), IsCleanWith(-999));
    EXPECT_THAT(messages(), ElementsAre(open_starts(""), reader_refuses));
}

TEST_F(Open, RefusesAPathThatLeadsNowhere) {
    EXPECT_THAT(refuse("/nowhere/film.avi"), IsCleanWith(-999));
    EXPECT_THAT(messages(), ElementsAre(open_starts("/nowhere/film.avi"), reader_refuses));
}

TEST_F(Open, RefusesAFolder) {
    const std::string folder = std::filesystem::temp_directory_path().string();
    EXPECT_THAT(refuse(folder.c_str()), IsCleanWith(-999));
    EXPECT_THAT(messages(), ElementsAre(open_starts(folder), reader_refuses));
}

TEST_F(Open, RefusesAPipeWithoutWaitingForIt) {
    for (const Bytes &content : {Bytes(), rich_file()}) {
        const Pipe pipe(content);
        forget_messages();
        EXPECT_THAT(refuse(pipe.path()), IsCleanWith(-999));
        EXPECT_THAT(messages(), ElementsAre(open_starts(pipe.path()), reader_refuses));
    }
}

TEST_F(Open, RefusesFilesThatTheReaderRefuses) {
    const Bytes no_movi = riff("AVI ", list("hdrl", avih(), video_stream()));
    const Bytes empty_movi = riff("AVI ", list("hdrl", avih()), list("movi"));
    const Bytes other_form = riff("WAVE", chunk("data", filler(100)));
    const Bytes broken_stream = file_with(list("strl", chunk("strh", filler(20))));
    for (const Bytes &content : {Bytes(), Bytes("RIFF"), Bytes("A text, and not a film at all."),
                                 no_movi, empty_movi, other_form, broken_stream}) {
        forget_messages();
        const TempFile file(content);
        EXPECT_THAT(refuse(file.path()), IsCleanWith(-999)) << content.substr(0, 40);
        EXPECT_THAT(messages(), ElementsAre(open_starts(file.path()), reader_refuses));
    }
}

TEST_F(Open, RefusesWithALogLineForEachPlaceOnly) {
    EXPECT_THAT(refuse("/nowhere/film.avi"), IsCleanWith(-999));
    EXPECT_THAT(refuse(nullptr), IsCleanWith(-999));
    ASSERT_EQ(messages().size(), 4U);
    EXPECT_EQ(messages()[0].line, messages()[2].line);
    EXPECT_LT(messages()[2].line, messages()[3].line);
    EXPECT_LT(messages()[3].line, messages()[1].line);
}

// ---- close

TEST(Close, ReleasesTheFile) {
    const TempFile file(rich_file());
    const std::size_t descriptors = open_descriptors();
    SvcFileHandle *handle = nullptr;
    ASSERT_EQ(plugin().open(file.path(), &handle), 0);
    EXPECT_EQ(open_descriptors(), descriptors + 1);
    const Message starts = close_starts(handle);
    forget_messages();
    EXPECT_EQ(plugin().close(handle), 1);
    EXPECT_EQ(open_descriptors(), descriptors);
    EXPECT_THAT(messages(), ElementsAre(starts, close_succeeds));
}

TEST(Close, LeavesAHandleWithoutAReaderAlone) {
    void *no_reader[8] = {};
    auto *handle = reinterpret_cast<SvcFileHandle *>(no_reader);
    forget_messages();
    EXPECT_EQ(plugin().close(handle), 0);
    EXPECT_THAT(messages(), ElementsAre(close_starts(handle)));
    EXPECT_THAT(no_reader, testing::Each(nullptr));
}

}  // namespace
