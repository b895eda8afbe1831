#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <limits>

#include "stream_fixtures.h"

namespace {

using namespace avi_builder;
using namespace std::string_literals;

// A stream without positions, as the C library sees a pipe. `content` waits in it.
class PipeStream {
public:
    explicit PipeStream(const Bytes &content) {
        int ends[2];
        if (pipe(ends) != 0) throw std::runtime_error("cannot make a pipe");
        if (write(ends[1], content.data(), content.size()) < 0) {
            throw std::runtime_error("cannot fill a pipe");
        }
        close(ends[1]);
        stream_.file = fdopen(ends[0], "rb");
        stream_.size = -1;
    }
    ~PipeStream() { avi_file_close(stream_); }
    PipeStream(const PipeStream &) = delete;
    PipeStream &operator=(const PipeStream &) = delete;
    AviStream &operator*() { return stream_; }

private:
    AviStream stream_{};
};

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
        EXPECT_EQ(stream.size, length_of(content));
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
    TestStream stream("0123456789");
    EXPECT_EQ(avi_file_seek(*stream, 4, SEEK_SET), kAviOk);
    EXPECT_EQ(stream.position(), 4);
    EXPECT_EQ(avi_file_seek(*stream, 3, SEEK_CUR), kAviOk);
    EXPECT_EQ(stream.position(), 7);
    EXPECT_EQ(avi_file_seek(*stream, -2, SEEK_CUR), kAviOk);
    EXPECT_EQ(stream.position(), 5);
    EXPECT_EQ(avi_file_seek(*stream, -1, SEEK_END), kAviOk);
    EXPECT_EQ(stream.position(), 9);
}

TEST(FileSeek, RefusesAnyOtherWhenceAndStaysWhereItIs) {
    TestStream stream("0123456789");
    stream.move_to(4);
    // The last two are positions that some C libraries know: the next data, the next hole.
    for (const int whence : {-1, 5, 255, 3, 4}) {
        EXPECT_EQ(avi_file_seek(*stream, 0, whence), kAviFailed) << whence;
        EXPECT_EQ(stream.position(), 4) << whence;
    }
}

TEST(FileSeek, FailsBeforeTheStart) {
    TestStream stream("0123456789");
    stream.move_to(4);
    EXPECT_EQ(avi_file_seek(*stream, -5, SEEK_CUR), kAviFailed);
    EXPECT_EQ(avi_file_seek(*stream, -1, SEEK_SET), kAviFailed);
    EXPECT_EQ(stream.position(), 4);
}

TEST(FileSeek, GoesPastTheEnd) {
    TestStream stream("0123456789");
    EXPECT_EQ(avi_file_seek(*stream, 11, SEEK_SET), kAviOk);
    EXPECT_EQ(stream.position(), 11);
    EXPECT_EQ(avi_file_seek(*stream, 3, SEEK_END), kAviOk);
    EXPECT_EQ(stream.position(), 13);
}

TEST(FileSeek, HasPositionsOf64Bits) {
    TestStream stream("0123456789");
    EXPECT_EQ(avi_file_seek(*stream, 0x123456789, SEEK_SET), kAviOk);
    EXPECT_EQ(stream.position(), 0x123456789);
    EXPECT_EQ(avi_file_seek(*stream, 0x100000000, SEEK_CUR), kAviOk);
    EXPECT_EQ(stream.position(), 0x223456789);
}

TEST(FileSeek, GoesAsFarAsTheCLibrary) {
    constexpr std::int64_t kFar = std::int64_t{1} << 40;
    constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
    TestStream stream("0123456789");
    for (const std::int64_t position : {kFar - 1, kFar, kFar + 1}) {
        EXPECT_EQ(avi_file_seek(*stream, position, SEEK_SET), kAviOk);
        EXPECT_EQ(stream.position(), position);
        EXPECT_EQ(avi_file_seek(*stream, 5, SEEK_CUR), kAviOk);
        EXPECT_EQ(stream.position(), position + 5);
    }
    EXPECT_EQ(avi_file_seek(*stream, kMost, SEEK_CUR), kAviFailed);
    EXPECT_EQ(stream.position(), kFar + 6);
    EXPECT_EQ(avi_file_seek(*stream, -(kFar + 7), SEEK_CUR), kAviFailed);
    EXPECT_EQ(avi_file_seek(*stream, -(kFar + 6), SEEK_CUR), kAviOk);
    EXPECT_EQ(stream.position(), 0);
}

