// Read, seek and tell through the real shared object: what is delivered, where the position goes
// and what the log says of it.
#include <gmock/gmock.h>

#include "tests/support/service_host.h"
#include "tests/support/test_names.h"

namespace {

using namespace avi_builder;
using testing::ElementsAre;

Message read_starts(const OpenFile &file) {
    return detail("%s  starts : hfile = %p, handle = %p\n",
                  with_addresses("drm_svc_sorn_read_file  starts : hfile = ", file.handle()));
}

const Message not_data = detail("%s : This is not data frame area\n",
                                "drm_svc_sorn_read_file : This is not data frame area\n");
const Message audio_starts = detail("CHUNK_TYPE_AUDIO STARTS\n", "CHUNK_TYPE_AUDIO STARTS\n");
const Message video_starts = detail("CHUNK_TYPE_VIDEO STARTS\n", "CHUNK_TYPE_VIDEO STARTS\n");

Message unknown_at(std::int64_t position) {
    char text[80];
    std::snprintf(text, sizeof text, "unknown chunk type : offset - %llx\n",
                  static_cast<unsigned long long>(position));
    return detail("unknown chunk type : offset - %x\n", text);
}

Bytes with_media(const Bytes &chunks) {
    return riff("AVI ", list("hdrl", avih(), video_stream()), list("movi", chunks));
}

// A file whose "movi" list holds one chunk, and where its payload lies.
struct OneChunk {
    Bytes payload = filler(400);
    Bytes content;
    std::int32_t position;

