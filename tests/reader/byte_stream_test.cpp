#include <gmock/gmock.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <limits>
#include <ostream>
#include <utility>

#include "tests/support/half_open.h"

namespace {

using namespace avi_builder;
using namespace std::string_literals;

// ---- open and close

TEST(FileOpen, StartsAtPositionZero) {
    const TempFile file("abcd");
    AviStream stream = avi_file_open(file.path());
    ASSERT_NE(stream.file, nullptr);
    EXPECT_EQ(avi_file_tell(stream), 0);
    EXPECT_EQ(avi_file_close(stream), kAviOk);
}

TEST(FileOpen, HasNoStreamForAFileThatIsNotThere) {
    EXPECT_EQ(avi_file_open("/no such folder/no such file").file, nullptr);
    EXPECT_EQ(avi_file_open("").file, nullptr);
}

TEST(FileOpen, IsForReadingOnly) {
    const TempFile file("abcd");
    AviStream stream = avi_file_open(file.path());
    ASSERT_NE(stream.file, nullptr);
    EXPECT_EQ(std::fputc('x', stream.file), EOF);
    avi_file_close(stream);
    EXPECT_EQ(std::filesystem::file_size(file.path()), 4U);
}

TEST(FileOpen, FindsTheSizeAndStaysAtTheStart) {
    for (const Bytes &content : {Bytes(), Bytes("0123456789"), filler(100000)}) {
        const TempFile file(content);
        AviStream stream = avi_file_open(file.path());
        ASSERT_NE(stream.file, nullptr);
        EXPECT_EQ(stream.size, length(content));
        EXPECT_EQ(avi_file_tell(stream), 0);
        avi_file_close(stream);
    }
}

TEST(FileClose, ReportsAFailureAndForgetsTheFileAllTheSame) {
    const TempFile file("abcd");
    AviStream stream = avi_file_open(file.path());
    ASSERT_NE(stream.file, nullptr);
    close(fileno(stream.file));
    EXPECT_EQ(avi_file_close(stream), kAviFailed);
    EXPECT_EQ(stream.file, nullptr);
}

// ---- seek and tell

TEST(FileSeek, MovesFromStartCurrentAndEnd) {
    HalfOpen file("0123456789");
    EXPECT_EQ(avi_file_seek(file.stream(), 4, SEEK_SET), kAviOk);
    EXPECT_EQ(file.position(), 4);
    EXPECT_EQ(avi_file_seek(file.stream(), 3, SEEK_CUR), kAviOk);
    EXPECT_EQ(file.position(), 7);
    EXPECT_EQ(avi_file_seek(file.stream(), -2, SEEK_CUR), kAviOk);
    EXPECT_EQ(file.position(), 5);
    EXPECT_EQ(avi_file_seek(file.stream(), -1, SEEK_END), kAviOk);
    EXPECT_EQ(file.position(), 9);
}

TEST(FileSeek, RefusesAnyOtherWhenceAndStaysWhereItIs) {
    HalfOpen file("0123456789");
    file.move_to(4);
    // The last two are positions that some C libraries know: the next data, the next hole.
    for (const int whence : {-1, 5, 255, 3, 4}) {
        EXPECT_EQ(avi_file_seek(file.stream(), 0, whence), kAviFailed) << whence;
        EXPECT_EQ(file.position(), 4) << whence;
    }
}

TEST(FileSeek, FailsBeforeTheStart) {
    HalfOpen file("0123456789");
    file.move_to(4);
    EXPECT_EQ(avi_file_seek(file.stream(), -5, SEEK_CUR), kAviFailed);
    EXPECT_EQ(avi_file_seek(file.stream(), -1, SEEK_SET), kAviFailed);
    EXPECT_EQ(file.position(), 4);
}

TEST(FileSeek, FailsWhenTheEndCannotBeTold) {
    HalfOpen file("0123456789");
    file.move_to(4);
    file.libc().forbid_seeks();
    EXPECT_EQ(avi_file_seek(file.stream(), 0, SEEK_END), kAviFailed);
    EXPECT_EQ(avi_file_seek(file.stream(), 6, SEEK_END), kAviFailed);
    EXPECT_EQ(file.position(), 4);
}

TEST(FileSeek, GoesPastTheEnd) {
    HalfOpen file("0123456789");
    EXPECT_EQ(avi_file_seek(file.stream(), 11, SEEK_SET), kAviOk);
    EXPECT_EQ(file.position(), 11);
    EXPECT_EQ(avi_file_seek(file.stream(), 3, SEEK_END), kAviOk);
    EXPECT_EQ(file.position(), 13);
}

TEST(FileSeek, FindsTheEndOfAnEmptyFile) {
    HalfOpen file("");
    file.move_to(4);
    EXPECT_EQ(avi_file_seek(file.stream(), 0, SEEK_END), kAviOk);
    EXPECT_EQ(file.position(), 0);
}

TEST(FileSeek, HasPositionsOf64Bits) {
    HalfOpen file("0123456789");
    EXPECT_EQ(avi_file_seek(file.stream(), 0x123456789, SEEK_SET), kAviOk);
    EXPECT_EQ(file.position(), 0x123456789);
    EXPECT_EQ(avi_file_seek(file.stream(), 0x100000000, SEEK_CUR), kAviOk);
    EXPECT_EQ(file.position(), 0x223456789);
}

TEST(FileSeek, GoesAsFarAsTheCLibrary) {
    constexpr std::int64_t kFar = std::int64_t{1} << 40;
    constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
    HalfOpen file("0123456789");
    for (const std::int64_t position : {kFar - 1, kFar, kFar + 1}) {
        EXPECT_EQ(avi_file_seek(file.stream(), position, SEEK_SET), kAviOk);
        EXPECT_EQ(file.position(), position);
        EXPECT_EQ(avi_file_seek(file.stream(), 5, SEEK_CUR), kAviOk);
        EXPECT_EQ(file.position(), position + 5);
    }
    EXPECT_EQ(avi_file_seek(file.stream(), kMost, SEEK_CUR), kAviFailed);
    EXPECT_EQ(file.position(), kFar + 6);
    EXPECT_EQ(avi_file_seek(file.stream(), -(kFar + 7), SEEK_CUR), kAviFailed);
    EXPECT_EQ(avi_file_seek(file.stream(), -(kFar + 6), SEEK_CUR), kAviOk);
    EXPECT_EQ(file.position(), 0);
}

TEST(FileOpen, KnowsThatAPipeHasNoLength) {
    const Pipe pipe("RIFF");
    AviStream stream = avi_file_open(pipe.path());
    ASSERT_NE(stream.file, nullptr);
    EXPECT_EQ(stream.size, -1);
    avi_file_close(stream);
}

TEST(FileLeft, CountsToTheEndAndNotPastIt) {
    HalfOpen file("0123456789");
    EXPECT_EQ(avi_file_left(file.stream()), 10);
    file.move_to(9);
    EXPECT_EQ(avi_file_left(file.stream()), 1);
    file.move_to(10);
    EXPECT_EQ(avi_file_left(file.stream()), 0);
    file.move_to(12);
    EXPECT_EQ(avi_file_left(file.stream()), 0);
}

// ---- reads of any length

TEST(FileRead, ReturnsWhatTheFileHolds) {
    HalfOpen file("0123456789");
    char bytes[16] = {};
    EXPECT_EQ(avi_file_read(file.stream(), bytes, 4), 4U);
    EXPECT_EQ(bytes, "0123"s);
    EXPECT_EQ(avi_file_read(file.stream(), bytes, 16), 6U);
    EXPECT_EQ(bytes, "456789"s);
    EXPECT_EQ(avi_file_read(file.stream(), bytes, 16), 0U);
}

TEST(FileRead, StartsWhereTheLastSeekEnded) {
    HalfOpen file("0123456789");
    char bytes[3] = {};
    for (const std::int64_t position : {4, 6, 1}) {
        file.move_to(position);
        EXPECT_EQ(avi_file_read(file.stream(), bytes, 2), 2U);
        EXPECT_EQ(bytes, Bytes("0123456789").substr(static_cast<std::size_t>(position), 2));
        EXPECT_EQ(file.position(), position + 2);
    }
}

TEST(FileRead, DeliversNothingAtOrPastTheEnd) {
    HalfOpen file("0123456789");
    for (const std::int64_t position : {10, 11, 5000}) {
        char byte = '?';
        file.move_to(position);
        EXPECT_EQ(avi_file_read(file.stream(), &byte, 1), 0U) << position;
        EXPECT_EQ(byte, '?') << position;
        EXPECT_EQ(file.position(), position);
    }
}

// The way forward ends at a byte that cannot be read, and the seek that would do instead fails.
TEST(FileRead, FindsItsPlaceAgainAfterAWayThatFailed) {
    const Bytes content = filler(300);
    ControlledLibc libc(content);
    libc.use_no_buffer();
    AviStream stream = avi_file_open("in memory");
    char bytes[4] = {};
    EXPECT_EQ(avi_file_read(stream, bytes, 4), 4U);
    libc.damage(50);
    libc.fail({.call = Call::seek, .nth = libc.calls(Call::seek) + 1});
    avi_file_go(stream, 100);
    EXPECT_EQ(avi_file_read(stream, bytes, 4), 0U);
    EXPECT_EQ(avi_file_tell(stream), 100);
    libc.repair();
    EXPECT_EQ(avi_file_read(stream, bytes, 4), 4U);
    EXPECT_EQ(bytes_at(bytes, 4), content.substr(100, 4));
    avi_file_close(stream);
}

TEST(ReadBytes, PastTheEndFailsUnlessNoneAreWanted) {
    HalfOpen file("0123456789");
    unsigned char byte = '?';
    file.move_to(12);
    EXPECT_EQ(avi_read_bytes(&byte, 1, file.stream()), kAviFailed);
    EXPECT_EQ(avi_read_bytes(&byte, 0, file.stream()), kAviOk);
    EXPECT_EQ(byte, '?');
    EXPECT_EQ(file.position(), 12);
}

// ---- the look at a chunk

TEST(Look, TellsIdAndSizeAndStays) {
    HalfOpen file("1234" + chunk("JUNK", "payload!"));
    file.move_to(4);
    for (int time = 0; time < 3; ++time) {
        const AviLook look = avi_look(file.stream());
        EXPECT_EQ(look.id.value, avi_fourcc_from_string("JUNK").value);
        EXPECT_EQ(look.size, 8U);
        EXPECT_EQ(look.count, 12U);
        EXPECT_EQ(look.missing, kAviOk);
        EXPECT_EQ(file.position(), 4);
    }
}

TEST(Look, AtAHeaderThatTheFileCutsShortIsTheSameEveryTime) {
    const Bytes header = "JUNK\x01\x02\x03\x04list";
    for (std::size_t held = 0; held < 12; ++held) {
        HalfOpen file("1234" + header.substr(0, held));
        file.move_to(4);
        for (int time = 0; time < 3; ++time) {
            const AviLook look = avi_look(file.stream());
            EXPECT_EQ(look.id.value == avi_fourcc_from_string("JUNK").value, held >= 4) << held;
            const std::size_t of_size = held > 4 ? std::min<std::size_t>(held - 4, 4) : 0;
            EXPECT_EQ(look.size, 0x04030201 & ((std::uint64_t{1} << 8 * of_size) - 1)) << held;
            EXPECT_EQ(look.count, held);
            EXPECT_EQ(look.missing, kAviFailed) << held;
            EXPECT_EQ(file.position(), 4) << held;
        }
    }
}

// ---- what is asked of the system

struct Asked {
    std::uint64_t bytes, seeks;
    bool operator==(const Asked &) const = default;
};

void PrintTo(const Asked &asked, std::ostream *out) {
    *out << asked.bytes << " bytes and " << asked.seeks << " seeks";
}

constexpr Asked kNothing{};

// A stream of a file that is not read ahead, so that whatever is asked for reaches it.
class StreamCost : public testing::Test {
protected:
    StreamCost() {
        libc_.use_no_buffer();
        stream_ = avi_file_open("in memory");
    }
    ~StreamCost() override { avi_file_close(stream_); }
    StreamCost(const StreamCost &) = delete;
    StreamCost &operator=(const StreamCost &) = delete;

