// faults [EVERY]: lets every request that opening and using a film makes of the system fail:
// alone, with all later ones, and two at a time. The library has to survive, leave nothing, deliver
// nothing but the file's bytes, and say truly why it refused a film; a record that it makes without
// some of its memory lacks what was to be kept there, and nothing else.
//
// There are millions of pairs when the C library has no buffer for its file: of those, every
// EVERY-th one is tried, and all when it is 1.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "service/drm-service-sorn.h"
#include "tests/support/avi_builder.h"
#include "tests/support/controlled_libc.h"
#include "tests/support/record_checks.h"

extern "C" void _debug_message(int, const char *, unsigned int, unsigned int, const char *, ...) {}

namespace {

using namespace avi_builder;
namespace fs = std::filesystem;

// What has to hold; the first that does not is kept.
class Verdict {
public:
    void require(bool holds, const std::string &rule) {
        if (!holds && broken_.empty()) broken_ = rule;
    }
    [[nodiscard]] const std::string &broken() const { return broken_; }

private:
    std::string broken_;
};

// ---- records that lack what there was no memory for

bool same_bytes(const void *a, const void *b, std::uint64_t size) {
    if (a == nullptr || b == nullptr) return a == b;
    return std::memcmp(a, b, static_cast<std::size_t>(size)) == 0;
}

template <typename Row>
bool name_is_kept_or_lost(const Row &row, const Row &whole) {
    if (row.name == nullptr) return row.name_length == 0;
    return row.name_length == whole.name_length &&
           same_bytes(row.name, whole.name, static_cast<std::uint64_t>(whole.name_length));
}

bool stream_data_is_kept_or_lost(const VideoTrack &row, const VideoTrack &whole) {
    if (row.has_stream_data == 0) {
        return row.stream_data_word == 0 && row.stream_data_size == 0 && row.stream_data_pos == 0 &&
               row.stream_data == nullptr;
    }
    return row.stream_data_word == whole.stream_data_word &&
           row.stream_data_size == whole.stream_data_size &&
           row.stream_data_pos == whole.stream_data_pos &&
           same_bytes(row.stream_data, whole.stream_data, whole.stream_data_size);
}

bool kept_or_lost(const VideoTrack &row, const VideoTrack &whole) {
    return row.rate == whole.rate && row.scale == whole.scale && row.width == whole.width &&
           row.height == whole.height && row.quality == whole.quality &&
           same_bytes(row.handler, whole.handler, 5) &&
           same_bytes(row.compression, whole.compression, 5) &&
           stream_data_is_kept_or_lost(row, whole) && name_is_kept_or_lost(row, whole);
}

bool kept_or_lost(const AudioTrack &row, const AudioTrack &whole) {
    return same_bytes(&row.format, &whole.format, sizeof row.format) &&
           row.initial_frames == whole.initial_frames && row.scale == whole.scale &&
           row.rate == whole.rate && row.start == whole.start &&
           row.sample_size == whole.sample_size && name_is_kept_or_lost(row, whole);
}

template <typename Row>
bool rows_are_kept(const AviTable<Row> &table, const AviTable<Row> &whole) {
    return table.count == whole.count &&
           std::equal(table.used().begin(), table.used().end(), whole.used().begin(),
                      [](const Row &a, const Row &b) { return kept_or_lost(a, b); });
}

bool kept_or_lost(const AviBlob &blob, const AviBlob &whole, std::uint32_t header) {
    if (blob.data == nullptr) return blob.present == 0 && blob.size == 0;
    return blob.present == whole.present && blob.size == whole.size && blob.pos == whole.pos &&
           same_bytes(blob.data, whole.data, std::uint64_t{blob.size} + header);
}

// A text stream is known by its name; without one it is of no kind.
bool kept_or_lost(const AviStreamRecord &stream, const AviStreamRecord &whole) {
    const bool is_text = whole.kind == ChunkKind::text_subtitle || whole.kind == ChunkKind::chapter;
    return same_bytes(&stream.header, &whole.header, sizeof stream.header) &&
           stream.list_pos == whole.list_pos &&
           (stream.kind == whole.kind || (is_text && stream.kind == ChunkKind::unknown));
}

// A super index lies behind a name and stream data, and is not found where they are not read over.
bool super_indexes_are_kept_or_lost(const AviReaderState &record, const AviReaderState &whole) {
    for (std::size_t i = 0; i < kAviSuperIndexes; ++i) {
        const std::int64_t pos = record.super_index_pos[i];
        if (pos != 0 && (pos != whole.super_index_pos[i] ||
                         !same_bytes(&record.super_index[i], &whole.super_index[i],
                                     sizeof record.super_index[i])))
            return false;
    }
    return true;
}

bool positions_are_kept(const AviReaderState &record, const AviReaderState &whole) {
    return record.form_count == whole.form_count && record.index_pos == whole.index_pos &&
           record.movi_pos == whole.movi_pos && record.data_list_pos == whole.data_list_pos &&
           record.menu_list_pos == whole.menu_list_pos &&
           record.form_menu_pos == whole.form_menu_pos &&
           record.data_list_present == whole.data_list_present &&
           record.menu_list_present == whole.menu_list_present &&
           record.total_frames_ext == whole.total_frames_ext &&
           same_bytes(&record.main_header, &whole.main_header, sizeof record.main_header);
}

// Whatever failed: a film whose streams cannot be told is refused.
void check_streams(Verdict &verdict, const AviReaderState &record, const AviReaderState &whole) {
    verdict.require(record.movi_pos == whole.movi_pos, "the media are found");
    verdict.require(record.stream_count == whole.stream_count, "every stream is counted");
    for (std::size_t i = 0; i < static_cast<std::size_t>(record.stream_count); ++i) {
        verdict.require(kept_or_lost(record.streams[i], whole.streams[i]),
                        "a stream lacks no more than its name");
    }
    verdict.require(rows_are_kept(record.video, whole.video) &&
                        rows_are_kept(record.bitmap_subtitle, whole.bitmap_subtitle) &&
                        rows_are_kept(record.audio, whole.audio),
                    "a row lacks no more than its name and stream data");
}

void check_lacks_only_memory(Verdict &verdict, const AviReaderState &record,
                             const AviReaderState &whole) {
    verdict.require(positions_are_kept(record, whole), "positions and headers need no memory");
    verdict.require(super_indexes_are_kept_or_lost(record, whole), "a super index is right");
    verdict.require(kept_or_lost(record.data_blob, whole.data_blob, 0) &&
                        kept_or_lost(record.menu_blob, whole.menu_blob, 8) &&
                        kept_or_lost(record.form_menu_blob, whole.form_menu_blob, 8),
                    "an extension chunk is there or not");
}

// ---- what is done with a film

struct Film {
    std::string name;
    Bytes content;
};

void check_nothing_left(Verdict &verdict, const ControlledLibc &libc) {
    verdict.require(libc.live_allocations() == 0, "no memory is left");
    verdict.require(libc.open_files() == 0, "no file is left open");
    verdict.require(!libc.ran_out_of_calls(), "the work is in proportion to the film");
}

bool reading_failed(const ControlledLibc &libc) {
    return libc.any_failed(Call::read) || libc.any_failed(Call::seek);
}

// The reason is one of what failed.
bool is_true(AviReason reason, const ControlledLibc &libc) {
    if (reason == AviReason::no_memory) return libc.any_failed(Call::allocation);
    if (reason == AviReason::cannot_open) return libc.any_failed(Call::open);
    // One whose size cannot be told is taken for empty.
    return (reason == AviReason::cannot_read && reading_failed(libc)) ||
           libc.any_failed(Call::seek);
}

void open_record(Verdict &verdict, ControlledLibc &libc, const Film &,
                 const AviReaderState &whole) {
    AviRefusal refusal{};
    AviReaderState *record = aviin_open("any", 0, &refusal);
    if (record == nullptr) {
        verdict.require(
            is_true(refusal.reason, libc),
            "the reason is true: " + std::to_string(static_cast<std::uint32_t>(refusal.reason)));
        return;
    }
    const auto owns = [&](const void *p, std::uint64_t size) { return libc.owns(p, size); };
    const std::string broken = broken_rule(*record, owns);
    verdict.require(broken.empty(), broken);
    check_streams(verdict, *record, whole);
    if (!reading_failed(libc)) check_lacks_only_memory(verdict, *record, whole);
    aviin_close(record);
}

// Whatever a read delivers are the bytes in front of where it leaves the position.
void read(Verdict &verdict, SvcFileHandle *handle, const Film &film, std::uint32_t size) {
    Bytes buffer(size, '?');
    std::uint32_t count = ~0U;
    drm_svc_sorn_read_file(handle, buffer.data(), size, &count);
    verdict.require(count <= size, "a read delivers no more than asked for");
    if (!verdict.broken().empty()) return;
    verdict.require(buffer.find_first_not_of('?', count) == Bytes::npos,
                    "a read writes no more than it delivers");
    if (count == 0) return;
    const std::int64_t start = std::int64_t{drm_svc_sorn_tell_file(handle)} - count;
    verdict.require(start >= 0 && film.content.compare(static_cast<std::size_t>(start), count,
                                                       buffer, 0, count) == 0,
                    "a read delivers the bytes of the film");
}

void play(Verdict &verdict, ControlledLibc &libc, const Film &film, const AviReaderState &) {
    char marker = 0;
    auto *const untouched = reinterpret_cast<SvcFileHandle *>(&marker);
    SvcFileHandle *handle = untouched;
    const std::int64_t result = drm_svc_sorn_open_file("any", &handle);
    if (result != DRM_SVC_SORN_OK) {
        verdict.require(libc.any_failed(), "a film that opens is refused for what failed");
        verdict.require(handle == untouched, "a refusal stores no handle");
        return;
    }
    read(verdict, handle, film, 12);
    for (const std::int32_t position : {20, 1000, 1100}) {
        drm_svc_sorn_seek_file(handle, position, SEEK_SET);
        read(verdict, handle, film, 97);
    }
    drm_svc_sorn_seek_file(handle, -20, SEEK_END);
    read(verdict, handle, film, 40);
    drm_svc_sorn_seek_file(handle, -8, SEEK_CUR);
    read(verdict, handle, film, 8);
    verdict.require(drm_svc_sorn_close_file(handle) == DRM_SVC_SORN_CLOSED, "a film is closed");
}

// ---- what fails

using Use = void (*)(Verdict &, ControlledLibc &, const Film &, const AviReaderState &);

struct Counts {
    std::uint64_t singles = 0;
    std::uint64_t runs = 0;
    std::uint64_t pairs = 0;
};

class Sweep {
public:
    Sweep(const Film &film, Use use, bool buffered, bool cut_short)
        : film_(film), use_(use), buffered_(buffered), cut_short_(cut_short), libc_(film.content) {
        whole_.reset(aviin_open("any", 0));
        if (whole_ == nullptr) stop({}, "the film opens when nothing fails");
        limit_ = 20 * with_failures({}) + 1000;
    }