    explicit OneChunk(std::string_view id)
        : content(with_media(chunk(id, payload))),
          position(static_cast<std::int32_t>(content.size() - payload.size())) {}
};

// ---- what a read falls on

TEST(Read, DeliversTheStartOfTheFileWhichIsNoDataFrame) {
    const OpenFile file(rich_file());
    forget_messages();
    EXPECT_EQ(file.read(64), rich_file().substr(0, 64));
    EXPECT_THAT(messages(), ElementsAre(read_starts(file), not_data));
    EXPECT_EQ(file.tell(), 64);
}

TEST(Read, LooksForAChunkHeaderFromPosition8On) {
    const OpenFile file(plain_file());
    for (std::int32_t position = 0; position < 8; ++position) {
        file.seek(position);
        forget_messages();
        EXPECT_EQ(file.read(5), plain_file().substr(static_cast<std::size_t>(position), 5));
        EXPECT_THAT(messages(), ElementsAre(read_starts(file), not_data)) << position;
    }
    file.seek(8);
    forget_messages();
    EXPECT_EQ(file.read(5), plain_file().substr(8, 5));
    EXPECT_THAT(messages(), ElementsAre(read_starts(file), unknown_at(8)));
}

class Recognised : public testing::TestWithParam<const char *> {
protected:
    static const Message &message() { return GetParam()[2] == 'w' ? audio_starts : video_starts; }
};

TEST_P(Recognised, IsAReadOfExactlyThePayload) {
    const OneChunk film(GetParam());
    const OpenFile file(film.content);
    file.seek(film.position);
    forget_messages();
    EXPECT_EQ(file.read(400), film.payload);
    EXPECT_THAT(messages(), ElementsAre(read_starts(file), message()));
    EXPECT_EQ(file.tell(), film.position + 400);
}

TEST_P(Recognised, IsNotAReadOfAnotherSize) {
    const OneChunk film(GetParam());
    const OpenFile file(film.content + "and more");
    for (const std::uint32_t size : {399U, 401U, 0U, 400U + 256U}) {
        file.seek(film.position);
        forget_messages();
        EXPECT_EQ(file.read(size), (film.payload + "and more").substr(0, size));
        EXPECT_THAT(messages(), ElementsAre(read_starts(file), unknown_at(film.position))) << size;
    }
}

TEST_P(Recognised, IsNotAReadBesideThePayloadsStart) {
    const OneChunk film(GetParam());
    const OpenFile file(film.content);
    for (const std::int32_t position : {film.position - 1, film.position + 1}) {
        file.seek(position);
        forget_messages();
        file.read(400);
        EXPECT_THAT(messages(), ElementsAre(read_starts(file), unknown_at(position)));
    }
}

TEST_P(Recognised, IsAnEmptyChunkTooWhenNothingIsAskedFor) {
    const Bytes content = with_media(chunk("JUNK", filler(40)) + chunk(GetParam(), ""));
    const OpenFile file(content);
    file.seek(0, SEEK_END);
    forget_messages();
    EXPECT_EQ(file.read(0), "");
    EXPECT_THAT(messages(), ElementsAre(read_starts(file), message()));
}

INSTANTIATE_TEST_SUITE_P(Read, Recognised,
                         testing::Values("00wb", "01wb", "90wb", "99wb", "00dc", "09dc", "99dc"),
                         [](const auto &test) { return as_test_name(test.param); });

class Unrecognised : public testing::TestWithParam<const char *> {};

TEST_P(Unrecognised, IsDeliveredAllTheSame) {
    const OneChunk film(GetParam());
    const OpenFile file(film.content);
    file.seek(film.position);
    forget_messages();
    EXPECT_EQ(file.read(400), film.payload);
    EXPECT_THAT(messages(), ElementsAre(read_starts(file), unknown_at(film.position)));
    EXPECT_EQ(file.tell(), film.position + 400);
}

INSTANTIATE_TEST_SUITE_P(ACodeOfNoKind, Unrecognised,
                         testing::Values("00zz", "00dx", "00wx", "00DC", "00WB", "0000"),
                         [](const auto &test) { return as_test_name(test.param); });
INSTANTIATE_TEST_SUITE_P(AKindThatIsNotPlayed, Unrecognised,
                         testing::Values("00db", "00dd", "00st", "00sb", "00ch", "00ix", "JUNK",
                                         "RES1"),
                         [](const auto &test) { return as_test_name(test.param); });
INSTANTIATE_TEST_SUITE_P(ACodeInFront, Unrecognised,
                         testing::Values("ix00", "wb01", "dc00", "wbwb", "dcdc"),
                         [](const auto &test) { return as_test_name(test.param); });
INSTANTIATE_TEST_SUITE_P(AFirstCharacterThatIsNoDigit, Unrecognised,
                         testing::Values("/0dc", ":0dc", "x0dc", " 1wb", "/0wb", ":0wb",
                                         "\xB0"
                                         "0dc"),
                         [](const auto &test) { return as_test_name(test.param); });
INSTANTIATE_TEST_SUITE_P(ASecondCharacterThatIsNoDigit, Unrecognised,
                         testing::Values("0/dc", "0:dc", "0xdc", "0 wb", "0/wb", "0:wb",
                                         "0\xB9"
                                         "dc"),
                         [](const auto &test) { return as_test_name(test.param); });

TEST(Read, WritesThePositionInHexadecimal) {
    const OpenFile file(plain_file());
    file.seek(0x1A);
    forget_messages();
    file.read(1);
    EXPECT_THAT(messages(),
                ElementsAre(read_starts(file), detail("unknown chunk type : offset - %x\n",
                                                      "unknown chunk type : offset - 1a\n")));
}

TEST(Read, TakesTheKindFromTheIdAloneAndNotFromTheStreams) {
    const OneChunk film("57wb");  // no audio stream, and no stream 57
    const OpenFile file(film.content);
    file.seek(film.position);
    forget_messages();
    EXPECT_EQ(file.read(400), film.payload);
    EXPECT_THAT(messages(), ElementsAre(read_starts(file), audio_starts));
}

TEST(Read, ComparesTheWhole32BitsOfTheSize) {
    const OpenFile file(with_media(claiming("00dc", 0x10010, filler(400))));
    file.seek(-400, SEEK_END);
    forget_messages();
    EXPECT_EQ(file.read(0x10), filler(400).substr(0, 0x10));
    file.seek(-400, SEEK_END);
    EXPECT_EQ(file.read(0x10010), filler(400));
    ASSERT_EQ(messages().size(), 5U);
    EXPECT_EQ(messages()[1].format, "unknown chunk type : offset - %x\n");
    EXPECT_EQ(messages()[4], video_starts);
}

// ---- what is delivered

TEST(Read, DeliversTheWholeFileInPiecesOfAnySize) {
    const Bytes content = rich_file();
    for (const std::uint32_t piece : {1U, 7U, 8U, 9U, 100U, 5000U}) {
        const OpenFile file(content);
        Bytes all;
        for (Bytes part = file.read(piece); !part.empty(); part = file.read(piece)) {
            all += part;
            ASSERT_EQ(file.tell(), static_cast<std::int32_t>(all.size()));
        }
        EXPECT_EQ(all, content) << piece;
    }
}

TEST(Read, StoresWhatTheFileStillHeld) {
    const OpenFile file(plain_file());
    const auto size = static_cast<std::int32_t>(plain_file().size());
    file.seek(-10, SEEK_END);
    EXPECT_EQ(file.read(100), plain_file().substr(plain_file().size() - 10));
    EXPECT_EQ(file.tell(), size);
}

TEST(Read, DeliversNothingAtTheEndAndSucceeds) {
    const OpenFile file(plain_file());
    const auto size = static_cast<std::int32_t>(plain_file().size());
    file.seek(0, SEEK_END);
    for (int again = 0; again < 3; ++again) {
        forget_messages();
        EXPECT_EQ(file.read(100), "");
        EXPECT_THAT(messages(), ElementsAre(read_starts(file), unknown_at(size)));
        EXPECT_EQ(file.tell(), size);
    }
    file.seek(4);
    EXPECT_EQ(file.read(4), plain_file().substr(4, 4));
}

TEST(Read, MovesNothingWhenNothingIsAskedFor) {
    const OpenFile file(plain_file());
    for (const std::int32_t position : {0, 7, 8, 50}) {
        file.seek(position);
        EXPECT_EQ(file.read(0), "");
        EXPECT_EQ(file.tell(), position);
    }
}

// What a read falls on is said before any of it is delivered.
TEST(Read, TouchesNeitherBufferNorCountBeforeItsLastMessage) {
    const OneChunk film("00dc");
    const OpenFile file(film.content);
    for (const std::int32_t position : {0, 20, film.position}) {
        file.seek(position);
        forget_messages();
        Bytes buffer(400, '?');
        std::uint32_t count = 0xDEADBEEF;
        int seen = 0;
        const MessageWatch watch([&](const Message &) {
            ++seen;
            EXPECT_EQ(buffer, Bytes(400, '?')) << position;
            EXPECT_EQ(count, 0xDEADBEEF) << position;
        });
        plugin().read(file.handle(), buffer.data(), 400, &count);
        EXPECT_EQ(seen, 2) << position;
        EXPECT_EQ(buffer, film.content.substr(static_cast<std::size_t>(position), 400));
        EXPECT_EQ(count, 400U);
    }
}

TEST(Read, DeliversWhatAFileHasGrownByWhileItIsOpen) {
    const TempFile recording(plain_file());
    const OpenFile file(recording.path());
    file.seek(0, SEEK_END);
    EXPECT_EQ(file.read(10), "");
    const Bytes frame = chunk("00dc", filler(400));
    recording.write(length(plain_file()), frame);
    EXPECT_EQ(file.tell(), length(plain_file()));
    EXPECT_EQ(file.read(8), frame.substr(0, 8));
    forget_messages();
    EXPECT_EQ(file.read(400), filler(400));
    EXPECT_THAT(messages(), ElementsAre(read_starts(file), video_starts));
    file.seek(-400, SEEK_END);
    EXPECT_EQ(file.tell(), length(plain_file()) + 8);
    EXPECT_EQ(file.read(500), filler(400));
}

TEST(Read, DeliversWhatAFileGrowsByBehindAReadThatMetItsEnd) {
    const TempFile recording(plain_file());
    const OpenFile file(recording.path());
    file.seek(-20, SEEK_END);
    EXPECT_EQ(file.read(100), plain_file().substr(plain_file().size() - 20));
    recording.write(length(plain_file()), "and more");
    EXPECT_EQ(file.read(100), "and more");
}

TEST(Read, LooksBackAtWhatWasJustDelivered) {
    const OneChunk film("01wb");
    for (const std::uint32_t piece : {1U, 3U, 7U, 8U, 9U, 100U}) {
        const OpenFile file(film.content);
        while (file.tell() < film.position) {
            const auto left = static_cast<std::uint32_t>(film.position - file.tell());
            file.read(std::min(piece, left));
        }
        forget_messages();
        EXPECT_EQ(file.read(400), film.payload) << piece;
        EXPECT_EQ(messages().back(), audio_starts) << piece;
    }
}

// ---- past the end. The look-back reads what the file still holds of the 8 bytes before.

TEST(Read, From1To7BytesPastTheEndMovesToTheEnd) {
    const OpenFile file(plain_file());
    const auto size = static_cast<std::int32_t>(plain_file().size());
    for (std::int32_t past = 1; past < 8; ++past) {
        file.seek(size + past);
        ASSERT_EQ(file.tell(), size + past);
        forget_messages();
        EXPECT_EQ(file.read(100), "");
        EXPECT_THAT(messages(), ElementsAre(read_starts(file), unknown_at(size + past)));
        EXPECT_EQ(file.tell(), size) << past;
    }
}

TEST(Read, From8OrMoreBytesPastTheEndMovesBackBy8) {
    const OpenFile file(plain_file());
    const auto size = static_cast<std::int32_t>(plain_file().size());
    for (const std::int32_t past : {8, 9, 15, 16, 17, 4096, 1000000}) {
        file.seek(size + past);
        forget_messages();
        EXPECT_EQ(file.read(100), "");
        EXPECT_THAT(messages(), ElementsAre(read_starts(file), unknown_at(size + past)));
        EXPECT_EQ(file.tell(), size + past - 8) << past;
    }
}

TEST(Read, PastTheEndStaysWhereThePositionCannotBeTold) {
    const OpenFile file(plain_file());
    file.seek(2147483647);
    file.seek(10, SEEK_CUR);
    ASSERT_EQ(file.tell(), -1);
    forget_messages();
    EXPECT_EQ(file.read(100), "");
    EXPECT_THAT(messages(), ElementsAre(read_starts(file), not_data));
    file.seek(-10, SEEK_CUR);
    EXPECT_EQ(file.tell(), 2147483647);
}

TEST(Read, RecognisesAHeaderThatTheEndCutsShort) {
    const OpenFile cut_in_size(plain_file() + unpadded("JUNK", "00dc\x05"));
    cut_in_size.seek(3, SEEK_END);
    forget_messages();
    EXPECT_EQ(cut_in_size.read(5), "");
    EXPECT_THAT(messages(), ElementsAre(read_starts(cut_in_size), video_starts));

    const OpenFile cut_before_size(plain_file() + unpadded("JUNK", "01wb"));
    cut_before_size.seek(4, SEEK_END);
    forget_messages();
    EXPECT_EQ(cut_before_size.read(0), "");
    EXPECT_THAT(messages(), ElementsAre(read_starts(cut_before_size), audio_starts));
}

// ---- seek and tell

TEST(Seek, MovesFromTheStartFromThePositionAndFromTheEnd) {
    const OpenFile file(plain_file());
    const auto size = static_cast<std::int32_t>(plain_file().size());
    EXPECT_EQ(file.seek(100, SEEK_SET), 1);
    EXPECT_EQ(file.tell(), 100);
    EXPECT_EQ(file.seek(-8, SEEK_CUR), 1);
    EXPECT_EQ(file.tell(), 92);
    EXPECT_EQ(file.seek(20, SEEK_CUR), 1);
    EXPECT_EQ(file.tell(), 112);
    EXPECT_EQ(file.seek(-3, SEEK_END), 1);
    EXPECT_EQ(file.tell(), size - 3);
    EXPECT_EQ(file.read(10), plain_file().substr(plain_file().size() - 3));
}

TEST(Seek, GoesPastTheEnd) {
    const OpenFile file(plain_file());
    const auto size = static_cast<std::int32_t>(plain_file().size());
    EXPECT_EQ(file.seek(1000, SEEK_END), 1);
    EXPECT_EQ(file.tell(), size + 1000);
    EXPECT_EQ(file.seek(2147483647, SEEK_SET), 1);
    EXPECT_EQ(file.tell(), 2147483647);
}

TEST(Seek, StaysWhereItIsWhenTheMoveIsRefused) {
    const OpenFile file(plain_file());
    file.seek(40);
    const auto size = static_cast<std::int32_t>(plain_file().size());
    const std::pair<std::int64_t, int> refused[] = {
        {-1, SEEK_SET},
        {-2147483648LL, SEEK_SET},
        {-41, SEEK_CUR},
        {-2147483648LL, SEEK_CUR},
        {-size - 1, SEEK_END},
        {-2147483648LL, SEEK_END},
        {0, 3},
        {0, 4},
        {5, -1},
        {5, 2147483647},
    };
    for (const auto &[offset, whence] : refused) {
        EXPECT_EQ(file.seek(offset, whence), 1);
        EXPECT_EQ(file.tell(), 40) << offset << ' ' << whence;
    }
    EXPECT_EQ(file.read(8), plain_file().substr(40, 8));
}

TEST(Seek, SaysOnlyThatItStarts) {
    const OpenFile file(plain_file());
    forget_messages();
    file.seek(5, SEEK_SET);
    file.seek(-100, SEEK_SET);
    const Message starts = detail("%s start\n", "drm_svc_sorn_seek_file start\n");
    EXPECT_THAT(messages(), ElementsAre(starts, starts));
}

TEST(Tell, Is0RightAfterOpenAndSaysOnlyThatItStarts) {
    const OpenFile file(rich_file());
    forget_messages();
    EXPECT_EQ(file.tell(), 0);
    EXPECT_THAT(messages(), ElementsAre(detail("%s start\n", "drm_svc_sorn_tell_file start\n")));
}

// ---- handles

TEST(Handles, OnOneFileHaveEachTheirOwnPosition) {
    const TempFile film(rich_file());
    const OpenFile one(film.path());
    const OpenFile other(film.path());
    one.seek(100);
    other.seek(50);
    EXPECT_EQ(one.read(30), rich_file().substr(100, 30));
    EXPECT_EQ(other.tell(), 50);
    EXPECT_EQ(other.read(500), rich_file().substr(50, 500));
    EXPECT_EQ(one.tell(), 130);
}

TEST(Handles, OutliveOneAnother) {
    const TempFile film(rich_file());
    const OpenFile one(film.path());
    { const OpenFile other(film.path()); }
    EXPECT_EQ(one.read(30), rich_file().substr(0, 30));
}

}  // namespace
