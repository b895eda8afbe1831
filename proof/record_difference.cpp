#include "proof/record_difference.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <span>
#include <type_traits>

namespace {

template <typename Value>
auto number(Value value) {
    if constexpr (std::is_same_v<Value, FourCC>) {
        return value.value;
    } else if constexpr (std::is_enum_v<Value>) {
        return static_cast<std::uint32_t>(value);
    } else {
        return value;
    }
}

// Keeps the first difference.
class Comparison {
public:
    template <typename Value, typename Other>
    void same(const char *what, Value value, Other other) {
        const auto one = static_cast<std::int64_t>(number(value));
        const auto two = static_cast<std::int64_t>(number(other));
        if (one != two) differs(what, std::to_string(one), std::to_string(two));
    }
    template <typename Value, std::size_t Count, typename Others>
    void same(const char *what, const Value (&values)[Count], const Others &others) {
        static_assert(Count == std::tuple_size_v<Others>);
        for (std::size_t i = 0; i < Count; ++i) same(what, values[i], others[i]);
    }
    // A buffer, if it is to be there, of which the file holds the first bytes.
    void buffer(const char *what, const unsigned char *bytes, bool there,
                const std::vector<std::uint8_t> &held, std::uint64_t length) {
        if (there != (bytes != nullptr)) {
            differs(what, there ? "without a buffer" : "a buffer", there ? "one" : "without one");
        }
        if (!there || bytes == nullptr) return;
        if (!held.empty() && std::memcmp(bytes, held.data(), held.size()) != 0) {
            differs(what, "other bytes", "what the file holds");
        }
        const std::uint64_t looked_at = std::min<std::uint64_t>(length, held.size() + 4096);
        const bool zeros = std::all_of(bytes + std::min<std::uint64_t>(held.size(), looked_at),
                                       bytes + looked_at, [](auto byte) { return byte == 0; });
        const bool last = length <= held.size() || bytes[length - 1] == 0;
        if (!zeros || !last) differs(what, "something", "zeros behind the end of the file");
    }
    // Rows behind the last one in use.
    template <typename Row>
    void unused(const char *what, std::span<const Row> rows) {
        if (rows.empty()) return;
        const auto bytes = std::as_bytes(rows);
        // Each byte is what the one before it is.
        const bool zeros = bytes[0] == std::byte{0} &&
                           std::memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0;
        if (!zeros) differs(what, "something", "zeros behind the last row");
    }
    [[nodiscard]] std::string found() const { return found_; }

private:
    void differs(const char *what, const std::string &one, const std::string &two) {
        if (found_.empty()) found_ = std::string(what) + " is " + one + ", not " + two;
    }
    std::string found_;
};

void compare(Comparison &both, const AviMainHeader &one, const second::MainHeader &two) {
    both.same("microseconds_per_frame", one.microseconds_per_frame, two.microseconds_per_frame);
    both.same("max_bytes_per_second", one.max_bytes_per_second, two.max_bytes_per_second);
    both.same("padding_granularity", one.padding_granularity, two.padding_granularity);
    both.same("main header's flags", one.flags, two.flags);
    both.same("total_frames", one.total_frames, two.total_frames);
    both.same("main header's initial_frames", one.initial_frames, two.initial_frames);
    both.same("main header's streams", one.streams, two.streams);
    both.same("main header's suggested_buffer_size", one.suggested_buffer_size,
              two.suggested_buffer_size);
    both.same("main header's width", one.width, two.width);
    both.same("main header's height", one.height, two.height);
    both.same("main header's reserved", one.reserved, two.reserved);
}

void compare(Comparison &both, const AviStreamHeader &one, const second::StreamHeader &two) {
    both.same("stream header's type", one.type, two.type);
    both.same("stream header's handler", one.handler, two.handler);
    both.same("stream header's flags", one.flags, two.flags);
    both.same("priority", one.priority, two.priority);
    both.same("language", one.language, two.language);
    both.same("stream header's initial_frames", one.initial_frames, two.initial_frames);
    both.same("stream header's scale", one.scale, two.scale);
    both.same("stream header's rate", one.rate, two.rate);
    both.same("stream header's start", one.start, two.start);
    both.same("length", one.length, two.length);
    both.same("stream header's suggested_buffer_size", one.suggested_buffer_size,
              two.suggested_buffer_size);
    both.same("stream header's quality", one.quality, two.quality);
    both.same("stream header's sample_size", one.sample_size, two.sample_size);
    both.same("frame", one.frame, two.frame);
}

void compare(Comparison &both, const AviStreamRecord &one, const second::StreamRow &two) {
    compare(both, one.header, two.header);
    both.same("kind", one.kind, two.kind);
    both.same("track", one.track, two.track);
    both.same("list_pos", one.list_pos, two.list_pos);
}

// A name is followed by a 0. One without characters may have a buffer or none.
template <typename Row, typename Other>
void compare_names(Comparison &both, const Row &one, const Other &two) {
    both.same("name_length", one.name_length, two.name_length);
    const bool there = !two.name.empty() || one.name != nullptr;
    both.buffer("name", one.name, there, two.name, two.name.size() + 1);
}

void compare(Comparison &both, const VideoTrack &one, const second::VideoTrack &two) {
    both.same("video rate", one.rate, two.rate);
    both.same("video scale", one.scale, two.scale);
    both.same("video width", one.width, two.width);
    both.same("video height", one.height, two.height);
    for (std::size_t i = 0; i < sizeof one.handler; ++i) {
        both.same("handler", static_cast<unsigned char>(one.handler[i]), two.handler[i]);
        both.same("compression", static_cast<unsigned char>(one.compression[i]),
                  two.compression[i]);
    }
    both.same("has_stream_data", one.has_stream_data, two.has_stream_data);
    both.same("stream_data_word", one.stream_data_word, two.stream_data_word);
    both.same("video quality", one.quality, two.quality);
    both.same("stream_data_size", one.stream_data_size, two.stream_data_size);
    both.same("stream_data_pos", one.stream_data_pos, two.stream_data_pos);
    both.buffer("stream_data", one.stream_data, two.has_stream_data == 1, two.stream_data,
                two.stream_data.size());
    compare_names(both, one, two);
}

void compare(Comparison &both, const AudioTrack &one, const second::AudioTrack &two) {
    both.same("format_tag", one.format.format_tag, two.format.format_tag);
    both.same("channels", one.format.channels, two.format.channels);
    both.same("samples_per_second", one.format.samples_per_second, two.format.samples_per_second);
    both.same("average_bytes_per_second", one.format.average_bytes_per_second,
              two.format.average_bytes_per_second);
    both.same("block_align", one.format.block_align, two.format.block_align);
    both.same("bits_per_sample", one.format.bits_per_sample, two.format.bits_per_sample);
    both.same("extra_size", one.format.extra_size, two.format.extra_size);
    both.same("extra", one.format.extra, two.format.extra);
    both.same("audio initial_frames", one.initial_frames, two.initial_frames);
    both.same("audio scale", one.scale, two.scale);
    both.same("audio rate", one.rate, two.rate);
    both.same("audio start", one.start, two.start);
    both.same("audio sample_size", one.sample_size, two.sample_size);
    compare_names(both, one, two);
}

void compare(Comparison &both, const TextTrack &one, const second::TextTrack &two) {
    both.same("values", one.values, two.values);
    both.same("text size", one.size, two.size);
    both.buffer("text data", one.data, false, two.data, two.data.size());
}

// The rows in use, one by one, and that there is nothing in the others.
template <typename Row, typename Other, std::size_t Room>
void compare_rows(Comparison &both, const char *kind, const Row (&rows)[Room], std::int32_t count,
                  const std::array<Other, Room> &others, std::int32_t other_count) {
    both.same(kind, count, other_count);
    if (!both.found().empty()) return;
    const auto used = static_cast<std::size_t>(count);
    for (std::size_t i = 0; i < used; ++i) compare(both, rows[i], others[i]);
    both.unused(kind, std::span<const Row>(rows).subspan(used));
}

template <typename Row, typename Other>
void compare(Comparison &both, const char *kind, const AviTable<Row> &one,
             const second::Table<Other> &two) {
    compare_rows(both, kind, one.rows, one.count, two.rows, two.count);
}

void compare(Comparison &both, const char *what, const AviBlob &one, const second::Buffer &two) {
    both.same(what, one.present, two.present ? 1 : 0);
    both.same(what, one.size, two.size);
    both.same(what, one.pos, two.pos);
    both.buffer(what, one.data, two.pos != 0, two.held, two.length);
}

void compare(Comparison &both, const SuperIndexInfo &one, const second::SuperIndexInfo &two) {
    both.same("longs_per_entry", one.longs_per_entry, two.longs_per_entry);
    both.same("index_subtype", one.index_subtype, two.index_subtype);
    both.same("index_type", one.index_type, two.index_type);
    both.same("entries_in_use", one.entries_in_use, two.entries_in_use);
    both.same("chunk_id", one.chunk_id, two.chunk_id);
    both.same("super index's reserved", one.reserved, two.reserved);
}

void compare(Comparison &both, const AviReaderState &reader, const second::Record &record) {
    both.same("file size", reader.stream.size, record.file_size);
    both.same("open_option", reader.open_option, record.open_option);
    both.same("form_count", reader.form_count, record.form_count);
    both.same("total_frames_ext", reader.total_frames_ext, record.total_frames_ext);
    both.same("index_pos", reader.index_pos, record.index_pos);
    both.same("movi_pos", reader.movi_pos, record.movi_pos);
    both.same("data_list_pos", reader.data_list_pos, record.data_list_pos);
    both.same("menu_list_pos", reader.menu_list_pos, record.menu_list_pos);
    both.same("form_menu_pos", reader.form_menu_pos, record.form_menu_pos);
    both.same("data_list_present", reader.data_list_present, record.data_list_present);
    both.same("menu_list_present", reader.menu_list_present, record.menu_list_present);
    both.same("main_header_pos", reader.main_header_pos, record.main_header_pos);
    compare(both, reader.main_header, record.main_header);
    compare(both, "data_blob", reader.data_blob, record.data_blob);
    compare(both, "menu_blob", reader.menu_blob, record.menu_blob);
    compare(both, "form_menu_blob", reader.form_menu_blob, record.form_menu_blob);
    compare_rows(both, "streams", reader.streams, reader.stream_count, record.streams,
                 record.stream_count);
    compare(both, "video streams", reader.video, record.video);
    compare(both, "bitmap subtitles", reader.bitmap_subtitle, record.bitmap_subtitle);
    compare(both, "audio streams", reader.audio, record.audio);
    compare(both, "text subtitles", reader.text_subtitle, record.text_subtitle);
    compare(both, "chapters", reader.chapter, record.chapter);
    both.same("super_index_pos", reader.super_index_pos, record.super_index_pos);
    for (std::size_t i = 0; i < kAviSuperIndexes; ++i) {
        compare(both, reader.super_index[i], record.super_index[i]);
    }
}

void compare(Comparison &both, const ChunkNode &one, const second::Node &two) {
    both.same("a node's start", one.start, two.start);
    both.same("a node's size", one.size, two.size);
    both.same("a node's cursor", one.cursor, two.cursor);
    both.same("a node's id", one.id, two.id);
    both.same("a node's list_type", one.list_type, two.list_type);
    both.same("a node's error", one.error, two.error);
    both.same("a node's depth", one.depth, two.depth);
}

void compare_stacks(Comparison &both, const AviReaderState &reader, const second::Answer &answer) {
    const ChunkNode &movi = *reader.chunk_top;
    compare(both, movi, answer.movi);
    compare(both, *movi.parent, answer.form);
    both.same("nodes above the form", movi.parent->parent == nullptr ? 0 : 1, 0);
}

// Of records that are the same: an answer has to be the row's own.
void compare_payload(Comparison &both, const AviReaderState &reader, std::int32_t track,
                     const VideoTrack &row) {
    const unsigned char *payload = nullptr;
    std::uint32_t size = ~0U;
    both.same("a payload's status", avvin_get_track_strd(reader, track, payload, size), kAviOk);
    both.same("a payload's size", size, row.stream_data_size);
    both.same("whether a payload is its row's", payload == row.stream_data, true);
}

void compare_queries(Comparison &both, const AviReaderState &reader, const second::Record &record) {
    std::int32_t streams = -1;
    std::int32_t with_data = -1;
    const auto has_data = [](const auto &row) { return row.has_stream_data == 1; };
    both.same("the summary's status", avvin_get_summary(reader, streams, with_data), kAviOk);
    both.same("the summary's streams", streams, record.stream_count);
    both.same("the summary's stream data", with_data,
              std::ranges::count_if(record.video.rows, has_data));
    for (std::int32_t track = 0; track < record.stream_count; ++track) {
        const second::StreamRow &row = record.streams.at(static_cast<std::size_t>(track));
        ChunkKind kind{};
        both.same("a kind's status", avvin_get_track_chunk_type(reader, track, kind), kAviOk);
        both.same("a kind", kind, row.kind);
        if (kind != ChunkKind::compressed_video) continue;
        compare_payload(both, reader, track, reader.video.rows[row.track]);
    }
}

}  // namespace