    // Of the pairs, those whose numbers together are a multiple of `step`.
    void run(Counts &counts, std::uint64_t step) {
        for (std::uint64_t first = 1;; ++first) {
            const std::uint64_t calls = with_failures({failure(first)});
            if (calls < first) break;
            ++counts.singles;
            with_failures({failure(first, true)});
            ++counts.runs;
            for (std::uint64_t second = first + 1; second <= calls; ++second) {
                if ((first + second) % step != 0) continue;
                with_failures({failure(first), failure(second)});
                ++counts.pairs;
            }
        }
    }

private:
    [[nodiscard]] Failure failure(std::uint64_t nth, bool lasting = false) const {
        return {.nth = nth, .lasting = lasting, .cut_short = cut_short_, .of_all = true};
    }

    // Returns how many calls were made.
    std::uint64_t with_failures(const std::vector<Failure> &failures) const {
        ControlledLibc libc(film_.content);
        if (!buffered_) libc.use_no_buffer();
        libc.limit_calls(limit_);
        for (const Failure &failure : failures) libc.fail(failure);
        Verdict verdict;
        use_(verdict, libc, film_, *whole_);
        check_nothing_left(verdict, libc);
        if (!verdict.broken().empty()) stop(failures, verdict.broken());
        return libc.all_calls();
    }

