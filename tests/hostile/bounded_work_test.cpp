// No file costs more work than a small multiple of its own length, whatever sizes it declares.
//
// Work is what an open and a close ask of the system: bytes read and calls that read, by the
// kernel's own count for this process, and memory written to.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <ostream>

#include "tests/support/controlled_libc.h"
#include "tests/support/record_checks.h"
#include "tests/support/test_files.h"

namespace {

using namespace avi_builder;

struct Work {
    std::uint64_t bytes_read;
    std::uint64_t reads;
    std::uint64_t memory;
};

void PrintTo(const Work &work, std::ostream *out) {
    *out << work.bytes_read << " bytes read, " << work.reads << " reads, " << work.memory
         << " bytes of memory";
}

// Per byte of the file. Twelve stream-data payloads and three extension chunks may each be the rest
// of the file, and every one is kept. Four passes go over the file's chunks, the smallest of which
// has 8 bytes, with two reads a chunk at most.
constexpr std::uint64_t kBytesReadPerByte = 20;
constexpr std::uint64_t kReadsPerByte = 1;
constexpr std::uint64_t kMemoryPerByte = 16;
// And for any file: the record, a page for each of the jumps that can only be made once a stream.
constexpr std::uint64_t kBytesRead = 1 << 19;
constexpr std::uint64_t kReads = 4000;
constexpr std::uint64_t kMemory = 1 << 20;

// What the kernel has counted for this process, with the reading of the count itself taken off.
class KernelCount {
public:
    KernelCount() : start_(read()) {}
    void stop(std::uint64_t &bytes, std::uint64_t &reads) const {
        const Sample end = read();
        bytes = end.bytes - start_.bytes - start_.own_bytes;
        reads = end.reads - start_.reads - 1;
    }

private:
    struct Sample {
        std::uint64_t bytes, reads, own_bytes;
    };
    static Sample read() {
        char text[512]{};
        const int io = ::open("/proc/self/io", O_RDONLY | O_CLOEXEC);
        const ssize_t length = ::read(io, text, sizeof text - 1);
        ::close(io);
        if (length <= 0) throw std::runtime_error("the kernel does not count reads");
        return {field(text, "rchar: "), field(text, "syscr: "), static_cast<std::uint64_t>(length)};
    }
    static std::uint64_t field(const char *text, const char *name) {
        return std::strtoull(std::strstr(text, name) + std::strlen(name), nullptr, 10);
    }
    Sample start_;
};

Work work_of(const Bytes &content) {
    const TempFile file(content);
    ControlledLibc libc(content);
    libc.measure_memory();
    Work work{};
    const KernelCount kernel;
    AviReaderState *reader = aviin_open(file.path(), 0);
    kernel.stop(work.bytes_read, work.reads);
    work.memory = libc.touched_memory();
    if (reader != nullptr) {
        const auto owns = [&](const void *p, std::uint64_t size) { return libc.owns(p, size); };
        EXPECT_EQ(broken_rule(*reader, owns), "");
        aviin_close(reader);
    }
    EXPECT_EQ(libc.live_allocations(), 0U);
    return work;
}

void expect_small(const Work &work, std::size_t file_size) {
    EXPECT_LE(work.bytes_read, kBytesReadPerByte * file_size + kBytesRead);
    EXPECT_LE(work.reads, kReadsPerByte * file_size + kReads);
    EXPECT_LE(work.memory, kMemoryPerByte * file_size + kMemory);
}

// ---- files

// As often as it takes to have so many bytes.
Bytes filled_with(const Bytes &part, std::size_t bytes) {
    return repeat(part, (bytes + part.size() - 1) / part.size());
}

constexpr std::uint32_t kHostileSizes[] = {
    0,          1,          0x7fffffff, 0x80000000, 0xfffffff0, 0xfffffff7, 0xfffffff8,
    0xfffffff9, 0xfffffffa, 0xfffffffb, 0xfffffffc, 0xfffffffd, 0xfffffffe, 0xffffffff};

// A form that claims as much as can be, so that no walk over it ends before the file does.
Bytes endless_form(const Bytes &content) {
    return claiming("RIFF", 0xfffffff0, "AVI " + content);
}

// The same, with headers and media, behind `content`.
Bytes opening_form(const Bytes &content) {
    return endless_form(content + list("hdrl", avih(), video_stream()) +
                        list("movi", chunk("00dc", filler(40))));
}

struct Hostile {
    const char *name;
    std::function<Bytes(std::size_t size)> make;
};

void PrintTo(const Hostile &hostile, std::ostream *out) {
    *out << hostile.name;
}

// Lists of which each holds one chunk that claims everything behind it. Two bytes more keep a list
// from being at its end before the chunk is seen.
Bytes greedy_lists(const char *type, const char *id, std::size_t size) {
    const Bytes tiny = list(type, claiming(id, 0, ".."));
    Bytes lists = filled_with(tiny, size);
    for (std::size_t at = 0; at + tiny.size() <= lists.size(); at += tiny.size()) {
        lists.replace(at + 16, 4, u32(static_cast<std::uint32_t>(lists.size() - at)));
    }
    return lists;
}

Bytes greedy_menu_forms(std::size_t size) {
    const Bytes tiny = menu_form(claiming("MENU", 0, ""));
    Bytes forms = filled_with(tiny, size);
    for (std::size_t at = 0; at + tiny.size() <= forms.size(); at += tiny.size()) {
        forms.replace(at + 28, 4, u32(static_cast<std::uint32_t>(forms.size() - at)));
    }
    return plain_file() + forms;
}

// Header lists with room for one chunk only, the main header, which claims `claim` bytes.
Bytes greedy_header_lists(std::uint32_t claim, std::size_t size) {
    return filled_with(list("hdrl", claiming("avih", claim, "..")), size);
}

// Lists that no walk gets around: it steps 8 over each, onto the chunk that is their type, and on
// to the next. A walk inside any of them meets one chunk in each that follows, and at last
// `stopper`.
Bytes overlapping_lists(const char *type, const char *stopper, std::size_t size) {
    const Bytes link = claiming("LIST", 0xffffffff, claiming(type, 4, u32(12)));
    return filled_with(link, size) + filler(12) + claiming(stopper, 0x80000000, "") + filler(64);
}

// A header list with so many times that stream, and room behind them for what they claim.
Bytes headers_with(std::size_t streams, const Bytes &stream, std::size_t room) {
    return file_with(repeat(stream, streams), chunk("JUNK", Bytes(room, '.')));
}

Bytes stream_with_long_data(std::size_t size) {
    const auto claim = static_cast<std::uint32_t>(size);
    return list("strl", strh(), video_strf(), claiming("strd", 8, u32(0) + u32(claim)));
}

Bytes stream_with_long_header(std::size_t size) {
    const auto claim = static_cast<std::uint32_t>(size);
    return list("strl", claiming("strh", claim, strh_body({.type = "auds"})));
}

Bytes with_long_name(const Bytes &chunks) {
    return list("strl", chunks, claiming("strn", 0x7fff, ""));
}

const Hostile kHostile[] = {
    {"EmptyChunksInTheFile",
     [](std::size_t n) { return plain_file() + filled_with(claiming("JUNK", 0, ""), n); }},
    {"EmptyChunksInTheForm",
     [](std::size_t n) { return opening_form(filled_with(claiming("JUNK", 0, ""), n)); }},
    {"EmptyChunksInTheHeaders",
     [](std::size_t n) {
         return riff("AVI ", list("hdrl", avih(), filled_with(claiming("JUNK", 0, ""), n)),
                     list("movi", chunk("00dc", filler(40))));
     }},
    {"EmptyListsInTheHeaders",
     [](std::size_t n) {
         return riff("AVI ", list("hdrl", avih(), filled_with(list("odml"), n)),
                     list("movi", chunk("00dc", filler(40))));
     }},
    {"EmptyDataChunks",
     [](std::size_t n) {
         return opening_form(data_list(filled_with(claiming("MTDA", 0, ""), n)));
     }},
    {"EmptyMenus",
     [](std::size_t n) {
         return opening_form(menu_list(filled_with(claiming("MENU", 0, ""), n)));
     }},
    {"EmptyMenuForms",
     [](std::size_t n) { return plain_file() + filled_with(claiming("RIFF", 0, ""), n); }},
    {"EmptyMenusInAForm",
     [](std::size_t n) {
         return plain_file() + menu_form(filled_with(claiming("MENU", 0, ""), n));
     }},
    {"EmptyCountedChunksInAForm",
     [](std::size_t n) {
         return plain_file() + menu_form(filled_with(claiming("MRIF", 0, ""), n));
     }},
    {"GreedyDataLists",
     [](std::size_t n) { return opening_form(greedy_lists("QRDT", "MTDA", n)); }},
    {"GreedyMenuLists",
     [](std::size_t n) { return opening_form(greedy_lists("QMNU", "MENU", n)); }},
    {"GreedyMenuForms", greedy_menu_forms},
    {"GreedyHeaderLists",
     [](std::size_t n) {
         return opening_form(greedy_header_lists(static_cast<std::uint32_t>(n), n));
     }},
    {"GreedierHeaderLists",
     [](std::size_t n) { return opening_form(greedy_header_lists(0x7fffffff, n)); }},
    {"OneGreedyDataChunk",
     [](std::size_t n) {
         return opening_form(data_list(claiming("MTDA", static_cast<std::uint32_t>(n), "..")) +
                             chunk("JUNK", Bytes(n, '.')));
     }},
    {"OverlappingDataLists",
     [](std::size_t n) { return endless_form(overlapping_lists("QRDT", "MTDA", n)); }},
    {"OverlappingMenuLists",
     [](std::size_t n) { return endless_form(overlapping_lists("QMNU", "MENU", n)); }},
    {"OverlappingHeaderLists",
     [](std::size_t n) { return endless_form(overlapping_lists("hdrl", "avih", n)); }},
    {"OverlappingDataListsThatRunOut",
     [](std::size_t n) { return endless_form(overlapping_lists("QRDT", "JUNK", n)); }},
    {"TwelveLongStreamData",
     [](std::size_t n) { return headers_with(12, stream_with_long_data(n), n + 8192); }},
    {"TwelveLongStreamHeaders",
     [](std::size_t n) { return headers_with(12, stream_with_long_header(n), n + 8192); }},
    {"TwelveLongAudioNames",
     [](std::size_t n) {
         return headers_with(12, with_long_name(strh({.type = "auds"}) + audio_strf()), n);
     }},
    {"TwelveLongVideoNames",
     [](std::size_t n) { return headers_with(12, with_long_name(strh() + video_strf()), n); }},
    {"NineteenLongTextNames",
     [](std::size_t n) {
         return headers_with(19, with_long_name(strh({.type = "txts"}) + text_strf()), n);
     }},
};

class HostileFile : public testing::TestWithParam<Hostile> {};

TEST_P(HostileFile, CostsASmallMultipleOfItsLength) {
    const Bytes content = GetParam().make(4 << 20);
    const Work work = work_of(content);
    RecordProperty("work", testing::PrintToString(work));
    expect_small(work, content.size());
}

TEST_P(HostileFile, CostsNoMoreThanTwiceTheWorkWhenTwiceAsLong) {
    const Work once = work_of(GetParam().make(1 << 19));
    const Work twice = work_of(GetParam().make(2 << 19));
    EXPECT_LE(twice.bytes_read, 2 * once.bytes_read + kBytesRead);
    EXPECT_LE(twice.reads, 2 * once.reads + kReads);
    EXPECT_LE(twice.memory, 2 * once.memory + kMemory);
}

INSTANTIATE_TEST_SUITE_P(, HostileFile, testing::ValuesIn(kHostile),
                         [](const auto &tested) { return std::string(tested.param.name); });

// The places of all size fields: behind every id that the file holds.
std::vector<std::size_t> size_fields(const Bytes &file) {
    std::vector<std::size_t> fields;
    for (const char *id : {"RIFF", "LIST", "avih", "strh", "strf", "strd", "strn", "indx", "dmlh",
                           "JUNK", "MTDA", "MENU", "MRIF", "idx1"}) {
        for (auto at = file.find(id); at != Bytes::npos; at = file.find(id, at + 1)) {
            fields.push_back(at + 4);
            if (std::string_view(id) == "strd") fields.push_back(at + 12);  // the payload's length
            if (std::string_view(id) == "strf") fields.push_back(at + 8);   // the structure's
        }
    }
    return fields;
}

TEST(HostileSizes, InAnyFieldOfASmallFileCostLittle) {
    const Bytes good = rich_file();
    const auto fields = size_fields(good);
    ASSERT_GT(fields.size(), 30U);
    for (const std::size_t field : fields) {
        for (const std::uint32_t size : kHostileSizes) {
            Bytes bad = good;
            bad.replace(field, 4, u32(size));
            SCOPED_TRACE(testing::Message() << "size " << size << " at " << field);
            expect_small(work_of(bad), bad.size());
        }
    }
}

TEST(HostileSizes, InTwoFieldsOfASmallFileCostLittle) {
    const Bytes good = rich_file();
    const auto fields = size_fields(good);
    for (std::size_t a = 0; a < fields.size(); ++a) {
        for (std::size_t b = a + 1; b < fields.size(); ++b) {
            Bytes bad = good;
            bad.replace(fields[a], 4, u32(0xffffffff));
            bad.replace(fields[b], 4, u32(kHostileSizes[(a + b) % std::size(kHostileSizes)]));
            SCOPED_TRACE(testing::Message() << "fields at " << fields[a] << " and " << fields[b]);
            expect_small(work_of(bad), bad.size());
        }
    }
}

TEST(HostileSizes, OfListsInATinyFileCostLittle) {
    for (const char *type : {"hdrl", "QRDT", "QMNU", "movi", "junk"}) {
        for (const char *id : {"avih", "MTDA", "MENU", "MRIF", "LIST"}) {
            for (const std::uint32_t size : kHostileSizes) {
                const Bytes file = claiming(
                    "RIFF", size,
                    "AVI " + claiming("LIST", size,
                                      Bytes(type) + claiming(id, size, filler(60 - 12 - 12 - 8))));
                ASSERT_EQ(file.size(), 60U);
                SCOPED_TRACE(testing::Message() << type << " " << id << " of size " << size);
                expect_small(work_of(file), file.size());
            }
        }
    }
}

// The shortcut that keeps jumps short decides nothing else: a chunk that reaches past the end of
// the form ends the walk over the form, and one that does not, does not.
TEST(ChunkPastItsList, EndsTheFormOnlyPastTheFormsEnd) {
    const Bytes rest =
        list("hdrl", avih(), video_stream()) + list("movi", chunk("00dc", filler(24)));
    const Bytes tail = riff("AVIX", list("movi", chunk("00dc", filler(400))));
    const auto file = [&](std::uint32_t claim) {
        return riff("AVI ", data_list(claiming("MTDA", claim, filler(8))), rest) + tail;
    };
    // The form's walk ends 8 bytes before the form; the chunk's payload starts at 32.
    const auto form_end = static_cast<std::uint32_t>(file(8).size() - tail.size() - 8);
    EXPECT_NE(open_bytes(file(form_end - 32 - 1)), nullptr);
    EXPECT_EQ(open_bytes(file(form_end - 32)), nullptr);
    EXPECT_EQ(open_bytes(file(form_end)), nullptr);
}

TEST(ChunkPastItsList, EndsItsList) {
    const Bytes inner = claiming("MTDA", 40, filler(8)) + chunk("JUNK", filler(32));
    const Bytes file = riff("AVI ", list("QRDT", inner) + list("hdrl", avih(), video_stream()),
                            list("movi", chunk("00dc", filler(24))));
    const AviReader reader = open_bytes(file);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->data_blob.size, 40U);
    EXPECT_EQ(reader->data_blob.pos, 32);
}

}  // namespace
