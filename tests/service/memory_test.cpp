// What open and close hold at each of their messages, and what they do without memory. The
// plug-in's own source is linked in, so that its allocations and its file can be watched.
#include <gmock/gmock.h>

#include "tests/support/controlled_libc.h"
#include "tests/support/debug_messages.h"
#include "tests/support/test_files.h"

namespace {

using namespace avi_builder;
using testing::ElementsAre;

const std::string kOpenStarts = "drm_svc_sorn_open_file starts. filepath:film.avi\n";
const std::string kReaderRefuses = "[DRM-ERROR]drm_svc_sorn_open_file : aviin_open is failed.\n";

// What is seen from inside a message.
struct Seen {
    std::string text;
    std::size_t allocations;
    std::size_t files;
    bool handle_stored;

    bool operator==(const Seen &) const = default;
};

void PrintTo(const Seen &seen, std::ostream *out) {
    *out << '"' << seen.text << "\" with " << seen.allocations << " allocations and " << seen.files
         << " files, the handle " << (seen.handle_stored ? "stored" : "not stored");
}

// A file that the service opens, and all that is seen while it does.
class WatchedOpen {
public:
    explicit WatchedOpen(const Bytes &content, const Failure &failure = {Call::allocation, 0})
        : content_(content), libc_(content_), watch_([this](const Message &message) {
              seen_.push_back({message.text, libc_.live_allocations(), libc_.open_files(),
                               handle_ != untouched()});
          }) {
        libc_.fail(failure);
        handle_ = untouched();
        result_ = drm_svc_sorn_open_file("film.avi", &handle_);
    }

    [[nodiscard]] std::int64_t result() const { return result_; }
    [[nodiscard]] SvcFileHandle *handle() const { return handle_; }
    [[nodiscard]] bool stored_a_handle() const { return handle_ != untouched(); }
    ControlledLibc &libc() { return libc_; }
    std::vector<Seen> take_seen() { return std::exchange(seen_, {}); }

private:
    SvcFileHandle *untouched() const {
        return reinterpret_cast<SvcFileHandle *>(const_cast<WatchedOpen *>(this));
    }

    Bytes content_;
    ControlledLibc libc_;
    std::vector<Seen> seen_;
    SvcFileHandle *handle_ = nullptr;
    std::int64_t result_ = 0;
    MessageWatch watch_;
};

// ---- what is held when a message is sent

TEST(OpenMessages, ComeBeforeTheFirstAllocationAndAfterTheHandleIsStored) {
    WatchedOpen film(plain_file());
    ASSERT_EQ(film.result(), DRM_SVC_SORN_OK);
    const std::size_t held = film.libc().live_allocations();
    EXPECT_THAT(film.take_seen(),
                ElementsAre(Seen{kOpenStarts, 0, 0, false},
                            Seen{with_addresses("drm_svc_sorn_open_file  success: *hfile = ",
                                                film.handle()),
                                 held, 1, true}));
    drm_svc_sorn_close_file(film.handle());
}

TEST(OpenMessages, OfAStreamOfAnotherKindComeBeforeTheHandleIsStored) {
    WatchedOpen film(file_with(text_stream()));
    ASSERT_EQ(film.result(), DRM_SVC_SORN_OK);
    const std::vector<Seen> seen = film.take_seen();
    ASSERT_EQ(seen.size(), 3U);
    EXPECT_EQ(seen[1].text, "drm_svc_sorn_open_file : Found unknown chynk type, ignoring.\n");
    EXPECT_EQ(seen[1].files, 1U);
    EXPECT_FALSE(seen[1].handle_stored);
    drm_svc_sorn_close_file(film.handle());
}

// The reader has released all of its own by then; the handle goes after the message.
TEST(OpenMessages, OfARefusalComeWhileTheHandleAloneIsLeft) {
    WatchedOpen film(riff("AVI ", data_list(chunk("MTDA", "data")),
                          list("hdrl", avih(), video_stream({.name = "Main film"}))));
    EXPECT_EQ(film.result(), DRM_SVC_SORN_CANNOT_OPEN);
    EXPECT_FALSE(film.stored_a_handle());
    EXPECT_THAT(film.take_seen(),
                ElementsAre(Seen{kOpenStarts, 0, 0, false}, Seen{kReaderRefuses, 1, 0, false}));
    EXPECT_EQ(film.libc().live_allocations(), 0U);
}

TEST(CloseMessages, ComeBeforeAnythingIsReleasedAndAfterAllOfItIs) {
    WatchedOpen film(rich_file());
    ASSERT_EQ(film.result(), DRM_SVC_SORN_OK);
    const std::size_t held = film.libc().live_allocations();
    EXPECT_GT(held, 10U);
    const std::string starts =
        with_addresses("drm_svc_sorn_close_file  starts : hfile = ", film.handle());
    film.take_seen();
    EXPECT_EQ(drm_svc_sorn_close_file(film.handle()), DRM_SVC_SORN_CLOSED);
    EXPECT_THAT(film.take_seen(),
                ElementsAre(Seen{starts, held, 1, true},
                            Seen{"drm_svc_sorn_close_file  success. \n", 0, 0, true}));
}

// ---- without memory

TEST(Memory, ThatFailsForTheHandleHasAResultOfItsOwnAndNoMessage) {
    WatchedOpen film(plain_file(), {Call::allocation, 1});
    EXPECT_EQ(film.result(), DRM_SVC_SORN_NO_MEMORY);
    EXPECT_FALSE(film.stored_a_handle());
    EXPECT_THAT(film.take_seen(), ElementsAre(Seen{kOpenStarts, 0, 0, false}));
    EXPECT_EQ(film.libc().calls(Call::open), 0U);
}

TEST(Memory, ThatFailsForTheRecordIsARefusal) {
    WatchedOpen film(plain_file(), {Call::allocation, 2});
    EXPECT_EQ(film.result(), DRM_SVC_SORN_CANNOT_OPEN);
    EXPECT_FALSE(film.stored_a_handle());
    EXPECT_THAT(film.take_seen(),
                ElementsAre(Seen{kOpenStarts, 0, 0, false}, Seen{kReaderRefuses, 1, 0, false}));
    EXPECT_EQ(film.libc().calls(Call::open), 0U);
    EXPECT_EQ(film.libc().live_allocations(), 0U);
}

TEST(Memory, IsNotAskedForByReadsSeeksAndTells) {
    WatchedOpen film(rich_file());
    ASSERT_EQ(film.result(), DRM_SVC_SORN_OK);
    const std::uint64_t before = film.libc().calls(Call::allocation);
    char buffer[5000];
    std::uint32_t count = 0;
    drm_svc_sorn_read_file(film.handle(), buffer, sizeof buffer, &count);
    drm_svc_sorn_seek_file(film.handle(), -200, SEEK_END);
    drm_svc_sorn_read_file(film.handle(), buffer, 300, &count);
    drm_svc_sorn_seek_file(film.handle(), 500, SEEK_CUR);
    drm_svc_sorn_read_file(film.handle(), buffer, 300, &count);
    drm_svc_sorn_seek_file(film.handle(), 0, 77);
    drm_svc_sorn_tell_file(film.handle());
    EXPECT_EQ(film.libc().calls(Call::allocation), before);
    drm_svc_sorn_close_file(film.handle());
}

}  // namespace