std::string record_difference(const AviReaderState &reader, const second::Answer &answer) {
    Comparison both;
    compare(both, reader, answer.record);
    compare_stacks(both, reader, answer);
    if (both.found().empty()) compare_queries(both, reader, answer.record);
    return both.found();
}

std::string refusal_difference(const AviRefusal &refusal, const second::Refusal &other) {
    static constexpr second::Reason kReasons[] = {
        second::Reason::none,
        second::Reason::no_memory,
        // A file in memory can be opened, and read where it has bytes.
        second::Reason::none,
        second::Reason::none,
        second::Reason::top_level_cut_short,
        second::Reason::list_header_cut_short,
        second::Reason::not_a_form,
        second::Reason::not_avi,
        second::Reason::header_list_too_short,
        second::Reason::no_main_header,
        second::Reason::header_list_cut_short,
        second::Reason::too_many_streams,
        second::Reason::too_many_audio_streams,
        second::Reason::too_many_video_streams,
        second::Reason::too_many_bitmap_subtitles,
        second::Reason::too_many_text_subtitles,
        second::Reason::too_many_chapters,
        second::Reason::bad_stream_header,
        second::Reason::bad_audio_format,
        second::Reason::bad_video_format,
        second::Reason::bad_text_format,
        second::Reason::bad_stream_name,
        second::Reason::stream_list_cut_short,
        second::Reason::movi_too_short,
        second::Reason::no_movi,
        second::Reason::form_cut_short,
    };
    static_assert(std::size(kReasons) == static_cast<std::size_t>(AviReason::form_cut_short) + 1);
    const second::Reason reason = kReasons[static_cast<std::size_t>(refusal.reason)];
    Comparison both;
    both.same("the refusal's reason", reason, other.reason);
    both.same("the refusal's position", refusal.pos, other.position);
    both.same("what was found", refusal.found, other.found);
    return both.found();
}