TEST(FileSeek, TakesTheFileItselfPastTheEndWhenItIsSettled) {
    for (const std::int64_t position : {0, 7, 10, 12, 5000}) {
        TestStream stream("0123456789");
        stream.move_to(3);
        avi_file_settle(*stream);
        stream.move_to(position);
        avi_file_settle(*stream);
        EXPECT_EQ(ftello64((*stream).file), position);
    }
}

TEST(FileSeek, LeavesNothingToSettleOnceSomethingWasRead) {
    TestStream stream("0123456789");
    std::uint16_t value = 0;
    stream.move_to(3);
    EXPECT_EQ(avi_read_u16le(value, *stream), kAviOk);
    avi_file_settle(*stream);
    EXPECT_EQ(stream.position(), 5);
}

TEST(FileSeek, FailsWhereThereAreNoPositions) {
    PipeStream stream("0123456789");
    EXPECT_EQ(avi_file_seek(*stream, 0, SEEK_SET), kAviFailed);
}

TEST(FileOpen, KnowsThatAPipeHasNoLength) {
    const std::string path = testing::TempDir() + "drm-sorn-pipe";
    unlink(path.c_str());
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int writer = open(path.c_str(), O_RDWR);  // so that opening it does not wait
    AviStream stream = avi_file_open(path.c_str());
    ASSERT_NE(stream.file, nullptr);
    EXPECT_EQ(stream.size, -1);
    avi_file_close(stream);
    close(writer);
    unlink(path.c_str());
}

TEST(FileTell, IsMinusOneWhereThereAreNoPositions) {
    PipeStream stream("0123456789");
    EXPECT_EQ(avi_file_tell(*stream), -1);
}

TEST(FileLeft, CountsToTheEndAndNotPastIt) {
    TestStream stream("0123456789");
    EXPECT_EQ(avi_file_left(*stream), 10);
    stream.move_to(9);
    EXPECT_EQ(avi_file_left(*stream), 1);
    stream.move_to(10);
    EXPECT_EQ(avi_file_left(*stream), 0);
    stream.move_to(12);
    EXPECT_EQ(avi_file_left(*stream), 0);
}

// ---- reads of any length

TEST(FileRead, ReturnsWhatTheFileHolds) {
    TestStream stream("0123456789");
    char bytes[16] = {};
    EXPECT_EQ(avi_file_read(*stream, bytes, 4), 4U);
    EXPECT_EQ(bytes, "0123"s);
    EXPECT_EQ(avi_file_read(*stream, bytes, 16), 6U);
    EXPECT_EQ(bytes, "456789"s);
    EXPECT_EQ(avi_file_read(*stream, bytes, 16), 0U);
}

TEST(FileRead, StartsWhereTheLastSeekEnded) {
    TestStream stream("0123456789");
    char bytes[3] = {};
    for (const std::int64_t position : {4, 6, 1}) {
        stream.move_to(position);
        EXPECT_EQ(avi_file_read(*stream, bytes, 2), 2U);
        EXPECT_EQ(bytes, Bytes("0123456789").substr(static_cast<std::size_t>(position), 2));
        EXPECT_EQ(stream.position(), position + 2);
    }
}

TEST(FileRead, DeliversNothingAtOrPastTheEnd) {
    TestStream stream("0123456789");
    for (const std::int64_t position : {10, 11, 5000}) {
        char byte = '?';
        stream.move_to(position);
        EXPECT_EQ(avi_file_read(*stream, &byte, 1), 0U) << position;
        EXPECT_EQ(byte, '?') << position;
        EXPECT_EQ(stream.position(), position);
    }
}

TEST(ReadBytes, PastTheEndFailsUnlessNoneAreWanted) {
    TestStream stream("0123456789");
    unsigned char byte = '?';
    stream.move_to(12);
    EXPECT_EQ(avi_read_bytes(&byte, 1, *stream), kAviFailed);
    EXPECT_EQ(avi_read_bytes(&byte, 0, *stream), kAviOk);
    EXPECT_EQ(byte, '?');
    EXPECT_EQ(stream.position(), 12);
}