    [[noreturn]] void stop(const std::vector<Failure> &failures, const std::string &rule) const {
        std::printf("%s, %s, %s:", film_.name.c_str(), use_ == play ? "played" : "opened",
                    buffered_ ? "with a buffer" : "without a buffer");
        for (const Failure &failure : failures) {
            std::printf(" call %llu%s fails%s", static_cast<unsigned long long>(failure.nth),
                        failure.lasting ? " and all later ones" : "",
                        failure.cut_short ? " or is cut short" : "");
        }
        std::printf("\nThis does not hold: %s\n", rule.c_str());
        std::exit(1);
    }

    const Film &film_;
    Use use_;
    bool buffered_;
    bool cut_short_;
    ControlledLibc libc_;
    AviReader whole_;
    std::uint64_t limit_ = UINT64_MAX;
};

std::vector<Film> films() {
    std::vector<Film> films = {{"the rich film", rich_file()}, {"the plain film", plain_file()}};
    if (!fs::is_directory(SAMPLES_DIRECTORY)) return films;
    for (const auto &entry : fs::directory_iterator(SAMPLES_DIRECTORY)) {
        const fs::path &path = entry.path();
        if (path.extension() != ".avi" || path.stem() == "extensions") continue;  // the rich film
        std::ifstream in(path, std::ios::binary);
        films.push_back({path.filename().string(), Bytes(std::istreambuf_iterator<char>(in), {})});
    }
    return films;
}

Counts let_everything_fail(std::uint64_t every) {
    Counts counts;
    for (const Film &film : films()) {
        for (const Use use : {open_record, play}) {
            for (const bool cut_short : {false, true}) {
                Sweep(film, use, true, cut_short).run(counts, 1);
                Sweep(film, use, false, cut_short).run(counts, every);
            }
        }
    }
    return counts;
}

}  // namespace

int main(int argc, char **argv) {
    const std::uint64_t every = argc == 2 ? std::strtoull(argv[1], nullptr, 10) : 97;
    if (argc > 2 || every == 0) {
        std::fputs("usage: faults [EVERY]\n", stderr);
        return 2;
    }
    const Counts counts = let_everything_fail(every);
    std::printf("faults: %llu single, %llu runs, %llu pairs, 0 left behind\n",
                static_cast<unsigned long long>(counts.singles),
                static_cast<unsigned long long>(counts.runs),
                static_cast<unsigned long long>(counts.pairs));
    return 0;
}
