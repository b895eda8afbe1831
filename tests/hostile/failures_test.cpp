// Every allocation, and every open, read and seek of the system, fails once, alone and with all
// later ones: an open succeeds or refuses, leaves nothing behind, and the next one works.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/support/controlled_libc.h"
#include "tests/support/debug_messages.h"
#include "tests/support/record_checks.h"
#include "tests/support/test_files.h"

namespace {

using namespace avi_builder;

struct Sample {
    std::string name;
    Bytes content;
};

void PrintTo(const Sample &sample, std::ostream *out) {
    *out << sample.name;
}

Bytes file_content(const std::filesystem::path &path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

// The files that the builder makes, and those samples that are others.
std::vector<Sample> all_samples() {
    std::vector<Sample> samples = {{"Plain", plain_file()}, {"Rich", rich_file()}};
    if (!std::filesystem::is_directory(SAMPLES_DIRECTORY)) return samples;
    for (const auto &entry : std::filesystem::directory_iterator(SAMPLES_DIRECTORY)) {
        if (entry.path().extension() != ".avi") continue;
        if (entry.path().stem() == "extensions") continue;  // the rich file
        std::string name = entry.path().stem();
        std::replace_if(
            name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
        samples.push_back({name, file_content(entry.path())});
    }
    return samples;
}

struct Sweep {
    Call call;
    bool lasting;
    bool cut_short;
    bool buffered;
};

// Without a buffer every byte that the reader asks for by itself is a read that can fail.
const Sweep kSweeps[] = {
    {Call::allocation, false, false, true}, {Call::allocation, true, false, true},
    {Call::open, false, false, true},       {Call::read, false, false, true},
    {Call::read, true, false, true},        {Call::read, false, true, true},
    {Call::read, true, true, true},         {Call::read, false, false, false},
    {Call::read, false, true, false},       {Call::seek, false, false, true},
    {Call::seek, true, false, true},
};

// What an undisturbed open makes of the file, and the calls that it takes.
struct Undisturbed {
    std::string record;
    std::uint64_t calls = 0;

    explicit Undisturbed(const Bytes &content) {
        ControlledLibc libc(content);
        libc.use_no_buffer();
        AviReaderState *reader = aviin_open("any", 0);
        if (reader != nullptr) record = describe(*reader);
        aviin_close(reader);
        calls = libc.all_calls();
    }
};

void expect_nothing_left(const ControlledLibc &libc) {
    EXPECT_EQ(libc.live_allocations(), 0U);
    EXPECT_EQ(libc.open_files(), 0U);
    EXPECT_FALSE(libc.ran_out_of_calls());
}

class Failing : public testing::TestWithParam<Sample> {
protected:
    // Runs `body` with the first, the second, ... call failing, until none is left to fail.
    template <typename Body>
    void for_every_failure(const Body &body) {
        int points = 0;
        for (const Sweep &sweep : kSweeps) points += for_every_failure(sweep, body);
        EXPECT_GT(points, 100);
        RecordProperty("failure_points", points);
    }

    void limit_work(ControlledLibc &libc) const {
        libc.limit_calls(20 * undisturbed_.calls + 1000);
    }

    const Bytes &content_ = GetParam().content;
    const Undisturbed undisturbed_{content_};

private:
    template <typename Body>
    int for_every_failure(const Sweep &sweep, const Body &body) {
        for (int nth = 1;; ++nth) {
            SCOPED_TRACE(testing::Message()
                         << "call kind " << static_cast<int>(sweep.call) << ", number " << nth
                         << (sweep.lasting ? " and later" : "")
                         << (sweep.cut_short ? ", cut short" : "")
                         << (sweep.buffered ? "" : ", without a buffer"));
            ControlledLibc libc(content_);
            if (!sweep.buffered) libc.use_no_buffer();
            limit_work(libc);
            libc.fail(
                {sweep.call, static_cast<std::uint64_t>(nth), sweep.lasting, sweep.cut_short});
            body(libc);
            if (!libc.any_failed() || HasFailure()) return nth - 1;
        }
    }
};

TEST_P(Failing, CallsLeaveTheReaderARecordOrNothing) {
    ASSERT_NE(undisturbed_.record, "");
    for_every_failure([&](ControlledLibc &libc) {
        AviReaderState *reader = aviin_open("any", 0);
        if (reader != nullptr) {
            const auto owns = [&](const void *p, std::uint64_t n) { return libc.owns(p, n); };
            EXPECT_EQ(broken_rule(*reader, owns), "");
            aviin_close(reader);
        }
        expect_nothing_left(libc);

        libc.fail_no_more();
        reader = aviin_open("any", 0);
        ASSERT_NE(reader, nullptr);
        EXPECT_EQ(describe(*reader), undisturbed_.record);
        aviin_close(reader);
        expect_nothing_left(libc);
    });
}

// The functions of an open handle answer whatever fails below them.
void use(SvcFileHandle *handle, const Bytes &content) {
    Bytes buffer(97, '\0');
    for (int i = 0; i < 4; ++i) {
        const std::int32_t before = drm_svc_sorn_tell_file(handle);
        std::uint32_t count = 12345;
        EXPECT_EQ(drm_svc_sorn_read_file(handle, buffer.data(),
                                         static_cast<std::uint32_t>(buffer.size()), &count),
                  DRM_SVC_SORN_OK);
        ASSERT_LE(count, buffer.size());
        EXPECT_GE(before, -1);
        EXPECT_EQ(drm_svc_sorn_seek_file(handle, 40 * i, SEEK_SET), 1);
        EXPECT_LE(drm_svc_sorn_tell_file(handle), static_cast<std::int64_t>(content.size()));
    }
}

TEST_P(Failing, CallsLeaveTheServiceAHandleOrNothing) {
    for_every_failure([&](ControlledLibc &libc) {
        char marker = 0;
        auto *const untouched = reinterpret_cast<SvcFileHandle *>(&marker);
        SvcFileHandle *handle = untouched;
        const std::int64_t result = drm_svc_sorn_open_file("any", &handle);
        if (result == DRM_SVC_SORN_OK) {
            ASSERT_NE(handle, untouched);
            use(handle, content_);
            EXPECT_EQ(drm_svc_sorn_close_file(handle), DRM_SVC_SORN_CLOSED);
        } else {
            EXPECT_THAT(result, testing::AnyOf(DRM_SVC_SORN_CANNOT_OPEN, DRM_SVC_SORN_NO_MEMORY));
            EXPECT_TRUE(libc.any_failed());
            EXPECT_EQ(handle, untouched);
        }
        expect_nothing_left(libc);
    });
}

INSTANTIATE_TEST_SUITE_P(, Failing, testing::ValuesIn(all_samples()),
                         [](const auto &tested) { return tested.param.name; });

// One byte of the file cannot be read, wherever it lies.
TEST_P(Failing, BytesLeaveTheReaderARecordOrNothing) {
    const std::size_t headers = std::min<std::size_t>(content_.size(), 3000);
    for (std::size_t damaged = 0; damaged < headers; ++damaged) {
        SCOPED_TRACE(damaged);
        ControlledLibc libc(content_);
        libc.damage(static_cast<std::int64_t>(damaged));
        limit_work(libc);
        AviReaderState *reader = aviin_open("any", 0);
        if (reader != nullptr) {
            const auto owns = [&](const void *p, std::uint64_t n) { return libc.owns(p, n); };
            EXPECT_EQ(broken_rule(*reader, owns), "");
            EXPECT_TRUE(libc.met_damage() || describe(*reader) == undisturbed_.record);
        } else {
            EXPECT_TRUE(libc.met_damage());
        }
        aviin_close(reader);
        expect_nothing_left(libc);
        ASSERT_FALSE(HasFailure());
    }
}

// A recording is opened while it is written: what was not there when its size was measured may be
// there when it is read.
TEST(GrowingFile, IsNotWalkedForEver) {
    const Bytes content = rich_file() + menu_form(unpadded("MENU", filler(7)), filler(24));
    const Undisturbed undisturbed(content);
    for (std::size_t measured = 0; measured < content.size(); ++measured) {
        SCOPED_TRACE(measured);
        ControlledLibc libc(content);
        libc.claim_size(static_cast<std::int64_t>(measured));
        libc.limit_calls(20 * undisturbed.calls + 1000);
        AviReaderState *reader = aviin_open("any", 0);
        if (reader != nullptr) {
            const auto owns = [&](const void *p, std::uint64_t n) { return libc.owns(p, n); };
            EXPECT_EQ(broken_rule(*reader, owns), "");
        }
        aviin_close(reader);
        expect_nothing_left(libc);
        ASSERT_FALSE(HasFailure());
    }
}

TEST(ShrinkingFile, IsRefusedOrOpened) {
    const Bytes content = rich_file();
    const Undisturbed undisturbed(content);
    for (std::size_t left = 0; left < content.size(); ++left) {
        SCOPED_TRACE(left);
        const Bytes rest = content.substr(0, left);
        ControlledLibc libc(rest);
        libc.claim_size(static_cast<std::int64_t>(content.size()));
        libc.limit_calls(20 * undisturbed.calls + 1000);
        aviin_close(aviin_open("any", 0));
        expect_nothing_left(libc);
        ASSERT_FALSE(HasFailure());
    }
}

}  // namespace