TEST(ChunkHeader, ThatTheFileCutsShortIsTheSameEveryTime) {
    const Bytes before = "1234";
    const Bytes header = "JUNK\x01\x02\x03\x04";
    for (std::size_t held = 0; held <= 8; ++held) {
        TestStream stream(before + header.substr(0, held));
        for (int time = 0; time < 3; ++time) {
            FourCC id{};
            std::uint32_t size = 0;
            stream.move_to(4);
            const AviStatus status = avi_read_chunk_header(id, size, *stream);
            EXPECT_EQ(status, held > 4 ? kAviOk : kAviFailed) << held;
            EXPECT_EQ(id.value == avi_fourcc_from_string("JUNK").value, held >= 4) << held;
            EXPECT_EQ(size, 0x04030201 & ((std::uint64_t{1} << 8 * (held > 4 ? held - 4 : 0)) - 1));
            EXPECT_EQ(stream.position(), 4 + static_cast<std::int64_t>(held));
        }
    }
}

TEST(FileRead, NeedsNoPositions) {
    PipeStream stream("0123456789");
    char bytes[16] = {};
    EXPECT_EQ(avi_file_read(*stream, bytes, 16), 10U);
    EXPECT_EQ(bytes, "0123456789"s);
}

// ---- integers

TEST(ReadU8, ReadsOneByteOrFails) {
    TestStream stream("\x81");
    std::uint8_t value = 7;
    EXPECT_EQ(avi_read_u8(value, *stream), kAviOk);
    EXPECT_EQ(value, 0x81);
    EXPECT_EQ(avi_read_u8(value, *stream), kAviFailed);
    EXPECT_EQ(value, 0x81);
}

TEST(ReadU16, IsCompletedWithAZeroWhenTheFileHoldsOneByte) {
    TestStream stream("\x01\x82\x83");
    std::uint16_t value = 7;
    EXPECT_EQ(avi_read_u16le(value, *stream), kAviOk);
    EXPECT_EQ(value, 0x8201);
    EXPECT_EQ(avi_read_u16le(value, *stream), kAviOk);
    EXPECT_EQ(value, 0x0083);
    EXPECT_EQ(stream.position(), 3);
}

TEST(ReadU16, FailsAtTheEndAndLeavesTheDestinationAlone) {
    TestStream stream("");
    std::uint16_t value = 0x1234;
    EXPECT_EQ(avi_read_u16le(value, *stream), kAviFailed);
    EXPECT_EQ(value, 0x1234);
}

TEST(ReadU32, IsCompletedWithZerosWhenTheFileHoldsFewerBytes) {
    const Bytes content = "\x81\x82\x83\x84";
    const std::uint32_t expected[] = {0x81, 0x8281, 0x838281, 0x84838281};
    for (std::size_t held = 1; held <= 4; ++held) {
        TestStream stream(content.substr(0, held));
        std::uint32_t value = 0xEEEEEEEE;
        EXPECT_EQ(avi_read_u32le(value, *stream), kAviOk) << held;
        EXPECT_EQ(value, expected[held - 1]) << held;
        EXPECT_EQ(stream.position(), static_cast<std::int64_t>(held));

        TestStream same(content.substr(0, held));
        FourCC fourcc{0xEEEEEEEE};
        EXPECT_EQ(avi_read_fourcc(fourcc, *same), kAviOk) << held;
        EXPECT_EQ(fourcc.value, expected[held - 1]) << held;
    }
}

TEST(ReadU32, FailsAtTheEndAndLeavesTheDestinationAlone) {
    TestStream stream("abcd");
    for (const std::int64_t position : {4, 5, 1000}) {
        stream.move_to(position);
        std::uint32_t value = 0x12345678;
        EXPECT_EQ(avi_read_u32le(value, *stream), kAviFailed);
        EXPECT_EQ(value, 0x12345678U);
        FourCC fourcc{0x12345678};
        EXPECT_EQ(avi_read_fourcc(fourcc, *stream), kAviFailed);
        EXPECT_EQ(fourcc.value, 0x12345678U);
        EXPECT_EQ(stream.position(), position);
    }
}

TEST(ReadU32, FailsOnAReadError) {
    AviStream folder = avi_file_open("/");
    ASSERT_NE(folder.file, nullptr);
    std::uint32_t value = 0x12345678;
    EXPECT_EQ(avi_read_u32le(value, folder), kAviFailed);
    EXPECT_EQ(value, 0x12345678U);
    avi_file_close(folder);
}

// ---- layouts