    AviStream &stream() { return stream_; }
    void read(std::size_t count) {
        Bytes bytes(count, '\0');
        EXPECT_EQ(avi_file_read(stream_, bytes.data(), count), count);
    }
    void read_at(std::int64_t position, std::size_t count) {
        avi_file_go(stream_, position);
        read(count);
    }
    void look_at(std::int64_t position) {
        avi_file_go(stream_, position);
        static_cast<void>(avi_look(stream_));
    }
    // By what was done since this was last asked.
    Asked asked() {
        const Asked before = std::exchange(all_, {libc_.bytes_read(), libc_.calls(Call::seek)});
        return {all_.bytes - before.bytes, all_.seeks - before.seeks};
    }

private:
    const Bytes content_ = filler(2000);
    ControlledLibc libc_{content_};
    AviStream stream_{};
    Asked all_{};
};

TEST_F(StreamCost, OfAReadThatGoesOnIsTheReadAlone) {
    read(100);
    asked();
    read(100);
    EXPECT_EQ(asked(), (Asked{100, 0}));
}

TEST_F(StreamCost, OfAShortWayForwardIsARead) {
    for (const std::int64_t gap : {1, 10, 512}) {
        read_at(0, 0);
        asked();
        read_at(gap, 4);
        EXPECT_EQ(asked(), (Asked{static_cast<std::uint64_t>(gap) + 4, 0})) << gap;
    }
}

TEST_F(StreamCost, OfALongWayOrBackwardsIsASeek) {
    for (const std::int64_t gap : {513, 1000, -1, -104}) {
        read_at(100, 4);
        asked();
        read_at(104 + gap, 4);
        EXPECT_EQ(asked(), (Asked{4, 1})) << gap;
    }
}

TEST_F(StreamCost, OfASecondLookIsNothing) {
    look_at(50);
    asked();
    look_at(50);
    EXPECT_EQ(asked(), kNothing);
}

TEST_F(StreamCost, OfWhatWasLookedAtIsNothing) {
    for (std::uint32_t count = 1; count <= 12; ++count) {
        look_at(50);
        asked();
        Bytes bytes(count, '\0');
        auto *const to = reinterpret_cast<unsigned char *>(bytes.data());
        EXPECT_EQ(avi_read_bytes(to, count, stream()), kAviOk);
        EXPECT_EQ(asked(), kNothing) << count;
        EXPECT_EQ(avi_read_bytes(to, 1, stream()), kAviOk);
        EXPECT_EQ(asked(), count < 12 ? kNothing : (Asked{1, 0})) << count;
    }
}

TEST_F(StreamCost, OfWhatWasLookedAtInPartIsTheRest) {
    look_at(50);
    asked();
    unsigned char bytes[20];
    EXPECT_EQ(avi_read_bytes(bytes, 20, stream()), kAviOk);
    EXPECT_EQ(asked(), (Asked{8, 0}));
}

TEST_F(StreamCost, OfALookBackIsNothingBehindWhatWasRead) {
    for (const std::size_t piece : {1U, 2U, 3U, 4U, 7U, 8U, 9U, 11U, 12U, 13U, 100U}) {
        avi_file_go(stream(), 0);
        for (std::size_t there = 0; there < 8; there += piece) read(piece);
        asked();
        static_cast<void>(avi_look_back(stream()));
        EXPECT_EQ(asked(), kNothing) << piece;
    }
}

TEST_F(StreamCost, OfALookBackAnywhereElseIsTheHeader) {
    read(7);
    read_at(500, 3);
    read_at(100, 5);
    asked();
    static_cast<void>(avi_look_back(stream()));
    EXPECT_EQ(asked(), (Asked{8, 1}));
}

// ---- the look back

TEST(LookBack, TellsTheHeaderBeforeThePosition) {
    HalfOpen file("1234" + chunk("JUNK", "payload!"));
    file.move_to(12);
    for (int time = 0; time < 3; ++time) {
        const AviChunkHeader header = avi_look_back(file.stream());
        EXPECT_EQ(header.id.value, avi_fourcc_from_string("JUNK").value);
        EXPECT_EQ(header.size, 8U);
        EXPECT_EQ(file.position(), 12);
    }
    char next = '?';
    EXPECT_EQ(avi_file_read(file.stream(), &next, 1), 1U);
    EXPECT_EQ(next, 'p');
}

// Whatever pieces were read on the way to the position, and from wherever they were read.
TEST(LookBack, IsTheSameBehindReadsOfAnyLength) {
    const Bytes content = filler(400);
    const auto expected = [&](std::int64_t position) {
        return avi_get_u32le(reinterpret_cast<const unsigned char *>(content.data()) + position -
                             8);
    };
    for (std::size_t piece = 1; piece <= 20; ++piece) {
        HalfOpen file(content);
        char bytes[20];
        for (std::int64_t position = 0; position < 60; position = file.position()) {
            ASSERT_EQ(avi_file_read(file.stream(), bytes, piece), piece);
            if (file.position() < 8) continue;
            EXPECT_EQ(avi_look_back(file.stream()).id.value, expected(file.position())) << piece;
        }
        for (const std::int64_t position : {30, 29, 31, 8, 37, 300, 340}) {
            file.move_to(position);
            EXPECT_EQ(avi_look_back(file.stream()).id.value, expected(position)) << piece;
            EXPECT_EQ(avi_file_read(file.stream(), bytes, piece), piece);
            EXPECT_EQ(bytes_at(bytes, piece),
                      content.substr(static_cast<std::size_t>(position), piece));
            EXPECT_EQ(avi_look_back(file.stream()).id.value, expected(file.position())) << piece;
        }
        // As a byte: what is written over a bool by mistake need not be 0 or 1.
        unsigned char lacks_bytes = 1;
        std::memcpy(&lacks_bytes, &file.stream().lacks_bytes, 1);
        EXPECT_EQ(lacks_bytes, 0) << piece;
    }
}

// ---- integers

TEST(ReadU8, ReadsOneByteOrFails) {
    HalfOpen file("\x81");
    std::uint8_t value = 7;
    EXPECT_EQ(avi_read_u8(value, file.stream()), kAviOk);
    EXPECT_EQ(value, 0x81);
    EXPECT_EQ(avi_read_u8(value, file.stream()), kAviFailed);
    EXPECT_EQ(value, 0x81);
}

TEST(ReadU16, IsCompletedWithAZeroWhenTheFileHoldsOneByte) {
    HalfOpen file("\x01\x82\x83");
    std::uint16_t value = 7;
    EXPECT_EQ(avi_read_u16le(value, file.stream()), kAviOk);
    EXPECT_EQ(value, 0x8201);
    EXPECT_EQ(avi_read_u16le(value, file.stream()), kAviOk);
    EXPECT_EQ(value, 0x0083);
    EXPECT_EQ(file.position(), 3);
}

TEST(ReadU16, FailsAtTheEndAndLeavesTheDestinationAlone) {
    HalfOpen file("");
    std::uint16_t value = 0x1234;
    EXPECT_EQ(avi_read_u16le(value, file.stream()), kAviFailed);
    EXPECT_EQ(value, 0x1234);
}

TEST(ReadU32, IsCompletedWithZerosWhenTheFileHoldsFewerBytes) {
    const Bytes content = "\x81\x82\x83\x84";
    const std::uint32_t expected[] = {0x81, 0x8281, 0x838281, 0x84838281};
    for (std::size_t held = 1; held <= 4; ++held) {
        HalfOpen file(content.substr(0, held));
        std::uint32_t value = 0xEEEEEEEE;
        EXPECT_EQ(avi_read_u32le(value, file.stream()), kAviOk) << held;
        EXPECT_EQ(value, expected[held - 1]) << held;
        EXPECT_EQ(file.position(), static_cast<std::int64_t>(held));

        file.move_to(0);
        FourCC fourcc{0xEEEEEEEE};
        EXPECT_EQ(avi_read_fourcc(fourcc, file.stream()), kAviOk) << held;
        EXPECT_EQ(fourcc.value, expected[held - 1]) << held;
    }
}

TEST(ReadU32, FailsForAByteThatCannotBeReadAndLeavesTheDestinationAlone) {
    for (const std::int64_t damage : {4, 5, 6, 7}) {
        HalfOpen file("abcdefgh");
        file.libc().damage(damage);
        file.move_to(4);
        std::uint32_t value = 0x12345678;
        EXPECT_EQ(avi_read_u32le(value, file.stream()), kAviUnreadable) << damage;
        EXPECT_EQ(value, 0x12345678U) << damage;
        EXPECT_EQ(file.position(), damage);
    }
}

TEST(ReadU32, FailsAtTheEndAndLeavesTheDestinationAlone) {
    HalfOpen file("abcd");
    for (const std::int64_t position : {4, 5, 1000}) {
        file.move_to(position);
        std::uint32_t value = 0x12345678;
        EXPECT_EQ(avi_read_u32le(value, file.stream()), kAviFailed);
        EXPECT_EQ(value, 0x12345678U);
        FourCC fourcc{0x12345678};
        EXPECT_EQ(avi_read_fourcc(fourcc, file.stream()), kAviFailed);
        EXPECT_EQ(fourcc.value, 0x12345678U);
        EXPECT_EQ(file.position(), position);
    }
}

TEST(ReadU32, TellsAReadErrorFromTheEnd) {
    AviStream folder = avi_file_open("/");
    ASSERT_NE(folder.file, nullptr);
    std::uint32_t value = 0x12345678;
    EXPECT_EQ(avi_read_u32le(value, folder), kAviUnreadable);
    EXPECT_EQ(value, 0x12345678U);
    avi_file_close(folder);
}

// ---- layouts

TEST(ReadFields, TakesEachFieldByTheWidthOfItsType) {
    HalfOpen file("\x01" + u16(0x2345) + u32(0x6789ABCD) + "RIFF" + u16(11) + u16(12) + "!");
    std::uint8_t byte = 0;
    std::uint16_t half = 0;
    std::uint32_t word = 0;
    FourCC fourcc{};
    std::uint16_t pair[2] = {};
    EXPECT_EQ(avi_read_fields(file.stream(), byte, half, word, fourcc, pair), kAviOk);
    EXPECT_EQ(byte, 1);
    EXPECT_EQ(half, 0x2345);
    EXPECT_EQ(word, 0x6789ABCDU);
    EXPECT_EQ(fourcc.value, avi_fourcc_from_string("RIFF").value);
    EXPECT_THAT(pair, testing::ElementsAre(11, 12));
    EXPECT_EQ(avi_file_left(file.stream()), 1);
}

TEST(ReadFields, FailsWhenAnyFieldDoes) {
    for (const char *content : {"", "abcd", "abcdefgh"}) {
        HalfOpen file(content);
        std::uint32_t first, second, third;
        EXPECT_EQ(avi_read_fields(file.stream(), first, second, third), kAviFailed) << content;
    }
    HalfOpen file("abcdefghi");
    std::uint32_t first, second, third;
    EXPECT_EQ(avi_read_fields(file.stream(), first, second, third), kAviOk);
    EXPECT_EQ(third, static_cast<std::uint32_t>('i'));
}

TEST(ReadFields, KeepsWhatLiesInFrontOfTheWordThatCannotBeRead) {
    for (const std::int64_t damage : {4, 5, 6, 7}) {
        HalfOpen file(u32(1) + u16(2) + u16(3) + u32(4));
        file.libc().damage(damage);
        std::uint32_t first = 7, last = 7;
        std::uint16_t pair[2] = {7, 7};
        EXPECT_EQ(avi_read_fields(file.stream(), first, pair, last), kAviUnreadable) << damage;
        EXPECT_EQ(first, 1U) << damage;
        EXPECT_THAT(pair, testing::ElementsAre(7, 7)) << damage;
        EXPECT_EQ(last, 7U) << damage;
    }
}

TEST(ReadFields, FailsWhenAnElementOfAnArrayDoes) {
    HalfOpen file(u16(1) + u16(2));
    std::uint16_t values[3] = {7, 7, 7};
    EXPECT_EQ(avi_read_fields(file.stream(), values), kAviFailed);
    EXPECT_THAT(values, testing::ElementsAre(1, 2, 7));
}

// ---- runs of bytes

TEST(ReadBytes, ReadsAllOrFailsAtTheEnd) {
    HalfOpen file("0123456789");
    unsigned char bytes[12] = {};
    EXPECT_EQ(avi_read_bytes(bytes, 10, file.stream()), kAviOk);
    EXPECT_EQ(bytes_at(bytes, 10), "0123456789");

    std::memset(bytes, '-', sizeof bytes);
    file.move_to(0);
    EXPECT_EQ(avi_read_bytes(bytes, 11, file.stream()), kAviFailed);
    EXPECT_EQ(bytes_at(bytes, 12), "0123456789--");
    EXPECT_EQ(file.position(), 10);
}

TEST(ReadBytes, OfNoneDoesNothingEvenAtTheEnd) {
    HalfOpen file("ab");
    file.move_to(2);
    unsigned char byte = '-';
    EXPECT_EQ(avi_read_bytes(&byte, 0, file.stream()), kAviOk);
    EXPECT_EQ(byte, '-');
}

TEST(SkipBytes, EndsWhereReadingThemWould) {
    struct {
        std::int64_t from;
        std::uint32_t count;
    } const runs[] = {{0, 0}, {0, 9}, {0, 10}, {0, 11}, {10, 0}, {10, 1}, {12, 1}, {3, 0xFFFFFFFF}};
    for (const auto &run : runs) {
        HalfOpen read("0123456789"), skip("0123456789");
        read.move_to(run.from);
        skip.move_to(run.from);
        AviStatus read_status = kAviOk;
        std::uint8_t byte;
        for (std::uint32_t i = 0; i < run.count && read_status == kAviOk; ++i) {
            read_status = avi_read_u8(byte, read.stream());
        }
        EXPECT_EQ(avi_skip_bytes(run.count, skip.stream()), read_status)
            << run.from << '+' << run.count;
        EXPECT_EQ(skip.position(), read.position()) << run.from << '+' << run.count;
    }
}

}  // namespace