TEST(ReadFields, TakesEachFieldByTheWidthOfItsType) {
    TestStream stream("\x01" + u16(0x2345) + u32(0x6789ABCD) + "RIFF" + u16(11) + u16(12) + "!");
    std::uint8_t byte = 0;
    std::uint16_t half = 0;
    std::uint32_t word = 0;
    FourCC fourcc{};
    std::uint16_t pair[2] = {};
    EXPECT_EQ(avi_read_fields(*stream, byte, half, word, fourcc, pair), kAviOk);
    EXPECT_EQ(byte, 1);
    EXPECT_EQ(half, 0x2345);
    EXPECT_EQ(word, 0x6789ABCDU);
    EXPECT_EQ(fourcc.value, avi_fourcc_from_string("RIFF").value);
    EXPECT_THAT(pair, testing::ElementsAre(11, 12));
    EXPECT_EQ(avi_file_left(*stream), 1);
}

TEST(ReadFields, FailsWhenAnyFieldDoes) {
    for (const char *content : {"", "abcd", "abcdefgh"}) {
        TestStream stream(content);
        std::uint32_t first, second, third;
        EXPECT_EQ(avi_read_fields(*stream, first, second, third), kAviFailed) << content;
    }
    TestStream stream("abcdefghi");
    std::uint32_t first, second, third;
    EXPECT_EQ(avi_read_fields(*stream, first, second, third), kAviOk);
    EXPECT_EQ(third, static_cast<std::uint32_t>('i'));
}

TEST(ReadFields, FailsWhenAnElementOfAnArrayDoes) {
    TestStream stream(u16(1) + u16(2));
    std::uint16_t values[3] = {7, 7, 7};
    EXPECT_EQ(avi_read_fields(*stream, values), kAviFailed);
    EXPECT_THAT(values, testing::ElementsAre(1, 2, 7));
}

// ---- runs of bytes

TEST(ReadBytes, ReadsAllOrFailsAtTheEnd) {
    TestStream stream("0123456789");
    unsigned char bytes[12] = {};
    EXPECT_EQ(avi_read_bytes(bytes, 10, *stream), kAviOk);
    EXPECT_EQ(bytes_at(bytes, 10), "0123456789");

    std::memset(bytes, '-', sizeof bytes);
    stream.move_to(0);
    EXPECT_EQ(avi_read_bytes(bytes, 11, *stream), kAviFailed);
    EXPECT_EQ(bytes_at(bytes, 12), "0123456789--");
    EXPECT_EQ(stream.position(), 10);
}

TEST(ReadBytes, OfNoneDoesNothingEvenAtTheEnd) {
    TestStream stream("ab");
    stream.move_to(2);
    unsigned char byte = '-';
    EXPECT_EQ(avi_read_bytes(&byte, 0, *stream), kAviOk);
    EXPECT_EQ(byte, '-');
}

TEST(SkipBytes, EndsWhereReadingThemWould) {
    struct {
        std::int64_t from;
        std::uint32_t count;
    } const runs[] = {{0, 0}, {0, 9}, {0, 10}, {0, 11}, {10, 0}, {10, 1}, {12, 1}, {3, 0xFFFFFFFF}};
    for (const auto &run : runs) {
        TestStream read("0123456789"), skip("0123456789");
        read.move_to(run.from);
        skip.move_to(run.from);
        AviStatus read_status = kAviOk;
        std::uint8_t byte;
        for (std::uint32_t i = 0; i < run.count && read_status == kAviOk; ++i) {
            read_status = avi_read_u8(byte, *read);
        }
        EXPECT_EQ(avi_skip_bytes(run.count, *skip), read_status) << run.from << '+' << run.count;
        EXPECT_EQ(skip.position(), read.position()) << run.from << '+' << run.count;
    }
}

// ---- buffers

TEST(Allocate, StopsAtTheLargestBufferOfTheTarget) {
    EXPECT_TRUE(avi_can_allocate(0));
    EXPECT_TRUE(avi_can_allocate(0x7FFFFFFF));
    EXPECT_FALSE(avi_can_allocate(0x80000000));
    EXPECT_FALSE(avi_can_allocate(0x100000007));  // 8 bytes more than 32 bits can count
    EXPECT_EQ(avi_allocate(0x80000000), nullptr);
    EXPECT_EQ(avi_allocate(0x100000007), nullptr);
}

TEST(Allocate, GivesZeros) {
    const AviBytes bytes = avi_allocate(4096);
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(bytes_at(bytes.get(), 4096), Bytes(4096, '\0'));
}

TEST(Allocate, GivesABufferForNoBytes) {
    EXPECT_NE(avi_allocate(0), nullptr);
}

}  // namespace
